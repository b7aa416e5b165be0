// Data commands: RD, WD, RS, RK, WS, WK.

#include "wire.h"

using namespace plcsim;
using wire::OneStation;

TEST(DataRead, EveryLetterReadsItsOwnArea)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 7, 0x1234);
    one.plc.setWord("01", Area::LD, 7, 0x5678);
    one.plc.setWord("01", Area::FL, 7, 0x9ABC);
    EXPECT_EQ(one.ask("%01#RDD0000700007**\r"), "%01$RD341212\r");
    EXPECT_EQ(one.ask("%01#RDL0000700007**\r"), "%01$RD78561A\r");
    EXPECT_EQ(one.ask("%01#RDF0000700007**\r"), "%01$RDBC9A6F\r");
    EXPECT_EQ(one.ask("%01#RDX0000700007**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RDd0000700007**\r"), "%01!6003\r");
}

TEST(DataRead, LastWordOfEachAreaOfALargeModelIsReadAndTheNextIsADataError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD3276432764**\r"), "%01$RD000016\r");
    EXPECT_EQ(one.ask("%01#RDD3276432765**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RDL0844708447**\r"), "%01$RD000016\r");
    EXPECT_EQ(one.ask("%01#RDL0844808448**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RDF3199931999**\r"), "%01$RD000016\r");
    EXPECT_EQ(one.ask("%01#RDF3200032000**\r"), "%01!6102\r");
}

TEST(DataRead, LargestAreaGoesUpToTheLastNumberOfFiveDigits)
{
    StationSettings settings;
    settings.words = AreaSizes::largest();
    OneStation one(settings);
    one.plc.setWord("01", Area::DT, 99999, 0xBEEF);
    EXPECT_EQ(one.ask("%01#RDD9999999999**\r"), "%01$RDEFBE12\r");
}

TEST(DataRead, NumbersThatAreNotDecimalOrRunBackwardsAreDataErrors)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD0000A00010**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RDD-000100001**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RDD 000100001**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RDD0001000009**\r"), "%01!6102\r");
}

TEST(DataRead, MissingShortAndSurplusFieldsAreTold)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RD**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RDD**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RDD00000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RDD000000000**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#RDD00000000000**\r"), "%01!6003\r");
}

TEST(DataWrite, WordsAreStoredLowByteFirstInEachArea)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WDD00100001013412785659\r"), "%01$WD13\r");
    EXPECT_EQ(one.word(Area::DT, 100), 0x1234);
    EXPECT_EQ(one.word(Area::DT, 101), 0x5678);
    EXPECT_EQ(one.ask("%01#WDL0010000100BC9A**\r"), "%01$WD13\r");
    EXPECT_EQ(one.word(Area::LD, 100), 0x9ABC);
    EXPECT_EQ(one.ask("%01#WDF0010000100F0DE**\r"), "%01$WD13\r");
    EXPECT_EQ(one.word(Area::FL, 100), 0xDEF0);
}

TEST(DataWrite, WriteOutsideTheAreaIsAnOperationErrorAndChangesNothing)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WDD3276432764FFFF**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WDD327643276500000000**\r"), "%01!4504\r");
    EXPECT_EQ(one.word(Area::DT, 32764), 0xFFFF);
}

TEST(DataWrite, DataThatDoesNotFitTheNumbersChangesNothing)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WDD0000000001FFFF**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WDD0000000001FFFFFFFFF**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WDD0000000001FFFFFFF**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#WDD0000000001FFFFFF-F**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WDD0000100000FFFF**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WDD000000000A**\r"), "%01!6102\r");
    EXPECT_EQ(one.word(Area::DT, 0), 0);
    EXPECT_EQ(one.word(Area::DT, 1), 0);
}

TEST(TimerValues, SetValuesAndElapsedValuesAreReadAndWrittenApart)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WS000500063412CDAB00\r"), "%01$WS04\r");
    EXPECT_EQ(one.ask("%01#WK00050005BEEF1F\r"), "%01$WK1C\r");
    EXPECT_EQ(one.word(Area::SV, 5), 0x1234);
    EXPECT_EQ(one.word(Area::SV, 6), 0xABCD);
    EXPECT_EQ(one.word(Area::EV, 5), 0xEFBE);
    EXPECT_EQ(one.ask("%01#RS0005000605\r"), "%01$RS3412CDAB01\r");
    EXPECT_EQ(one.ask("%01#RK000500051E\r"), "%01$RKBEEF1D\r");
}

TEST(TimerValues, LastPointIsReadAndWrittenAndTheNextIsNot)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RS30713071**\r"), "%01$RS000001\r");
    EXPECT_EQ(one.ask("%01#RK30713072**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WS307130710100**\r"), "%01$WS04\r");
    EXPECT_EQ(one.ask("%01#WK307230720100**\r"), "%01!4504\r");
}

TEST(TimerValues, FieldsAreFourDigits)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RS**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RS0005**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RS0005000**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#RS000500051**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RK00060005**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WK00050005**\r"), "%01!6003\r");
}
