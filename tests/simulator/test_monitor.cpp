// Monitor commands: MD, MC, MG.

#include "wire.h"

using namespace plcsim;
using wire::checked;
using wire::OneStation;

TEST(Monitor, RegisteredWordsStandAtByteElevenOfTheResponse)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 5, 0x1234);
    one.plc.setWord("01", Area::Y, 3, 0xABCD);
    EXPECT_EQ(one.ask("%01#MDFFFFFF**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MDD00005WY00003**\r"), "%01$MD09\r");
    const std::string response = one.ask("%01#MG**\r");
    EXPECT_EQ(response, "%01$MG100083412CDAB33\r");
    EXPECT_EQ(response.size(), 4U * 2 + 14);
    EXPECT_EQ(response.substr(11, 4), "3412");
}

TEST(Monitor, EveryKindOfItemCanBeRegistered)
{
    OneStation one;
    const Area areas[] = {Area::X, Area::Y, Area::R, Area::L, Area::DT, Area::LD, Area::FL, Area::SV, Area::EV};
    quint16 value = 0x0101;
    for (const Area area : areas) {
        one.plc.setWord("01", area, 9, value);
        value = static_cast<quint16>(value + 0x0101);
    }
    EXPECT_EQ(one.ask("%01#MDWX00009WY00009WR00009WL00009D00009L00009F00009S00009K00009**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG100360101020203030404050506060707080809093E\r");
}

TEST(Monitor, ValuesAreThoseOfTheMomentOfTheRequest)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG1000400003F\r");
    one.plc.setWord("01", Area::DT, 0, 0x00FF);
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG10004FF003F\r");
}

TEST(Monitor, SixteenItemsAreRegisteredAndSeventeenAreTooMany)
{
    OneStation one;
    QByteArray items;
    for (int i = 0; i < 16; ++i)
        items += "D00000";
    EXPECT_EQ(one.ask("%01#MD" + items + "D00000**\r"), "%01!6201\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01!6201\r");
    EXPECT_EQ(one.ask("%01#MD" + items + "**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), checked("%01$MG10064" + QByteArray(64, '0')).toStdString());
}

TEST(Monitor, RegistrationHasToBeClearedBeforeTheNext)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MDD00001**\r"), "%01!6201\r");
    EXPECT_EQ(one.ask("%01#MDFFFFFF**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01!6201\r");
    EXPECT_EQ(one.ask("%01#MDD00001**\r"), "%01$MD09\r");
}

TEST(Monitor, RequestWithoutARegistrationIsARegistrationError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01!6201\r");
}

TEST(Monitor, ClearingWithoutARegistrationIsFine)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDFFFFFF**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MCFFFFF**\r"), "%01$MC0E\r");
}

TEST(Monitor, RefusedRegistrationLeavesTheOldOneStanding)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 0, 0x0007);
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MDD00001D0**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG10004070038\r");
}

TEST(Monitor, ItemsThatAreWrongAreRefused)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MD**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MDX00000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MDWD00000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MDW**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MDD**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MDD0000**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#MDWX0009**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#MDD0000A**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#MDWX00128**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#MDWX00127**\r"), "%01$MD09\r");
}

TEST(Monitor, ClearingWordStandsAlone)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDD00000FFFFFF**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#MCX0000FFFFF**\r"), "%01!6003\r");
}

TEST(Monitor, ContactsComeBeforeTheWords)
{
    OneStation one;
    one.plc.setBit("01", Area::Y, 1, true);
    one.plc.setWord("01", Area::DT, 0, 0x1234);
    EXPECT_EQ(one.ask("%01#MCX0000Y0001T0002**\r"), "%01$MC0E\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG1030100009\r");
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG10301004341209\r");
    EXPECT_EQ(one.ask("%01#MCFFFFF**\r"), "%01$MC0E\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01$MG1000434123B\r");
}

TEST(Monitor, EightyContactsAreRegisteredAndEightyOneAreTooMany)
{
    OneStation one;
    QByteArray contacts;
    for (int i = 0; i < 80; ++i)
        contacts += "X0000";
    EXPECT_EQ(one.ask("<01#MC" + contacts + "X0000**\r"), "<01!6218\r");
    EXPECT_EQ(one.ask("<01#MC" + contacts + "**\r"), "<01$MC17\r");
    EXPECT_EQ(one.ask("%01#MG**\r"), checked("%01$MG180" + QByteArray(80, '0') + "00").toStdString());
    EXPECT_EQ(one.ask("<01#MCX0000**\r"), "<01!6218\r");
}

TEST(Monitor, ContactsThatAreWrongAreRefused)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MC**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MCD0000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MCX0000Y**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#MCX000**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#MCX00G0**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#MCX1280**\r"), "%01!6102\r");
}

TEST(Monitor, ResponseThatDoesNotFitTheFrameIsOver)
{
    OneStation one;
    QByteArray contacts;
    QByteArray items;
    for (int i = 0; i < 80; ++i)
        contacts += "X0000";
    for (int i = 0; i < 7; ++i)
        items += "D00000";
    EXPECT_EQ(one.ask("<01#MC" + contacts + "**\r"), "<01$MC17\r");
    EXPECT_EQ(one.ask("%01#MD" + items + "**\r"), "%01$MD09\r"); // 14 + 80 + 28 = 122 characters
    EXPECT_EQ(one.ask("%01#MG**\r"), "%01!2700\r");
    EXPECT_EQ(one.ask("<01#MG**\r").size(), 122U);
    EXPECT_EQ(one.ask("%01#MDFFFFFF**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MD" + items.left(36) + "**\r"), "%01$MD09\r"); // 118 characters
    EXPECT_EQ(one.ask("%01#MG**\r").size(), 118U);
}

TEST(Monitor, ScansSinceTheLastRequestAreCountedUpToTen)
{
    OneStation one; // a scan takes 10 ms
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    const auto scansAfter = [&one](qint64 milliseconds) {
        one.plc.advance(milliseconds);
        return one.ask("%01#MG**\r").substr(6, 1);
    };
    EXPECT_EQ(scansAfter(0), "1");
    EXPECT_EQ(scansAfter(19), "1");
    EXPECT_EQ(scansAfter(20), "2");
    EXPECT_EQ(scansAfter(99), "9");
    EXPECT_EQ(scansAfter(100), "A");
    EXPECT_EQ(scansAfter(100000), "A");
    EXPECT_EQ(scansAfter(0), "1");
}

TEST(Monitor, SurplusTextIsAParameterError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(one.ask("%01#MG0**\r"), "%01!6003\r");
}
