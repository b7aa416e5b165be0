// test_Func_GetOrSetData.cpp - address texts, per-station cells, the host's reading and writing of values, and the copy
// helpers below them.
//
//  - Whole contents of the store, the cells and the write list are compared, so a value beside its place shows.
//  - The link is good and hostMode is 2 unless a test says otherwise.

#include "store/Func_GetOrSetData.h"

#include "driver_state.h"
#include "fresh_driver.h"
#include "variables_and_frames.h"

#include <climits>

namespace
{

class AddressText : public FreshDriver
{
};

/// Cells behind as many others as the parameter says: short lists and long ones are searched in different ways.
class Cells : public FreshDriver, public ::testing::WithParamInterface<int>
{
protected:
    Cells()
    {
        info.multiStation = 1;
        makeOthers();
    }

    static void makeOthers()
    {
        for (int i = 0; i < GetParam(); ++i)
            ExtendFindSameVar(90, KindFL, i);
    }

    /// The index behind the others.
    static int find(int station, int kind, int word) { return ExtendFindSameVar(station, kind, word) - GetParam(); }
    static EXTENDVAR &cell(int index) { return PLC_driver.lst_ExtendVar[GetParam() + index]; }
    static int count() { return countOf(PLC_driver.lst_ExtendVar) - GetParam(); }

    /// Cells of station 1 and KindDT for words 0 to words - 1, asked for in that order.
    static void askForWords(int words)
    {
        for (int word = 0; word < words; ++word)
            ASSERT_EQ(find(1, KindDT, word), word);
    }
};
INSTANTIATE_TEST_SUITE_P(BehindOthers, Cells, ::testing::Values(0, 6, 7, 8, 3000));

class HostAccess : public FreshDriver
{
protected:
    int get(int kind, const char *addrText, QByteArray &out, int count, int station = 1)
    {
        QString name, address = QString::fromLatin1(addrText);
        return GetRegisterData(&name, kind, &address, station, &out, count);
    }

    /// The bytes read into an empty array.
    std::string read(int kind, const char *addrText, int count, int station = 1)
    {
        QByteArray out;
        EXPECT_EQ(get(kind, addrText, out, count, station), 1);
        return hex(out);
    }

    int set(int kind, const char *addrText, const char *hexData, int count, int station = 1)
    {
        QString name = QString::fromLatin1("level"), address = QString::fromLatin1(addrText);
        QByteArray data = bytesOf(hexData);
        return SetRegisterData(&name, kind, &address, station, &data, count, 4, 9);
    }

    /// The write list, kind:address:count@station=bytes: "10:100:1@1=34 12, 10:101:1@1=78 56".
    static std::string queued()
    {
        std::string all;
        const QList<RW_VAR> &writes = PLC_driver.lst_WriteVar;
        for (const RW_VAR &var : writes) {
            all += (all.empty() ? "" : ", ") + std::to_string(var.areaKind) + ":" + std::to_string(var.address) + ":" +
                   std::to_string(var.count) + "@" + std::to_string(var.station) + "=" + hex(var.data);
        }
        return all;
    }
};

class ReadingAreas : public HostAccess
{
};
class ReadingCells : public HostAccess
{
protected:
    ReadingCells() { info.multiStation = 1; }
};
class WritingToThePlc : public HostAccess
{
};
class WritingLocally : public HostAccess
{
protected:
    WritingLocally() { info.hostMode = 0; }
};
class Mirroring : public HostAccess
{
protected:
    static void mirror(qint32 kind, qint32 address, qint32 count, const char *hexData, qint32 station = 1)
    {
        RW_VAR var = variable(kind, address, count, station, bytesOf(hexData));
        WriteDataToLocal(&var);
    }
};
class MirroringInCells : public Mirroring
{
protected:
    MirroringInCells() { info.multiStation = 1; }
};

class CopyHelpers : public ::testing::Test
{
protected:
    quint16 words[4] = {0x1234, 0x8001, 0xFFFE, 0x00F0};
    unsigned char octets[6] = {0, 1, 2, 3, 0xFE, 0xFF};

    std::string wordsText() const
    {
        char line[32];
        std::snprintf(line, sizeof line, "%04x %04x %04x %04x", unsigned(words[0]), unsigned(words[1]),
                      unsigned(words[2]), unsigned(words[3]));
        return line;
    }
    std::string octetsText() const { return hex(QByteArray(reinterpret_cast<const char *>(octets), 6)); }
};

// Address texts
// --------------------------------------------------------------------------------------------------------

TEST_F(AddressText, GivesTheElementNumber)
{
    const struct {
        int kind;
        const char *text;
        int number;
    } rows[] = {
        // Relay bits: decimal word, one hexadecimal bit digit.
        {0, "100F", 1615},
        {0, "12A", 202},
        {0, "10F", 175},
        {0, "15", 21},
        {1, "0A", 10},
        {1, "12A", 202},
        {2, "5", 5},
        {2, "7", 7},
        {3, "F", 15},
        {0, "A", 10},
        {3, "a", 10},
        {3, "10f", 175},
        {2, "10", 16},
        {2, "0010", 16},
        {2, "9999F", 159999},
        // Everything else: a decimal number.
        {4, "10", 10},
        {5, "19999", 19999},
        {6, "10", 10},
        {10, "12345", 12345},
        {10, "0", 0},
        {10, "00012", 12},
        {14, "7", 7},
        {15, "35", 35},
        {-1, "35", 35},
        {INT_MIN, "35", 35},
        {INT_MAX, "35", 35},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(StringAddressToInt(row.kind, row.text), row.number)
            << "kind " << row.kind << " \"" << row.text << '"';
        EXPECT_EQ(PLCAddressChangeIntef(row.kind, row.text), row.number) << "kind " << row.kind << ' ' << row.text;
    }
}

TEST_F(AddressText, ReadsAPartThatIsNoNumberAsZero)
{
    const struct {
        int kind;
        const char *text;
        int number;
    } rows[] = {
        {0, "Z", 0},    {0, "12Z", 192}, {0, "X5", 5},     {0, "AF", 15}, {3, "1x2", 2},
        {4, "10F", 0},  {9, "12A", 0},   {10, "1000h", 0}, {10, "x", 0},  {-1, "0x10", 0},
        {10, "1.5", 0}, {10, "", 0},     {4, "", 0},       {-1, "", 0},   {10, "99999999999Z", 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(StringAddressToInt(row.kind, row.text), row.number)
            << "kind " << row.kind << " \"" << row.text << '"';
}

TEST_F(AddressText, AnEmptyTextIsABadAddressForRelayBitsOnly)
{
    for (int kind : {0, 1, 2, 3})
        EXPECT_EQ(StringAddressToInt(kind, ""), -1) << "kind " << kind;
    EXPECT_EQ(StringAddressToInt(1, QString()), -1);
    EXPECT_EQ(StringAddressToInt(4, ""), 0);
    EXPECT_EQ(StringAddressToInt(-1, ""), 0);
}

TEST_F(AddressText, ALeadingMinusSignGivesANegativeNumber)
{
    EXPECT_EQ(StringAddressToInt(10, "-1"), -1);
    EXPECT_EQ(StringAddressToInt(4, "-35"), -35);
    EXPECT_LT(StringAddressToInt(0, "-15"), 0);
    EXPECT_LT(StringAddressToInt(3, "-1F"), 0);
    EXPECT_LT(StringAddressToInt(10, "-2147483648"), 0);
    EXPECT_LT(StringAddressToInt(10, "-2147483649"), 0);
    EXPECT_LT(StringAddressToInt(2, "-134217729F"), 0);
    EXPECT_LT(StringAddressToInt(2, "-99999999999F"), 0);
}

TEST_F(AddressText, ANumberThatDoesNotFit32BitsIsABadAddress)
{
    EXPECT_EQ(StringAddressToInt(10, "2147483647"), 2147483647);
    EXPECT_LT(StringAddressToInt(10, "2147483648"), 0);
    EXPECT_LT(StringAddressToInt(10, "4294967296"), 0);
    EXPECT_LT(StringAddressToInt(10, "4294967396"), 0);
    EXPECT_LT(StringAddressToInt(4, "99999999999999999999999999"), 0);
    EXPECT_LT(StringAddressToInt(-1, "2147483648"), 0);
    EXPECT_EQ(StringAddressToInt(10, "0000000000000000000012"), 12);
    EXPECT_EQ(StringAddressToInt(10, "999999999"), 999999999) << "nine digits";
    EXPECT_EQ(StringAddressToInt(10, "1999999999"), 1999999999) << "ten digits";
    EXPECT_EQ(StringAddressToInt(10, "0000000012"), 12);
}

TEST_F(AddressText, CharactersNextToTheDigitsAreNone)
{
    for (const char *text : {"/", ":", "1/", ":1", "12\xb2"}) // a superscript two is no digit
        EXPECT_EQ(StringAddressToInt(10, QString::fromLatin1(text)), 0) << text;
    for (const char *text : {"1/", "1:", "1@", "1G", "1`", "1g", "1\x1a", "1\xb2"})
        EXPECT_EQ(StringAddressToInt(0, QString::fromLatin1(text)), 16) << text;
    EXPECT_EQ(StringAddressToInt(0, QString(QChar(ushort(0x0661)))), 0) << "an Arabic one";
    EXPECT_EQ(StringAddressToInt(10, QString(QChar(ushort(0x0661)))), 0);
    EXPECT_EQ(StringAddressToInt(3, "1a"), 26);
    EXPECT_EQ(StringAddressToInt(3, "1A"), 26);
    EXPECT_EQ(StringAddressToInt(3, "1f"), 31);
}

TEST_F(AddressText, AWordAndBitThatTogetherDoNotFit32BitsAreABadAddress)
{
    EXPECT_EQ(StringAddressToInt(2, "134217727F"), 2147483647);
    EXPECT_LT(StringAddressToInt(2, "1342177280"), 0);
    EXPECT_LT(StringAddressToInt(2, "2684354560"), 0);
    EXPECT_LT(StringAddressToInt(2, "21474836470"), 0);
    EXPECT_LT(StringAddressToInt(2, "21474836480"), 0);
    EXPECT_LT(StringAddressToInt(0, "99999999999999999999F"), 0);
}

TEST_F(AddressText, ABadAddressIsBadForTheExportedFunctionToo)
{
    EXPECT_EQ(PLCAddressChangeIntef(0, ""), -1);
    EXPECT_LT(PLCAddressChangeIntef(10, "2147483648"), 0);
    EXPECT_LT(PLCAddressChangeIntef(2, "1342177280"), 0);
}

// Cells
// ----------------------------------------------------------------------------------------------------------------

TEST_P(Cells, ANewKeyGetsACellOfFourZeroBytesAtTheEnd)
{
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(find(3, 10, 100), 1);
    ASSERT_EQ(count(), 2);
    EXPECT_EQ(cell(0).station, 2);
    EXPECT_EQ(cell(0).areaKind, 8);
    EXPECT_EQ(cell(0).address, 5);
    EXPECT_EQ(hex(cell(0).data), "00 00 00 00");
    EXPECT_EQ(cell(1).station, 3);
    EXPECT_EQ(cell(1).areaKind, 10);
    EXPECT_EQ(cell(1).address, 100);
    EXPECT_EQ(hex(cell(1).data), "00 00 00 00");
}

TEST_P(Cells, TheSameKeyGivesTheSameCell)
{
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(find(2, 8, 6), 1);
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(find(2, 8, 6), 1);
    EXPECT_EQ(count(), 2);
}

TEST_P(Cells, AKeyThatDiffersInOneOfItsThreePartsIsAnotherCell)
{
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(find(3, 8, 5), 1);
    EXPECT_EQ(find(2, 9, 5), 2);
    EXPECT_EQ(find(2, 8, 6), 3);
    EXPECT_EQ(find(5, 8, 2), 4);
    EXPECT_EQ(find(-2, 8, 5), 5);
    EXPECT_EQ(find(2 + 65536, 8, 5), 6);
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(find(2, 8, 6), 3);
}

TEST_P(Cells, AValueInACellDoesNotChangeWhereItIsFound)
{
    find(2, 8, 5);
    find(2, 8, 6);
    cell(1).data = bytesOf("34 12");
    EXPECT_EQ(find(2, 8, 6), 1);
    EXPECT_EQ(hex(cell(1).data), "34 12");
    EXPECT_EQ(find(2, 8, 5), 0);
    EXPECT_EQ(count(), 2);
}

TEST_P(Cells, ACellThatSomebodyElseAppendedIsFound)
{
    appendCell(7, 8, 1, "aa bb");
    EXPECT_EQ(find(7, 8, 1), 0);
    EXPECT_EQ(find(7, 8, 2), 1);
    appendCell(7, 8, 3, "cc dd");
    EXPECT_EQ(find(7, 8, 3), 2);
    EXPECT_EQ(hex(cell(0).data), "aa bb");
    EXPECT_EQ(hex(cell(2).data), "cc dd");
    EXPECT_EQ(count(), 3);
}

TEST_P(Cells, StartAnewWhenSomebodyElseClearedTheList)
{
    askForWords(3);
    PLC_driver.lst_ExtendVar.clear();
    EXPECT_EQ(ExtendFindSameVar(1, KindDT, 2), 0);
    EXPECT_EQ(ExtendFindSameVar(1, KindDT, 0), 1);
    PLC_driver.lst_ExtendVar = QList<EXTENDVAR>();
    makeOthers();
    EXPECT_EQ(find(1, KindDT, 0), 0);
    EXPECT_EQ(find(1, KindDT, 2), 1);
    EXPECT_EQ(count(), 2);
}

TEST_P(Cells, AreFoundWhereTheyMovedWhenSomebodyElseRemovedOne)
{
    askForWords(4);
    PLC_driver.lst_ExtendVar.removeAt(GetParam() + 1);
    EXPECT_EQ(find(1, KindDT, 0), 0);
    EXPECT_EQ(find(1, KindDT, 3), 2);
    EXPECT_EQ(find(1, KindDT, 2), 1);
    EXPECT_EQ(find(1, KindDT, 1), 3);
}

TEST_P(Cells, AreFoundWhereTheyMovedWhenOneWasRemovedAndOneAppended)
{
    askForWords(4);
    PLC_driver.lst_ExtendVar.removeAt(GetParam());
    appendCell(1, 10, 0, "");
    EXPECT_EQ(find(1, KindDT, 0), 3);
    EXPECT_EQ(find(1, KindDT, 1), 0);
    EXPECT_EQ(find(1, KindDT, 3), 2);
    EXPECT_EQ(count(), 4);
}

TEST_P(Cells, AreFoundWhereTheyMovedWhenOneWasInsertedBeforeThem)
{
    askForWords(2);
    PLC_driver.lst_ExtendVar.insert(0, EXTENDVAR());
    EXPECT_EQ(find(1, KindDT, 0), 1);
    EXPECT_EQ(find(1, KindDT, 1), 2);
    EXPECT_EQ(ExtendFindSameVar(0, 0, 0), 0);
}

TEST_P(Cells, AreFoundInAnotherListOfTheSameLength)
{
    QList<EXTENDVAR> other = PLC_driver.lst_ExtendVar;
    askForWords(3);
    for (int word : {7, 2, 0}) {
        EXTENDVAR swapped;
        swapped.station = 1;
        swapped.areaKind = 10;
        swapped.address = word;
        other.append(swapped);
    }
    PLC_driver.lst_ExtendVar = other;
    EXPECT_EQ(find(1, KindDT, 0), 2);
    EXPECT_EQ(find(1, KindDT, 2), 1);
    EXPECT_EQ(find(1, KindDT, 7), 0);
    EXPECT_EQ(find(1, KindDT, 1), 3);
}

TEST_P(Cells, AKeyThatWasEditedInPlaceIsFoundUnderItsNewNameOnly)
{
    askForWords(3);
    cell(1).address = 50;
    EXPECT_EQ(find(1, KindDT, 50), 1);
    EXPECT_EQ(find(1, KindDT, 1), 3);
    cell(0).station = 9;
    EXPECT_EQ(find(1, KindDT, 0), 4);
    EXPECT_EQ(find(9, KindDT, 0), 0);
    cell(2).areaKind = KindLD;
    EXPECT_EQ(find(1, KindDT, 2), 5);
    EXPECT_EQ(find(1, KindLD, 2), 2);
}

TEST_P(Cells, KeysThatWereExchangedInPlaceAreFoundInTheirNewPlaces)
{
    askForWords(3);
    std::swap(cell(0).address, cell(2).address);
    EXPECT_EQ(find(1, KindDT, 0), 2);
    EXPECT_EQ(find(1, KindDT, 2), 0);
    EXPECT_EQ(count(), 3);
}

TEST_P(Cells, TheFirstOfTwoCellsWithTheSameKeyWins)
{
    appendCell(1, 10, 5, "01 00");
    appendCell(1, 10, 6, "02 00");
    appendCell(1, 10, 5, "03 00");
    EXPECT_EQ(find(1, KindDT, 5), 0);
    EXPECT_EQ(find(1, KindDT, 6), 1);
    EXPECT_EQ(find(1, KindDT, 5), 0);
    PLC_driver.lst_ExtendVar.removeAt(GetParam());
    EXPECT_EQ(find(1, KindDT, 5), 1);
    EXPECT_EQ(find(1, KindDT, 6), 0);
}

TEST_P(Cells, AnEarlierCellThatIsGivenTheKeyOfALaterOneWins)
{
    askForWords(4);
    EXPECT_EQ(find(1, KindDT, 3), 3);
    cell(1).address = 3;
    EXPECT_EQ(find(1, KindDT, 3), 1);
    cell(1).address = 1;
    EXPECT_EQ(find(1, KindDT, 3), 3);
    EXPECT_EQ(count(), 4);
}

TEST_P(Cells, ThousandsOfThemKeepTheirOrder)
{
    int next = 0;
    for (int station = 1; station <= 4; ++station) {
        for (int word = 0; word < 3000; ++word)
            ASSERT_EQ(find(station, KindDT, word), next++);
    }
    for (int word = 2999; word >= 0; --word) {
        ASSERT_EQ(find(1, KindDT, word), word);
        ASSERT_EQ(find(4, KindDT, word), 9000 + word);
    }
    EXPECT_EQ(count(), 12000);
}

TEST_P(Cells, ThousandsOfThemAreStillFoundAfterSomebodyElseChangedTheList)
{
    askForWords(5000);
    PLC_driver.lst_ExtendVar.removeAt(GetParam());
    for (int word = 1; word < 5000; ++word)
        ASSERT_EQ(find(1, KindDT, word), word - 1);
    cell(10).address = 4000; // an earlier cell takes the key of a later one
    EXPECT_EQ(find(1, KindDT, 4000), 10);
    EXPECT_EQ(find(1, KindDT, 11), 4999);
    EXPECT_EQ(find(1, KindDT, 4999), 4998);
    EXPECT_EQ(count(), 5000);
}

// Reading, one station
// -------------------------------------------------------------------------------------------------

TEST_F(ReadingAreas, GivesAWordLowByteFirst)
{
    PLC_driver.localDT[100] = 0x1234;
    EXPECT_EQ(read(10, "100", 1), "34 12");
}

TEST_F(ReadingAreas, GivesOneBytePerBit)
{
    PLC_driver.localWY[0] = 0x1400; // bits 10 and 12
    EXPECT_EQ(read(1, "0A", 3), "01 00 01");
}

TEST_F(ReadingAreas, BitsRunOnIntoTheNextWord)
{
    PLC_driver.localWR[1] = 0x8000;
    PLC_driver.localWR[2] = 0x0003;
    EXPECT_EQ(read(2, "1E", 5), "00 01 01 01 00");
}

TEST_F(ReadingAreas, Bit17IsBit1OfWord1)
{
    PLC_driver.localWY[1] = 0x0002;
    EXPECT_EQ(read(1, "11", 1), "01");
    EXPECT_EQ(read(1, "10", 1), "00");
    EXPECT_EQ(read(1, "12", 1), "00");
}

TEST_F(ReadingAreas, EachKindReadsItsOwnArea)
{
    PLC_driver.localT[3] = 0x0404;
    PLC_driver.localC[3] = 0x0505;
    PLC_driver.localWX[3] = 0x0606;
    PLC_driver.localWY[3] = 0x0707;
    PLC_driver.localWR[3] = 0x0808;
    PLC_driver.localWL[3] = 0x0909;
    PLC_driver.localDT[3] = 0x1010;
    PLC_driver.localLD[3] = 0x1111;
    PLC_driver.localFL[3] = 0x1212;
    PLC_driver.localSV[3] = 0x1313;
    PLC_driver.localEV[3] = 0x1414;
    const struct {
        int kind;
        const char *addrText;
        int count;
        const char *bytes;
    } rows[] = {
        {0, "30", 4, "00 01 01 00"}, // 0x06: bits 1 and 2
        {1, "30", 4, "01 01 01 00"}, // 0x07
        {2, "30", 4, "00 00 00 01"}, // 0x08
        {3, "30", 4, "01 00 00 01"}, // 0x09
        {4, "48", 4, "00 00 01 00"}, // 0x04, contact 48 is bit 0 of word 3
        {5, "48", 4, "01 00 01 00"}, // 0x05
        {6, "3", 1, "06 06"},        {7, "3", 1, "07 07"},  {8, "3", 1, "08 08"},
        {9, "3", 1, "09 09"},        {10, "3", 1, "10 10"}, {11, "3", 1, "11 11"},
        {12, "3", 1, "12 12"},       {13, "3", 1, "13 13"}, {14, "3", 1, "14 14"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(read(row.kind, row.addrText, row.count), row.bytes) << "kind " << row.kind;
}

TEST_F(ReadingAreas, LeavesTheBytesBehindTheValuesAsTheyWere)
{
    PLC_driver.localDT[100] = 0x1234;
    PLC_driver.localWR[0] = 0x0003;
    QByteArray out = bytesOf("aa bb cc dd");
    EXPECT_EQ(get(10, "100", out, 1), 1);
    EXPECT_EQ(hex(out), "34 12 cc dd");
    EXPECT_EQ(get(2, "0", out, 2), 1);
    EXPECT_EQ(hex(out), "01 01 cc dd");
    EXPECT_EQ(get(10, "100", out, 3), 1);
    EXPECT_EQ(hex(out), "34 12 00 00 00 00");
}

TEST_F(ReadingAreas, AnotherHolderOfTheSameBytesKeepsHisOwn)
{
    PLC_driver.localDT[100] = 0x1234;
    QByteArray out = bytesOf("aa bb");
    const QByteArray held = out;
    EXPECT_EQ(get(10, "100", out, 1), 1);
    EXPECT_EQ(hex(out), "34 12");
    EXPECT_EQ(hex(held), "aa bb");
}

TEST_F(ReadingAreas, ABadAddressGives0AndLeavesEverythingAlone)
{
    const struct {
        int kind;
        const char *addrText;
    } rows[] = {{10, "-1"}, {0, ""}, {10, "2147483648"}, {2, "1342177280"}, {15, "-1"}};
    for (const auto &row : rows) {
        QByteArray out = bytesOf("aa bb");
        EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [&] { EXPECT_EQ(get(row.kind, row.addrText, out, 1), 0); }));
        EXPECT_EQ(hex(out), "aa bb") << row.addrText;
    }
}

TEST_F(ReadingAreas, AnUnknownKindOrACountBelow1Gives1AndReadsNothing)
{
    for (int kind : {15, 99, -1, INT_MAX, INT_MIN}) {
        QByteArray out = bytesOf("aa bb");
        EXPECT_EQ(get(kind, "3", out, 1), 1) << "kind " << kind;
        EXPECT_EQ(hex(out), "aa bb") << "kind " << kind;
    }
    for (int count : {0, -1, INT_MIN}) {
        for (int kind = 0; kind <= 14; ++kind) {
            QByteArray out = bytesOf("aa bb");
            EXPECT_EQ(get(kind, "3", out, count), 1) << "kind " << kind << " count " << count;
            EXPECT_EQ(hex(out), "aa bb") << "kind " << kind << " count " << count;
        }
    }
}

TEST_F(ReadingAreas, TheNameIsNotUsed)
{
    PLC_driver.localDT[100] = 0x1234;
    QString address = "100";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(nullptr, 10, &address, 1, &out, 1), 1);
    EXPECT_EQ(hex(out), "34 12");
}

TEST_F(ReadingAreas, TheStationPlaysNoPart)
{
    PLC_driver.localDT[100] = 0x1234;
    EXPECT_EQ(read(10, "100", 1, 7), "34 12");
    EXPECT_EQ(cells(), "");
}

TEST_F(ReadingAreas, GivesNothingForElementsOutsideTheArea)
{
    PLC_driver.localT[1249] = 0x8000;
    PLC_driver.localC[0] = 0xFFFF; // lies behind T
    PLC_driver.localWR[9999] = 0x8000;
    PLC_driver.localWL[0] = 0xFFFF; // lies behind WR
    PLC_driver.localDT[999999] = 0x1234;
    PLC_driver.localLD[0] = 0xFFFF; // lies behind DT
    PLC_driver.localEV[9999] = 0x5678;
    const struct {
        int kind;
        const char *last, *first; // the last element inside, the first one outside
        const char *values;
    } rows[] = {
        {4, "19999", "20000", "01"},      {5, "19999", "20000", "00"},        {0, "9999F", "100000", "00"},
        {1, "9999F", "100000", "00"},     {2, "9999F", "100000", "01"},       {3, "9999F", "100000", "00"},
        {6, "9999", "10000", "00 00"},    {7, "9999", "10000", "00 00"},      {8, "9999", "10000", "00 80"},
        {9, "9999", "10000", "00 00"},    {10, "999999", "1000000", "34 12"}, {11, "9999", "10000", "00 00"},
        {12, "99999", "100000", "00 00"}, {13, "9999", "10000", "00 00"},     {14, "9999", "10000", "78 56"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(read(row.kind, row.last, 2), row.values) << "kind " << row.kind;
        QByteArray out = bytesOf("aa bb cc dd");
        EXPECT_EQ(get(row.kind, row.first, out, 2), 1);
        EXPECT_EQ(hex(out), "aa bb cc dd") << "kind " << row.kind;
        EXPECT_EQ(read(row.kind, row.first, 2), "") << "kind " << row.kind;
    }
}

TEST_F(ReadingAreas, LeavesTheBytesOfElementsOutsideTheAreaAsTheyWere)
{
    PLC_driver.localDT[999999] = 0x1234;
    QByteArray out = bytesOf("aa bb cc dd ee");
    EXPECT_EQ(get(10, "999999", out, 2), 1);
    EXPECT_EQ(hex(out), "34 12 cc dd ee");
    out = bytesOf("aa bb cc");
    EXPECT_EQ(get(2, "9999F", out, 2), 1);
    EXPECT_EQ(hex(out), "00 bb cc");
}

TEST_F(ReadingAreas, AnAbsurdCountReadsWhatTheAreaHolds)
{
    QByteArray out;
    EXPECT_EQ(get(13, "9990", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 20);
    out.clear();
    EXPECT_EQ(get(10, "0", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 2000000);
    out.clear();
    EXPECT_EQ(get(3, "0", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 160000);
    out.clear();
    EXPECT_EQ(get(5, "19990", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 10);
    out.clear();
    EXPECT_EQ(get(10, "2147483647", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 0);
    EXPECT_EQ(get(2, "134217727F", out, INT_MAX), 1);
    EXPECT_EQ(out.size(), 0);
}

TEST_F(ReadingAreas, WaitsForTheAreaLockAndLeavesItFree)
{
    QByteArray out;
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { get(10, "100", out, 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [&] { get(10, "100", out, 1); }));
    get(15, "100", out, 1);
    get(10, "100", out, 0);
    EXPECT_TRUE(allLocksAreFree());
}

// Reading, several stations
// --------------------------------------------------------------------------------------------

TEST_F(ReadingCells, MakesACellForAWordThatWasNeverReceivedAndGivesZero)
{
    EXPECT_EQ(read(8, "5", 1, 2), "00 00");
    EXPECT_EQ(cells(), "2:8:5=00 00 00 00");
}

TEST_F(ReadingCells, GivesTheWordsOfTheStationAskedFor)
{
    PLC_driver.localDT[100] = 0xFFFF;
    appendCell(2, 10, 101, "78 56");
    appendCell(3, 10, 100, "99 99");
    appendCell(2, 10, 100, "34 12");
    EXPECT_EQ(read(10, "100", 2, 2), "34 12 78 56");
    EXPECT_EQ(read(10, "100", 1, 3), "99 99");
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 3);
}

TEST_F(ReadingCells, AWordWithFewerThanTwoBytesIsZero)
{
    appendCell(2, 10, 0, "");
    appendCell(2, 10, 1, "55");
    appendCell(2, 10, 2, "34 12 99 99");
    EXPECT_EQ(read(10, "0", 3, 2), "00 00 00 00 34 12");
    EXPECT_EQ(cells(), "2:10:0=, 2:10:1=55, 2:10:2=34 12 99 99");
}

TEST_F(ReadingCells, RelayBitsComeFromTheCellsOfTheirWordKind)
{
    for (int kind : {0, 1, 2, 3})
        appendCell(2, kind + 6, 1, "02 80");
    for (int kind : {0, 1, 2, 3}) {
        EXPECT_EQ(read(kind, "10", 3, 2), "00 01 00") << "kind " << kind;
        EXPECT_EQ(read(kind, "17", 9, 2), "00 00 00 00 00 00 00 00 01") << "kind " << kind;
    }
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 4);
}

TEST_F(ReadingCells, ContactBitsComeFromTheCellsOfTheirOwnKind)
{
    for (int kind : {4, 5}) {
        PLC_driver.lst_ExtendVar.clear();
        appendCell(2, kind, 1, "00 01");
        EXPECT_EQ(read(kind, "23", 3, 2), "00 01 00") << "kind " << kind;
        EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 1);
    }
}

TEST_F(ReadingCells, BitsMakeOneCellForEachWordTheyTouch)
{
    EXPECT_EQ(read(1, "0E", 4, 2), "00 00 00 00");
    EXPECT_EQ(read(4, "31", 2, 2), "00 00");
    EXPECT_EQ(cells(), "2:7:0=00 00 00 00, 2:7:1=00 00 00 00, 2:4:1=00 00 00 00, 2:4:2=00 00 00 00");
}

TEST_F(ReadingCells, ABitOfAnEmptyOrTooShortCellIsZero)
{
    appendCell(2, 8, 0, "");
    appendCell(2, 8, 1, "ff");
    EXPECT_EQ(read(2, "00", 1, 2), "00");
    EXPECT_EQ(read(2, "17", 1, 2), "01");
    EXPECT_EQ(read(2, "18", 1, 2), "00");
    EXPECT_EQ(cells(), "2:8:0=, 2:8:1=ff");
}

TEST_F(ReadingCells, EveryWordKindHasItsOwnCells)
{
    for (int kind = 6; kind <= 14; ++kind)
        EXPECT_EQ(read(kind, "7", 1, 2), "00 00");
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 9);
    for (int kind = 6; kind <= 14; ++kind)
        EXPECT_EQ(ExtendFindSameVar(2, kind, 7), kind - 6);
}

TEST_F(ReadingCells, LeavesTheBytesBehindTheValuesAsTheyWere)
{
    appendCell(2, 10, 0, "34 12");
    QByteArray out = bytesOf("aa bb cc");
    EXPECT_EQ(get(10, "0", out, 1, 2), 1);
    EXPECT_EQ(hex(out), "34 12 cc");
    EXPECT_EQ(get(2, "0", out, 1, 2), 1);
    EXPECT_EQ(hex(out), "00 12 cc");
}

TEST_F(ReadingCells, AnUnknownKindOrACountBelow1MakesNoCell)
{
    QByteArray out = bytesOf("aa bb");
    for (int kind : {15, -1, INT_MAX})
        EXPECT_EQ(get(kind, "3", out, 1, 2), 1) << "kind " << kind;
    for (int count : {0, -1, INT_MIN})
        EXPECT_EQ(get(10, "3", out, count, 2), 1) << "count " << count;
    EXPECT_EQ(get(10, "-3", out, 1, 2), 0);
    EXPECT_EQ(hex(out), "aa bb");
    EXPECT_EQ(cells(), "");
}

TEST_F(ReadingCells, NoCellIsMadeAndNothingIsGivenOutsideTheArea)
{
    EXPECT_EQ(read(13, "9999", 2, 2), "00 00");
    EXPECT_EQ(read(13, "10000", 1, 2), "");
    EXPECT_EQ(read(2, "9999F", 2, 2), "00");
    EXPECT_EQ(read(2, "100000", 1, 2), "");
    EXPECT_EQ(read(4, "19999", 2, 2), "00");
    EXPECT_EQ(read(5, "20000", 1, 2), "");
    EXPECT_EQ(cells(), "2:13:9999=00 00 00 00, 2:8:9999=00 00 00 00, 2:4:1249=00 00 00 00");
    QByteArray out = bytesOf("aa bb cc dd ee");
    EXPECT_EQ(get(13, "9999", out, 2, 2), 1);
    EXPECT_EQ(hex(out), "00 00 cc dd ee");
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 3);
}

TEST_F(ReadingCells, AnAbsurdCountMakesCellsInsideTheAreaOnly)
{
    QByteArray out;
    EXPECT_EQ(get(13, "9990", out, INT_MAX, 2), 1);
    EXPECT_EQ(out.size(), 20);
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 10);
    out.clear();
    EXPECT_EQ(get(3, "99900", out, INT_MAX, 2), 1);
    EXPECT_EQ(out.size(), 160);
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 20);
    out.clear();
    EXPECT_EQ(get(10, "2147483647", out, INT_MAX, 2), 1);
    EXPECT_EQ(out.size(), 0);
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 20);
}

TEST_F(ReadingCells, WaitsForTheAreaLockAndLeavesItFree)
{
    QByteArray out;
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { get(10, "100", out, 1); }));
    get(15, "100", out, 1);
    EXPECT_TRUE(allLocksAreFree());
}

// Writing to the PLC
// ---------------------------------------------------------------------------------------------------

TEST_F(WritingToThePlc, QueuesARecordWithEveryFieldOfTheRequest)
{
    info.remoteMode = 5;
    info.linkNo = 6;
    info.defaultStation = 3;
    EXPECT_EQ(set(10, "100", "34 12", 1, 7), 1);
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    EXPECT_EQ(described(PLC_driver.lst_WriteVar[0]),
              "ownerId 4, ownerTag 9, varFlag 1, remoteMode 5, linkNo 6, result 0, name level, addrText 100, "
              "areaKind 10, address 100, station 3, count 1, extra1 0, extra2 0, data 3412");
    EXPECT_EQ(storedWords(), "") << "the next read brings the value";
}

TEST_F(WritingToThePlc, AWriteNeedsNoName)
{
    QString address = QString::fromLatin1("100");
    QByteArray data = bytesOf("34 12");
    EXPECT_EQ(SetRegisterData(nullptr, 10, &address, 1, &data, 1, 4, 9), 1);
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    EXPECT_EQ(PLC_driver.lst_WriteVar.at(0).name.size(), 0);
    EXPECT_EQ(queued(), "10:100:1@1=34 12");
}

TEST_F(WritingToThePlc, SeveralStationsGetTheirOwnWrites)
{
    info.multiStation = 1;
    EXPECT_EQ(set(10, "100", "34 12", 1, 7), 1);
    EXPECT_EQ(set(2, "1F", "01", 1, 8), 2);
    EXPECT_EQ(queued(), "10:100:1@7=34 12, 2:31:1@8=01");
    EXPECT_EQ(cells(), "");
}

TEST_F(WritingToThePlc, BitsAreQueuedOneByOne)
{
    for (int kind : {1, 2, 3}) {
        PLC_driver.lst_WriteVar.clear();
        const std::string k = std::to_string(kind);
        EXPECT_EQ(set(kind, "1F", "01 00 02", 3), 3);
        EXPECT_EQ(queued(), k + ":31:1@1=01, " + k + ":32:1@1=00, " + k + ":33:1@1=02");
    }
    EXPECT_EQ(storedWords(), "");
}

TEST_F(WritingToThePlc, ABitWithoutAByteIsSentAsZero)
{
    EXPECT_EQ(set(2, "0", "01", 3), 3);
    EXPECT_EQ(queued(), "2:0:1@1=01, 2:1:1@1=00, 2:2:1@1=00");
}

TEST_F(WritingToThePlc, BytesBeyondTheCountAreNotUsed)
{
    EXPECT_EQ(set(2, "0", "01 01 01", 1), 1);
    EXPECT_EQ(set(10, "5", "34 12 78 56", 1), 2);
    EXPECT_EQ(queued(), "2:0:1@1=01, 10:5:1@1=34 12");
}

TEST_F(WritingToThePlc, WordsAreCutIntoPieces)
{
    info.maxWordsPerWrite = 2;
    EXPECT_EQ(set(10, "100", "01 00 02 00 03 00 04 00 05 00", 5), 3);
    EXPECT_EQ(queued(), "10:100:2@1=01 00 02 00, 10:102:2@1=03 00 04 00, 10:104:1@1=05 00");
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(set(10, "100", "01 00 02 00 03 00 04 00", 4), 2);
    EXPECT_EQ(queued(), "10:100:2@1=01 00 02 00, 10:102:2@1=03 00 04 00");
    PLC_driver.lst_WriteVar.clear();
    info.maxWordsPerWrite = 1;
    EXPECT_EQ(set(10, "100", "01 00 02 00", 2), 2);
    EXPECT_EQ(queued(), "10:100:1@1=01 00, 10:101:1@1=02 00");
}

TEST_F(WritingToThePlc, FortyWordsAreThreePiecesAndThirtyTwoAreTwo)
{
    EXPECT_EQ(set(10, "100", "", 40), 3);
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 3);
    EXPECT_EQ(PLC_driver.lst_WriteVar[0].address, 100);
    EXPECT_EQ(PLC_driver.lst_WriteVar[1].address, 116);
    EXPECT_EQ(PLC_driver.lst_WriteVar[2].address, 132);
    EXPECT_EQ(PLC_driver.lst_WriteVar[0].count, 16);
    EXPECT_EQ(PLC_driver.lst_WriteVar[1].count, 16);
    EXPECT_EQ(PLC_driver.lst_WriteVar[2].count, 8);
    EXPECT_EQ(PLC_driver.lst_WriteVar[2].data, QByteArray(16, '\0'));
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(set(10, "100", "", 32), 2);
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 2);
    EXPECT_EQ(PLC_driver.lst_WriteVar[1].address, 116);
    EXPECT_EQ(PLC_driver.lst_WriteVar[1].count, 16);
}

TEST_F(WritingToThePlc, OnePieceHoldsUpToTheLimitAndOneMoreWordStartsAnother)
{
    EXPECT_EQ(set(10, "100", "", 16), 1);
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(set(10, "100", "", 17), 2);
    EXPECT_EQ(PLC_driver.lst_WriteVar.last().address, 116);
    EXPECT_EQ(PLC_driver.lst_WriteVar.last().count, 1);
}

TEST_F(WritingToThePlc, MissingBytesOfWordsAreSentAsZero)
{
    info.maxWordsPerWrite = 2;
    EXPECT_EQ(set(10, "100", "01 02 03", 5), 3);
    EXPECT_EQ(queued(), "10:100:2@1=01 02 03 00, 10:102:2@1=00 00 00 00, 10:104:1@1=00 00");
}

TEST_F(WritingToThePlc, EveryWordKindButInputWordsIsQueued)
{
    for (int kind = 7; kind <= 14; ++kind) {
        PLC_driver.lst_WriteVar.clear();
        EXPECT_EQ(set(kind, "100", "34 12", 1), 1);
        EXPECT_EQ(queued(), std::to_string(kind) + ":100:1@1=34 12");
    }
}

TEST_F(WritingToThePlc, KindsThatCannotBeWrittenGive0)
{
    PLC_driver.bCommFail = 1;
    for (int kind : {0, 4, 5, 6, 15, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(set(kind, "3", "34 12", 1), 0) << "kind " << kind;
        EXPECT_EQ(queued(), "") << "kind " << kind;
        EXPECT_EQ(storedWords(), "") << "kind " << kind;
    }
}

TEST_F(WritingToThePlc, ACountBelow1Gives0)
{
    for (int count : {0, -1, INT_MIN}) {
        EXPECT_EQ(set(2, "3", "01", count), 0) << count;
        EXPECT_EQ(set(10, "3", "34 12", count), 0) << count;
    }
    EXPECT_EQ(queued(), "");
}

TEST_F(WritingToThePlc, ABadAddressGives0AndTakesNoLock)
{
    PLC_driver.bCommFail = 1;
    for (int hostMode : {2, 0}) {
        info.hostMode = hostMode;
        const auto badAddresses = [&] {
            EXPECT_EQ(set(10, "-1", "34 12", 1), 0);
            EXPECT_EQ(set(2, "", "01", 1), 0);
            EXPECT_EQ(set(10, "2147483648", "34 12", 1), 0);
        };
        EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, badAddresses));
        EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, badAddresses));
    }
    EXPECT_EQ(queued(), "");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(WritingToThePlc, APieceLimitBelow1RefusesWordsAndNotBits)
{
    PLC_driver.bCommFail = 1;
    for (int limit : {0, -1, INT_MIN}) {
        info.maxWordsPerWrite = limit;
        EXPECT_EQ(set(10, "3", "34 12", 1), 0) << "limit " << limit;
        EXPECT_EQ(queued(), "");
        EXPECT_EQ(storedWords(), "");
    }
    EXPECT_EQ(set(2, "3", "01", 1), 1);
    EXPECT_EQ(queued(), "2:3:1@1=01");
}

TEST_F(WritingToThePlc, ANewerValueReplacesTheOneThatWaitsBehindTheHead)
{
    EXPECT_EQ(set(10, "1", "01 00", 1), 1);
    EXPECT_EQ(set(10, "2", "02 00", 1), 2);
    EXPECT_EQ(set(10, "2", "03 00", 1), 2);
    EXPECT_EQ(set(10, "1", "04 00", 1), 3) << "the head is being served and is not replaced";
    EXPECT_EQ(queued(), "10:1:1@1=01 00, 10:2:1@1=03 00, 10:1:1@1=04 00");
}

TEST_F(WritingToThePlc, AFullListGivesItsLengthAndStillMirrors)
{
    PLC_driver.bCommFail = 1;
    for (int i = 0; i < 1024; ++i)
        PLC_driver.lst_WriteVar.append(variable(KindLD, i, 1));
    EXPECT_EQ(set(10, "5", "34 12", 1), 1024);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1024);
    EXPECT_EQ(storedWords(), "DT5=1234");
}

TEST_F(WritingToThePlc, WhileTheLinkFailsTheValueIsStoredAtOnce)
{
    PLC_driver.bCommFail = 1;
    EXPECT_EQ(set(10, "100", "34 12 78 56", 2), 1);
    EXPECT_EQ(set(2, "1F", "01 01", 2), 3);
    EXPECT_EQ(storedWords(), "WR1=8000 WR2=0001 DT100=1234 DT101=5678");
    EXPECT_EQ(queued(), "10:100:2@1=34 12 78 56, 2:31:1@1=01, 2:32:1@1=01");
}

TEST_F(WritingToThePlc, WhileTheLinkFailsThePaddedRecordIsStored)
{
    PLC_driver.bCommFail = 1;
    PLC_driver.localDT[101] = 0xFFFF;
    PLC_driver.localDT[102] = 0xFFFF;
    PLC_driver.localWR[0] = 0xFFFF;
    EXPECT_EQ(set(10, "100", "34 12 78", 3), 1);
    EXPECT_EQ(set(2, "0", "01", 3), 4);
    EXPECT_EQ(storedWords(), "WR0=fff9 DT100=1234 DT101=0078");
}

TEST_F(WritingToThePlc, WhileTheLinkFailsEachStationsCellsAreStored)
{
    PLC_driver.bCommFail = 1;
    info.multiStation = 1;
    EXPECT_EQ(set(10, "100", "34 12", 2, 7), 1);
    EXPECT_EQ(set(3, "1F", "01", 1, 8), 2);
    EXPECT_EQ(cells(), "7:10:100=34 12, 7:10:101=00 00, 8:9:1=00 80 00 00");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(WritingToThePlc, NoSingleBitWriteIsMadeOutsideTheArea)
{
    PLC_driver.bCommFail = 1;
    EXPECT_EQ(set(2, "9999E", "01 01 01 01", 4), 2);
    EXPECT_EQ(queued(), "2:159998:1@1=01, 2:159999:1@1=01");
    EXPECT_EQ(storedWords(), "WR9999=c000");
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(set(2, "100000", "01", 1), 0);
    EXPECT_EQ(set(2, "134217727F", "01", INT_MAX), 0);
    EXPECT_EQ(set(2, "99999", "", INT_MAX), 7);
    EXPECT_EQ(PLC_driver.lst_WriteVar.last().address, 159999);
}

TEST_F(WritingToThePlc, NoPieceIsMadeOutsideTheArea)
{
    const struct {
        int kind;
        const char *last, *first; // the last element inside, the first one outside
        int number;
    } rows[] = {
        {7, "9999", "10000", 9999},        {8, "9999", "10000", 9999},  {9, "9999", "10000", 9999},
        {10, "999999", "1000000", 999999}, {11, "9999", "10000", 9999}, {12, "99999", "100000", 99999},
        {13, "9999", "10000", 9999},       {14, "9999", "10000", 9999},
    };
    for (const auto &row : rows) {
        PLC_driver.lst_WriteVar.clear();
        info.maxWordsPerWrite = 1;
        EXPECT_EQ(set(row.kind, row.last, "34 12 78 56 ff ff", 3), 1) << "kind " << row.kind;
        EXPECT_EQ(queued(), std::to_string(row.kind) + ":" + std::to_string(row.number) + ":1@1=34 12");
        PLC_driver.lst_WriteVar.clear();
        EXPECT_EQ(set(row.kind, row.first, "34 12", 1), 0) << "kind " << row.kind;
        EXPECT_EQ(queued(), "");
    }
}

TEST_F(WritingToThePlc, AnAbsurdCountQueuesPiecesInsideTheAreaOnly)
{
    EXPECT_EQ(set(13, "0", "34 12", INT_MAX), 625);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 625);
    EXPECT_EQ(PLC_driver.lst_WriteVar.last().address, 9984);
    EXPECT_EQ(PLC_driver.lst_WriteVar.last().count, 16);
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(set(10, "2147483647", "34 12", INT_MAX), 0);
    EXPECT_EQ(queued(), "");
}

TEST_F(WritingToThePlc, APieceThatReachesBeyondTheAreaStaysSmall)
{
    info.maxWordsPerWrite = INT_MAX;
    PLC_driver.bCommFail = 1;
    EXPECT_EQ(set(13, "9998", "34 12 78 56 ff ff", INT_MAX), 1);
    ASSERT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    const RW_VAR &piece = PLC_driver.lst_WriteVar[0];
    EXPECT_EQ(piece.address, 9998);
    EXPECT_GE(piece.count, 2);
    EXPECT_LE(piece.count, 10000);
    EXPECT_EQ(piece.data.size(), 2 * piece.count);
    EXPECT_EQ(hex(piece.data.left(4)), "34 12 78 56");
    EXPECT_EQ(storedWords(), "SV9998=1234 SV9999=5678");
}

TEST_F(WritingToThePlc, TakesTheListLockAndThenTheAreaLockAndNeverBoth)
{
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&] { set(10, "100", "34 12", 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [&] { set(10, "100", "34 12", 1); }));
    PLC_driver.bCommFail = 1;
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { set(10, "100", "34 12", 1); }));
    EXPECT_TRUE(allLocksAreFree());

    PLC_driver.mutexArea.lock();
    std::future<int> waiting = std::async(std::launch::async, [&] { return set(10, "200", "34 12", 1); });
    waiting.wait_for(std::chrono::milliseconds(30));
    const bool listIsFree = PLC_driver.mutexList.tryLock(5000);
    EXPECT_TRUE(listIsFree) << "mutexList is not held while a write waits for mutexArea";
    if (listIsFree)
        PLC_driver.mutexList.unlock();
    PLC_driver.mutexArea.unlock();
    waiting.wait();
}

// Writing locally
// ------------------------------------------------------------------------------------------------------

TEST_F(WritingLocally, StoresTheValueAndQueuesNothing)
{
    for (int hostMode : {0, 1, 3, -2}) {
        info.hostMode = hostMode;
        PLC_driver.localDT[100] = 0;
        EXPECT_EQ(set(10, "100", "34 12", 1), 1) << "hostMode " << hostMode;
        EXPECT_EQ(storedWords(), "DT100=1234") << "hostMode " << hostMode;
        EXPECT_EQ(queued(), "");
    }
}

TEST_F(WritingLocally, InputWordsAreWritten)
{
    EXPECT_EQ(set(6, "3", "34 12", 1), 1);
    EXPECT_EQ(storedWords(), "WX3=1234");
    EXPECT_EQ(queued(), "");
}

TEST_F(WritingLocally, KindsThatAreNeverWrittenGive1)
{
    for (int kind : {0, 4, 5, 15, -1})
        EXPECT_EQ(set(kind, "3", "01 01", 1), 1) << "kind " << kind;
    EXPECT_EQ(set(10, "3", "34 12", 0), 1);
    EXPECT_EQ(set(2, "3", "01", -1), 1);
    EXPECT_EQ(storedWords(), "");
}

TEST_F(WritingLocally, MissingWordsStayAsTheyAre)
{
    PLC_driver.localDT[101] = 0xAAAA;
    EXPECT_EQ(set(10, "100", "34 12 78", 3), 1);
    EXPECT_EQ(storedWords(), "DT100=1234 DT101=aaaa");
}

TEST_F(WritingLocally, WritingTheByte2ToABitClearsIt)
{
    PLC_driver.localWR[0] = 0xFFFF;
    EXPECT_EQ(set(2, "3", "02", 1), 1);
    EXPECT_EQ(storedWords(), "WR0=fff7");
}

TEST_F(WritingLocally, ThePieceLimitPlaysNoPart)
{
    info.maxWordsPerWrite = 0;
    EXPECT_EQ(set(10, "100", "34 12 78 56", 2), 1);
    EXPECT_EQ(storedWords(), "DT100=1234 DT101=5678");
}

TEST_F(WritingLocally, SeveralStationsKeepTheirOwnValues)
{
    info.multiStation = 1;
    EXPECT_EQ(set(10, "100", "34 12", 1, 7), 1);
    EXPECT_EQ(set(10, "100", "78 56", 1, 8), 1);
    EXPECT_EQ(cells(), "7:10:100=34 12, 8:10:100=78 56");
    EXPECT_EQ(read(10, "100", 1, 7), "34 12");
    EXPECT_EQ(read(10, "100", 1, 8), "78 56");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(WritingLocally, IgnoresElementsOutsideTheArea)
{
    EXPECT_EQ(set(10, "999999", "34 12 78 56", 2), 1);
    EXPECT_EQ(set(13, "2147483647", "34 12 78 56", INT_MAX), 1);
    EXPECT_EQ(set(3, "9999F", "01 01", INT_MAX), 1);
    EXPECT_EQ(storedWords(), "WL9999=8000 DT999999=1234");
}

// WriteDataToLocal, one station
// ----------------------------------------------------------------------------------------

TEST_F(Mirroring, WordsGoToTheAreaOfTheirKind)
{
    const char *const areas[] = {"WX", "WY", "WR", "WL", "DT", "LD", "FL", "SV", "EV"};
    std::string expected;
    for (int kind = 6; kind <= 14; ++kind) {
        mirror(kind, 20, 1, "34 12");
        expected += (expected.empty() ? "" : " ") + std::string(areas[kind - 6]) + "20=1234";
        EXPECT_EQ(storedWords(), expected);
    }
}

TEST_F(Mirroring, BitsGoToTheWordsOfTheirKind)
{
    mirror(1, 17, 1, "01");
    mirror(2, 31, 2, "01 01");
    mirror(3, 0, 3, "01 00 01");
    EXPECT_EQ(storedWords(), "WY1=0002 WR1=8000 WR2=0001 WL0=0005");
}

TEST_F(Mirroring, OnlyAnExact1SetsABitAndOtherBitsKeepTheirValues)
{
    PLC_driver.localWY[1] = 0xFFFF;
    mirror(1, 16, 5, "00 01 02 ff 81");
    EXPECT_EQ(storedWords(), "WY1=ffe2");
}

TEST_F(Mirroring, InputRelaysContactsAndUnknownKindsAreNeverWritten)
{
    for (int kind : {0, 4, 5, 15, -1, INT_MAX, INT_MIN})
        mirror(kind, 1, 1, "01 01");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(Mirroring, ElementsWithoutTheirBytesStayAsTheyAre)
{
    PLC_driver.localDT[6] = 0x2222;
    mirror(10, 5, 3, "34 12 78");
    PLC_driver.localWR[0] = 0x0002;
    mirror(2, 0, 3, "01");
    mirror(10, 9, 1, "");
    EXPECT_EQ(storedWords(), "WR0=0003 DT5=1234 DT6=2222");
}

TEST_F(Mirroring, WritesNoMoreElementsThanItsCount)
{
    mirror(10, 5, 1, "34 12 78 56");
    mirror(2, 0, 1, "01 01");
    mirror(10, 7, 0, "34 12");
    mirror(10, 7, -1, "34 12");
    EXPECT_EQ(storedWords(), "WR0=0001 DT5=1234");
}

TEST_F(Mirroring, IgnoresElementsOutsideTheArea)
{
    mirror(10, 999999, 2, "34 12 78 56");
    mirror(10, 1000000, 1, "ff ff");
    mirror(13, -1, 2, "ff ff 34 12");
    mirror(14, INT_MAX, INT_MAX, "ff ff ff ff");
    mirror(14, INT_MIN, INT_MAX, "ff ff ff ff");
    mirror(1, 159999, 2, "01 01");
    mirror(2, -1, 2, "01 01");
    mirror(3, INT_MAX, INT_MAX, "01 01");
    mirror(3, INT_MIN, INT_MAX, "01 01");
    EXPECT_EQ(storedWords(), "WY9999=8000 WR0=0001 DT999999=1234 SV0=1234");
}

TEST_F(Mirroring, LeavesTheVariableAndTheListsAlone)
{
    RW_VAR var = distinctVariable();
    const std::string before = described(var);
    WriteDataToLocal(&var);
    EXPECT_EQ(described(var), before);
    EXPECT_EQ(storedWords(), "DT108=0201 DT109=0403");
    EXPECT_EQ(cells(), "");
    EXPECT_EQ(queued(), "");
}

TEST_F(Mirroring, WaitsForTheAreaLockAndLeavesItFree)
{
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { mirror(10, 5, 1, "34 12"); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [&] { mirror(10, 5, 1, "34 12"); }));
    mirror(0, 5, 1, "34 12");
    mirror(4, 5, 1, "34 12");
    EXPECT_TRUE(allLocksAreFree());
}

// WriteDataToLocal, several stations
// -----------------------------------------------------------------------------------

TEST_F(MirroringInCells, AWordsCellIsMadeAndHoldsItsTwoBytes)
{
    appendCell(3, 10, 6, "00 00 00 00");
    mirror(10, 5, 2, "34 12 78 56", 3);
    EXPECT_EQ(cells(), "3:10:6=78 56, 3:10:5=34 12");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(MirroringInCells, EveryWordKindHasItsOwnCells)
{
    for (int kind = 6; kind <= 14; ++kind) {
        PLC_driver.lst_ExtendVar.clear();
        mirror(kind, 5, 1, "34 12", 3);
        EXPECT_EQ(cells(), "3:" + std::to_string(kind) + ":5=34 12");
    }
}

TEST_F(MirroringInCells, AWordWithoutItsBytesMakesNoCell)
{
    mirror(10, 5, 3, "34 12 78", 3);
    EXPECT_EQ(cells(), "3:10:5=34 12");
}

TEST_F(MirroringInCells, ABitsCellIsMadeEvenWhereItsByteIsMissing)
{
    mirror(2, 15, 3, "01", 3);
    EXPECT_EQ(cells(), "3:8:0=00 80 00 00, 3:8:1=00 00 00 00");
}

TEST_F(MirroringInCells, BitsLandInTheCellsOfTheirWordKind)
{
    for (int kind : {1, 2, 3}) {
        PLC_driver.lst_ExtendVar.clear();
        appendCell(3, kind + 6, 1, "ff ff");
        mirror(kind, 16 + 6, 4, "00 01 02 01", 3);
        EXPECT_EQ(cells(), "3:" + std::to_string(kind + 6) + ":1=bf fe") << "kind " << kind;
    }
}

TEST_F(MirroringInCells, ABitOfAnEmptyCellIsSkippedAndAMissingByteGrows)
{
    appendCell(3, 8, 0, "");
    appendCell(3, 8, 1, "ff");
    appendCell(3, 8, 2, "ff");
    mirror(2, 3, 1, "01", 3);
    mirror(2, 16 + 9, 1, "01", 3);
    mirror(2, 32 + 3, 1, "00", 3);
    EXPECT_EQ(cells(), "3:8:0=, 3:8:1=ff 02, 3:8:2=f7");
}

TEST_F(MirroringInCells, OtherKindsAndCountsBelow1MakeNoCell)
{
    for (int kind : {0, 4, 5, 15, -1})
        mirror(kind, 1, 1, "01 01", 3);
    for (int count : {0, -1, INT_MIN}) {
        mirror(2, 1, count, "01", 3);
        mirror(10, 1, count, "34 12", 3);
    }
    EXPECT_EQ(cells(), "");
}

TEST_F(MirroringInCells, NoCellIsMadeOutsideTheArea)
{
    mirror(13, 9999, 2, "34 12 78 56", 3);
    mirror(13, 10000, 1, "34 12", 3);
    mirror(13, -1, 2, "ff ff 34 12", 3);
    mirror(13, INT_MAX, INT_MAX, "34 12", 3);
    mirror(13, INT_MIN, INT_MAX, "34 12", 3);
    mirror(2, 159999, 2, "01 01", 3);
    mirror(2, -1, 2, "01 01", 3);
    mirror(2, INT_MAX, INT_MAX, "01", 3);
    mirror(2, INT_MIN, INT_MAX, "01", 3);
    EXPECT_EQ(cells(), "3:13:9999=34 12, 3:13:0=34 12, 3:8:9999=00 80 00 00, 3:8:0=01 00 00 00");
}

TEST_F(MirroringInCells, AnAbsurdCountMakesCellsInsideTheAreaOnly)
{
    mirror(13, 0, INT_MAX, "34 12", 3);
    EXPECT_EQ(cells(), "3:13:0=34 12");
    mirror(2, 159900, INT_MAX, "01", 4);
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 1 + 7); // words 9993 to 9999
    EXPECT_EQ(ExtendFindSameVar(4, 8, 9993), 1);
    EXPECT_EQ(ExtendFindSameVar(4, 8, 9999), 7);
}

TEST_F(MirroringInCells, WaitsForTheAreaLockAndLeavesItFree)
{
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { mirror(10, 5, 1, "34 12", 3); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [&] { mirror(2, 5, 1, "01", 3); }));
    mirror(4, 5, 1, "34 12", 3);
    EXPECT_TRUE(allLocksAreFree());
}

// Copy helpers
// ---------------------------------------------------------------------------------------------------------

TEST_F(CopyHelpers, GetBitFromUsGivesOneBytePerBit)
{
    QByteArray out;
    GetBitFromUS(out, words, 13, 6); // 0x1234: bits 13 to 15, 0x8001: bits 0 to 2
    EXPECT_EQ(hex(out), "00 00 00 01 00 00");
    out.clear();
    GetBitFromUS(out, words, 31, 3);
    EXPECT_EQ(hex(out), "01 00 01");
    out = bytesOf("aa bb cc");
    GetBitFromUS(out, words, 2, 1);
    EXPECT_EQ(hex(out), "01 bb cc");
    GetBitFromUS(out, words, 2, 0);
    GetBitFromUS(out, words, 2, -1);
    EXPECT_EQ(hex(out), "01 bb cc");
}

TEST_F(CopyHelpers, GetWordFromUsGivesTwoBytesPerWord)
{
    QByteArray out;
    GetWordFromUS(out, words, 1, 2);
    EXPECT_EQ(hex(out), "01 80 fe ff");
    out = bytesOf("aa bb cc");
    GetWordFromUS(out, words, 0, 1);
    EXPECT_EQ(hex(out), "34 12 cc");
    GetWordFromUS(out, words, 0, 0);
    GetWordFromUS(out, words, 0, -1);
    EXPECT_EQ(hex(out), "34 12 cc");
}

TEST_F(CopyHelpers, SetBitToUsSetsForAnExact1AndClearsForTheRest)
{
    QByteArray in = bytesOf("01 00 02 01 ff");
    SetBitToUS(14, words, &in, 5); // bits 14, 15 of word 0; 0, 1, 2 of word 1
    EXPECT_EQ(wordsText(), "5234 8002 fffe 00f0");
}

TEST_F(CopyHelpers, SetBitToUsStopsAtItsCountAndAtTheEndOfTheBytes)
{
    QByteArray in = bytesOf("01 01 01");
    SetBitToUS(48, words, &in, 2);
    EXPECT_EQ(wordsText(), "1234 8001 fffe 00f3");
    SetBitToUS(48, words, &in, INT_MAX);
    EXPECT_EQ(wordsText(), "1234 8001 fffe 00f7");
    SetBitToUS(0, words, &in, 0);
    SetBitToUS(0, words, &in, INT_MIN);
    QByteArray nothing;
    SetBitToUS(0, words, &nothing, 5);
    EXPECT_EQ(wordsText(), "1234 8001 fffe 00f7");
}

TEST_F(CopyHelpers, SetWordToUsTakesTheLowByteFirst)
{
    QByteArray in = bytesOf("78 56 fe dc");
    SetWordToUS(1, words, &in, 2);
    EXPECT_EQ(wordsText(), "1234 5678 dcfe 00f0");
}

TEST_F(CopyHelpers, SetWordToUsLeavesAWordWithoutBothItsBytes)
{
    QByteArray in = bytesOf("01 00 02");
    SetWordToUS(0, words, &in, INT_MAX);
    EXPECT_EQ(wordsText(), "0001 8001 fffe 00f0");
    SetWordToUS(1, words, &in, 0);
    SetWordToUS(1, words, &in, -1);
    QByteArray oneByte = bytesOf("07");
    SetWordToUS(1, words, &oneByte, 1);
    EXPECT_EQ(wordsText(), "0001 8001 fffe 00f0");
    QByteArray threeWords = bytesOf("0a 00 0b 00 0c 00");
    SetWordToUS(1, words, &threeWords, 2);
    EXPECT_EQ(wordsText(), "0001 000a 000b 00f0");
}

TEST_F(CopyHelpers, GetBitFromUcGivesTheLowestBitOfEachByte)
{
    QByteArray out;
    GetBitFromUC(out, octets, 1, 5);
    EXPECT_EQ(hex(out), "01 00 01 00 01");
    out = bytesOf("aa bb cc");
    GetBitFromUC(out, octets, 3, 1);
    EXPECT_EQ(hex(out), "01 bb cc");
    GetBitFromUC(out, octets, 3, 0);
    GetBitFromUC(out, octets, 3, -1);
    EXPECT_EQ(hex(out), "01 bb cc");
}

TEST_F(CopyHelpers, SetBitToUcStores1ForAnExact1And0ForTheRest)
{
    QByteArray in = bytesOf("00 01 02 ff 01");
    SetBitToUC(1, octets, &in, 4);
    EXPECT_EQ(octetsText(), "00 00 01 00 00 ff");
    QByteArray two = bytesOf("01 01");
    SetBitToUC(0, octets, &two, INT_MAX);
    EXPECT_EQ(octetsText(), "01 01 01 00 00 ff");
    SetBitToUC(3, octets, &two, 0);
    SetBitToUC(3, octets, &two, -1);
    EXPECT_EQ(octetsText(), "01 01 01 00 00 ff");
}

TEST_F(CopyHelpers, GetWordFromUiGivesTheHigherElementOfEachPairFirst)
{
    QByteArray out;
    GetWordFromUI(out, words, 0, 4);
    EXPECT_EQ(hex(out), "01 80 34 12 f0 00 fe ff");
    out.clear();
    GetWordFromUI(out, words, 1, 2);
    EXPECT_EQ(hex(out), "fe ff 01 80");
    out.clear();
    GetWordFromUI(out, words, 0, 3);
    EXPECT_EQ(hex(out), "01 80 34 12") << "a third word makes no pair";
}

TEST_F(CopyHelpers, GetWordFromUiGivesOneWordForACountOfOne)
{
    QByteArray out = bytesOf("aa bb cc");
    GetWordFromUI(out, words, 0, 1);
    EXPECT_EQ(hex(out), "01 80 cc");
    GetWordFromUI(out, words, 0, 0);
    GetWordFromUI(out, words, 0, -2);
    EXPECT_EQ(hex(out), "01 80 cc");
}

TEST_F(CopyHelpers, SetWordToUiStoresWholePairsTheHigherElementFirst)
{
    QByteArray in = bytesOf("01 02 03 04 05 06 07 08");
    SetWordToUI(0, words, &in, 4);
    EXPECT_EQ(wordsText(), "0403 0201 0807 0605");
}

TEST_F(CopyHelpers, SetWordToUiLeavesAPairWithoutAllItsBytes)
{
    QByteArray seven = bytesOf("01 02 03 04 05 06 07");
    SetWordToUI(0, words, &seven, INT_MAX);
    EXPECT_EQ(wordsText(), "0403 0201 fffe 00f0");
    QByteArray three = bytesOf("0a 0b 0c");
    SetWordToUI(2, words, &three, 2);
    SetWordToUI(2, words, &seven, 1);
    SetWordToUI(2, words, &seven, 0);
    SetWordToUI(2, words, &seven, -2);
    EXPECT_EQ(wordsText(), "0403 0201 fffe 00f0");
    SetWordToUI(2, words, &seven, 3);
    EXPECT_EQ(wordsText(), "0403 0201 0403 0201");
}

TEST_F(CopyHelpers, DoubleWordsComeBackAsTheyWereStored)
{
    QByteArray in = bytesOf("01 02 03 04 fe dc ba 98"), out;
    SetWordToUI(0, words, &in, 4);
    GetWordFromUI(out, words, 0, 4);
    EXPECT_EQ(hex(out), "01 02 03 04 fe dc ba 98");
}

} // namespace
