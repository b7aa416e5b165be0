// test_Func_Remote.cpp - the binary records of remote mode, byte by byte.
//
//  - Records are written in hexadecimal, one byte per pair; their sums were worked out by hand.

#include "frames/Func_Remote.h"
#include "variables_and_frames.h"

#include <climits>

using namespace std::string_literals;

namespace
{

class RemoteRecords : public FrameBuilders
{
protected:
    /// DT100, two words, asked for over link 1.
    static RW_VAR remoteVariable(const std::string &data = std::string())
    {
        RW_VAR var = variable(KindDT, 100, 2);
        var.linkNo = 1;
        var.data = QByteArray(data.data(), int(data.size()));
        return var;
    }

    std::string readRecord(const RW_VAR &var) { return recordBy(&Remote_ReadVar, var); }
    std::string writeRecord(const RW_VAR &var) { return recordBy(&Remote_WriteVar, var); }

    /// Has the builder build for \a var, which it must not change; the queue then holds what it made.
    void build(void (*builder)(RW_VAR *), const RW_VAR &var)
    {
        PLC_driver.lst_Protocol.clear();
        forgetAnnouncement(info);
        RW_VAR handed = var;
        builder(&handed);
        EXPECT_EQ(described(handed), described(var));
    }

private:
    std::string recordBy(void (*builder)(RW_VAR *), const RW_VAR &var)
    {
        build(builder, var);
        return QByteArray(frame().data(), int(frame().size())).toHex(' ').toStdString();
    }
};

// Reads ---------------------------------------------------------------------------------------------------------------

TEST_F(RemoteRecords, AReadIsTwentyTwoBytes)
{
    EXPECT_EQ(readRecord(remoteVariable()), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88");
    EXPECT_EQ(request().frameLen, 22);
    EXPECT_EQ(reply(), (ExpectedReply{17, 6, 8}));
    EXPECT_EQ(announced(info), kOneFrame);
}

TEST_F(RemoteRecords, EachFieldHasItsPlaceMostSignificantByteFirstAndKeepsItsLowBytes)
{
    RW_VAR var;
    var.ownerId = 0x1234;
    var.varFlag = 0x156;
    var.linkNo = 0x178;
    var.station = 0x19A;
    var.areaKind = 0x5BCDE;
    var.address = 0x01020304;
    var.count = 0xABCDEF;
    var.extra1 = 0x11223344;
    var.extra2 = 0x55667788;
    var.ownerTag = 0x7F; // not in the record, nor are the two below
    var.remoteMode = 0x7F;
    var.result = 0x7F;
    EXPECT_EQ(readRecord(var), "16 34 56 78 9a bc de 01 02 03 04 cd ef 11 22 33 44 55 66 77 88 76");
    EXPECT_EQ(writeRecord(var), "16 34 56 78 9a bc de 01 02 03 04 cd ef 11 22 33 44 55 66 77 88 76");
}

TEST_F(RemoteRecords, NegativeFieldsAreWrittenAsTheirBits)
{
    RW_VAR var;
    var.ownerId = -1;
    var.varFlag = -2;
    var.linkNo = -3;
    var.station = -4;
    var.areaKind = -5;
    var.address = -6;
    var.count = -7;
    var.extra1 = -8;
    var.extra2 = -9;
    EXPECT_EQ(readRecord(var), "16 ff fe fd fc ff fb ff ff ff fa ff f9 ff ff ff f8 ff ff ff f7 de");
}

TEST_F(RemoteRecords, AReadCarriesNoValueBytes)
{
    EXPECT_EQ(readRecord(remoteVariable("\x34\x12")),
              "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88");
}

TEST_F(RemoteRecords, AReadOfABroadcastExpectsNoReply)
{
    RW_VAR var = remoteVariable();
    var.station = 255;
    EXPECT_EQ(readRecord(var), "16 00 00 01 ff 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 86");
    EXPECT_EQ(reply(), kNoReply);
    EXPECT_EQ(announced(info), kOneFrame);
    var.station = 254;
    EXPECT_NE(readRecord(var), "");
    EXPECT_EQ(reply(), (ExpectedReply{17, 6, 8}));
    var.station = 256;
    EXPECT_NE(readRecord(var), "");
    EXPECT_EQ(reply(), (ExpectedReply{17, 6, 8}));
}

TEST_F(RemoteRecords, ReadsWithExtra1Of88Or99AreNeverForwarded)
{
    const qint32 kept[] = {88, 99};
    for (qint32 extra1 : kept) {
        RW_VAR var = remoteVariable();
        var.extra1 = extra1;
        build(&Remote_ReadVar, var);
        EXPECT_TRUE(PLC_driver.lst_Protocol.isEmpty()) << "extra1 " << extra1;
        EXPECT_EQ(announced(info), kNothingAnnounced) << "extra1 " << extra1;
    }
}

TEST_F(RemoteRecords, ReadsWithAnyOtherExtra1AreForwarded)
{
    RW_VAR var = remoteVariable();
    var.extra1 = 87;
    EXPECT_EQ(readRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 57 00 00 00 00 df");
    var.extra1 = 89;
    EXPECT_EQ(readRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 59 00 00 00 00 e1");
    var.extra1 = 98;
    EXPECT_EQ(readRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 62 00 00 00 00 ea");
    var.extra1 = 100;
    EXPECT_EQ(readRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 64 00 00 00 00 ec");
    var.extra1 = -1;
    EXPECT_EQ(readRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 02 ff ff ff ff 00 00 00 00 84");
}

TEST_F(RemoteRecords, AReadTouchesNoLocalStore)
{
    PLC_driver.localDT[100] = 0x1111;
    EXPECT_NE(readRecord(remoteVariable("\x34\x12\x78\x56")), "");
    EXPECT_EQ(PLC_driver.localDT[100], 0x1111);
    info.multiStation = 1;
    EXPECT_NE(readRecord(remoteVariable("\x34\x12\x78\x56")), "");
    EXPECT_TRUE(PLC_driver.lst_ExtendVar.isEmpty());
}

// Writes --------------------------------------------------------------------------------------------------------------

TEST_F(RemoteRecords, AWriteCarriesItsValueBytesAsTheyAre)
{
    EXPECT_EQ(writeRecord(remoteVariable("\x34\x12")),
              "18 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 34 12 d0");
    EXPECT_EQ(request().frameLen, 24);
    EXPECT_EQ(reply(), kAcknowledgement);
    EXPECT_EQ(announced(info), kOneFrame);

    RW_VAR var = remoteVariable("\0\xFF\x80\r%"s);
    var.count = 1;
    EXPECT_EQ(writeRecord(var), "1b 00 00 01 01 00 0a 00 00 00 64 00 01 00 00 00 00 00 00 00 00 00 ff 80 0d 25 3d");
}

TEST_F(RemoteRecords, AWriteWithoutValueBytesIsTwentyTwoBytes)
{
    RW_VAR var = remoteVariable();
    var.count = 1;
    EXPECT_EQ(writeRecord(var), "16 00 00 01 01 00 0a 00 00 00 64 00 01 00 00 00 00 00 00 00 00 87");
    EXPECT_EQ(reply(), kAcknowledgement);
}

TEST_F(RemoteRecords, AWriteToABroadcastExpectsNoReply)
{
    RW_VAR var = remoteVariable("\x34\x12");
    var.count = 1;
    var.station = 255;
    EXPECT_EQ(writeRecord(var), "18 00 00 01 ff 00 0a 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 cd");
    EXPECT_EQ(reply(), kNoReply);
    var.station = 254;
    EXPECT_NE(writeRecord(var), "");
    EXPECT_EQ(reply(), kAcknowledgement);
}

TEST_F(RemoteRecords, WritesWithExtra1Of88AreForwarded)
{
    RW_VAR var = remoteVariable("\x34\x12");
    var.count = 1;
    var.extra1 = 88;
    EXPECT_EQ(writeRecord(var), "18 00 00 01 01 00 0a 00 00 00 64 00 01 00 00 00 58 00 00 00 00 34 12 27");
}

TEST_F(RemoteRecords, TheLengthByteKeepsItsLowEightBitsAndTheRecordStaysWhole)
{
    const struct {
        int valueBytes;
        qint32 frameLen;
        const char *first, *last;
    } rows[] = {
        {233, 255, "ff ", " 5b"},
        {234, 256, "00 ", " b6"},
        {235, 257, "01 ", " 11"},
        {500, 522, "0a ", " 44"},
    };
    for (const auto &row : rows) {
        const std::string record = writeRecord(remoteVariable(std::string(std::size_t(row.valueBytes), '\x5A')));
        EXPECT_EQ(request().frameLen, row.frameLen);
        EXPECT_EQ(record.size(), std::size_t(row.frameLen) * 3 - 1);
        EXPECT_EQ(record.substr(0, 3), row.first);
        EXPECT_EQ(record.substr(3, 60), "00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 ");
        EXPECT_EQ(record.substr(record.size() - 6), std::string(" 5a") + row.last);
    }
}

// The mirror of a write in the local store ----------------------------------------------------------------------------

TEST_F(RemoteRecords, AWriteIsMirroredWhateverTheStateOfTheLink)
{
    EXPECT_NE(writeRecord(remoteVariable("\x34\x12\x78\x56")), "");
    EXPECT_EQ(PLC_driver.localDT[100], 0x1234);
    EXPECT_EQ(PLC_driver.localDT[101], 0x5678);
    PLC_driver.bCommFail = 1;
    EXPECT_NE(writeRecord(remoteVariable("\x01\x80\x02\x40")), "");
    EXPECT_EQ(PLC_driver.localDT[100], 0x8001);
    EXPECT_EQ(PLC_driver.localDT[101], 0x4002);
}

TEST_F(RemoteRecords, KindsThatTheStoreDoesNotTakeAreForwardedAllTheSame)
{
    RW_VAR var = remoteVariable("\x01");
    var.address = 0x23;
    var.count = 1;
    var.areaKind = KindR;
    EXPECT_EQ(writeRecord(var), "17 00 00 01 01 00 02 00 00 00 23 00 01 00 00 00 00 00 00 00 00 01 40");
    EXPECT_EQ(PLC_driver.localWR[2], 0x0008);
    var.areaKind = KindX;
    EXPECT_EQ(writeRecord(var), "17 00 00 01 01 00 00 00 00 00 23 00 01 00 00 00 00 00 00 00 00 01 3e");
    EXPECT_EQ(PLC_driver.localWX[2], 0x0000);
}

// What both have in common --------------------------------------------------------------------------------------------

TEST_F(RemoteRecords, TheRecordHoldsAWholeCopyOfTheVariable)
{
    const RW_VAR var = distinctVariable();
    EXPECT_EQ(readRecord(var), "16 65 67 69 03 00 0a 00 00 00 6c 00 02 00 00 00 6d 00 00 00 6e a1");
    EXPECT_EQ(described(request().var), described(var));
    EXPECT_EQ(writeRecord(var), "1a 65 67 69 03 00 0a 00 00 00 6c 00 02 00 00 00 6d 00 00 00 6e 01 02 03 04 af");
    EXPECT_EQ(described(request().var), described(var));
}

TEST_F(RemoteRecords, RecordsAreAppendedBehindThoseThatWait)
{
    RW_VAR first = remoteVariable(), second = remoteVariable("\x34\x12");
    Remote_ReadVar(&first);
    Remote_WriteVar(&second);
    ASSERT_EQ(countOf(PLC_driver.lst_Protocol), 2);
    EXPECT_EQ(request(0).frameLen, 22);
    EXPECT_EQ(request(1).frameLen, 24);
}

TEST_F(RemoteRecords, BuildersTakeNoLockAndTheMirrorTakesOnlyTheAreas)
{
    RW_VAR var = remoteVariable("\x34\x12");
    const auto read = [&var] { Remote_ReadVar(&var); };
    const auto write = [&var] { Remote_WriteVar(&var); };
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, read));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, read));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, write));
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, write));
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(RemoteRecords, AbsurdAddressesAndCountsAreSurvived)
{
    const qint32 absurd[] = {INT_MAX, INT_MIN, -1, 1000000000};
    for (qint32 address : absurd) {
        for (qint32 count : absurd) {
            RW_VAR var = remoteVariable("\x34\x12");
            var.address = address;
            var.count = count;
            EXPECT_EQ(readRecord(var).size(), 22u * 3 - 1);
            EXPECT_EQ(writeRecord(var).size(), 24u * 3 - 1);
        }
    }
    RW_VAR largest = remoteVariable();
    largest.address = largest.count = INT_MAX;
    EXPECT_EQ(readRecord(largest), "16 00 00 01 01 00 0a 7f ff ff ff ff ff 00 00 00 00 00 00 00 00 9c");
}

} // namespace
