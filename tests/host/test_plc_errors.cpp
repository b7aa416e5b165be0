// Error responses of the PLC.

#include "host/plc_errors.h"

#include <gtest/gtest.h>

using fphost::errorName;
using fphost::errorResponseCode;
using fphost::mayPass;
using fphost::saysBadAddress;

TEST(PlcErrors, AnErrorResponseGivesItsCode)
{
    EXPECT_EQ(errorResponseCode("%01!6102\r"), 0x61);
    EXPECT_EQ(errorResponseCode("%01!4302\r"), 0x43 + 0) << "check code 02 belongs to 43 too: 4 ^ 3 = 6 ^ 1";
    EXPECT_EQ(errorResponseCode("%1A!FF74\r"), 0xFF);
}

TEST(PlcErrors, AnythingElseGivesNone)
{
    EXPECT_FALSE(errorResponseCode("%01$WC14\r").has_value());  // a good reply
    EXPECT_FALSE(errorResponseCode("%01!6103\r").has_value());  // the check code does not fit
    EXPECT_FALSE(errorResponseCode("%01!6a52\r").has_value());  // lower case
    EXPECT_FALSE(errorResponseCode("%01!6G24\r").has_value());  // no digit
    EXPECT_FALSE(errorResponseCode("%01!6102").has_value());    // no CR
    EXPECT_FALSE(errorResponseCode("%01!61002\r").has_value()); // too long
    EXPECT_FALSE(errorResponseCode("#01!6104\r").has_value());  // no header
    EXPECT_FALSE(errorResponseCode("").has_value());
}

TEST(PlcErrors, EveryPublishedCodeHasItsName)
{
    const struct {
        int code;
        const char *begins;
    } kNames[] = {{0x27, "27 frame over"},
                  {0x40, "40 BCC error"},
                  {0x41, "41 format error"},
                  {0x42, "42 not supported"},
                  {0x43, "43 procedure error"},
                  {0x45, "45 operation error"},
                  {0x53, "53 busy"},
                  {0x60, "60 parameter error"},
                  {0x61, "61 data error"},
                  {0x62, "62 registration error"},
                  {0x63, "63 mode error"},
                  {0x65, "65 protect error"}};
    for (const auto &row : kNames)
        EXPECT_TRUE(errorName(row.code).startsWith(QLatin1String(row.begins))) << qPrintable(errorName(row.code));
}

TEST(PlcErrors, AnUnknownCodeIsNamedUnknown)
{
    EXPECT_EQ(errorName(0x7F), QStringLiteral("7F unknown error"));
    EXPECT_EQ(errorName(0x05), QStringLiteral("05 unknown error"));
}

TEST(PlcErrors, OnlyTroubleOnTheWayMayPass)
{
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(mayPass(code), code == 0x40 || code == 0x43 || code == 0x53) << code;
}

TEST(PlcErrors, TwoSayThatAnAddressIsBad)
{
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(saysBadAddress(code), code == 0x60 || code == 0x61) << code;
}
