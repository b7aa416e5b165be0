// Numbers and values as people type them.

#include "fplink/numbers.h"

#include <gtest/gtest.h>

using fphost::Span;
using namespace fplink;

namespace
{

std::optional<int> wordOf(const char *text)
{
    return wordValue(QString::fromUtf8(text));
}

std::string valuesOf(const Span &span, const QStringList &texts)
{
    QByteArray bytes = "untouched";
    const std::optional<QString> why = parseValues(span, texts, &bytes);
    if (!why)
        return bytes.toHex().toStdString();
    EXPECT_EQ(bytes, "untouched");
    return why->toStdString();
}

QStringList list(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

} // namespace

TEST(FplinkNumbers, DecimalNumbersKeepTheirLimit)
{
    EXPECT_EQ(decimal(QStringLiteral("0"), 255), 0);
    EXPECT_EQ(decimal(QStringLiteral("255"), 255), 255);
    EXPECT_EQ(decimal(QStringLiteral("000255"), 255), 255);
    EXPECT_FALSE(decimal(QStringLiteral("256"), 255).has_value());
    for (const char *text : {"", "-1", "+1", " 1", "1 ", "1.0", "0x1", "99999999999999999999"})
        EXPECT_FALSE(decimal(QString::fromUtf8(text), 255).has_value()) << text;
}

TEST(FplinkNumbers, WordsAreDecimalOrHexadecimal)
{
    EXPECT_EQ(wordOf("0"), 0);
    EXPECT_EQ(wordOf("65535"), 65535);
    EXPECT_EQ(wordOf("-1"), 65535);
    EXPECT_EQ(wordOf("-32768"), 32768);
    EXPECT_EQ(wordOf("0x1f"), 31);
    EXPECT_EQ(wordOf("0XFFFF"), 65535);
    EXPECT_EQ(wordOf("-0"), 0);
    for (const char *text : {"65536", "-32769", "0x", "0x10000", "0xG", "--1", "-", "1F", "", "-0x1", "5 "})
        EXPECT_FALSE(wordOf(text).has_value()) << text;
}

TEST(FplinkNumbers, ValuesBecomeTheDriversBytes)
{
    EXPECT_EQ(valuesOf({KindDT, 5, 3, 1}, list("4660 -2 0x00FF")), "3412feffff00");
    EXPECT_EQ(valuesOf({KindR, 5, 3, 1}, list("0 1 01")), "000101");
}

TEST(FplinkNumbers, SaysWhichValueIsWrong)
{
    EXPECT_EQ(valuesOf({KindDT, 5, 2, 1}, list("1 70000")),
              "DT5: '70000' is no value for a word; words are -32768 to 65535 or 0x0 to 0xFFFF");
    EXPECT_EQ(valuesOf({KindR, 5, 1, 1}, list("2")), "R5: '2' is no value for a bit; bits are 0 and 1");
    EXPECT_EQ(valuesOf({KindR, 5, 1, 1}, list("-1")), "R5: '-1' is no value for a bit; bits are 0 and 1");
    EXPECT_EQ(valuesOf({KindDT, 5, 2, 1}, list("1")), "DT5: 1 value for 2 elements");
    EXPECT_EQ(valuesOf({KindDT, 5, 1, 1}, list("1 2")), "DT5: 2 values for 1 element");
}

TEST(FplinkNumbers, ReadsValuesFromTheDriversBytes)
{
    const QByteArray words("\x34\x12\xFF\xFF", 4);
    EXPECT_EQ(valueAt(words, KindDT, 0), 0x1234);
    EXPECT_EQ(valueAt(words, KindDT, 1), 65535);
    EXPECT_EQ(valueAt(QByteArray("\0\1", 2), KindX, 1), 1);
}
