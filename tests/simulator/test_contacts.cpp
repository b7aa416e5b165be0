// Contact commands: RCS, RCP, RCC, WCS, WCP, WCC.

#include "wire.h"

using namespace plcsim;
using wire::OneStation;

TEST(ContactRead, OneContactIsOneCharacter)
{
    OneStation one;
    one.plc.setBit("01", Area::X, 0x1F, true);
    EXPECT_EQ(one.ask("%01#RCSX001F**\r"), "%01$RC120\r");
    EXPECT_EQ(one.ask("%01#RCSX001E**\r"), "%01$RC021\r");
}

TEST(ContactRead, EveryLetterReadsItsOwnArea)
{
    const std::pair<char, Area> letters[] = {{'X', Area::X}, {'Y', Area::Y}, {'R', Area::R},
                                             {'L', Area::L}, {'T', Area::T}, {'C', Area::C}};
    for (const auto &letter : letters) {
        OneStation one;
        one.plc.setBit("01", letter.second, 12 * 16 + 10, true);
        for (const auto &other : letters) {
            const QByteArray request = QByteArray("%01#RCS") + other.first + "012A**\r";
            EXPECT_EQ(one.ask(request), letter == other ? "%01$RC120\r" : "%01$RC021\r") << letter.first << other.first;
        }
    }
}

TEST(ContactRead, WordIsThreeDecimalDigitsAndBitOneHexadecimal)
{
    StationSettings settings;
    settings.words = AreaSizes::largest();
    OneStation one(settings);
    one.plc.setBit("01", Area::R, 999 * 16 + 15, true);
    EXPECT_EQ(one.ask("%01#RCSR999F**\r"), "%01$RC120\r");
    EXPECT_EQ(one.ask("%01#RCSR99AF**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCSR999G**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCSR999f**\r"), "%01!6102\r");
}

TEST(ContactRead, LastContactOfTheAreaIsReadAndTheNextIsADataError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCSX127F**\r"), "%01$RC021\r");
    EXPECT_EQ(one.ask("%01#RCSX1280**\r"), "%01!6102\r");
}

TEST(ContactRead, MissingAndSurplusParametersAreParameterErrors)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCS**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCSX**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCSX00000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCSD0000**\r"), "%01!6003\r");
}

TEST(ContactRead, ShortContactNumberIsAFormatError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCSX0**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#RCSX000**\r"), "%01!4100\r");
}

TEST(ContactRead, SeveralContactsComeInTheOrderAskedFor)
{
    OneStation one;
    one.plc.setBit("01", Area::Y, 0x0A, true);
    one.plc.setBit("01", Area::T, 5, true);
    EXPECT_EQ(one.ask("%01#RCP3Y000AX0000T0005**\r"), "%01$RC10121\r");
}

TEST(ContactRead, SeveralContactsAreOneToEight)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCP1X0000**\r"), "%01$RC021\r");
    EXPECT_EQ(one.ask("%01#RCP8X0000X0001X0002X0003X0004X0005X0006X0007**\r"), "%01$RC0000000011\r");
    EXPECT_EQ(one.ask("%01#RCP9X0000X0001X0002X0003X0004X0005X0006X0007X0008**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCP0**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCPA**\r"), "%01!6102\r");
}

TEST(ContactRead, CountThatDoesNotFitTheContactsIsRefused)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCP**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCP2X0000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCP1X0000X0001**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCP2X0000X00**\r"), "%01!4100\r");
}

TEST(ContactRead, BlockGivesWholeWordsLowByteFirst)
{
    OneStation one;
    one.plc.setWord("01", Area::R, 10, 0x1234);
    one.plc.setWord("01", Area::R, 12, 0xABCD);
    EXPECT_EQ(one.ask("%01#RCCR00100012**\r"), "%01$RC34120000CDAB11\r");
}

TEST(ContactRead, BlockOfTimersIsReadAsWordsOfSixteen)
{
    OneStation one;
    one.plc.setBit("01", Area::T, 2 * 16 + 3, true);
    EXPECT_EQ(one.ask("%01#RCCT00020002**\r"), "%01$RC080019\r");
    one.plc.setBit("01", Area::C, 16, true);
    EXPECT_EQ(one.ask("%01#RCCC00010001**\r"), "%01$RC010010\r");
}

TEST(ContactRead, BlockBeyondTheAreaOrBackwardsIsADataError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCCX01270127**\r"), "%01$RC000011\r");
    EXPECT_EQ(one.ask("%01#RCCX01270128**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCCX00020001**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#RCCX00020002**\r"), "%01$RC000011\r");
    EXPECT_EQ(one.ask("%01#RCCX000A0012**\r"), "%01!6102\r");
}

TEST(ContactRead, BlockWithoutItsFieldsIsRefused)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCC00100012**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCCR0010**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RCCR001000**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#RCCR001000120**\r"), "%01!6003\r");
}

TEST(ContactWrite, OneContactIsSetAndClearedAndItsNeighboursStay)
{
    OneStation one;
    one.plc.setWord("01", Area::R, 2, 0xFF00);
    EXPECT_EQ(one.ask("%01#WCSR0023122\r"), "%01$WC14\r");
    EXPECT_EQ(one.word(Area::R, 2), 0xFF08);
    EXPECT_EQ(one.ask("%01#WCSR002F056\r"), "%01$WC14\r");
    EXPECT_EQ(one.word(Area::R, 2), 0x7F08);
}

TEST(ContactWrite, OnlyOutputsInternalAndLinkRelaysCanBeWritten)
{
    OneStation one;
    for (const char *good : {"%01#WCSY00001**\r", "%01#WCSR00001**\r", "%01#WCSL00001**\r"})
        EXPECT_EQ(one.ask(good), "%01$WC14\r");
    for (const char *bad : {"%01#WCSX00001**\r", "%01#WCST00001**\r", "%01#WCSC00001**\r", "%01#WCCX00000000FFFF**\r"})
        EXPECT_EQ(one.ask(bad), "%01!6003\r") << bad;
    EXPECT_EQ(one.word(Area::X, 0), 0);
    EXPECT_EQ(one.word(Area::T, 0), 0);
}

TEST(ContactWrite, StateIsZeroOrOne)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCSR00002**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask(QByteArray("%01#WCSR0000\0**\r", 16)), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WCSR0000**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WCSR000010**\r"), "%01!6003\r");
}

TEST(ContactWrite, ContactOutsideTheAreaIsAnOperationError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCSY127F1**\r"), "%01$WC14\r");
    EXPECT_EQ(one.ask("%01#WCSY12801**\r"), "%01!4504\r");
}

TEST(ContactWrite, SeveralContactsAreWrittenTogetherOrNotAtAll)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCP3Y000A1R00001L00010**\r"), "%01$WC14\r");
    EXPECT_EQ(one.word(Area::Y, 0), 0x0400);
    EXPECT_EQ(one.word(Area::R, 0), 0x0001);
    EXPECT_EQ(one.ask("%01#WCP2R00011Y12801**\r"), "%01!4504\r");
    EXPECT_EQ(one.ask("%01#WCP2R00011X00001**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WCP2R00011**\r"), "%01!6003\r");
    EXPECT_EQ(one.word(Area::R, 0), 0x0001);
}

TEST(ContactWrite, SeveralContactsAreOneToEight)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCP8R00001R00011R00021R00031R00041R00051R00061R00071**\r"), "%01$WC14\r");
    EXPECT_EQ(one.word(Area::R, 0), 0x00FF);
    EXPECT_EQ(one.ask("%01#WCP9R00000R00010R00020R00030R00040R00050R00060R00070R00080**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WCP0**\r"), "%01!6102\r");
    EXPECT_EQ(one.word(Area::R, 0), 0x00FF);
}

TEST(ContactWrite, BlockOfWordsIsStoredLowByteFirst)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCCY001000113412CDAB**\r"), "%01$WC14\r");
    EXPECT_EQ(one.word(Area::Y, 10), 0x1234);
    EXPECT_EQ(one.word(Area::Y, 11), 0xABCD);
}

TEST(ContactWrite, BlockWithTooFewOrTooManyWordsChangesNothing)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCCY00100011FFFF**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WCCY00100011FFFFFF**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#WCCY00100011FFFFFFFFFFFF**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#WCCY00100011FFFFFFFG**\r"), "%01!6102\r");
    EXPECT_EQ(one.ask("%01#WCCY00100011FFFFfFFF**\r"), "%01!6102\r");
    EXPECT_EQ(one.word(Area::Y, 10), 0);
}

TEST(ContactWrite, BlockBeyondTheAreaIsAnOperationErrorAndBackwardsADataError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCCY01270127FFFF**\r"), "%01$WC14\r");
    EXPECT_EQ(one.ask("%01#WCCY0127012800000000**\r"), "%01!4504\r");
    EXPECT_EQ(one.ask("%01#WCCY00020001**\r"), "%01!6102\r");
    EXPECT_EQ(one.word(Area::Y, 127), 0xFFFF);
}
