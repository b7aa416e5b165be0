// test_Func_Write.cpp - the write requests, byte by byte, and the mirroring of written values.
//
//  - Frames are written as they stand on the wire; their check codes were worked out by hand.

#include "frames/Func_Write.h"
#include "variables_and_frames.h"

#include <algorithm>
#include <climits>

using namespace std::string_literals;

namespace
{

/// Value bytes from a literal that may hold zeros.
QByteArray bytes(const std::string &values)
{
    return QByteArray(values.data(), int(values.size()));
}

class WriteFrames : public FrameBuilders
{
protected:
    typedef void (*Builder)(RW_VAR *);

    /// Has \a builder build for \a var; the queue then holds what it made of it, and \a var is shown to be unchanged.
    void build(Builder builder, const RW_VAR &var)
    {
        PLC_driver.lst_Protocol.clear();
        forgetAnnouncement(info);
        RW_VAR handed = var;
        builder(&handed);
        EXPECT_EQ(described(handed), described(var));
    }

    std::string writeRequest(const RW_VAR &var)
    {
        build(&WriteRegister, var);
        return frame();
    }

    std::string builtBy(Builder builder, const RW_VAR &var)
    {
        build(builder, var);
        return frame();
    }

    static bool nothingIsStored()
    {
        const struct {
            const quint16 *words;
            int count;
        } areas[] = {{PLC_driver.localT, 1250},     {PLC_driver.localC, 1250},   {PLC_driver.localWX, 10000},
                     {PLC_driver.localWY, 10000},   {PLC_driver.localWR, 10000}, {PLC_driver.localWL, 10000},
                     {PLC_driver.localDT, 1000000}, {PLC_driver.localLD, 10000}, {PLC_driver.localFL, 100000},
                     {PLC_driver.localSV, 10000},   {PLC_driver.localEV, 10000}};
        for (const auto &area : areas) {
            if (std::count(area.words, area.words + area.count, 0) != area.count)
                return false;
        }
        return PLC_driver.lst_ExtendVar.isEmpty();
    }
};

// One contact: WCS ----------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, AContactIsNamedByThreeDigitsOfItsWordAndOneOfItsBit)
{
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("\x01"))), "%01#WCSR0023122\r");
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("\0"s))), "%01#WCSR0023023\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x10, 1, 1, bytes("\x01"))), "%01#WCSR0010122\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x0F, 1, 1, bytes("\x01"))), "%01#WCSR000F155\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x0A, 1, 1, bytes("\0"s))), "%01#WCSR000A053\r");
}

TEST_F(WriteFrames, EachContactKindHasItsLetter)
{
    EXPECT_EQ(writeRequest(variable(KindY, 0x10, 1, 1, bytes("\x01"))), "%01#WCSY0010129\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x10, 1, 1, bytes("\x01"))), "%01#WCSR0010122\r");
    EXPECT_EQ(writeRequest(variable(KindL, 0x10, 1, 1, bytes("\x01"))), "%01#WCSL001013C\r");
}

TEST_F(WriteFrames, TheThousandsOfAContactsWordAreDropped)
{
    EXPECT_EQ(writeRequest(variable(KindR, 999 * 16 + 15, 1, 1, bytes("\x01"))), "%01#WCSR999F15C\r");
    EXPECT_EQ(writeRequest(variable(KindR, 1000 * 16, 1, 1, bytes("\x01"))), "%01#WCSR0000123\r");
    EXPECT_EQ(writeRequest(variable(KindR, 1234 * 16 + 5, 1, 1, bytes("\x01"))), "%01#WCSR2345123\r");
}

TEST_F(WriteFrames, AContactsStateIsExactly0Or1AndAnyOtherByteLeavesAZeroByte)
{
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("\x02"))), "%01#WCSR0023\0"
                                                                        "13\r"s);
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("\xFF"))), "%01#WCSR0023\0"
                                                                        "13\r"s);
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("1"))), "%01#WCSR0023\0"
                                                                     "13\r"s);
}

TEST_F(WriteFrames, OnlyTheFirstByteOfAContactsDataCountsAndItsCountDoesNot)
{
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 3, 1, bytes("\x01\0\0"s))), "%01#WCSR0023122\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 0, 1, bytes("\x01"))), "%01#WCSR0023122\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, INT_MAX, 1, bytes("\x01"))), "%01#WCSR0023122\r");
}

TEST_F(WriteFrames, AContactWithoutDataIsNotQueued)
{
    build(&WriteRegister, variable(KindR, 0x23, 1, 1));
    EXPECT_TRUE(PLC_driver.lst_Protocol.isEmpty());
    EXPECT_EQ(announced(info), kNothingAnnounced);
    EXPECT_TRUE(nothingIsStored());
}

TEST_F(WriteFrames, TheContactBuilderLeavesAZeroByteForAKindWithoutALetter)
{
    EXPECT_EQ(builtBy(&WriteBool, variable(KindX, 0x10, 1, 1, bytes("\x01"))), "%01#WCS\0"
                                                                               "0010170\r"s);
    EXPECT_EQ(builtBy(&WriteBool, variable(KindWR, 0x10, 1, 1, bytes("\x01"))), "%01#WCS\0"
                                                                                "0010170\r"s);
}

TEST_F(WriteFrames, AContactWriteAlwaysRecordsAnAcknowledgementEvenForABroadcast)
{
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 255, bytes("\x01"))), "%1F#WCSR0023154\r");
    EXPECT_EQ(reply(), kAcknowledgement);
}

// Relay words: WCC ----------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, RelayWordsGoOutLowByteFirst)
{
    const QByteArray values = bytes("\x34\x12\x78\x56");
    EXPECT_EQ(writeRequest(variable(KindWY, 10, 2, 1, values)), "%01#WCCY001000113412785600\r");
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_EQ(writeRequest(variable(KindWR, 10, 2, 1, values)), "%01#WCCR00100011341278560B\r");
    EXPECT_EQ(writeRequest(variable(KindWL, 10, 2, 1, values)), "%01#WCCL001000113412785615\r");
}

TEST_F(WriteFrames, RelayWordNumbersKeepTheirLowFourDigits)
{
    EXPECT_EQ(writeRequest(variable(KindWR, 9999, 1, 1, bytes("\x34\x12"))), "%01#WCCR99999999341206\r");
    EXPECT_EQ(writeRequest(variable(KindWR, 9999, 2, 1, bytes("\x34\x12\0\0"s))), "%01#WCCR999900003412000006\r");
    EXPECT_EQ(writeRequest(variable(KindWR, 12345, 1, 1, bytes("\x34\x12"))), "%01#WCCR23452345341206\r");
}

TEST_F(WriteFrames, TheRelayWordBuilderLeavesAZeroByteForAKindWithoutALetter)
{
    EXPECT_EQ(builtBy(&WriteboolWCC, variable(KindWX, 5, 1, 1, bytes("\x34\x12"))), "%01#WCC\0"
                                                                                    "00050005341254\r"s);
}

// Registers: WD -------------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, RegistersAreNamedByFirstAndLastInFiveDigits)
{
    const QByteArray values = bytes("\x34\x12\x78\x56");
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 1, values)), "%01#WDD00100001013412785659\r");
    EXPECT_EQ(request().frameLen, 28);
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_EQ(writeRequest(variable(KindLD, 100, 2, 1, values)), "%01#WDL00100001013412785651\r");
    EXPECT_EQ(writeRequest(variable(KindFL, 100, 2, 1, values)), "%01#WDF0010000101341278565B\r");
}

TEST_F(WriteFrames, DataBytesAreUpperCaseAndUnsigned)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 1, bytes("\xAB\xCD"))), "%01#WDD0010000100ABCD54\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 1, bytes("\x0A\xF0"))), "%01#WDD00100001000AF057\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 1, bytes("\xFF\x80"))), "%01#WDD0010000100FF8058\r");
}

TEST_F(WriteFrames, RegisterNumbersKeepTheirLowFiveDigits)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 99999, 1, 1, bytes("\x34\x12"))), "%01#WDD9999999999341254\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 99999, 2, 1, bytes("\x34\x12\xFF\xFF"))), "%01#WDD99999000003412FFFF5D\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 123456, 1, 1, bytes("\x34\x12"))), "%01#WDD2345623456341254\r");
}

TEST_F(WriteFrames, TheRegisterBuilderLeavesAZeroByteForAKindWithoutALetter)
{
    EXPECT_EQ(builtBy(&WriteAnalog, variable(KindSV, 100, 1, 1, bytes("\x34\x12"))), "%01#WD\0"
                                                                                     "0010000100341210\r"s);
}

// Set and elapsed values: WS, WK --------------------------------------------------------------------------------------

TEST_F(WriteFrames, SetAndElapsedValuesAreNamedByFirstAndLastInFourDigits)
{
    EXPECT_EQ(writeRequest(variable(KindSV, 5, 1, 1, bytes("\x34\x12"))), "%01#WS00050005341207\r");
    EXPECT_EQ(request().frameLen, 21);
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(announced(info), kOneFrame);
    EXPECT_EQ(writeRequest(variable(KindEV, 5, 1, 1, bytes("\x34\x12"))), "%01#WK0005000534121F\r");
    EXPECT_EQ(writeRequest(variable(KindSV, 9999, 1, 1, bytes("\x34\x12"))), "%01#WS99999999341207\r");
    EXPECT_EQ(writeRequest(variable(KindSV, 12345, 1, 1, bytes("\x34\x12"))), "%01#WS23452345341207\r");
}

TEST_F(WriteFrames, TheTimerBuilderLeavesAZeroByteForAMissingCommandLetter)
{
    EXPECT_EQ(builtBy(&WriteTCWSK, variable(KindDT, 5, 1, 1, bytes("\x34\x12"))), "%01#W\0"
                                                                                  "00050005341254\r"s);
}

// Data that does not fit its count ------------------------------------------------------------------------------------

TEST_F(WriteFrames, WordsMissingFromTheDataAreZeroBytesAndTheFrameKeepsItsLength)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 1, bytes("\x34\x12"))), "%01#WDD00100001013412\0\0\0\0"
                                                                            "55\r"s);
    EXPECT_EQ(writeRequest(variable(KindWR, 5, 2, 1, bytes("\x34\x12"))), "%01#WCCR000500063412\0\0\0\0"
                                                                          "05\r"s);
    EXPECT_EQ(writeRequest(variable(KindEV, 5, 2, 1, bytes("\x34\x12"))), "%01#WK000500063412\0\0\0\0"
                                                                          "1C\r"s);
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 1)), "%01#WDD0010000101\0\0\0\0\0\0\0\0"
                                                         "51\r"s);
}

TEST_F(WriteFrames, AWordOfWhichOnlyTheLowByteIsThereIsMissing)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 1, bytes("\x34\x12\x78"))), "%01#WDD00100001013412\0\0\0\0"
                                                                                "55\r"s);
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 1, bytes("\x34"))), "%01#WDD0010000100\0\0\0\0"
                                                                        "50\r"s);
}

TEST_F(WriteFrames, DataBeyondTheCountIsNotSent)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 1, bytes("\x34\x12\x78\x56"))), "%01#WDD0010000100341254\r");
}

TEST_F(WriteFrames, AWriteOfNoWordsEndsBeforeItsStartAndCarriesNoData)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 0, 1, bytes("\x34\x12"))), "%01#WDD001000009951\r");
    EXPECT_EQ(writeRequest(variable(KindWR, 10, 0, 1)), "%01#WCCR001000090A\r");
    EXPECT_EQ(writeRequest(variable(KindSV, 10, 0, 1)), "%01#WS001000090B\r");
}

TEST_F(WriteFrames, AsManyWordsAsTheCountSaysAreSent)
{
    const std::string words = writeRequest(variable(KindDT, 0, 1000, 1, QByteArray(2000, '\x5A')));
    EXPECT_EQ(words.substr(0, 17), "%01#WDD0000000999");
    std::string data;
    for (int word = 0; word < 1000; ++word)
        data += "5A5A";
    EXPECT_EQ(words.substr(17, 4000), data);
    EXPECT_EQ(words.substr(4017), "59\r"); // the data characters cancel out: the check code of the first 17
}

// Station -------------------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, ABroadcastOfWordsExpectsNoReply)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 255, bytes("\x34\x12\x78\x56"))), "%1F#WDD0010000101341278562F\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(writeRequest(variable(KindWR, 10, 1, 255, bytes("\x34\x12"))), "%1F#WCCR00100010341270\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(writeRequest(variable(KindSV, 5, 1, 255, bytes("\x34\x12"))), "%1F#WS00050005341271\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(writeRequest(variable(KindEV, 5, 1, 255, bytes("\x34\x12"))), "%1F#WK00050005341269\r");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(announced(info), kOneFrame);
    const qint32 besideTheBroadcast[] = {254, 256};
    for (qint32 station : besideTheBroadcast) {
        EXPECT_NE(writeRequest(variable(KindDT, 100, 1, station, bytes("\x34\x12"))), "");
        EXPECT_EQ(reply(), kAcknowledgement);
    }
}

TEST_F(WriteFrames, TheDestinationTellsOnlyWhetherTheStationIsAbove4AndItsLowDigit)
{
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 5, bytes("\x34\x12"))), "%15#WDD0010000100341251\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 10, bytes("\x34\x12"))), "%1A#WDD0010000100341225\r");
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 1, 0, bytes("\x34\x12"))), "%00#WDD0010000100341255\r");
}

// Which kinds are written ---------------------------------------------------------------------------------------------

TEST_F(WriteFrames, EachKindGoesToItsBuilder)
{
    const struct {
        qint32 kind;
        const char *command;
    } rows[] = {{KindY, "WCSY"},  {KindR, "WCSR"},  {KindL, "WCSL"},  {KindWY, "WCCY"},
                {KindWR, "WCCR"}, {KindWL, "WCCL"}, {KindDT, "WDD0"}, {KindLD, "WDL0"},
                {KindFL, "WDF0"}, {KindSV, "WS00"}, {KindEV, "WK00"}};
    for (const auto &row : rows)
        EXPECT_EQ(writeRequest(variable(row.kind, 5, 1, 1, bytes("\x01\x02"))).substr(4, 4), row.command);
}

TEST_F(WriteFrames, InputsContactsAndUnknownKindsHaveNoWrite)
{
    const qint32 kinds[] = {KindX, KindT, KindC, KindWX, 15, -1};
    for (qint32 kind : kinds) {
        build(&WriteRegister, variable(kind, 5, 1, 1, bytes("\x01\x02")));
        EXPECT_TRUE(PLC_driver.lst_Protocol.isEmpty()) << "kind " << kind;
        EXPECT_EQ(announced(info), kNothingAnnounced) << "kind " << kind;
    }
}

// What the record holds -----------------------------------------------------------------------------------------------

TEST_F(WriteFrames, TheRecordHoldsAWholeCopyOfTheVariable)
{
    const qint32 kinds[] = {KindR, KindWY, KindDT, KindSV};
    for (qint32 kind : kinds) {
        RW_VAR var = distinctVariable();
        var.areaKind = kind;
        build(&WriteRegister, var);
        ASSERT_EQ(countOf(PLC_driver.lst_Protocol), 1);
        EXPECT_EQ(described(request().var), described(var));
    }
}

TEST_F(WriteFrames, FramesAreAppendedBehindThoseThatWait)
{
    RW_VAR first = variable(KindR, 0x23, 1, 1, bytes("\x01"));
    RW_VAR second = variable(KindSV, 5, 1, 1, bytes("\x34\x12"));
    WriteRegister(&first);
    WriteRegister(&second);
    EXPECT_EQ(frames(), (std::vector<std::string>{"%01#WCSR0023122\r", "%01#WS00050005341207\r"}));
}

// The mirror in the local store ---------------------------------------------------------------------------------------

TEST_F(WriteFrames, AWrittenValueIsMirroredWhileTheLinkIsGood)
{
    build(&WriteRegister, variable(KindDT, 100, 2, 1, bytes("\x34\x12\x78\x56")));
    EXPECT_EQ(PLC_driver.localDT[99], 0);
    EXPECT_EQ(PLC_driver.localDT[100], 0x1234);
    EXPECT_EQ(PLC_driver.localDT[101], 0x5678);
    EXPECT_EQ(PLC_driver.localDT[102], 0);
    build(&WriteRegister, variable(KindR, 0x23, 1, 1, bytes("\x01")));
    EXPECT_EQ(PLC_driver.localWR[2], 0x0008);
    build(&WriteRegister, variable(KindWL, 7, 1, 1, bytes("\x01\x80")));
    EXPECT_EQ(PLC_driver.localWL[7], 0x8001);
    build(&WriteRegister, variable(KindEV, 3, 1, 1, bytes("\x0A\0"s)));
    EXPECT_EQ(PLC_driver.localEV[3], 10);
}

TEST_F(WriteFrames, AWrittenValueIsQueuedButNotMirroredAfterAFailure)
{
    PLC_driver.bCommFail = 1;
    EXPECT_EQ(writeRequest(variable(KindDT, 100, 2, 1, bytes("\x34\x12\x78\x56"))), "%01#WDD00100001013412785659\r");
    EXPECT_EQ(writeRequest(variable(KindR, 0x23, 1, 1, bytes("\x01"))), "%01#WCSR0023122\r");
    build(&WriteRegister, variable(KindWX, 5, 1, 1, bytes("\x34\x12")));
    EXPECT_TRUE(nothingIsStored());
}

TEST_F(WriteFrames, InputWordsAreMirroredAlthoughTheyHaveNoWrite)
{
    build(&WriteRegister, variable(KindWX, 5, 1, 1, bytes("\x34\x12")));
    EXPECT_TRUE(PLC_driver.lst_Protocol.isEmpty());
    EXPECT_EQ(PLC_driver.localWX[5], 0x1234);
}

TEST_F(WriteFrames, InputBitsContactsAndUnknownKindsAreNotMirrored)
{
    const qint32 kinds[] = {KindX, KindT, KindC, 15, -1};
    for (qint32 kind : kinds) {
        build(&WriteRegister, variable(kind, 5, 1, 1, bytes("\x01\x01")));
        EXPECT_TRUE(nothingIsStored()) << "kind " << kind;
    }
}

TEST_F(WriteFrames, WithSeveralStationsTheMirrorIsTheStationsOwnWord)
{
    info.multiStation = 1;
    build(&WriteRegister, variable(KindDT, 100, 1, 3, bytes("\x34\x12")));
    ASSERT_EQ(countOf(PLC_driver.lst_ExtendVar), 1);
    const EXTENDVAR &cell = PLC_driver.lst_ExtendVar.at(0);
    EXPECT_EQ(cell.station, 3);
    EXPECT_EQ(cell.areaKind, KindDT);
    EXPECT_EQ(cell.address, 100);
    EXPECT_EQ(text(cell.data), "\x34\x12");
    EXPECT_EQ(PLC_driver.localDT[100], 0);
}

TEST_F(WriteFrames, TheBuildersThemselvesDoNotMirror)
{
    build(&WriteAnalog, variable(KindDT, 100, 1, 1, bytes("\x34\x12")));
    build(&WriteBool, variable(KindR, 0x23, 1, 1, bytes("\x01")));
    build(&WriteboolWCC, variable(KindWR, 5, 1, 1, bytes("\x34\x12")));
    build(&WriteTCWSK, variable(KindSV, 5, 1, 1, bytes("\x34\x12")));
    EXPECT_TRUE(nothingIsStored());
}

// Locks ---------------------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, BuildersTakeNoLockAndTheMirrorTakesOnlyTheAreas)
{
    RW_VAR var = variable(KindDT, 100, 1, 1, bytes("\x34\x12"));
    const auto write = [&var] { WriteRegister(&var); };
    const auto build = [&var] { WriteAnalog(&var); };
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, build));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, write));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexStation, write));
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, write));
    PLC_driver.bCommFail = 1;
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, write));
    EXPECT_TRUE(allLocksAreFree());
}

// Absurd numbers ------------------------------------------------------------------------------------------------------

TEST_F(WriteFrames, TheWordsOfAFrameAreBoundedByTheArea)
{
    EXPECT_EQ(writeRequest(variable(KindWR, 0, 10000, 1)).size(), 19u + 4 * 10000);
    EXPECT_LE(writeRequest(variable(KindWR, 0, 10001, 1)).size(), 19u + 4 * 10000);
    EXPECT_LE(writeRequest(variable(KindWR, 0, INT_MAX, 1)).size(), 19u + 4 * 10000);
    EXPECT_EQ(writeRequest(variable(KindFL, 0, 100000, 1)).size(), 20u + 4 * 100000);
    EXPECT_LE(writeRequest(variable(KindFL, 0, INT_MAX, 1)).size(), 20u + 4 * 100000);
    EXPECT_EQ(writeRequest(variable(KindSV, 0, 10000, 1)).size(), 17u + 4 * 10000);
    EXPECT_LE(writeRequest(variable(KindSV, 0, INT_MAX, 1)).size(), 17u + 4 * 10000);
    EXPECT_EQ(writeRequest(variable(KindDT, 0, 1000000, 1)).size(), 20u + 4 * 1000000);
    EXPECT_LE(writeRequest(variable(KindDT, 0, INT_MAX, 1)).size(), 20u + 4 * 1000000);
    EXPECT_LE(builtBy(&WriteAnalog, variable(99, 0, INT_MAX, 1)).size(), 20u + 4 * 1000000);
}

TEST_F(WriteFrames, AbsurdAddressesAndCountsAreSurvived)
{
    const qint32 absurd[] = {INT_MAX, INT_MIN, -1, 1000000000};
    const qint32 kinds[] = {KindR, KindWR, KindDT, KindSV};
    for (qint32 kind : kinds) {
        const QByteArray oneElement = kind == KindR ? bytes("\x01") : bytes("\x01\x01");
        for (qint32 address : absurd) {
            EXPECT_LE(writeRequest(variable(kind, address, 1, 1, oneElement)).size(), 24u);
            for (qint32 count : absurd) {
                build(&WriteRegister, variable(kind, address, count, 1, oneElement));
                EXPECT_LE(countOf(PLC_driver.lst_Protocol), 1);
            }
        }
    }
    EXPECT_TRUE(nothingIsStored());
}

} // namespace
