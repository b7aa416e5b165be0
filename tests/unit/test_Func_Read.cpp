// test_Func_Read.cpp - the read requests, byte by byte, and what their records say of the reply.
//
//  - Frames are written as they stand on the wire; the check codes of RS and RK were worked out by hand.
//  - qmap_list is filled here as the communication cycle fills it: whole runs for one entry, single words for several.

#include "frames/Func_Read.h"
#include "variables_and_frames.h"

#include <climits>

using namespace std::string_literals;

namespace
{

class ReadFrames : public FrameBuilders
{
protected:
    /// The only frame of a read of qmap_list's only entry.
    std::string readRequest(qint32 kind, qint32 address, qint32 count, qint32 station = 1)
    {
        readOf({variable(kind, address, count, station)});
        return frame();
    }

    void readOf(const std::vector<RW_VAR> &entries)
    {
        PLC_driver.lst_Protocol.clear();
        qmap_list.clear();
        for (const RW_VAR &entry : entries)
            qmap_list.append(entry);
        ReadRegister();
    }
};

// One run of relay words or contacts: RCC -----------------------------------------------------------------------------

TEST_F(ReadFrames, RelayWordsAreNamedByFirstAndLastInFourDigits)
{
    EXPECT_EQ(readRequest(KindWR, 10, 3), "%01#RCCR00100012**\r");
    EXPECT_EQ(reply(), (ExpectedReply{21, 6, 12}));
    EXPECT_EQ(announced(info), kOneFrame);
}

TEST_F(ReadFrames, TimerContactsAreReadByTheWord)
{
    EXPECT_EQ(readRequest(KindT, 2, 1), "%01#RCCT00020002**\r");
    EXPECT_EQ(reply(), (ExpectedReply{13, 6, 4}));
}

TEST_F(ReadFrames, EachRelayKindHasItsLetter)
{
    EXPECT_EQ(readRequest(KindX, 1, 2), "%01#RCCX00010002**\r");
    EXPECT_EQ(readRequest(KindY, 1, 2), "%01#RCCY00010002**\r");
    EXPECT_EQ(readRequest(KindR, 1, 2), "%01#RCCR00010002**\r");
    EXPECT_EQ(readRequest(KindL, 1, 2), "%01#RCCL00010002**\r");
    EXPECT_EQ(readRequest(KindT, 1, 2), "%01#RCCT00010002**\r");
    EXPECT_EQ(readRequest(KindC, 1, 2), "%01#RCCC00010002**\r");
    EXPECT_EQ(readRequest(KindWX, 1, 2), "%01#RCCX00010002**\r");
    EXPECT_EQ(readRequest(KindWY, 1, 2), "%01#RCCY00010002**\r");
    EXPECT_EQ(readRequest(KindWR, 1, 2), "%01#RCCR00010002**\r");
    EXPECT_EQ(readRequest(KindWL, 1, 2), "%01#RCCL00010002**\r");
}

TEST_F(ReadFrames, AnUnknownKindAloneKeepsTheNineteenBytesWithAZeroForTheLetter)
{
    EXPECT_EQ(readRequest(15, 1, 2), "%01#RCC\0"
                                     "00010002**\r"s);
    EXPECT_EQ(readRequest(-1, 1, 2), "%01#RCC\0"
                                     "00010002**\r"s);
    EXPECT_EQ(reply(), (ExpectedReply{17, 6, 8}));
}

TEST_F(ReadFrames, TheRelayBuilderHasNoLetterForRegisters)
{
    ReadBoolRCC(variable(KindDT, 1, 2));
    EXPECT_EQ(frame(), "%01#RCC\0"
                       "00010002**\r"s);
}

TEST_F(ReadFrames, RelayWordNumbersKeepTheirLowFourDigits)
{
    EXPECT_EQ(readRequest(KindWR, 9999, 1), "%01#RCCR99999999**\r");
    EXPECT_EQ(readRequest(KindWR, 9999, 2), "%01#RCCR99990000**\r");
    EXPECT_EQ(readRequest(KindWR, 12345, 1), "%01#RCCR23452345**\r");
}

// One run of registers: RD --------------------------------------------------------------------------------------------

TEST_F(ReadFrames, RegistersAreNamedByFirstAndLastInFiveDigits)
{
    EXPECT_EQ(readRequest(KindDT, 100, 16), "%01#RDD0010000115**\r");
    EXPECT_EQ(reply(), (ExpectedReply{73, 6, 64}));
    EXPECT_EQ(announced(info), kOneFrame);
}

TEST_F(ReadFrames, EachRegisterKindHasItsLetter)
{
    EXPECT_EQ(readRequest(KindDT, 7, 1), "%01#RDD0000700007**\r");
    EXPECT_EQ(readRequest(KindLD, 7, 1), "%01#RDL0000700007**\r");
    EXPECT_EQ(readRequest(KindFL, 7, 1), "%01#RDF0000700007**\r");
    EXPECT_EQ(readRequest(KindFL, 12340, 16), "%01#RDF1234012355**\r");
}

TEST_F(ReadFrames, ThePublishedRegisterReadIsBuiltAndItsReplyHasTheLengthAskedFor)
{
    EXPECT_EQ(readRequest(KindDT, 0, 2), "%01#RDD0000000001**\r");
    EXPECT_EQ(reply(), (ExpectedReply{17, 6, 8}));
    EXPECT_EQ("%01$RD05000A0062\r"s.size(), 17u);
    EXPECT_EQ("%01$RD05000A0062\r"s.substr(6, 8), "05000A00");
}

TEST_F(ReadFrames, RegisterNumbersKeepTheirLowFiveDigits)
{
    EXPECT_EQ(readRequest(KindDT, 99999, 1), "%01#RDD9999999999**\r");
    EXPECT_EQ(readRequest(KindDT, 99999, 2), "%01#RDD9999900000**\r");
    EXPECT_EQ(readRequest(KindDT, 123456, 1), "%01#RDD2345623456**\r");
}

TEST_F(ReadFrames, TheRegisterBuilderKeepsItsTwentyBytesForAKindWithoutALetter)
{
    ReadAnalog(variable(KindSV, 100, 2));
    ReadAnalog(variable(KindWL, 100, 2));
    EXPECT_EQ(frames(), (std::vector<std::string>{"%01#RD\0"
                                                  "0010000101**\r"s,
                                                  "%01#RD\0"
                                                  "0010000101**\r"s}));
}

// One run of set or elapsed values: RS, RK ----------------------------------------------------------------------------

TEST_F(ReadFrames, SetAndElapsedValuesCarryAComputedCheckCode)
{
    EXPECT_EQ(readRequest(KindSV, 2, 1), "%01#RS0002000206\r");
    EXPECT_EQ(reply(), (ExpectedReply{13, 6, 4}));
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_EQ(readRequest(KindEV, 2, 1), "%01#RK000200021E\r");
    EXPECT_EQ(readRequest(KindSV, 1234, 16), "%01#RS123412490C\r");
    EXPECT_EQ(reply(), (ExpectedReply{73, 6, 64}));
    EXPECT_EQ(readRequest(KindEV, 5, 10), "%01#RK000500141E\r");
    EXPECT_EQ(readRequest(KindSV, 0, 1), "%01#RS0000000006\r");
}

TEST_F(ReadFrames, TimerNumbersKeepTheirLowFourDigits)
{
    EXPECT_EQ(readRequest(KindEV, 12345, 1), "%01#RK234523451E\r");
}

TEST_F(ReadFrames, TheTimerBuilderChecksAZeroForAMissingCommandLetter)
{
    ReadTCSK(variable(KindDT, 2, 1));
    EXPECT_EQ(frame(), "%01#R\0"
                       "0002000255\r"s);
}

// Several words: MD, MD, MG -------------------------------------------------------------------------------------------

TEST_F(ReadFrames, SeveralWordsAreReadThroughTheMonitorInThreeFrames)
{
    readOf({variable(KindDT, 5, 1, 2), variable(KindWY, 3, 1, 2)});
    EXPECT_EQ(frames(), (std::vector<std::string>{
                            "%02#MDFFFFFF**\r",
                            "%02#MDD00005WY00003**\r",
                            "%02#MG**\r",
                        }));
    EXPECT_EQ(reply(0), kAcknowledgement);
    EXPECT_EQ(reply(1), kAcknowledgement);
    EXPECT_EQ(reply(2), (ExpectedReply{22, 11, 8}));
    EXPECT_EQ(announced(info), kThreeFrames);
}

TEST_F(ReadFrames, TheMonitorReplyHasFourteenBytesMoreThanItsWords)
{
    readOf({variable(KindDT, 1), variable(KindDT, 2), variable(KindDT, 3)});
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 3);
    EXPECT_EQ(reply(2), (ExpectedReply{26, 11, 12}));
    EXPECT_EQ(announced(info), kThreeFrames);
}

TEST_F(ReadFrames, EachWordKindIsRegisteredUnderItsOwnCode)
{
    readOf({variable(KindWX, 1), variable(KindWY, 2), variable(KindWR, 3), variable(KindWL, 4), variable(KindDT, 5),
            variable(KindLD, 6), variable(KindFL, 7), variable(KindSV, 8), variable(KindEV, 9)});
    EXPECT_EQ(frames()[1], "%01#MD"
                           "WX00001WY00002WR00003WL00004"
                           "D00005L00006F00007S00008K00009"
                           "**\r");
    EXPECT_EQ(reply(2), (ExpectedReply{50, 11, 36}));
}

TEST_F(ReadFrames, RegisteredRelayWordsKeepFourDigitsAndRegistersFive)
{
    readOf({variable(KindWR, 9999), variable(KindWR, 10000), variable(KindWX, 12345), variable(KindDT, 99999),
            variable(KindDT, 100000), variable(KindEV, 123456)});
    EXPECT_EQ(frames()[1], "%01#MD"
                           "WR09999WR00000WX02345"
                           "D99999D00000K23456"
                           "**\r");
}

TEST_F(ReadFrames, OnlyTheFirstWordOfAnEntryIsRegistered)
{
    readOf({variable(KindDT, 5, 3), variable(KindWY, 3, 2)});
    EXPECT_EQ(frames()[1], "%01#MDD00005WY00003**\r");
    EXPECT_EQ(reply(2), (ExpectedReply{22, 11, 8}));
}

TEST_F(ReadFrames, EntriesOfOtherKindsAreNotRegisteredButCounted)
{
    readOf({variable(KindX, 1), variable(KindDT, 5), variable(KindL, 2), variable(KindT, 3), variable(KindC, 4),
            variable(15, 6), variable(-1, 7)});
    EXPECT_EQ(frames()[1], "%01#MDD00005**\r");
    EXPECT_EQ(reply(2), (ExpectedReply{42, 11, 28}));
}

TEST_F(ReadFrames, TheMonitorFramesGoToTheFirstEntrysStation)
{
    readOf({variable(KindDT, 5, 1, 10), variable(KindDT, 6, 1, 3)});
    EXPECT_EQ(frames(), (std::vector<std::string>{
                            "%1A#MDFFFFFF**\r",
                            "%1A#MDD00005D00006**\r",
                            "%1A#MG**\r",
                        }));
}

TEST_F(ReadFrames, AGroupLargerThanTheCyclesFourteenIsBuiltWhole)
{
    std::vector<RW_VAR> entries;
    for (qint32 word = 0; word < 17; ++word)
        entries.push_back(variable(KindDT, word));
    readOf(entries);
    EXPECT_EQ(frames()[1], "%01#MD"
                           "D00000D00001D00002D00003D00004D00005D00006D00007D00008D00009D00010D00011D00012D00013"
                           "D00014D00015D00016"
                           "**\r");
    EXPECT_EQ(reply(2), (ExpectedReply{82, 11, 68}));
}

TEST_F(ReadFrames, TheMonitorCopiesAreMarkedAsAGroupAndTheFirstTwoAsWithoutData)
{
    RW_VAR first = distinctVariable();
    readOf({first, variable()});
    ASSERT_EQ(countOf(PLC_driver.lst_Protocol), 3);
    first.extra1 = 88;
    EXPECT_EQ(described(request(2).var), described(first)); // varFlag is the variable's own
    first.varFlag = 1;
    EXPECT_EQ(described(request(0).var), described(first));
    EXPECT_EQ(described(request(1).var), described(first));
}

TEST_F(ReadFrames, TheEntriesOfTheGroupAreNotMarked)
{
    const RW_VAR first = distinctVariable(), second = variable(KindWX, 3);
    readOf({first, second});
    EXPECT_EQ(described(qmap_list), (std::vector<std::string>{described(first), described(second)}));
}

TEST_F(ReadFrames, TheMonitorBuilderTakesStationAndCopyFromItsArgument)
{
    qmap_list.append(variable(KindDT, 5, 1, 1));
    qmap_list.append(variable(KindDT, 6, 1, 1));
    RW_VAR var = distinctVariable();
    ReadWordMD(var);
    EXPECT_EQ(frames(), (std::vector<std::string>{
                            "%03#MDFFFFFF**\r",
                            "%03#MDD00005D00006**\r",
                            "%03#MG**\r",
                        }));
    var.extra1 = 88;
    EXPECT_EQ(described(request(2).var), described(var));
}

// Which builder -------------------------------------------------------------------------------------------------------

TEST_F(ReadFrames, EachKindGoesToItsBuilder)
{
    for (qint32 kind = KindX; kind <= KindWL; ++kind)
        EXPECT_EQ(readRequest(kind, 0, 1).substr(4, 3), "RCC") << "kind " << kind;
    for (qint32 kind = KindDT; kind <= KindFL; ++kind)
        EXPECT_EQ(readRequest(kind, 0, 1).substr(4, 2), "RD") << "kind " << kind;
    EXPECT_EQ(readRequest(KindSV, 0, 1).substr(4, 2), "RS");
    EXPECT_EQ(readRequest(KindEV, 0, 1).substr(4, 2), "RK");
}

TEST_F(ReadFrames, OneEntryIsReadByOneFrameAndTwoByThree)
{
    readOf({variable(KindDT, 1)});
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 1);
    EXPECT_EQ(announced(info), kOneFrame);
    readOf({variable(KindDT, 1), variable(KindDT, 2)});
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 3);
    EXPECT_EQ(announced(info), kThreeFrames);
}

TEST_F(ReadFrames, NoEntryBuildsNothing)
{
    readOf({});
    EXPECT_TRUE(PLC_driver.lst_Protocol.isEmpty());
    EXPECT_EQ(announced(info), kNothingAnnounced);
}

// What all have in common ---------------------------------------------------------------------------------------------

TEST_F(ReadFrames, TheDestinationTellsOnlyWhetherTheStationIsAbove4AndItsLowDigit)
{
    EXPECT_EQ(readRequest(KindDT, 1, 1, 1), "%01#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 4), "%04#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 5), "%15#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 10), "%1A#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 15), "%1F#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 16), "%10#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 17), "%11#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, 0), "%00#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindDT, 1, 1, -1), "%0F#RDD0000100001**\r");
    EXPECT_EQ(readRequest(KindWX, 1, 1, 5), "%15#RCCX00010001**\r");
    EXPECT_EQ(readRequest(KindEV, 7, 2, 5), "%15#RK0007000814\r");
    EXPECT_EQ(readRequest(KindEV, 1, 1, 10), "%1A#RK000100016F\r");
}

TEST_F(ReadFrames, ABroadcastExpectsNoReply)
{
    EXPECT_EQ(readRequest(KindWR, 10, 3, 255), "%1F#RCCR00100012**\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(readRequest(KindDT, 100, 16, 255), "%1F#RDD0010000115**\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(readRequest(KindSV, 7, 1, 255), "%1F#RS0007000770\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_NE(readRequest(KindDT, 100, 16, 254), "");
    EXPECT_EQ(reply(), (ExpectedReply{73, 6, 64}));
    EXPECT_NE(readRequest(KindDT, 100, 16, 256), "");
    EXPECT_EQ(reply(), (ExpectedReply{73, 6, 64}));
}

TEST_F(ReadFrames, ABroadcastThroughTheMonitorExpectsNoReplyToAnyOfItsFrames)
{
    readOf({variable(KindDT, 5, 1, 255), variable(KindWY, 3, 1, 255)});
    EXPECT_EQ(frames(), (std::vector<std::string>{
                            "%1F#MDFFFFFF**\r",
                            "%1F#MDD00005WY00003**\r",
                            "%1F#MG**\r",
                        }));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(reply(i), kNoReply) << "frame " << i;
    EXPECT_EQ(announced(info), kThreeFrames);
}

TEST_F(ReadFrames, TheRecordOfASingleReadHoldsAWholeCopyOfTheVariable)
{
    const qint32 kinds[] = {KindWX, KindDT, KindSV, 15};
    for (qint32 kind : kinds) {
        RW_VAR var = distinctVariable();
        var.areaKind = kind;
        readOf({var});
        ASSERT_EQ(countOf(PLC_driver.lst_Protocol), 1);
        EXPECT_EQ(described(request().var), described(var));
        EXPECT_EQ(described(qmap_list), (std::vector<std::string>{described(var)}));
    }
}

TEST_F(ReadFrames, AReadOfNoWordsEndsBeforeItsStart)
{
    EXPECT_EQ(readRequest(KindWR, 10, 0), "%01#RCCR00100009**\r");
    EXPECT_EQ(reply(), (ExpectedReply{9, 6, 0}));
    EXPECT_EQ(readRequest(KindDT, 10, 0), "%01#RDD0001000009**\r");
    EXPECT_EQ(reply(), (ExpectedReply{9, 6, 0}));
    EXPECT_EQ(readRequest(KindSV, 10, 0), "%01#RS001000090E\r");
    EXPECT_EQ(reply(), (ExpectedReply{9, 6, 0}));
}

TEST_F(ReadFrames, FramesAreAppendedBehindThoseThatWait)
{
    ReadAnalog(variable(KindDT, 1));
    ReadTCSK(variable(KindSV, 2));
    ReadBoolRCC(variable(KindWX, 3));
    EXPECT_EQ(frames(), (std::vector<std::string>{
                            "%01#RDD0000100001**\r",
                            "%01#RS0002000206\r",
                            "%01#RCCX00030003**\r",
                        }));
}

TEST_F(ReadFrames, AbsurdAddressesAndCountsKeepTheLengthOfTheFrame)
{
    const qint32 absurd[] = {INT_MAX, INT_MIN, -1, 1000000000};
    for (qint32 address : absurd) {
        for (qint32 count : absurd) {
            EXPECT_EQ(readRequest(KindWR, address, count).size(), 19u);
            EXPECT_EQ(readRequest(KindDT, address, count).size(), 20u);
            EXPECT_EQ(readRequest(KindSV, address, count).size(), 17u);
            readOf({variable(KindDT, address, count), variable(KindWL, address, count)});
            ASSERT_EQ(frames().size(), 3u);
            EXPECT_EQ(frames()[1].size(), 22u); // "%01#MD", 6 and 7 characters, "**" and CR
        }
    }
}

TEST_F(ReadFrames, BuildersTakeNoLock)
{
    qmap_list.append(variable(KindDT, 5));
    QMutex *mutexes[] = {&PLC_driver.mutexList, &PLC_driver.mutexArea, &PLC_driver.mutexStation};
    for (QMutex *mutex : mutexes)
        EXPECT_TRUE(takesNoLock(*mutex, [] { ReadRegister(); }));
    qmap_list.append(variable(KindWX, 5));
    for (QMutex *mutex : mutexes)
        EXPECT_TRUE(takesNoLock(*mutex, [] { ReadRegister(); }));
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 3 + 9);
}

} // namespace
