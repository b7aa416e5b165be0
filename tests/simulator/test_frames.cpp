// Frames: form, check, size, header, and requests that come too soon.

#include "wire.h"

using namespace plcsim;
using wire::checked;
using wire::OneStation;

TEST(Frames, PublishedReadOfTwoDataRegistersIsAnsweredLiterally)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 0, 5);
    one.plc.setWord("01", Area::DT, 1, 10);
    EXPECT_EQ(one.ask("%01#RDD0000000001**\r"), "%01$RD05000A0062\r");
}

TEST(Frames, PublishedWriteOfOneContactIsAnsweredLiterally)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCSR0010122\r"), "%01$WC14\r");
    EXPECT_TRUE(one.bit(Area::R, 16));
}

TEST(Frames, ComputedCheckIsAccepted)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD000000000055\r"), "%01$RD000016\r");
}

TEST(Frames, CheckThatDoesNotFitIsABccErrorAndExecutesNothing)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCSR0010123\r"), "%01!4001\r");
    EXPECT_FALSE(one.bit(Area::R, 16));
}

TEST(Frames, LowerCaseCheckIsABccError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RCSX00001D\r"), "%01$RC021\r");
    EXPECT_EQ(one.ask("%01#RCSX00001d\r"), "%01!4001\r");
}

TEST(Frames, OneStarAloneIsNoWaiverOfTheCheck)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD0000000001*0\r"), "%01!4001\r");
    EXPECT_EQ(one.ask("%01#RDD00000000010*\r"), "%01!4001\r");
}

TEST(Frames, MarkOtherThanCommandIsAFormatError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01$RDD0000000001**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01RDD0000000001**\r"), "%01!4100\r");
}

TEST(Frames, FrameWithoutRoomForACommandIsAFormatError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#R**\r"), "%01!4100\r");
    EXPECT_EQ(one.ask("%01#RT**\r").substr(0, 6), "%01$RT");
}

TEST(Frames, UnknownCommandIsNotSupported)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#XX**\r"), "%01!4203\r");
    EXPECT_EQ(one.ask("%01#RC**\r"), "%01!4203\r");
    EXPECT_EQ(one.ask("%01#RCXX0000**\r"), "%01!4203\r");
    EXPECT_EQ(one.ask("%01#rdD0000000000**\r"), "%01!4203\r");
}

TEST(Frames, MultiFrameDelimiterIsAProcedureError)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD0000000001**&\r"), "%01!4302\r");
    EXPECT_EQ(one.ask("%01**&\r"), "%01!4302\r");
}

TEST(Frames, RequestThatComesTooSoonIsAProcedureErrorAndExecutesNothing)
{
    OneStation one;
    EXPECT_EQ(one.plc.answerTooSoon("%01#WDD00000000000100**\r"), "%01!4302\r");
    EXPECT_EQ(one.word(Area::DT, 0), 0);
    EXPECT_EQ(one.plc.answerTooSoon("%02#WDD00000000000100**\r"), "");
    EXPECT_EQ(one.plc.answerTooSoon("%FF#WDD00000000000100**\r"), "");
    EXPECT_EQ(one.word(Area::DT, 0), 0);
}

TEST(Frames, BytesThatAreNoFrameAreNotAnswered)
{
    OneStation one;
    for (const char *noise : {"", "%", "\r", "%0\r", "01#RT**\r", "%01#RT**", "#%01#RT**\r", "%01#RT**\n"})
        EXPECT_EQ(one.ask(noise), "") << noise;
}

TEST(Frames, RequestOf118CharactersIsTakenAndOneOf119IsOver)
{
    OneStation one;
    // 24 words make a write of 116 characters, 25 one of 120.
    EXPECT_EQ(one.ask("%01#WDD0000000023" + QByteArray(4 * 24, '1') + "**\r"), "%01$WD13\r");
    EXPECT_EQ(one.ask("%01#WDD0000000024" + QByteArray(4 * 25, '2') + "**\r"), "%01!2700\r");
    EXPECT_EQ(one.word(Area::DT, 0), 0x1111);
    // A status request made longer by surplus text: the parameter is wrong up to the limit, the frame beyond it.
    EXPECT_EQ(one.ask("%01#RT" + QByteArray(118 - 9, '0') + "**\r"), "%01!6003\r");
    EXPECT_EQ(one.ask("%01#RT" + QByteArray(119 - 9, '0') + "**\r"), "%01!2700\r");
}

TEST(Frames, ResponseOf117CharactersIsSentAndALongerOneIsOver)
{
    OneStation one;
    // 27 words make a response of 117 characters, 28 one of 121.
    EXPECT_EQ(one.ask("%01#RDD0000000026**\r"), checked("%01$RD" + QByteArray(4 * 27, '0')).toStdString());
    EXPECT_EQ(one.ask("%01#RDD0000000027**\r"), "%01!2700\r");
}

TEST(Frames, ResponseMayHaveExactlyTheLimit)
{
    StationSettings settings;
    settings.frameLimit = 117;
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RDD0000000026**\r").size(), 117U);
    settings.frameLimit = 116;
    ASSERT_TRUE(one.plc.setSettings("01", settings));
    EXPECT_EQ(one.ask("%01#RDD0000000026**\r"), "%01!2700\r");
}

TEST(Frames, LargerLimitLetsBiggerBlocksThroughWithTheSameHeader)
{
    StationSettings settings;
    settings.frameLimit = 9 + 4 * 100;
    OneStation one(settings);
    EXPECT_EQ(one.ask("%01#RDD0000000099**\r").size(), 409U);
    EXPECT_EQ(one.ask("%01#RDD0000000100**\r"), "%01!2700\r");
}

TEST(Frames, ExtendedHeaderTakes2048CharactersBothWays)
{
    OneStation one;
    // 509 words make a response of 2045 characters, 510 one of 2049.
    EXPECT_EQ(one.ask("<01#RDD0000000508**\r"), checked("<01$RD" + QByteArray(4 * 509, '0')).toStdString());
    EXPECT_EQ(one.ask("<01#RDD0000000509**\r"), "<01!2719\r");
    EXPECT_EQ(one.ask("<01#RT" + QByteArray(2048 - 9, '0') + "**\r"), "<01!601A\r");
    EXPECT_EQ(one.ask("<01#RT" + QByteArray(2049 - 9, '0') + "**\r"), "<01!2719\r");
}

TEST(Frames, UnitWithoutExtendedFramesTakesTheirHeaderForNoise)
{
    StationSettings settings;
    settings.extendedFrames = false;
    OneStation one(settings);
    EXPECT_EQ(one.ask("<01#RDD0000000000**\r"), "");
    EXPECT_EQ(one.ask("%01#RDD0000000000**\r"), "%01$RD000016\r");
}

TEST(Frames, ReadsOfTheHostsBlockSizesFitThePublishedLimit)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#RDD0010000115**\r").size(), 73U);
    EXPECT_EQ(one.ask("%01#WDD0010000115" + QByteArray(64, '0') + "**\r"), "%01$WD13\r");
}
