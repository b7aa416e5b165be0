// Values as tables and as JSON.

#include "fplink/value_table.h"

#include <gtest/gtest.h>

using namespace fplink;

namespace
{

const std::vector<ReadValues> kSome = {{{KindDT, 99, 2, 1}, QByteArray("\x05\x00\xFF\xFF", 4)},
                                       {{KindR, 175, 1, 1}, QByteArray("\x01", 1)}};

} // namespace

TEST(FplinkValues, StandInAlignedLines)
{
    EXPECT_EQ(valueTable(kSome, {}).toStdString(), "DT99       5  0x0005\n"
                                                   "DT100  65535  0xFFFF\n"
                                                   "R10F       1\n");
}

TEST(FplinkValues, CanBeSignedAndShowTheirStation)
{
    EXPECT_EQ(valueTable(kSome, {true, true}).toStdString(), "DT99@1    5  0x0005\n"
                                                             "DT100@1  -1  0xFFFF\n"
                                                             "R10F@1    1\n");
    EXPECT_EQ(decimalText(KindDT, 32767, true).toStdString(), "32767");
    EXPECT_EQ(decimalText(KindDT, 32768, true).toStdString(), "-32768");
    EXPECT_EQ(decimalText(KindDT, 32768, false).toStdString(), "32768");
}

TEST(FplinkValues, AreOneLineOfJson)
{
    EXPECT_EQ(valueJson(kSome, {}, QStringLiteral("127.0.0.1:9094")).toStdString(),
              "{\"plc\":\"127.0.0.1:9094\",\"values\":["
              "{\"address\":\"DT99\",\"area\":\"DT\",\"station\":1,\"value\":5},"
              "{\"address\":\"DT100\",\"area\":\"DT\",\"station\":1,\"value\":65535},"
              "{\"address\":\"R10F\",\"area\":\"R\",\"station\":1,\"value\":1}]}\n");
}

TEST(FplinkValues, NothingIsAnEmptyTable)
{
    EXPECT_EQ(valueTable({}, {}).toStdString(), "");
}
