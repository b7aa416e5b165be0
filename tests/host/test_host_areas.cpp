// The table of memory areas, and what may be read and written.

#include "host/areas.h"

#include <gtest/gtest.h>

using namespace fphost;

namespace
{

std::string text(const QString &s)
{
    return s.toStdString();
}
std::string readable(const Span &span)
{
    return whyNotReadable(span).value_or(QString()).toStdString();
}
std::string writable(const Span &span)
{
    return whyNotWritable(span).value_or(QString()).toStdString();
}

} // namespace

TEST(HostAreas, HaveARowForEveryKindAndNoOther)
{
    const char *const kNames[] = {"X", "Y", "R", "L", "T", "C", "WX", "WY", "WR", "WL", "DT", "LD", "FL", "SV", "EV"};
    for (int kind = KindX; kind <= KindEV; ++kind) {
        ASSERT_NE(areaRow(kind), nullptr);
        EXPECT_EQ(areaRow(kind)->kind, kind);
        EXPECT_STREQ(areaRow(kind)->name, kNames[kind]);
        EXPECT_EQ(areaRow(kind)->bits, kind <= KindC);
        EXPECT_EQ(areaNamed(QString::fromLatin1(kNames[kind])), areaRow(kind));
    }
    EXPECT_EQ(areaRow(-1), nullptr);
    EXPECT_EQ(areaRow(15), nullptr);
    EXPECT_EQ(areaNamed(QStringLiteral("D")), nullptr);
}

TEST(HostAreas, AddressTextsAreThoseOfTheDriver)
{
    EXPECT_EQ(text(addressText(KindR, 175)), "10F");
    EXPECT_EQ(text(addressText(KindX, 5)), "05");
    EXPECT_EQ(text(addressText(KindT, 175)), "175");
    EXPECT_EQ(text(addressText(KindDT, 12345)), "12345");
}

TEST(HostAreas, ElementsAreNamedAsTheFieldWritesThem)
{
    EXPECT_EQ(text(elementName(KindR, 175)), "R10F");
    EXPECT_EQ(text(elementName(KindL, 3)), "L3");
    EXPECT_EQ(text(elementName(KindL, 13)), "L0D") << "LD is the name of an area";
    EXPECT_EQ(text(elementName(KindR, 13)), "RD");
    EXPECT_EQ(text(elementName(KindX, 15)), "XF");
    EXPECT_EQ(text(elementName(KindX, 16)), "X10");
    EXPECT_EQ(text(elementName(KindWX, 3)), "WX3");
    EXPECT_EQ(text(elementName(KindEV, 2)), "EV2");
    EXPECT_EQ(text(elementName(99, 2)), "?2");
}

TEST(HostAreas, BitsTravelInTheirWords)
{
    EXPECT_EQ(wordsOf({KindX, 0x1E, 20, 1}), (Span{KindWX, 1, 3, 1})); // 14 + 20 bits
    EXPECT_EQ(wordsOf({KindL, 16, 16, 2}), (Span{KindWL, 1, 1, 2}));
    EXPECT_EQ(wordsOf({KindL, 16, 17, 2}), (Span{KindWL, 1, 2, 2}));
    EXPECT_EQ(wordsOf({KindT, 31, 2, 1}), (Span{KindT, 1, 2, 1}));
    EXPECT_EQ(wordsOf({KindDT, 100, 7, 1}), (Span{KindDT, 100, 7, 1}));
}

TEST(HostAreas, ValuesTakeOneBytePerBitAndTwoPerWord)
{
    EXPECT_EQ(valueBytes(KindR, 5), 5);
    EXPECT_EQ(valueBytes(KindC, 5), 5);
    EXPECT_EQ(valueBytes(KindWR, 5), 10);
}

TEST(HostAreas, AreReadableUpToTheirLastElement)
{
    const struct {
        int kind;
        int last;
    } kLast[] = {{KindX, 159999}, {KindY, 159999}, {KindR, 159999}, {KindL, 159999}, {KindT, 19999},
                 {KindC, 19999},  {KindWX, 9999},  {KindWY, 9999},  {KindWR, 9999},  {KindWL, 9999},
                 {KindDT, 99999}, {KindLD, 9999},  {KindFL, 99999}, {KindSV, 9999},  {KindEV, 9999}};
    for (const auto &row : kLast) {
        EXPECT_EQ(readable({row.kind, row.last, 1, 1}), "");
        EXPECT_NE(readable({row.kind, row.last + 1, 1, 1}), "");
        EXPECT_EQ(readable({row.kind, 0, row.last + 1, 1}), "");
        EXPECT_NE(readable({row.kind, 0, row.last + 2, 1}), "");
        EXPECT_NE(readable({row.kind, 1, row.last + 1, 1}), "");
    }
}

TEST(HostAreas, SayWhyASpanCannotBeRead)
{
    EXPECT_EQ(readable({KindDT, 99999, 2, 1}),
              "DT99999: 2 elements from there on do not end inside the area, DT99999 is the last that can be read");
    EXPECT_EQ(readable({KindDT, 5, 0, 1}), "DT5: the count is 0, it must be 1 or more");
    EXPECT_EQ(readable({KindDT, 5, 1, 255}), "DT5: station 255 cannot be read; stations are 0 to 254");
    EXPECT_EQ(readable({KindDT, 5, 1, -1}), "DT5: station -1 cannot be read; stations are 0 to 254");
    EXPECT_EQ(readable({15, 5, 1, 1}), "there is no area of kind 15");
    EXPECT_NE(readable({KindDT, -1, 1, 1}), "");
    EXPECT_NE(readable({KindDT, 5, 2147483647, 1}), "");
    EXPECT_EQ(readable({KindDT, 5, 1, 254}), "");
    EXPECT_EQ(readable({KindDT, 5, 1, 0}), "");
}

TEST(HostAreas, InputsAndContactsCannotBeWritten)
{
    for (const int kind : {KindX, KindT, KindC, KindWX})
        EXPECT_NE(writable({kind, 0, 1, 1}), "") << kind;
    for (const int kind : {KindY, KindR, KindL, KindWY, KindWR, KindWL, KindDT, KindLD, KindFL, KindSV, KindEV})
        EXPECT_EQ(writable({kind, 0, 1, 1}), "") << kind;
    EXPECT_EQ(writable({KindWX, 3, 1, 1}), "WX3: the area WX is read-only");
}

TEST(HostAreas, SingleBitsCanBeWrittenInTheFirstThousandWords)
{
    EXPECT_EQ(writable({KindR, 15999, 1, 1}), "");
    EXPECT_EQ(writable({KindR, 16000, 1, 1}),
              "R10000: 1 element from there on do not end inside the area, R999F is the last that can be written");
    EXPECT_EQ(writable({KindWR, 9999, 1, 1}), "");
    EXPECT_NE(writable({KindWR, 10000, 1, 1}), "");
}

TEST(HostAreas, AllStationsCanBeWrittenAtOnce)
{
    EXPECT_EQ(writable({KindDT, 5, 1, 255}), "");
    EXPECT_NE(writable({KindDT, 5, 1, 256}), "");
}
