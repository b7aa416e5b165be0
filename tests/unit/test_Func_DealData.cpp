// test_Func_DealData.cpp - decoding of replies into the areas and the per-station cells, and the special register save.
//
//  - The request being answered is put at the head of lst_Protocol by hand; no builder and no reply check takes part.
//  - Whole contents of the store are compared, so a word that lands beside its place shows.

#include "store/Func_DealData.h"

#include "driver_state.h"
#include "fresh_driver.h"

#include <climits>
#include <cstring>
#include <initializer_list>

namespace
{

struct AreaRow {
    int kind;
    const char *name;
    int words;
};

const AreaRow kAreas[] = {
    {4, "T", 1250},      {5, "C", 1250},    {6, "WX", 10000},   {7, "WY", 10000},  {8, "WR", 10000},  {9, "WL", 10000},
    {10, "DT", 1000000}, {11, "LD", 10000}, {12, "FL", 100000}, {13, "SV", 10000}, {14, "EV", 10000},
};

/// "DT7=1234".
std::string stored(const char *area, int word, const char *value)
{
    return std::string(area) + std::to_string(word) + "=" + value;
}

class ReplyStore : public FreshDriver
{
protected:
    /// Makes a request for \a dataLen characters from byte 6 on the one being answered.
    Protocol &answering(qint32 kind, qint32 address, qint32 dataLen, qint32 station = 1, qint32 extra1 = 0)
    {
        Protocol head;
        head.frame = "%01#";
        head.dataPos = 6;
        head.dataLen = dataLen;
        head.var = variable(kind, address, 1, station);
        head.var.extra1 = extra1;
        PLC_driver.lst_Protocol.clear();
        PLC_driver.lst_Protocol.append(head);
        return PLC_driver.lst_Protocol[0];
    }

    /// The same for a read of what qmap_list holds.
    Protocol &answeringGroup(qint32 dataLen, const QList<RW_VAR> &group)
    {
        qmap_list = group;
        return answering(KindDT, 0, dataLen, 1, 88);
    }

    template <typename... Vars> static QList<RW_VAR> group(const Vars &...vars)
    {
        QList<RW_VAR> list;
        const std::initializer_list<RW_VAR> all = {vars...};
        for (const RW_VAR &var : all)
            list.append(var);
        return list;
    }

    static void clearAreas()
    {
        for (const AreaRow &area : kAreas)
            std::memset(words(area.kind), 0, std::size_t(area.words) * 2);
    }

    static quint16 *words(int kind)
    {
        quint16 *const first[] = {PLC_driver.localT,  PLC_driver.localC,  PLC_driver.localWX, PLC_driver.localWY,
                                  PLC_driver.localWR, PLC_driver.localWL, PLC_driver.localDT, PLC_driver.localLD,
                                  PLC_driver.localFL, PLC_driver.localSV, PLC_driver.localEV};
        return first[kind - 4];
    }
};

class SingleWordStore : public ReplyStore
{
};
class GroupStore : public ReplyStore
{
};
class StoreChoice : public ReplyStore
{
};
class StationCells : public ReplyStore
{
protected:
    StationCells() { info.multiStation = 1; }
};
class UncalledDecoders : public ReplyStore
{
};
class SpecialRegister : public ReplyStore
{
protected:
    quint16 area[16] = {};

    /// A read reply of binary words from byte 3 on, two queued frames, and nothing written yet.
    Protocol &binaryRead(qint32 address, qint32 dataLen, qint32 extra1)
    {
        Protocol &head = answering(KindDT, address, dataLen, 1, extra1);
        head.dataPos = 3;
        return head;
    }

    static void queueSecondFrame(const char *hexFrame)
    {
        Protocol second;
        second.frame = bytesOf(hexFrame);
        second.frameLen = 8;
        second.replyLen = 9;
        second.dataPos = 2;
        second.dataLen = 4;
        second.var = variable(KindR, 0x23, 1, 3, bytesOf("01"));
        second.var.ownerId = 6;
        second.var.name = "lamp";
        PLC_driver.lst_Protocol.append(second);
    }

    static void queueBitWrite(qint32 address, const char *hexData)
    {
        PLC_driver.lst_WriteVar.append(variable(KindR, address, 1, 1, bytesOf(hexData)));
    }

    static std::string secondFrame() { return hex(PLC_driver.lst_Protocol.at(1).frame); }
};

// Single station, one variable
// -----------------------------------------------------------------------------------------

TEST_F(SingleWordStore, DecodesFourCharactersAsOneWordLowByteFirst)
{
    answering(10, 100, 4);
    QByteArray reply("%01$RD341212\r");
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(SingleWordStore, DecodesALowerCaseDigitLikeItsUpperCaseForm)
{
    answering(10, 100, 4);
    QByteArray reply("%01$RD3a1247\r");
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "DT100=123a");
}

// The digit of every byte value: below '0' and '@' none, '0' to '?' from 0 up, all others their code less 0x37, four
// bits of each.
const char kDigitOfByte[] = "0000000000000000000000000000000000000000000000000123456789ABCDEF"
                            "0ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF012345678"
                            "9ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF012345678"
                            "9ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF012345678";

TEST_F(SingleWordStore, TakesFourBitsOfAnyByteInAnyOfTheFourPlaces)
{
    const int shiftOfPlace[] = {4, 0, 12, 8};
    for (int byte = 0; byte < 256; ++byte) {
        for (int place = 0; place < 4; ++place) {
            answering(10, 100, 4);
            QByteArray reply("%01$RD000016\r");
            reply[6 + place] = char(byte);
            SaveWordToUS(&reply);
            const int digit = std::stoi(std::string(1, kDigitOfByte[byte]), nullptr, 16);
            EXPECT_EQ(int(PLC_driver.localDT[100]), digit << shiftOfPlace[place]) << "byte " << byte << " in " << place;
        }
    }
}

TEST_F(SingleWordStore, TakesReplyBytesAsUnsigned)
{
    answering(10, 100, 8);
    QByteArray reply("%01$RD\xFF\x80\xC7\xB6\x40\x3A\x3F\x2F!!", 16); // 0xFF - 0x37 = 0xC8, 0x80 - 0x37 = 0x49, ...
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "DT100=0f89 DT101=f00a");
}

TEST_F(SingleWordStore, StoresRunsOfWordsFromTheAddressOn)
{
    answering(12, 7, 12);
    QByteArray reply("%01$RD01000200030016\r");
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "FL7=0001 FL8=0002 FL9=0003");
}

TEST_F(SingleWordStore, StoresEachKindInItsOwnArea)
{
    for (const AreaRow &area : kAreas) {
        clearAreas();
        answering(area.kind, 3, 4);
        QByteArray reply("%01$RDCDAB12\r");
        SaveWordToUS(&reply);
        EXPECT_EQ(storedWords(), stored(area.name, 3, "abcd"));
    }
}

TEST_F(SingleWordStore, StoresNothingForKindsWithoutAWordArea)
{
    for (int kind : {3, 0, 15, -1, INT_MAX, INT_MIN}) {
        answering(kind, 3, 4);
        QByteArray reply("%01$RDCDAB12\r");
        SaveWordToUS(&reply);
        EXPECT_EQ(storedWords(), "") << "kind " << kind;
    }
}

TEST_F(SingleWordStore, CountsWholeWordsOfDataLenOnly)
{
    const struct {
        int dataLen;
        const char *stored;
    } rows[] = {
        {INT_MIN, ""},
        {-4, ""},
        {0, ""},
        {3, ""},
        {4, "DT5=0001"},
        {7, "DT5=0001"},
        {8, "DT5=0001 DT6=0002"},
        {9, "DT5=0001 DT6=0002"},
    };
    for (const auto &row : rows) {
        clearAreas();
        answering(10, 5, row.dataLen);
        QByteArray reply("%01$RD01000200030016\r");
        SaveWordToUS(&reply);
        EXPECT_EQ(storedWords(), row.stored) << "dataLen " << row.dataLen;
    }
}

TEST_F(SingleWordStore, ReadsFromDataPos)
{
    answering(10, 5, 4).dataPos = 11;
    QByteArray reply("%01$MG1000434123B\r");
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "DT5=1234");
}

TEST_F(SingleWordStore, LeavesTheOldValueOfAWordThatAShortReplyCutsOff)
{
    PLC_driver.localDT[5] = 0x1111;
    PLC_driver.localDT[6] = 0x2222;
    answering(10, 5, 8);
    QByteArray threeOfFour("%01$RD3412785");
    SaveWordToUS(&threeOfFour);
    EXPECT_EQ(storedWords(), "DT5=1234 DT6=2222");
    QByteArray fourOfFour("%01$RD34127856");
    SaveWordToUS(&fourOfFour);
    EXPECT_EQ(storedWords(), "DT5=1234 DT6=5678");
}

TEST_F(SingleWordStore, StoresNothingOfAReplyThatEndsBeforeItsData)
{
    for (const char *bytes : {"", "%", "%01$RD", "%01$RD341"}) {
        answering(10, 5, 8);
        QByteArray reply(bytes);
        SaveWordToUS(&reply);
        EXPECT_EQ(storedWords(), "") << '"' << bytes << '"';
    }
}

TEST_F(SingleWordStore, ReadsNothingPastAReplyFarShorterThanItsDataLen)
{
    answering(10, 5, INT_MAX);
    QByteArray reply("%01$RD3412");
    SaveWordToUS(&reply);
    EXPECT_EQ(storedWords(), "DT5=1234");
}

TEST_F(SingleWordStore, IgnoresElementsOutsideTheirArea)
{
    for (const AreaRow &area : kAreas) {
        const struct {
            int address;
            std::string stored;
        } rows[] = {
            {area.words - 1, stored(area.name, area.words - 1, "1234")},
            {area.words, ""},
            {-1, stored(area.name, 0, "5678")},
            {-2, ""},
            {INT_MAX, ""},
            {INT_MAX - 1, ""},
            {INT_MIN, ""},
        };
        for (const auto &row : rows) {
            clearAreas();
            answering(area.kind, row.address, 8);
            QByteArray reply("%01$RD341278561E\r");
            SaveWordToUS(&reply);
            EXPECT_EQ(storedWords(), row.stored) << area.name << row.address;
        }
    }
}

// Single station, several variables
// ------------------------------------------------------------------------------------

TEST_F(GroupStore, StoresOneWordForEachEntryOfTheGroup)
{
    answeringGroup(12, group(variable(10, 5), variable(7, 3, 4), variable(14, 9999)));
    PLC_driver.lst_Protocol[0].dataPos = 11;
    QByteArray reply("%01$MG1001234127856010031\r");
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "WY3=5678 DT5=1234 EV9999=0001");
}

TEST_F(GroupStore, StoresKinds6To14Only)
{
    for (const AreaRow &area : kAreas) {
        clearAreas();
        answeringGroup(4, group(variable(area.kind, 20)));
        QByteArray reply("%01$MG34120E\r");
        SaveWordMD(&reply);
        EXPECT_EQ(storedWords(), area.kind < 6 ? "" : stored(area.name, 20, "1234"));
    }
    clearAreas();
    for (int kind : {0, 3, 15, -1}) {
        answeringGroup(4, group(variable(kind, 20)));
        QByteArray reply("%01$MG34120E\r");
        SaveWordMD(&reply);
        EXPECT_EQ(storedWords(), "") << "kind " << kind;
    }
}

TEST_F(GroupStore, AnEntryThatIsNotStoredStillTakesItsFourCharacters)
{
    answeringGroup(12, group(variable(10, 1), variable(4, 2), variable(10, 3)));
    QByteArray reply("%01$MG0100020003000A\r");
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "DT1=0001 DT3=0003");
}

TEST_F(GroupStore, StopsAtTheEndOfTheGroupWhenDataLenPromisesMore)
{
    answeringGroup(12, group(variable(10, 1), variable(10, 2)));
    QByteArray reply("%01$MG0100020003000A\r");
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "DT1=0001 DT2=0002");
    clearAreas();
    answeringGroup(12, group());
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "");
}

TEST_F(GroupStore, StopsAtDataLenWhenTheGroupIsLonger)
{
    answeringGroup(7, group(variable(10, 1), variable(10, 2)));
    QByteArray reply("%01$MG0100020009\r");
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "DT1=0001");
    clearAreas();
    answeringGroup(-4, group(variable(10, 1)));
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "");
}

TEST_F(GroupStore, LeavesTheOldValueOfAWordThatAShortReplyCutsOff)
{
    PLC_driver.localDT[2] = 0x2222;
    answeringGroup(8, group(variable(10, 1), variable(10, 2)));
    QByteArray threeOfFour("%01$MG0100020");
    SaveWordMD(&threeOfFour);
    EXPECT_EQ(storedWords(), "DT1=0001 DT2=2222");
    QByteArray fourOfFour("%01$MG01000300");
    SaveWordMD(&fourOfFour);
    EXPECT_EQ(storedWords(), "DT1=0001 DT2=0003");
}

TEST_F(GroupStore, IgnoresEntriesOutsideTheirArea)
{
    answeringGroup(24, group(variable(10, 999999), variable(10, 1000000), variable(6, 9999), variable(6, 10000),
                             variable(13, -1), variable(13, INT_MAX)));
    QByteArray reply("%01$MG0100020003000400050006000D\r");
    SaveWordMD(&reply);
    EXPECT_EQ(storedWords(), "WX9999=0003 DT999999=0001");
}

// Which store a reply goes to
// ------------------------------------------------------------------------------------------

TEST_F(StoreChoice, AnExtra1Of88StoresTheGroupAndAnyOtherTheHeadVariable)
{
    const struct {
        int extra1;
        const char *stored;
    } rows[] = {
        {88, "WR20=1234"}, {0, "DT100=1234"}, {87, "DT100=1234"}, {89, "DT100=1234"}, {-1, "DT100=1234"},
    };
    for (const auto &row : rows) {
        clearAreas();
        answering(10, 100, 4, 1, row.extra1);
        qmap_list = group(variable(8, 20));
        QByteArray reply("%01$RD341212\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(storedWords(), row.stored) << "extra1 " << row.extra1;
        EXPECT_EQ(cells(), "");
    }
}

TEST_F(StoreChoice, AnyMultiStationValueButZeroStoresInTheCells)
{
    for (int multiStation : {1, 2, -1}) {
        PLC_driver.lst_ExtendVar.clear();
        info.multiStation = multiStation;
        answering(10, 100, 4, 3);
        QByteArray reply("%03$RD341210\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(cells(), "3:10:100=34 12") << "multiStation " << multiStation;
        EXPECT_EQ(storedWords(), "");
    }
}

TEST_F(StoreChoice, TheRequestStaysQueuedAndUnchanged)
{
    answering(10, 100, 4).var.name = "level";
    PLC_driver.lst_Protocol.append(Protocol());
    QByteArray reply("%01$RD341212\r");
    SaveToLocalDataErea(&reply);
    ASSERT_EQ(PLC_driver.lst_Protocol.size(), 2);
    EXPECT_EQ(PLC_driver.lst_Protocol[0].var.address, 100);
    EXPECT_EQ(PLC_driver.lst_Protocol[0].var.name, QString("level"));
    EXPECT_EQ(text(reply), "%01$RD341212\r");
}

// Several stations
// -----------------------------------------------------------------------------------------------------

TEST_F(StationCells, AReplyMakesACellOfTwoBytesForEachWordLowByteFirst)
{
    answering(8, 20, 8, 3);
    QByteArray reply("%03$RC341278561B\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:8:20=34 12, 3:8:21=78 56");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(StationCells, AReplyReplacesTheBytesOfTheCellThatIsThere)
{
    appendCell(3, 8, 21, "00 00 00 00");
    appendCell(2, 8, 20, "aa bb");
    answering(8, 20, 8, 3);
    QByteArray reply("%03$RC341278561B\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:8:21=78 56, 2:8:20=aa bb, 3:8:20=34 12");
}

TEST_F(StationCells, StoresKinds4To14Only)
{
    for (const AreaRow &area : kAreas) {
        PLC_driver.lst_ExtendVar.clear();
        answering(area.kind, 20, 4, 3);
        QByteArray reply("%03$RC341217\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(cells(), "3:" + std::to_string(area.kind) + ":20=34 12");
    }
    PLC_driver.lst_ExtendVar.clear();
    for (int kind : {0, 3, 15, -1}) {
        answering(kind, 20, 4, 3);
        QByteArray reply("%03$RC341217\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(cells(), "") << "kind " << kind;
    }
}

TEST_F(StationCells, AWordThatAShortReplyCutsOffIsLeftEmpty)
{
    appendCell(3, 8, 21, "78 56");
    answering(8, 20, 12, 3);
    QByteArray threeOfFour("%03$RC3412999");
    SaveToLocalDataErea(&threeOfFour);
    EXPECT_EQ(cells(), "3:8:21=, 3:8:20=34 12, 3:8:22=");
    QByteArray fourOfFour("%03$RC34129999");
    SaveToLocalDataErea(&fourOfFour);
    EXPECT_EQ(cells(), "3:8:21=99 99, 3:8:20=34 12, 3:8:22=");
}

TEST_F(StationCells, CountsWholeWordsOfDataLenOnly)
{
    for (int dataLen : {INT_MIN, -4, 0, 3}) {
        answering(8, 20, dataLen, 3);
        QByteArray reply("%03$RC341278561B\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(cells(), "") << "dataLen " << dataLen;
    }
    answering(8, 20, 7, 3);
    QByteArray reply("%03$RC341278561B\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:8:20=34 12");
}

TEST_F(StationCells, DecodesDigitsAsTheAreasDo)
{
    answering(10, 1, 8, 3);
    QByteArray reply("%03$RD\xFF\x80\xC7\xB6"
                     "3a@:",
                     14);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:1=89 0f, 3:10:2=3a 0a");
}

TEST_F(StationCells, AGroupStoresEachEntryUnderItsOwnStation)
{
    answeringGroup(12, group(variable(10, 5, 1, 3), variable(7, 3, 1, 4), variable(10, 5, 1, 4)));
    QByteArray reply("%03$MG34127856010001\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:5=34 12, 4:7:3=78 56, 4:10:5=01 00");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(StationCells, AGroupStoresKinds6To14Only)
{
    for (const AreaRow &area : kAreas) {
        PLC_driver.lst_ExtendVar.clear();
        answeringGroup(4, group(variable(area.kind, 20, 1, 3)));
        QByteArray reply("%03$MG34120C\r");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(cells(), area.kind < 6 ? "" : "3:" + std::to_string(area.kind) + ":20=34 12");
    }
    PLC_driver.lst_ExtendVar.clear();
    answeringGroup(16, group(variable(0, 1), variable(15, 2), variable(-1, 3), variable(6, 4, 1, 3)));
    QByteArray reply("%03$MG01000200030004000C\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:6:4=04 00");
}

TEST_F(StationCells, AGroupLeavesAWordThatAShortReplyCutsOffEmpty)
{
    appendCell(3, 10, 2, "22 22");
    answeringGroup(8, group(variable(10, 1, 1, 3), variable(10, 2, 1, 3)));
    QByteArray reply("%03$MG3412785");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:2=, 3:10:1=34 12");
}

TEST_F(StationCells, AGroupStopsAtItsOwnEndAndAtDataLen)
{
    QByteArray reply("%03$MG34127856010001\r");
    answeringGroup(12, group(variable(10, 1, 1, 3), variable(10, 2, 1, 3)));
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:1=34 12, 3:10:2=78 56");
    PLC_driver.lst_ExtendVar.clear();
    answeringGroup(7, group(variable(10, 1, 1, 3), variable(10, 2, 1, 3)));
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:1=34 12");
    PLC_driver.lst_ExtendVar.clear();
    answeringGroup(12, group());
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "");
}

TEST_F(StationCells, NoCellIsMadeForAnElementOutsideItsArea)
{
    for (const AreaRow &area : kAreas) {
        const std::string key = "3:" + std::to_string(area.kind) + ":";
        const struct {
            int address;
            std::string cells;
        } rows[] = {
            {area.words - 1, key + std::to_string(area.words - 1) + "=34 12"},
            {area.words, ""},
            {-1, key + "0=78 56"},
            {INT_MAX, ""},
            {INT_MIN, ""},
        };
        for (const auto &row : rows) {
            PLC_driver.lst_ExtendVar.clear();
            answering(area.kind, row.address, 8, 3);
            QByteArray reply("%03$RD341278561C\r");
            SaveToLocalDataErea(&reply);
            EXPECT_EQ(cells(), row.cells) << area.name << row.address;
        }
    }
}

TEST_F(StationCells, NoCellIsMadeForAGroupEntryOutsideItsArea)
{
    answeringGroup(20, group(variable(10, 999999, 1, 3), variable(10, 1000000, 1, 3), variable(13, -1, 1, 3),
                             variable(13, INT_MIN, 1, 3), variable(13, 9999, 1, 3)));
    QByteArray reply("%03$MG0100020003000400050009\r");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:10:999999=01 00, 3:13:9999=05 00");
}

TEST_F(StationCells, AShortReplyToAHugeRequestMakesCellsInsideTheAreaOnly)
{
    answering(13, 9998, INT_MAX, 3);
    QByteArray reply("%03$RS3412");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cells(), "3:13:9998=34 12, 3:13:9999=");
}

// Provided, not called
// -------------------------------------------------------------------------------------------------

TEST_F(UncalledDecoders, SaveWordToUcStoresBitKindsInTheirWordAreas)
{
    const struct {
        int kind;
        const char *stored;
    } rows[] = {
        {0, "WX20=1234 WX21=5678"},
        {1, "WY20=1234 WY21=5678"},
        {2, "WR20=1234 WR21=5678"},
        {3, "WL20=1234 WL21=5678"},
        {4, "T20=1234 T21=5678"},
        {5, "C20=1234 C21=5678"},
        {6, ""},
        {14, ""},
        {-1, ""},
    };
    for (const auto &row : rows) {
        clearAreas();
        answering(row.kind, 20, 8);
        QByteArray reply("%01$RC3412785619\r");
        SaveWordToUC(&reply);
        EXPECT_EQ(storedWords(), row.stored) << "kind " << row.kind;
    }
}

TEST_F(UncalledDecoders, SaveWordToUcStoresCompleteWordsOnly)
{
    PLC_driver.localWY[21] = 0x2222;
    answering(1, 20, 8);
    QByteArray threeOfFour("%01$RC3412785");
    SaveWordToUC(&threeOfFour);
    EXPECT_EQ(storedWords(), "WY20=1234 WY21=2222");
    clearAreas();
    answering(1, 20, 7);
    QByteArray reply("%01$RC3412785619\r");
    SaveWordToUC(&reply);
    EXPECT_EQ(storedWords(), "WY20=1234");
}

TEST_F(UncalledDecoders, SaveWordToUcIgnoresElementsOutsideTheirArea)
{
    const struct {
        int kind, address;
        const char *stored;
    } rows[] = {
        {0, 9999, "WX9999=1234"},
        {1, 9999, "WY9999=1234"},
        {2, 9999, "WR9999=1234"},
        {3, 9999, "WL9999=1234"},
        {4, 1249, "T1249=1234"},
        {5, 1249, "C1249=1234"},
        {0, 10000, ""},
        {3, 10000, ""},
        {4, 1250, ""},
        {5, 1250, ""},
        {2, -1, "WR0=5678"},
        {4, INT_MAX, ""},
        {5, INT_MIN, ""},
    };
    for (const auto &row : rows) {
        clearAreas();
        answering(row.kind, row.address, 8);
        QByteArray reply("%01$RC3412785619\r");
        SaveWordToUC(&reply);
        EXPECT_EQ(storedWords(), row.stored) << "kind " << row.kind << " address " << row.address;
    }
}

TEST_F(UncalledDecoders, SaveBitToUcCopiesTheCharactersAsTheyAre)
{
    unsigned char bits[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    answering(2, 3, 4);
    QByteArray reply("%01$RC10\xFF"
                     "A1!!\r");
    SaveBitToUC(&reply, bits);
    EXPECT_EQ(hex(QByteArray(reinterpret_cast<char *>(bits), 8)), "09 09 09 31 30 ff 41 09");
}

TEST_F(UncalledDecoders, SaveBitToUcStopsAtTheEndOfTheReply)
{
    unsigned char bits[4] = {9, 9, 9, 9};
    answering(2, 0, 4);
    QByteArray reply("%01$RC10");
    SaveBitToUC(&reply, bits);
    EXPECT_EQ(hex(QByteArray(reinterpret_cast<char *>(bits), 4)), "31 30 09 09");
    QByteArray noData("%01$RC");
    bits[0] = 7;
    SaveBitToUC(&noData, bits);
    EXPECT_EQ(int(bits[0]), 7);
}

TEST_F(UncalledDecoders, SaveBitToUcCopiesNothingForADataLenBelowOne)
{
    for (int dataLen : {0, -1, INT_MIN}) {
        unsigned char bits[2] = {9, 9};
        answering(2, 0, dataLen);
        QByteArray reply("%01$RC1010\r");
        SaveBitToUC(&reply, bits);
        EXPECT_EQ(hex(QByteArray(reinterpret_cast<char *>(bits), 2)), "09 09") << "dataLen " << dataLen;
    }
}

TEST_F(UncalledDecoders, SaveBitToUcCopiesNothingFromInFrontOfTheReply)
{
    unsigned char bits[2] = {9, 9};
    answering(2, 0, 2).dataPos = -1;
    QByteArray reply("%01$RC1010\r");
    SaveBitToUC(&reply, bits);
    EXPECT_EQ(hex(QByteArray(reinterpret_cast<char *>(bits), 2)), "09 09");
}

// Special register save
// ------------------------------------------------------------------------------------------------

TEST_F(SpecialRegister, StoresBinaryWordsHighByteFirst)
{
    binaryRead(7, 2, 0);
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x1234);
    EXPECT_EQ(area[6], 0);
    EXPECT_EQ(area[8], 0);
}

TEST_F(SpecialRegister, StoresRunsOfWordsAndTakesBytesAsUnsigned)
{
    binaryRead(7, 6, 0);
    QByteArray reply = bytesOf("01 03 06 fe dc 00 80 80 00 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0xFEDC);
    EXPECT_EQ(area[8], 0x0080);
    EXPECT_EQ(area[9], 0x8000);
    EXPECT_EQ(area[10], 0);
}

TEST_F(SpecialRegister, CountsWholeWordsOfDataLenOnly)
{
    QByteArray reply = bytesOf("01 03 06 12 34 56 78 ff ff");
    for (int dataLen : {INT_MIN, -2, 0, 1}) {
        binaryRead(7, dataLen, 0);
        SpecialRegisterSave(&reply, area);
        EXPECT_EQ(area[7], 0) << "dataLen " << dataLen;
    }
    binaryRead(7, 3, 0);
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x1234);
    EXPECT_EQ(area[8], 0);
}

TEST_F(SpecialRegister, StoresNothingFromInFrontOfTheReply)
{
    binaryRead(7, 2, 0).dataPos = -1;
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0);
}

TEST_F(SpecialRegister, StoresNothingWhenTheFirstWordIsCutOff)
{
    for (const char *bytes : {"", "01 03 02", "01 03 02 12"}) {
        binaryRead(7, 2, 0);
        QByteArray reply = bytesOf(bytes);
        SpecialRegisterSave(&reply, area);
        EXPECT_EQ(area[7], 0) << '"' << bytes << '"';
    }
    binaryRead(7, 2, 0);
    QByteArray whole = bytesOf("01 03 02 12 34");
    SpecialRegisterSave(&whole, area);
    EXPECT_EQ(area[7], 0x1234);
}

TEST_F(SpecialRegister, ReadsNothingPastAReplyThatIsCutOffAfterItsFirstWord)
{
    area[8] = 0x1111;
    area[9] = 0x2222;
    binaryRead(7, 6, 0);
    QByteArray reply = bytesOf("01 03 06 12 34 56");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x1234);
    EXPECT_EQ(area[8], 0x1111);
    EXPECT_EQ(area[9], 0x2222);
}

TEST_F(SpecialRegister, CompletesTheWaitingBitWriteInTheSecondFrame)
{
    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    queueBitWrite(0x23, "01");
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x1234);
    EXPECT_EQ(secondFrame(), "01 06 00 07 12 3c 34 ba");
}

TEST_F(SpecialRegister, TakesTheLastStoredWordAsTheRegister)
{
    binaryRead(7, 4, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    queueBitWrite(0x23, "01");
    QByteArray reply = bytesOf("01 03 04 99 99 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x9999);
    EXPECT_EQ(area[8], 0x1234);
    EXPECT_EQ(secondFrame(), "01 06 00 07 12 3c 34 ba");
}

TEST_F(SpecialRegister, SetsClearsOrLeavesTheBitByTheFirstDataByte)
{
    const struct {
        qint32 address;
        const char *data, *frame;
    } rows[] = {
        {0x23, "00", "01 06 00 07 12 34 35 7c"}, // bit 3 was clear
        {0x22, "00", "01 06 00 07 12 30 34 bf"}, // bit 2 was set
        {0x22, "01", "01 06 00 07 12 34 35 7c"}, {0x22, "02", "01 06 00 07 12 34 35 7c"},
        {0x22, "ff", "01 06 00 07 12 34 35 7c"}, {0x22, "00 01", "01 06 00 07 12 30 34 bf"},
        {0x20, "01", "01 06 00 07 12 35 f4 bc"}, {0x2F, "01", "01 06 00 07 92 34 54 bc"},
        {15, "01", "01 06 00 07 92 34 54 bc"},   {16, "01", "01 06 00 07 12 35 f4 bc"},
    };
    for (const auto &row : rows) {
        binaryRead(7, 2, -1);
        queueSecondFrame("01 06 00 07 00 00 00 00");
        PLC_driver.lst_WriteVar.clear();
        queueBitWrite(row.address, row.data);
        QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
        SpecialRegisterSave(&reply, area);
        EXPECT_EQ(secondFrame(), row.frame) << "address " << row.address << ", data " << row.data;
    }
}

TEST_F(SpecialRegister, AWriteToANegativeAddressLeavesTheRegisterAsItIs)
{
    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    queueBitWrite(-3, "01");
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(secondFrame(), "01 06 00 07 12 34 35 7c");
}

TEST_F(SpecialRegister, WithoutAValueToWriteTheRegisterGoesOutUnchanged)
{
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(secondFrame(), "01 06 00 07 12 34 35 7c") << "empty write list";

    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    queueBitWrite(0x23, "");
    queueBitWrite(0x23, "01");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(secondFrame(), "01 06 00 07 12 34 35 7c") << "the head has no data";
}

TEST_F(SpecialRegister, AReplyWithoutAWordCountsAsARegisterOfZero)
{
    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 aa aa aa aa");
    queueBitWrite(0x23, "01");
    QByteArray reply = bytesOf("01 03 02 12");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0);
    EXPECT_EQ(secondFrame(), "01 06 00 07 00 08 39 cd");
}

TEST_F(SpecialRegister, AnExtra1OtherThanMinusOneLeavesTheSecondFrameAlone)
{
    for (int extra1 : {0, 1, -2, 88}) {
        binaryRead(7, 2, extra1);
        queueSecondFrame("01 06 00 07 aa bb cc dd");
        queueBitWrite(0x23, "01");
        QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
        SpecialRegisterSave(&reply, area);
        EXPECT_EQ(secondFrame(), "01 06 00 07 aa bb cc dd") << "extra1 " << extra1;
        EXPECT_EQ(area[7], 0x1234);
    }
}

TEST_F(SpecialRegister, WithNoSecondFrameOnlyTheWordsAreStored)
{
    binaryRead(7, 2, -1);
    queueBitWrite(0x23, "01");
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);
    EXPECT_EQ(area[7], 0x1234);
    ASSERT_EQ(PLC_driver.lst_Protocol.size(), 1);
    EXPECT_EQ(text(PLC_driver.lst_Protocol[0].frame), "%01#");
}

TEST_F(SpecialRegister, GrowsAFrameThatIsTooShortAndKeepsTheTailOfALongerOne)
{
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    const struct {
        const char *before, *after;
    } rows[] = {
        {"01 06 00 07", "01 06 00 07 12 34 35 7c"},
        {"01 06 00 07 aa bb cc", "01 06 00 07 12 34 35 7c"},
        {"01 06 00 07 aa bb cc dd ee ff", "01 06 00 07 12 34 35 7c ee ff"},
        {"01 06", "01 06 00 00 12 34 84 bd"},
        {"", "00 00 00 00 12 34 0d 6c"},
    };
    for (const auto &row : rows) {
        binaryRead(7, 2, -1);
        queueSecondFrame(row.before);
        SpecialRegisterSave(&reply, area);
        EXPECT_EQ(secondFrame(), row.after);
    }
}

TEST_F(SpecialRegister, ChangesNothingElseOfTheTwoListsItLooksAt)
{
    binaryRead(7, 2, -1);
    queueSecondFrame("01 06 00 07 00 00 00 00");
    queueSecondFrame("aa bb");
    queueBitWrite(0x23, "01");
    queueBitWrite(0x24, "00");
    QByteArray reply = bytesOf("01 03 02 12 34 ff ff");
    SpecialRegisterSave(&reply, area);

    ASSERT_EQ(PLC_driver.lst_Protocol.size(), 3);
    EXPECT_EQ(text(PLC_driver.lst_Protocol[0].frame), "%01#");
    const Protocol &second = PLC_driver.lst_Protocol[1];
    EXPECT_EQ(second.frameLen, 8);
    EXPECT_EQ(second.replyLen, 9);
    EXPECT_EQ(second.dataPos, 2);
    EXPECT_EQ(second.dataLen, 4);
    EXPECT_EQ(second.var.ownerId, 6);
    EXPECT_EQ(second.var.name, QString("lamp"));
    EXPECT_EQ(second.var.station, 3);
    EXPECT_EQ(hex(second.var.data), "01");
    EXPECT_EQ(hex(PLC_driver.lst_Protocol[2].frame), "aa bb");
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 2);
    EXPECT_EQ(hex(PLC_driver.lst_WriteVar[0].data), "01");
    EXPECT_EQ(PLC_driver.lst_WriteVar[0].address, 0x23);
}

} // namespace
