// test_Func_Init.cpp - set-up, stations, the variable lists and the planning of the polling list.
//
//  - Expected entries and blocks are typed in, both sides of each limit; large ones are counted out by hand.
//  - Some tests change the lists themselves, as the communication cycle and a host may.

#include "init/Func_Init.h"
#include "variables_and_frames.h"

#include <climits>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <thread>

namespace
{

QString textOf(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

// Set-up --------------------------------------------------------------------------------------------------------------

class SetUpCalls : public FreshDriver
{
};

TEST_F(SetUpCalls, SetComInfoClearsTheTwoReservedWordsAndKeepsThePointer)
{
    ComInfo other;
    other.hostWord1 = 1;
    other.maxWordsPerWrite = 5;
    other.hostWord6 = 6;
    other.defaultStation = 7;
    other.retryLimit = 8;
    other.retryCount = 9;
    other.multiStation = 10;
    other.reserved40 = 11;
    other.framesTotal = 12;
    other.framesDone = 13;
    other.reserved52 = 14;
    other.remoteMode = 15;
    other.linkNo = 16;
    other.hostMode = 17;
    other.cycleDone = 18;
    other.hostHandle = 19;
    SetComInfo(&other);
    EXPECT_EQ(PLC_driver.comInfo, &other);
    EXPECT_EQ(other.reserved40, 0);
    EXPECT_EQ(other.reserved52, 0);
    const qint32 kept[] = {other.hostWord1,  other.maxWordsPerWrite, other.hostWord6,    other.defaultStation,
                           other.retryLimit, other.retryCount,       other.multiStation, other.framesTotal,
                           other.framesDone, other.remoteMode,       other.linkNo,       other.hostMode,
                           other.cycleDone,  other.hostHandle};
    const std::vector<qint32> expected = {1, 5, 6, 7, 8, 9, 10, 12, 13, 15, 16, 17, 18, 19};
    EXPECT_EQ(std::vector<qint32>(std::begin(kept), std::end(kept)), expected);
}

TEST_F(SetUpCalls, SetComInfoAgainReplacesThePointerAndResetsNothingElse)
{
    RW_VAR var = variable();
    AddListWriteVar(&var, 0);
    EnCommStation(3, 0);
    PLC_driver.curReqKind = RequestWrite;
    PLC_driver.writeCount = 3;
    ComInfo other;
    SetComInfo(&other);
    EXPECT_EQ(PLC_driver.comInfo, &other);
    EXPECT_EQ(countOf(PLC_driver.lst_WriteVar), 1);
    EXPECT_EQ(Ethernetcontains(3), 1);
    EXPECT_EQ(PLC_driver.curReqKind, 1);
    EXPECT_EQ(PLC_driver.writeCount, 3);
}

TEST_F(SetUpCalls, SettingsAreReadFromTheHostsRecordWhenTheyAreNeeded)
{
    RW_VAR var = variable();
    info.defaultStation = 9;
    AddListOnceReadVar(&var, 0);
    info.defaultStation = 8;
    var.ownerTag = 1;
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.at(0).station, 9);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.at(1).station, 8);
}

void readFinishedElsewhere(qint32, qint32, qint32, qint32) {}
void commFailedElsewhere(QList<RW_VAR> *, qint32, qint32) {}

TEST_F(SetUpCalls, TheCallbacksAreStoredAndReplaced)
{
    RegistCallBackFuncIntf(&readFinishedElsewhere, &commFailedElsewhere);
    EXPECT_EQ(PLC_driver.pfnReadFinish, &readFinishedElsewhere);
    EXPECT_EQ(PLC_driver.pfnCommError, &commFailedElsewhere);
    RegistCallBackFuncIntf(nullptr, nullptr);
    EXPECT_EQ(PLC_driver.pfnReadFinish, nullptr);
    EXPECT_EQ(PLC_driver.pfnCommError, nullptr);
}

TEST_F(SetUpCalls, TheBasesOfTheLocalRegistersAreKeptInOrder)
{
    FlashLocalRegister(0x10000001u, 0xFFFFFFFFu, 0x80000002u);
    EXPECT_EQ(LB, 0x10000001u);
    EXPECT_EQ(LW, 0xFFFFFFFFu);
    EXPECT_EQ(RWI, 0x80000002u);
    FlashLocalRegister(0, 1, 2);
    EXPECT_EQ(LB, 0u);
    EXPECT_EQ(LW, 1u);
    EXPECT_EQ(RWI, 2u);
}

TEST_F(SetUpCalls, QueryFinishFlagIsAlwaysOne)
{
    EXPECT_EQ(QueryFinishFlag(), 1);
    PLC_driver.lst_Protocol.append(Protocol());
    RW_VAR var = variable();
    AddListWriteVar(&var, 0);
    EXPECT_EQ(QueryFinishFlag(), 1);
}

TEST_F(SetUpCalls, SetUpTakesNoLock)
{
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [this] {
        SetComInfo(&info);
        RegistCallBackFuncIntf(&readFinishedElsewhere, &commFailedElsewhere);
        FlashLocalRegister(1, 2, 3);
        QueryFinishFlag();
        PLCAddressChangeIntef(KindDT, textOf("1"));
    }));
}

// Address texts -------------------------------------------------------------------------------------------------------

int element(int kind, const char *addrText)
{
    return PLCAddressChangeIntef(kind, textOf(addrText));
}

TEST(AddressTexts, ARelayBitIsADecimalWordAndOneHexadecimalDigit)
{
    EXPECT_EQ(element(KindX, "10F"), 175);
    EXPECT_EQ(element(KindX, "15"), 21);
    EXPECT_EQ(element(KindX, "1F"), 31);
    EXPECT_EQ(element(KindX, "0E"), 14);
    EXPECT_EQ(element(KindX, "100F"), 1615);
    EXPECT_EQ(element(KindY, "12A"), 202);
    EXPECT_EQ(element(KindR, "10F"), 175);
    EXPECT_EQ(element(KindL, "10F"), 175);
    EXPECT_EQ(element(KindX, "1f"), 31);
}

TEST(AddressTexts, ASingleDigitIsABitOfWord0)
{
    EXPECT_EQ(element(KindX, "A"), 10);
    EXPECT_EQ(element(KindR, "7"), 7);
    EXPECT_EQ(element(KindR, "5"), 5);
    EXPECT_EQ(element(KindL, "F"), 15);
}

TEST(AddressTexts, AnEmptyTextIsABadRelayBitButElement0Elsewhere)
{
    EXPECT_EQ(element(KindX, ""), -1);
    EXPECT_EQ(element(KindY, ""), -1);
    EXPECT_EQ(element(KindL, ""), -1);
    EXPECT_EQ(PLCAddressChangeIntef(KindX, QString()), -1);
    EXPECT_EQ(element(KindT, ""), 0);
    EXPECT_EQ(element(KindDT, ""), 0);
}

TEST(AddressTexts, EveryOtherKindIsADecimalNumber)
{
    EXPECT_EQ(element(KindT, "35"), 35);
    EXPECT_EQ(element(KindDT, "12345"), 12345);
    EXPECT_EQ(element(KindDT, "0"), 0);
    EXPECT_EQ(element(KindEV, "007"), 7);
    EXPECT_EQ(element(15, "35"), 35);
    EXPECT_EQ(element(-1, "35"), 35);
    EXPECT_EQ(element(INT_MIN, "35"), 35);
}

TEST(AddressTexts, APartThatIsNoNumberCountsAs0)
{
    EXPECT_EQ(element(KindX, "Z"), 0);
    EXPECT_EQ(element(KindX, "1G"), 16);
    EXPECT_EQ(element(KindX, "ZF"), 15);
    EXPECT_EQ(element(KindX, "AF"), 15); // the word is decimal
    EXPECT_EQ(element(KindWL, "12A"), 0);
    EXPECT_EQ(element(KindT, "10F"), 0);
    EXPECT_EQ(element(-1, "0x10"), 0);
}

TEST(AddressTexts, AMinusSignMakesANegativeElement)
{
    EXPECT_EQ(element(KindDT, "-5"), -5);
    EXPECT_EQ(element(KindT, "-1"), -1);
    EXPECT_EQ(element(KindX, "-10"), -16);
    EXPECT_EQ(element(KindX, "-1F"), -1);
}

TEST(AddressTexts, ANumberBeyond32BitsIsABadAddress)
{
    EXPECT_EQ(element(KindDT, "2147483647"), 2147483647);
    EXPECT_LT(element(KindDT, "2147483648"), 0);
    EXPECT_LT(element(KindDT, "4294967296"), 0);
    EXPECT_LT(element(KindDT, "9223372036854775808"), 0);
    EXPECT_LT(element(KindDT, "99999999999999999999999999"), 0);
    EXPECT_LT(element(-1, "4294967296"), 0);
    EXPECT_LT(element(KindDT, "-2147483648"), 0);
    EXPECT_LT(element(KindDT, "-2147483649"), 0);
    EXPECT_LT(element(KindDT, "-4294967297"), 0);
}

TEST(AddressTexts, ARelayBitBeyond32BitsIsABadAddress)
{
    EXPECT_EQ(element(KindX, "134217727F"), 2147483647);
    EXPECT_LT(element(KindX, "1342177280"), 0); // word 134217728, bit 0
    EXPECT_LT(element(KindX, "2684354560"), 0); // word 268435456: 2 to the power of 32
    EXPECT_LT(element(KindX, "21474836470"), 0);
    EXPECT_LT(element(KindX, "21474836480"), 0);
    EXPECT_LT(element(KindX, "99999999999999999999999999F"), 0);
    EXPECT_LT(element(KindX, "-1342177290"), 0);
    EXPECT_LT(element(KindX, "-2684354560"), 0);
}

// Stations ------------------------------------------------------------------------------------------------------------

class Stations : public FreshDriver
{
protected:
    static QList<int> switchedOff() { return PLC_driver.map_Station.keys(); }
};

TEST_F(Stations, AllAreOnAfterLoading)
{
    EXPECT_TRUE(PLC_driver.map_Station.isEmpty());
    EXPECT_EQ(Ethernetcontains(0), 0);
    EXPECT_EQ(Ethernetcontains(1), 0);
}

TEST_F(Stations, SwitchingOffTwiceLeavesOneEntryAndSwitchingOnRemovesIt)
{
    EnCommStation(3, 0);
    EnCommStation(3, 0);
    EXPECT_EQ(switchedOff(), QList<int>() << 3);
    EXPECT_EQ(PLC_driver.map_Station.value(3, -1), 0);
    EXPECT_EQ(Ethernetcontains(3), 1);
    EXPECT_EQ(Ethernetcontains(4), 0);
    EnCommStation(3, 1);
    EXPECT_TRUE(switchedOff().isEmpty());
    EXPECT_EQ(Ethernetcontains(3), 0);
}

TEST_F(Stations, SwitchingOnAStationThatIsOnChangesNothing)
{
    EnCommStation(3, 0);
    EnCommStation(4, 1);
    EXPECT_EQ(switchedOff(), QList<int>() << 3);
}

TEST_F(Stations, AStationThatIsInTheMapKeepsItsValue)
{
    PLC_driver.map_Station.insert(3, 42);
    EnCommStation(3, 0);
    EXPECT_EQ(PLC_driver.map_Station.value(3), 42);
}

TEST_F(Stations, ANegativeStationSwitchesAllOnWhateverEnableSays)
{
    const int enables[] = {0, 1, 7, -1};
    for (int enable : enables) {
        EnCommStation(0, 0);
        EnCommStation(3, 0);
        EnCommStation(255, 0);
        EXPECT_EQ(switchedOff(), QList<int>() << 0 << 3 << 255);
        EnCommStation(-5, enable);
        EXPECT_TRUE(switchedOff().isEmpty()) << "enable " << enable;
    }
    EnCommStation(3, 0);
    EnCommStation(-1, 0);
    EXPECT_TRUE(switchedOff().isEmpty());
    EnCommStation(3, 0);
    EnCommStation(INT_MIN, 0);
    EXPECT_TRUE(switchedOff().isEmpty());
}

TEST_F(Stations, AnyOtherEnableChangesNothing)
{
    EnCommStation(3, 0);
    const int enables[] = {7, 2, -1, INT_MAX, INT_MIN};
    for (int enable : enables) {
        EnCommStation(3, enable);
        EnCommStation(4, enable);
        EXPECT_EQ(switchedOff(), QList<int>() << 3) << "enable " << enable;
    }
}

TEST_F(Stations, SwitchingOffDropsNothingThatIsQueued)
{
    RW_VAR var = variable(KindDT, 100, 1, 3);
    AddListWriteVar(&var, 0);
    PLC_driver.lst_Protocol.append(Protocol());
    EnCommStation(3, 0);
    EXPECT_EQ(countOf(PLC_driver.lst_WriteVar), 1);
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 1);
}

TEST_F(Stations, OnlyTheirOwnLockIsTakenAndItIsFreeOnEveryPath)
{
    const struct {
        int station, enable;
    } calls[] = {{-1, 0}, {3, 0}, {3, 0}, {3, 1}, {3, 1}, {3, 7}};
    for (const auto &call : calls) {
        EXPECT_TRUE(takesLock(PLC_driver.mutexStation, [call] { EnCommStation(call.station, call.enable); }));
        EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [call] { EnCommStation(call.station, call.enable); }));
    }
    EXPECT_TRUE(takesLock(PLC_driver.mutexStation, [] { Ethernetcontains(3); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [] { Ethernetcontains(3); }));
    EXPECT_TRUE(allLocksAreFree());
}

// The lists in general ------------------------------------------------------------------------------------------------

class VariableLists : public FreshDriver
{
protected:
    /// Puts \a entries variables with addresses from 1,000,000 on, which no test writes or reads, into \a list.
    static void fill(QList<RW_VAR> &list, int entries)
    {
        for (int i = 0; i < entries; ++i)
            list.append(variable(KindDT, 1000000 + i));
    }

    static std::vector<qint32> addresses(const QList<RW_VAR> &list)
    {
        std::vector<qint32> all;
        for (const RW_VAR &var : list)
            all.push_back(var.address);
        return all;
    }
};

TEST_F(VariableLists, AnEntryOwnsItsStringsAndItsData)
{
    const std::string expected = "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, "
                                 "name boiler, addrText 107, areaKind 10, address 108, station 3, count 2, extra1 109, "
                                 "extra2 110, data 01020304";
    const struct {
        int (*add)(RW_VAR *);
        const QList<RW_VAR> &list;
    } calls[] = {{[](RW_VAR *var) { return AddListReadVar(var); }, PLC_driver.lst_PollingReadVar},
                 {[](RW_VAR *var) { return AddListWriteVar(var, 0); }, PLC_driver.lst_WriteVar},
                 {[](RW_VAR *var) { return AddListOnceReadVar(var, 1); }, PLC_driver.lst_OnceReadVar}};
    for (const auto &call : calls) {
        std::unique_ptr<RW_VAR> var(new RW_VAR(distinctVariable()));
        call.add(var.get());
        var->name[0] = QLatin1Char('x');
        var->addrText.clear();
        var->data[0] = '\x55';
        var.reset();
        EXPECT_EQ(described(call.list), std::vector<std::string>{expected});
    }
}

TEST_F(VariableLists, EachCallFillsOnlyItsOwnListAndTheReserveStaysEmpty)
{
    RW_VAR var = variable();
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(AddListReadVar(&var), 2);
    EXPECT_EQ(AddListReadVar(&var), 3);
    EXPECT_EQ(AddListWriteVar(&var, 0), 1);
    EXPECT_EQ(AddListWriteVar(&var, 1), 2);
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
    QList<HostReadItem> items;
    items.append(item(KindX, "0", 1));
    EXPECT_EQ(ReCreatReadVarList(&items), 1);
    EXPECT_EQ(countOf(PLC_driver.lst_PollingReadVar), 1);
    EXPECT_EQ(countOf(PLC_driver.lst_WriteVar), 2);
    EXPECT_EQ(countOf(PLC_driver.lst_OnceReadVar), 1);
    EXPECT_TRUE(PLC_driver.lst_ReserveVar.isEmpty());
    EXPECT_TRUE(map_bit.isEmpty());
    EXPECT_TRUE(map_word.isEmpty());
    EXPECT_TRUE(qmap_list.isEmpty());
}

/// What somebody else may do to a list behind the driver's back; \a dice decides what and where.
void changeBehindTheDriver(QList<RW_VAR> &list, std::mt19937 &dice)
{
    const int place = list.isEmpty() ? 0 : int(dice() % unsigned(countOf(list)));
    if (list.isEmpty() || countOf(list) > 40) {
        list = list.mid(0, 20);
        return;
    }
    switch (dice() % 5) {
    case 0: // the head was served
        list.removeFirst();
        break;
    case 1:
        list[place].address = int(dice() % 30);
        break;
    case 2:
        list.insert(place, list.at(countOf(list) - 1));
        break;
    case 3:
        list.removeAt(place);
        break;
    default: // another list of the same length
        list.append(list.takeFirst());
    }
}

// Polling variables ---------------------------------------------------------------------------------------------------

TEST_F(VariableLists, APollingVariableIsAppendedAsItStands)
{
    info.defaultStation = 9;
    RW_VAR var = distinctVariable();
    var.addrText = textOf("-1"); // not looked at
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(AddListReadVar(&var), 2);
    EXPECT_EQ(described(PLC_driver.lst_PollingReadVar), (std::vector<std::string>{described(var), described(var)}));
}

TEST_F(VariableLists, ThePollingListHasNoLimit)
{
    fill(PLC_driver.lst_PollingReadVar, 1024);
    RW_VAR var = variable();
    EXPECT_EQ(AddListReadVar(&var), 1025);
    EXPECT_EQ(PLC_driver.lst_PollingReadVar.at(1024).address, 100);
}

TEST_F(VariableLists, APollingVariableIsAppendedWithoutALock)
{
    RW_VAR var = variable();
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [&var] { AddListReadVar(&var); }));
    EXPECT_EQ(countOf(PLC_driver.lst_PollingReadVar), 1);
}

// Writes --------------------------------------------------------------------------------------------------------------

class WriteList : public VariableLists
{
protected:
    static int write(RW_VAR var, int direct = 0) { return AddListWriteVar(&var, direct); }
    static const QList<RW_VAR> &queued() { return PLC_driver.lst_WriteVar; }
};

TEST_F(WriteList, TheSecondWriteToOneTargetIsAppendedBecauseTheHeadIsNeverExamined)
{
    EXPECT_EQ(write(variable(KindDT, 100, 1, 1, QByteArray("\x01\x01"))), 1);
    EXPECT_EQ(write(variable(KindDT, 100, 1, 1, QByteArray("\x02\x02"))), 2);
    EXPECT_EQ(write(variable(KindDT, 100, 1, 1, QByteArray("\x03\x03"))), 2); // replaces the second
    EXPECT_EQ(text(queued().at(0).data), "\x01\x01");
    EXPECT_EQ(text(queued().at(1).data), "\x03\x03");
}

TEST_F(WriteList, AWriteToTheHeadsTargetIsAppendedBehindOthers)
{
    write(variable(KindDT, 100));
    write(variable(KindDT, 200));
    EXPECT_EQ(write(variable(KindDT, 100)), 3);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{100, 200, 100}));
}

TEST_F(WriteList, AReplacedEntryKeepsItsPlaceAndTakesEveryField)
{
    write(variable(KindDT, 1));
    RW_VAR old = variable(KindDT, 108, 2, 3, QByteArray("\x7F\x7F\x7F\x7F"));
    old.name = textOf("old");
    write(old);
    write(variable(KindDT, 2));
    EXPECT_EQ(write(distinctVariable()), 3);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{1, 108, 2}));
    EXPECT_EQ(described(queued().at(1)),
              "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
              "addrText 107, areaKind 10, address 108, station 3, count 2, extra1 109, extra2 110, data 01020304");
}

TEST_F(WriteList, StationKindAddressAndCountMakeTheTarget)
{
    write(variable(KindDT, 1));
    write(variable(KindDT, 100, 2, 3));
    EXPECT_EQ(write(variable(KindDT, 100, 2, 4)), 3); // another station
    EXPECT_EQ(write(variable(KindLD, 100, 2, 3)), 4); // another kind
    EXPECT_EQ(write(variable(KindDT, 101, 2, 3)), 5); // another address
    EXPECT_EQ(write(variable(KindDT, 100, 3, 3)), 6); // another count
    EXPECT_EQ(write(variable(KindDT, 100, 2, 3)), 6);
}

TEST_F(WriteList, NoOtherFieldPlaysAPart)
{
    write(variable(KindDT, 1));
    write(variable(KindDT, 108, 2, 3));
    EXPECT_EQ(write(distinctVariable()), 2); // every other field is different
}

TEST_F(WriteList, TheFirstOfSeveralMatchesIsReplaced)
{
    for (int i = 0; i < 4; ++i)
        write(variable(KindDT, 100, 1, 1, QByteArray("\x01\x01")), 1);
    EXPECT_EQ(write(variable(KindDT, 100, 1, 1, QByteArray("\x02\x02"))), 4);
    EXPECT_EQ(text(queued().at(0).data), "\x01\x01");
    EXPECT_EQ(text(queued().at(1).data), "\x02\x02");
    EXPECT_EQ(text(queued().at(2).data), "\x01\x01");
    EXPECT_EQ(text(queued().at(3).data), "\x01\x01");
}

TEST_F(WriteList, NeitherTheStationNorTheAddressIsConverted)
{
    info.defaultStation = 9;
    RW_VAR var = distinctVariable();
    var.addrText = textOf("-1");
    EXPECT_EQ(write(var), 1);
    info.multiStation = 1;
    EXPECT_EQ(write(var), 2);
    EXPECT_EQ(described(queued()), (std::vector<std::string>{described(var), described(var)}));
}

TEST_F(WriteList, TheCallersRecordIsNotChanged)
{
    RW_VAR var = distinctVariable();
    for (int i = 0; i < 3; ++i)
        AddListWriteVar(&var, 0);
    EXPECT_EQ(described(var), described(distinctVariable()));
}

TEST_F(WriteList, TheThousandAndTwentyFourthEntryIsTheLast)
{
    for (int i = 0; i < 1023; ++i)
        write(variable(KindDT, 5000 + i));
    EXPECT_EQ(write(variable(KindDT, 100)), 1024);
    EXPECT_EQ(write(variable(KindDT, 101)), 1024); // dropped
    EXPECT_EQ(queued().at(1023).address, 100);
}

TEST_F(WriteList, AFullListStillReplaces)
{
    for (int i = 0; i < 1024; ++i)
        write(variable(KindDT, 5000 + i));
    EXPECT_EQ(write(variable(KindDT, 5000, 1, 1, QByteArray("\x01\x01"))), 1024); // the head: not examined, dropped
    EXPECT_EQ(write(variable(KindDT, 5001, 1, 1, QByteArray("\x02\x02"))), 1024);
    EXPECT_EQ(write(variable(KindDT, 6023, 1, 1, QByteArray("\x03\x03"))), 1024);
    EXPECT_EQ(text(queued().at(0).data), "");
    EXPECT_EQ(text(queued().at(1).data), "\x02\x02");
    EXPECT_EQ(text(queued().at(1023).data), "\x03\x03");
}

TEST_F(WriteList, ADirectWriteIsAppendedUncheckedAndUnlimited)
{
    fill(PLC_driver.lst_WriteVar, 1024);
    const RW_VAR var = distinctVariable();
    EXPECT_EQ(write(var, 1), 1025);
    EXPECT_EQ(write(var, 1), 1026);
    EXPECT_EQ(described(queued().at(1024)), described(var));
    EXPECT_EQ(described(queued().at(1025)), described(var));
    EXPECT_EQ(write(variable(KindDT, 5), 0), 1026); // dropped
}

TEST_F(WriteList, OnlyADirectOf1IsDirect)
{
    const int normal[] = {0, 2, -1, 257};
    write(variable(KindDT, 1));
    write(variable(KindDT, 100));
    for (int direct : normal)
        EXPECT_EQ(write(variable(KindDT, 100), direct), 2) << "direct " << direct;
    EXPECT_EQ(write(variable(KindDT, 100), 1), 3);
}

TEST_F(WriteList, TheSearchFollowsTheListWhenItsHeadWasServed)
{
    write(variable(KindDT, 1));
    write(variable(KindDT, 2));
    write(variable(KindDT, 3));
    PLC_driver.lst_WriteVar.removeFirst();
    EXPECT_EQ(write(variable(KindDT, 2)), 3); // now the head
    EXPECT_EQ(write(variable(KindDT, 3, 1, 1, QByteArray("\x01\x01"))), 3);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{2, 3, 2}));
    EXPECT_EQ(text(queued().at(1).data), "\x01\x01");
    PLC_driver.lst_WriteVar.removeFirst();
    PLC_driver.lst_WriteVar.removeFirst();
    EXPECT_EQ(write(variable(KindDT, 2)), 2);
    EXPECT_EQ(write(variable(KindDT, 2)), 2);
}

TEST_F(WriteList, TheSearchFollowsTheListWhenSomebodyElseChangedIt)
{
    for (qint32 address = 1; address <= 4; ++address)
        write(variable(KindDT, address));
    PLC_driver.lst_WriteVar[2].address = 9; // in place
    EXPECT_EQ(write(variable(KindDT, 3)), 5);
    EXPECT_EQ(write(variable(KindDT, 9, 1, 1, QByteArray("\x01\x01"))), 5);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{1, 2, 9, 4, 3}));
    EXPECT_EQ(text(queued().at(2).data), "\x01\x01");

    PLC_driver.lst_WriteVar.insert(1, variable(KindDT, 9)); // in front of the match
    EXPECT_EQ(write(variable(KindDT, 9, 1, 1, QByteArray("\x02\x02"))), 6);
    EXPECT_EQ(text(queued().at(1).data), "\x02\x02");
    EXPECT_EQ(text(queued().at(3).data), "\x01\x01");

    QList<RW_VAR> others;
    for (qint32 address = 11; address <= 16; ++address)
        others.append(variable(KindDT, address));
    PLC_driver.lst_WriteVar = others; // as long as before
    EXPECT_EQ(write(variable(KindDT, 4)), 7);
    EXPECT_EQ(write(variable(KindDT, 13)), 7);

    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(write(variable(KindDT, 13)), 1);
    EXPECT_EQ(write(variable(KindDT, 13)), 2);
}

TEST_F(WriteList, ALongListFollowsWhatSomebodyElseDidToIt)
{
    for (qint32 address = 0; address < 30; ++address)
        write(variable(KindDT, address));
    EXPECT_EQ(write(variable(KindDT, 20)), 30);
    PLC_driver.lst_WriteVar.removeFirst();       // the head was served
    EXPECT_EQ(write(variable(KindDT, 1)), 30);   // now the head itself: appended
    PLC_driver.lst_WriteVar[19].address = 500;   // was 20
    EXPECT_EQ(write(variable(KindDT, 20)), 31);  // no longer there
    EXPECT_EQ(write(variable(KindDT, 500)), 31); // there now
    PLC_driver.lst_WriteVar.insert(3, variable(KindDT, 600));
    EXPECT_EQ(write(variable(KindDT, 600, 1, 1, QByteArray("\x01\x01"))), 32);
    EXPECT_EQ(text(queued().at(3).data), "\x01\x01");
    EXPECT_EQ(write(variable(KindDT, 29, 1, 1, QByteArray("\x02\x02"))), 32);
    EXPECT_EQ(queued().at(29).address, 29);
    EXPECT_EQ(text(queued().at(29).data), "\x02\x02");
    PLC_driver.lst_WriteVar.removeAt(10);
    EXPECT_EQ(write(variable(KindDT, 10)), 32); // entry 10 was the one with this address
    PLC_driver.lst_WriteVar.clear();
    EXPECT_EQ(write(variable(KindDT, 29)), 1);
}

TEST_F(WriteList, SeveralMatchesInALongListAreReplacedInTheirOrder)
{
    for (qint32 address = 0; address < 10; ++address)
        write(variable(KindDT, address));
    write(variable(KindDT, 0), 1);
    write(variable(KindDT, 0), 1); // 0 stands at 0, 10 and 11
    EXPECT_EQ(write(variable(KindDT, 0, 1, 1, QByteArray("\x01\x01"))), 12);
    EXPECT_EQ(text(queued().at(0).data), "");
    EXPECT_EQ(text(queued().at(10).data), "\x01\x01");
    EXPECT_EQ(text(queued().at(11).data), "");
}

TEST_F(WriteList, AnyHistoryOfTheListIsSearchedAsAWalkWould)
{
    std::mt19937 dice(1);
    QList<RW_VAR> expected;
    for (qint32 turn = 0; turn < 3000; ++turn) {
        RW_VAR var = variable(KindDT, int(dice() % 30), 1, int(dice() % 2));
        var.ownerId = turn;
        const int direct = dice() % 8 == 0 ? 1 : 0;
        int same = -1;
        for (int i = countOf(expected) - 1; i >= 1; --i) {
            if (expected.at(i).address == var.address && expected.at(i).station == var.station)
                same = i;
        }
        if (direct == 1 || same < 0)
            expected.append(var);
        else
            expected[same] = var;
        ASSERT_EQ(AddListWriteVar(&var, direct), countOf(expected)) << "turn " << turn;
        ASSERT_EQ(described(queued()), described(expected)) << "turn " << turn;
        if (dice() % 3 == 0) {
            changeBehindTheDriver(PLC_driver.lst_WriteVar, dice);
            expected = QList<RW_VAR>();
            for (const RW_VAR &entry : queued())
                expected.append(entry);
        }
    }
}

TEST_F(WriteList, AWriteWaitsForTheListLock)
{
    RW_VAR var = variable();
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&var] { AddListWriteVar(&var, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&var] { AddListWriteVar(&var, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&var] { AddListWriteVar(&var, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&var] { AddListWriteVar(&var, 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [&var] { AddListWriteVar(&var, 0); }));
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(WriteList, WritesFromSeveralThreadsAreAllQueued)
{
    std::vector<std::thread> threads;
    for (qint32 station = 1; station <= 4; ++station) {
        threads.emplace_back([station] {
            for (qint32 address = 0; address < 100; ++address) {
                RW_VAR var = variable(KindDT, address, 1, station);
                AddListWriteVar(&var, 0);
                AddListOnceReadVar(&var, 1);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(countOf(queued()), 400);
    EXPECT_EQ(countOf(PLC_driver.lst_OnceReadVar), 400);
}

// Blocks --------------------------------------------------------------------------------------------------------------

/// A run of words: where, and how many.
struct Block {
    qint32 kind, address, count;
    bool operator==(const Block &o) const { return kind == o.kind && address == o.address && count == o.count; }
    friend std::ostream &operator<<(std::ostream &out, const Block &b)
    {
        return out << "kind " << b.kind << ": " << b.count << " at " << b.address;
    }
};
typedef std::vector<Block> Blocks;

Blocks blocksOf(const QList<RW_VAR> &list)
{
    Blocks blocks;
    for (const RW_VAR &var : list)
        blocks.push_back(Block{var.areaKind, var.address, var.count});
    return blocks;
}

/// \a number runs of 16 words, one behind the other.
Blocks runsOf16(qint32 kind, qint32 address, int number)
{
    Blocks blocks;
    for (int i = 0; i < number; ++i)
        blocks.push_back(Block{kind, address + 16 * i, 16});
    return blocks;
}

/// The areas: for each kind the text of its last element, that of the first one behind it, and the last word's number.
struct AreaEnd {
    quint8 kind;
    const char *last, *behind;
    qint32 wordKind, lastWord;
};
const AreaEnd kAreaEnds[] = {
    {KindX, "9999F", "100000", KindWX, 9999},      {KindY, "9999F", "100000", KindWY, 9999},
    {KindR, "9999F", "100000", KindWR, 9999},      {KindL, "9999F", "100000", KindWL, 9999},
    {KindT, "19999", "20000", KindT, 1249},        {KindC, "19999", "20000", KindC, 1249},
    {KindWX, "9999", "10000", KindWX, 9999},       {KindWY, "9999", "10000", KindWY, 9999},
    {KindWR, "9999", "10000", KindWR, 9999},       {KindWL, "9999", "10000", KindWL, 9999},
    {KindDT, "999999", "1000000", KindDT, 999999}, {KindLD, "9999", "10000", KindLD, 9999},
    {KindFL, "99999", "100000", KindFL, 99999},    {KindSV, "9999", "10000", KindSV, 9999},
    {KindEV, "9999", "10000", KindEV, 9999},
};

// One-shot reads ------------------------------------------------------------------------------------------------------

class OnceReadList : public VariableLists
{
protected:
    static int read(RW_VAR var, int direct = 0) { return AddListOnceReadVar(&var, direct); }
    static const QList<RW_VAR> &queued() { return PLC_driver.lst_OnceReadVar; }

    static RW_VAR asked(qint32 kind, const char *addrText, qint32 count)
    {
        RW_VAR var;
        var.areaKind = kind;
        var.addrText = textOf(addrText);
        var.count = count;
        return var;
    }

    /// What a fresh list holds after one read.
    static Blocks blocks(qint32 kind, const char *addrText, qint32 count)
    {
        PLC_driver.lst_OnceReadVar.clear();
        const int entries = read(asked(kind, addrText, count));
        EXPECT_EQ(entries, countOf(queued()));
        return blocksOf(queued());
    }
};

TEST_F(OnceReadList, RelayBitsBecomeTheWordsThatTheyTouch)
{
    EXPECT_EQ(blocks(KindX, "0E", 20), (Blocks{{KindWX, 0, 3}}));
    EXPECT_EQ(blocks(KindY, "0E", 20), (Blocks{{KindWY, 0, 3}}));
    EXPECT_EQ(blocks(KindR, "0E", 20), (Blocks{{KindWR, 0, 3}}));
    EXPECT_EQ(blocks(KindL, "0E", 20), (Blocks{{KindWL, 0, 3}}));
    EXPECT_EQ(blocks(KindX, "1F", 3), (Blocks{{KindWX, 1, 2}}));
}

TEST_F(OnceReadList, ContactsKeepTheirKindAndBecomeWords)
{
    EXPECT_EQ(blocks(KindT, "14", 20), (Blocks{{KindT, 0, 3}}));
    EXPECT_EQ(blocks(KindC, "37", 1), (Blocks{{KindC, 2, 1}}));
}

TEST_F(OnceReadList, BitsUpToTheEndOfAWordStayInIt)
{
    EXPECT_EQ(blocks(KindX, "50", 1), (Blocks{{KindWX, 5, 1}}));
    EXPECT_EQ(blocks(KindX, "50", 16), (Blocks{{KindWX, 5, 1}}));
    EXPECT_EQ(blocks(KindX, "50", 17), (Blocks{{KindWX, 5, 2}}));
    EXPECT_EQ(blocks(KindX, "5F", 1), (Blocks{{KindWX, 5, 1}}));
    EXPECT_EQ(blocks(KindX, "5F", 2), (Blocks{{KindWX, 5, 2}}));
    EXPECT_EQ(blocks(KindX, "5F", 17), (Blocks{{KindWX, 5, 2}}));
    EXPECT_EQ(blocks(KindX, "5F", 18), (Blocks{{KindWX, 5, 3}}));
}

TEST_F(OnceReadList, WordKindsKeepAddressAndCount)
{
    for (qint32 kind = KindWX; kind <= KindEV; ++kind)
        EXPECT_EQ(blocks(kind, "123", 5), (Blocks{{kind, 123, 5}}));
}

TEST_F(OnceReadList, WordsAreCutIntoBlocksOfSixteen)
{
    EXPECT_EQ(blocks(KindDT, "100", 15), (Blocks{{KindDT, 100, 15}}));
    EXPECT_EQ(blocks(KindDT, "100", 16), (Blocks{{KindDT, 100, 16}}));
    EXPECT_EQ(blocks(KindDT, "100", 17), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 1}}));
    EXPECT_EQ(blocks(KindDT, "100", 32), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 16}}));
    EXPECT_EQ(blocks(KindDT, "100", 40), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 16}, {KindDT, 132, 8}}));
    EXPECT_EQ(blocks(KindX, "0", 257), (Blocks{{KindWX, 0, 16}, {KindWX, 16, 1}}));
}

TEST_F(OnceReadList, ACountOf0MakesNoBlockUnlessTheBitsBeginInsideAWord)
{
    EXPECT_EQ(blocks(KindDT, "100", 0), Blocks());
    EXPECT_EQ(blocks(KindX, "0", 0), Blocks());
    EXPECT_EQ(blocks(KindX, "0E", 0), (Blocks{{KindWX, 0, 1}})); // 14 + 0 is not a multiple of 16
}

TEST_F(OnceReadList, TheSameRequestAgainAddsNothingAndAnotherOwnerTagAddsAll)
{
    RW_VAR var = asked(KindDT, "100", 40);
    var.ownerId = 5;
    var.ownerTag = 6;
    EXPECT_EQ(read(var), 3);
    EXPECT_EQ(read(var), 3);
    var.ownerTag = 7;
    EXPECT_EQ(read(var), 6);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{100, 116, 132, 100, 116, 132}));
    EXPECT_EQ(queued().at(0).ownerTag, 6);
    EXPECT_EQ(queued().at(5).ownerTag, 7);
}

TEST_F(OnceReadList, OwnerStationKindAddressAndCountMakeTheRequest)
{
    info.multiStation = 1;
    RW_VAR var = asked(KindDT, "100", 2);
    var.station = 3;
    EXPECT_EQ(read(var), 1);
    var.ownerId = 1;
    EXPECT_EQ(read(var), 2);
    var.ownerTag = 1;
    EXPECT_EQ(read(var), 3);
    var.station = 4;
    EXPECT_EQ(read(var), 4);
    var.areaKind = KindLD;
    EXPECT_EQ(read(var), 5);
    var.addrText = textOf("101");
    EXPECT_EQ(read(var), 6);
    var.count = 3;
    EXPECT_EQ(read(var), 7);
    EXPECT_EQ(read(var), 7);
}

TEST_F(OnceReadList, NoOtherFieldPlaysAPartAndTheWaitingEntryStaysAsItWas)
{
    info.multiStation = 1;
    RW_VAR var = asked(KindDT, "100", 2);
    EXPECT_EQ(read(var), 1);
    const std::string waiting = described(queued().at(0));
    var.varFlag = 1;
    var.remoteMode = 2;
    var.linkNo = 3;
    var.result = 4;
    var.name = textOf("other");
    var.addrText = textOf("0100");
    var.data = QByteArray("\x01");
    EXPECT_EQ(read(var), 1);
    EXPECT_EQ(described(queued().at(0)), waiting);
}

TEST_F(OnceReadList, BlocksOfABitReadMeetTheSameWordsAskedForDirectly)
{
    EXPECT_EQ(read(asked(KindWX, "0", 3)), 1);
    EXPECT_EQ(read(asked(KindX, "0E", 20)), 1);
}

TEST_F(OnceReadList, OnlyTheBlocksThatAreNotYetQueuedAreAdded)
{
    EXPECT_EQ(read(asked(KindDT, "116", 16)), 1);
    EXPECT_EQ(read(asked(KindDT, "100", 40)), 3);
    EXPECT_EQ(addresses(queued()), (std::vector<qint32>{116, 100, 132}));
}

TEST_F(OnceReadList, AnEntryIsTheCallersRecordWithItsConvertedFields)
{
    RW_VAR var = distinctVariable(); // DT107 in text, two words
    EXPECT_EQ(read(var), 1);
    EXPECT_EQ(described(queued().at(0)),
              "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
              "addrText 107, areaKind 10, address 107, station 1, count 2, extra1 0, extra2 0, data 01020304");
}

TEST_F(OnceReadList, TheCallersRecordHoldsTheLastBlockAfterwards)
{
    RW_VAR var = distinctVariable();
    var.count = 40;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 3);
    EXPECT_EQ(described(var),
              "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
              "addrText 107, areaKind 10, address 139, station 1, count 8, extra1 0, extra2 0, data 01020304");
    RW_VAR bits = asked(KindX, "0E", 20);
    AddListOnceReadVar(&bits, 0);
    EXPECT_EQ(bits.areaKind, KindWX);
    EXPECT_EQ(bits.address, 0);
    EXPECT_EQ(bits.count, 3);
    RW_VAR again = asked(KindDT, "107", 40); // its blocks all wait already; it is converted all the same
    again.ownerId = 101;
    again.ownerTag = 102;
    EXPECT_EQ(AddListOnceReadVar(&again, 0), 4);
    EXPECT_EQ(again.address, 139);
    EXPECT_EQ(again.count, 8);
}

TEST_F(OnceReadList, OneStationMeansTheDefaultStation)
{
    info.defaultStation = 9;
    RW_VAR var = asked(KindDT, "100", 1);
    var.station = 3;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
    EXPECT_EQ(var.station, 9);
    EXPECT_EQ(queued().at(0).station, 9);
}

TEST_F(OnceReadList, SeveralStationsMeanTheVariablesOwn)
{
    info.defaultStation = 9;
    const qint32 several[] = {1, 2, -1};
    for (qint32 multiStation : several) {
        info.multiStation = multiStation;
        PLC_driver.lst_OnceReadVar.clear();
        RW_VAR var = asked(KindDT, "100", 1);
        var.station = 3;
        EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
        EXPECT_EQ(var.station, 3);
        EXPECT_EQ(queued().at(0).station, 3);
    }
}

TEST_F(OnceReadList, ABadAddressQueuesNothingAndLeavesTheRecordAlone)
{
    read(asked(KindDT, "1", 1));
    const struct {
        qint32 kind;
        const char *addrText;
    } bad[] = {{KindX, ""},           {KindL, "-10"}, {KindX, "1342177280"}, {KindDT, "-1"}, {KindDT, "2147483648"},
               {KindT, "4294967296"}, {15, "-1"}};
    for (const auto &row : bad) {
        RW_VAR var = distinctVariable();
        var.areaKind = row.kind;
        var.addrText = textOf(row.addrText);
        const std::string before = described(var);
        EXPECT_EQ(AddListOnceReadVar(&var, 0), 0) << row.addrText;
        EXPECT_EQ(described(var), before);
    }
    EXPECT_EQ(countOf(queued()), 1);
}

TEST_F(OnceReadList, ABadAddressTakesNoLockAndAGoodOneDoes)
{
    RW_VAR bad = asked(KindX, "", 1), good = asked(KindDT, "1", 1);
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [&bad] { AddListOnceReadVar(&bad, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&good] { AddListOnceReadVar(&good, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&good] { AddListOnceReadVar(&good, 0); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [&good] { AddListOnceReadVar(&good, 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [&good] { AddListOnceReadVar(&good, 0); }));
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(OnceReadList, KindsBehindTheLastKeepTheCallersAddressAndCount)
{
    RW_VAR var = asked(15, "3", 20);
    var.address = 7;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 2);
    EXPECT_EQ(blocksOf(queued()), (Blocks{{15, 7, 16}, {15, 23, 4}}));
    EXPECT_EQ(var.address, 23);
    EXPECT_EQ(var.count, 4);
}

TEST_F(OnceReadList, TheThousandAndTwentyFourthEntryIsTheLast)
{
    fill(PLC_driver.lst_OnceReadVar, 1022);
    RW_VAR var = asked(KindDT, "100", 40);
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1024); // two blocks of three
    EXPECT_EQ(queued().at(1022).address, 100);
    EXPECT_EQ(queued().at(1023).address, 116);
    EXPECT_EQ(var.address, 132); // converted and cut all the same
    EXPECT_EQ(var.count, 8);
    EXPECT_EQ(read(asked(KindDT, "100", 40)), 1024);
}

TEST_F(OnceReadList, ADirectReadIsAppendedUnchangedAndUnlimited)
{
    info.defaultStation = 9;
    fill(PLC_driver.lst_OnceReadVar, 1024);
    RW_VAR var = distinctVariable();
    var.areaKind = KindX;
    var.addrText = textOf(""); // a bad address, not looked at
    const std::string before = described(var);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1025);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1026);
    EXPECT_EQ(described(var), before);
    EXPECT_EQ(described(queued().at(1024)), before);
    EXPECT_EQ(described(queued().at(1025)), before);
    EXPECT_EQ(read(asked(KindDT, "100", 1)), 1026); // dropped
}

TEST_F(OnceReadList, OnlyADirectOf1IsDirect)
{
    const int normal[] = {0, 2, -1, 257};
    for (int direct : normal)
        EXPECT_EQ(read(asked(KindX, "0E", 20), direct), 1) << "direct " << direct;
    EXPECT_EQ(read(asked(KindX, "0E", 20), 1), 2);
    EXPECT_EQ(blocksOf(queued()), (Blocks{{KindWX, 0, 3}, {KindX, 0, 20}}));
}

TEST_F(OnceReadList, TheSearchFollowsTheListWhenSomebodyElseChangedIt)
{
    EXPECT_EQ(read(asked(KindDT, "1", 1)), 1);
    EXPECT_EQ(read(asked(KindDT, "2", 1)), 2);
    PLC_driver.lst_OnceReadVar.removeFirst(); // served
    EXPECT_EQ(read(asked(KindDT, "2", 1)), 1);
    EXPECT_EQ(read(asked(KindDT, "1", 1)), 2);

    PLC_driver.lst_OnceReadVar[0].address = 9; // in place
    EXPECT_EQ(read(asked(KindDT, "9", 1)), 2);
    EXPECT_EQ(read(asked(KindDT, "2", 1)), 3);

    QList<RW_VAR> others;
    for (int i = 0; i < 3; ++i)
        others.append(variable(KindDT, 50 + i));
    PLC_driver.lst_OnceReadVar = others; // as long as before
    EXPECT_EQ(read(asked(KindDT, "2", 1)), 4);
    EXPECT_EQ(read(asked(KindDT, "51", 1)), 4);

    PLC_driver.lst_OnceReadVar.clear();
    EXPECT_EQ(read(asked(KindDT, "51", 1)), 1);
}

TEST_F(OnceReadList, ALongListFollowsWhatSomebodyElseDidToIt)
{
    for (int block = 0; block < 30; ++block)
        read(asked(KindDT, std::to_string(16 * block).c_str(), 16));
    EXPECT_EQ(read(asked(KindDT, "0", 480)), 30);
    PLC_driver.lst_OnceReadVar.removeFirst(); // the head was served
    EXPECT_EQ(read(asked(KindDT, "16", 16)), 29);
    EXPECT_EQ(read(asked(KindDT, "0", 16)), 30);
    PLC_driver.lst_OnceReadVar[10].address = 5000; // was 176
    EXPECT_EQ(read(asked(KindDT, "5000", 16)), 30);
    EXPECT_EQ(read(asked(KindDT, "176", 16)), 31);
    PLC_driver.lst_OnceReadVar.removeAt(5);
    EXPECT_EQ(read(asked(KindDT, "0", 480)), 31); // the one that was removed
    EXPECT_EQ(queued().at(30).address, 96);
    PLC_driver.lst_OnceReadVar.clear();
    EXPECT_EQ(read(asked(KindDT, "0", 480)), 30);
}

TEST_F(OnceReadList, AnyHistoryOfTheListIsSearchedAsAWalkWould)
{
    std::mt19937 dice(2);
    QList<RW_VAR> expected;
    for (qint32 turn = 0; turn < 3000; ++turn) {
        RW_VAR var = variable(KindDT, int(dice() % 30));
        var.ownerTag = int(dice() % 2);
        var.result = turn;
        const int direct = dice() % 8 == 0 ? 1 : 0;
        bool waits = false;
        for (const RW_VAR &entry : expected)
            waits = waits || (entry.address == var.address && entry.ownerTag == var.ownerTag);
        if (direct == 1 || !waits)
            expected.append(var);
        ASSERT_EQ(AddListOnceReadVar(&var, direct), countOf(expected)) << "turn " << turn;
        ASSERT_EQ(described(queued()), described(expected)) << "turn " << turn;
        if (dice() % 3 == 0) {
            changeBehindTheDriver(PLC_driver.lst_OnceReadVar, dice);
            expected = QList<RW_VAR>();
            for (const RW_VAR &entry : queued())
                expected.append(entry);
        }
    }
}

TEST_F(OnceReadList, TheLastWordOfEachAreaIsReadAndTheOneBehindItIsNot)
{
    for (const AreaEnd &end : kAreaEnds) {
        EXPECT_EQ(blocks(end.kind, end.last, 1), (Blocks{{end.wordKind, end.lastWord, 1}}));
        EXPECT_EQ(blocks(end.kind, end.behind, 1), Blocks()) << "kind " << int(end.kind);
    }
}

TEST_F(OnceReadList, ABlockThatReachesOverTheEndOfItsAreaKeepsItsLengthAndIsTheLast)
{
    EXPECT_EQ(blocks(KindDT, "999999", 16), (Blocks{{KindDT, 999999, 16}}));
    EXPECT_EQ(blocks(KindDT, "999984", 17), (Blocks{{KindDT, 999984, 16}}));
    EXPECT_EQ(blocks(KindDT, "999985", 17), (Blocks{{KindDT, 999985, 16}}));
    EXPECT_EQ(blocks(KindDT, "999970", 40), (Blocks{{KindDT, 999970, 16}, {KindDT, 999986, 16}}));
    EXPECT_EQ(blocks(KindX, "9999F", 2), (Blocks{{KindWX, 9999, 2}}));
    EXPECT_EQ(blocks(KindT, "19999", 2), (Blocks{{KindT, 1249, 2}}));
}

TEST_F(OnceReadList, AnAbsurdCountReadsTheAreaAndNothingBehindIt)
{
    EXPECT_EQ(blocks(KindT, "0", INT_MAX), runsOf16(KindT, 0, 79)); // the last one from word 1248 on
    EXPECT_EQ(blocks(KindX, "0F", INT_MAX), runsOf16(KindWX, 0, 625));
    EXPECT_EQ(blocks(KindWX, "0", INT_MAX), runsOf16(KindWX, 0, 625));
    EXPECT_EQ(blocks(KindSV, "9999", INT_MAX), (Blocks{{KindSV, 9999, 16}}));

    RW_VAR var = asked(KindDT, "0", INT_MAX);
    PLC_driver.lst_OnceReadVar.clear();
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1024);
    EXPECT_EQ(blocksOf(queued()), runsOf16(KindDT, 0, 1024));
    EXPECT_EQ(var.address, 999984);
    EXPECT_EQ(var.count, 16);
}

TEST_F(OnceReadList, AnAbsurdAddressReadsNothing)
{
    EXPECT_EQ(blocks(KindDT, "2147483647", 1), Blocks());
    EXPECT_EQ(blocks(KindDT, "2147483647", INT_MAX), Blocks());
    EXPECT_EQ(blocks(KindX, "134217727F", INT_MAX), Blocks());
    EXPECT_EQ(blocks(KindT, "2147483647", INT_MAX), Blocks());
    RW_VAR var = asked(15, "0", INT_MAX);
    var.address = INT_MAX;
    EXPECT_EQ(read(var), 0);
    read(asked(KindDT, "1", 1));
    EXPECT_EQ(read(asked(KindDT, "1000000", 1)), 1); // the length of the list, as always
}

TEST_F(OnceReadList, KindsBehindTheLastAreBoundedByTheLargestArea)
{
    RW_VAR var = asked(15, "0", 1);
    var.address = 999999;
    EXPECT_EQ(read(var), 1);
    var.address = 1000000;
    EXPECT_EQ(read(var), 1);
    var.address = 0;
    var.count = INT_MAX;
    EXPECT_EQ(read(var), 1024);
}

TEST_F(OnceReadList, NegativeCountsReadNoWords)
{
    const qint32 negative[] = {-1, -5, -15, -16, -17, -32, INT_MIN};
    for (qint32 count : negative) {
        EXPECT_EQ(blocks(KindDT, "100", count), Blocks()) << "count " << count;
        EXPECT_EQ(blocks(KindWX, "0", count), Blocks()) << "count " << count;
    }
}

TEST_F(OnceReadList, NegativeCountsOfBitsFollowTheWordRule)
{
    EXPECT_EQ(blocks(KindX, "0E", -13), (Blocks{{KindWX, 0, 1}})); // 14 - 13 = 1: one word
    EXPECT_EQ(blocks(KindX, "0E", -14), Blocks());                 // 0: a multiple of 16
    EXPECT_EQ(blocks(KindX, "0E", -15), (Blocks{{KindWX, 0, 1}})); // -1: 0 words, and one for the remainder
    EXPECT_EQ(blocks(KindX, "0E", -29), (Blocks{{KindWX, 0, 1}})); // -15: the same
    EXPECT_EQ(blocks(KindX, "0E", -30), Blocks());                 // -16: minus one word
    EXPECT_EQ(blocks(KindX, "0E", -31), Blocks());                 // -17: minus one, and one for the remainder
    EXPECT_EQ(blocks(KindC, "14", -15), (Blocks{{KindC, 0, 1}}));
    EXPECT_EQ(blocks(KindX, "0E", INT_MIN), Blocks());
}

// Planning: the pieces ------------------------------------------------------------------------------------------------

class Planning : public FreshDriver
{
protected:
    static const QList<RW_VAR> &polled() { return PLC_driver.lst_PollingReadVar; }

    /// An item of the host, as plain data: a list of them costs the compiler little.
    struct Wanted {
        quint8 kind;
        const char *addrText;
        qint32 count;
        quint8 station = 1;
        const char *name = "";
    };

    static int rebuild(std::initializer_list<Wanted> wanted)
    {
        QList<HostReadItem> items;
        for (const Wanted &one : wanted) {
            items.append(item(one.kind, one.addrText, one.count, one.station));
            items.last().name = textOf(one.name);
        }
        return ReCreatReadVarList(&items);
    }

    static Blocks plan(std::initializer_list<Wanted> wanted)
    {
        const int entries = rebuild(wanted);
        EXPECT_EQ(entries, countOf(polled()));
        return blocksOf(polled());
    }

    static Blocks pieces(int n, int size, RW_VAR var)
    {
        QList<RW_VAR> out;
        WhetherGroup(n, size, &var, &out);
        return blocksOf(out);
    }

    /// An entry of a group, as plain data.
    struct Run {
        qint32 address, count;
        const char *name = "";
        qint32 kind = KindDT;
    };

    static Blocks merged(std::initializer_list<Run> runs, int maxLen = 16)
    {
        QList<RW_VAR> group;
        for (const Run &run : runs) {
            group.append(variable(run.kind, run.address, run.count));
            group.last().name = textOf(run.name);
        }
        PLC_driver.lst_PollingReadVar.clear();
        WordVarReCreatBuild(&group, maxLen);
        return blocksOf(polled());
    }

    static RW_VAR words(qint32 address, qint32 count, const char *name = "")
    {
        RW_VAR var = variable(KindDT, address, count);
        var.name = textOf(name);
        return var;
    }

    static std::vector<std::string> names(const QList<RW_VAR> &list)
    {
        std::vector<std::string> all;
        for (const RW_VAR &var : list)
            all.push_back(var.name.toStdString());
        return all;
    }
};

TEST_F(Planning, PiecesCoverARunAndTheLastHasTheRemainder)
{
    EXPECT_EQ(pieces(40, 16, words(100, 0)), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 16}, {KindDT, 132, 8}}));
    EXPECT_EQ(pieces(1, 16, words(100, 0)), (Blocks{{KindDT, 100, 1}}));
    EXPECT_EQ(pieces(15, 16, words(100, 0)), (Blocks{{KindDT, 100, 15}}));
    EXPECT_EQ(pieces(16, 16, words(100, 0)), (Blocks{{KindDT, 100, 16}}));
    EXPECT_EQ(pieces(17, 16, words(100, 0)), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 1}}));
    EXPECT_EQ(pieces(240, 240, words(100, 0)), (Blocks{{KindDT, 100, 240}}));
    EXPECT_EQ(pieces(241, 240, words(100, 0)), (Blocks{{KindDT, 100, 240}, {KindDT, 340, 1}}));
}

TEST_F(Planning, NoElementsMakeNoPiece)
{
    EXPECT_EQ(pieces(0, 16, words(100, 7)), Blocks());
    const int negative[] = {-1, -15, -16, -17, -240, INT_MIN};
    for (int n : negative)
        EXPECT_EQ(pieces(n, 16, words(100, 7)), Blocks()) << "n " << n;
}

TEST_F(Planning, PiecesAreWholeCopiesAppendedBehindWhatIsThere)
{
    QList<RW_VAR> out;
    out.append(variable(KindX, 5));
    RW_VAR var = distinctVariable();
    WhetherGroup(17, 16, &var, &out);
    ASSERT_EQ(countOf(out), 3);
    EXPECT_EQ(out.at(0).areaKind, KindX);
    EXPECT_EQ(described(out.at(1)),
              "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
              "addrText 107, areaKind 10, address 108, station 3, count 16, extra1 109, extra2 110, data 01020304");
    EXPECT_EQ(described(out.at(2)),
              "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
              "addrText 107, areaKind 10, address 124, station 3, count 1, extra1 109, extra2 110, data 01020304");
    EXPECT_EQ(var.address, 124); // left at the last piece
}

TEST_F(Planning, PiecesWhollyOutsideTheAreaAreNotMade)
{
    EXPECT_EQ(pieces(1, 16, words(999999, 0)), (Blocks{{KindDT, 999999, 1}}));
    EXPECT_EQ(pieces(1, 16, words(1000000, 0)), Blocks());
    EXPECT_EQ(pieces(40, 16, words(999990, 0)), (Blocks{{KindDT, 999990, 16}}));
    EXPECT_EQ(pieces(INT_MAX, 16, variable(KindT, 0)), runsOf16(KindT, 0, 79));
    EXPECT_EQ(pieces(INT_MAX, INT_MAX, variable(KindT, 0)), (Blocks{{KindT, 0, INT_MAX}}));
    EXPECT_EQ(pieces(INT_MAX, 16, words(INT_MAX, 0)), Blocks());
    EXPECT_EQ(pieces(INT_MAX, 16, words(INT_MIN, 0)), Blocks());
    EXPECT_EQ(pieces(40, 16, words(-20, 0)), (Blocks{{KindDT, -4, 16}, {KindDT, 12, 8}}));
    EXPECT_EQ(pieces(16, 16, words(-16, 0)), Blocks());
    EXPECT_EQ(pieces(16, 16, words(-15, 0)), (Blocks{{KindDT, -15, 16}}));
}

TEST_F(Planning, PiecesOfUnknownKindsAreBoundedByTheLargestArea)
{
    EXPECT_EQ(pieces(1, 16, variable(15, 999999)), (Blocks{{15, 999999, 1}}));
    EXPECT_EQ(pieces(1, 16, variable(15, 1000000)), Blocks());
    EXPECT_EQ(pieces(INT_MAX, 16, variable(200, 999968)), runsOf16(200, 999968, 2));
}

// Planning: the order -------------------------------------------------------------------------------------------------

TEST_F(Planning, AGroupIsOrderedByAddressAndEqualAddressesKeepTheirOrder)
{
    QList<RW_VAR> list;
    list << words(5, 1, "a") << words(3, 2, "b") << words(5, 3, "c") << words(-1, 4, "d") << words(3, 5, "e")
         << words(INT_MAX, 6, "f") << words(INT_MIN, 7, "g") << words(5, 8, "h");
    Bubble_Sort(&list);
    EXPECT_EQ(names(list), (std::vector<std::string>{"g", "d", "b", "e", "a", "c", "h", "f"}));
    EXPECT_EQ(list.at(7).count, 6);
}

TEST_F(Planning, GroupsOfNoneAndOneAreLeftAlone)
{
    QList<RW_VAR> list;
    Bubble_Sort(&list);
    EXPECT_TRUE(list.isEmpty());
    list.append(words(5, 1, "a"));
    Bubble_Sort(&list);
    EXPECT_EQ(names(list), (std::vector<std::string>{"a"}));
}

TEST_F(Planning, ALargeGroupIsOrderedToo)
{
    QList<RW_VAR> list;
    for (qint32 i = 0; i < 2000; ++i)
        list.append(words((i * 7919) % 2000, i)); // each address once
    Bubble_Sort(&list);
    for (qint32 i = 0; i < 2000; ++i)
        ASSERT_EQ(list.at(i).address, i);
}

// Planning: the blocks ------------------------------------------------------------------------------------------------

TEST_F(Planning, AGapOfFourWordsIsBridgedAndOneOfFiveIsNot)
{
    EXPECT_EQ(merged({{0, 1}, {1, 1}}), (Blocks{{KindDT, 0, 2}}));
    EXPECT_EQ(merged({{0, 1}, {5, 1}}), (Blocks{{KindDT, 0, 6}}));
    EXPECT_EQ(merged({{0, 1}, {6, 1}}), (Blocks{{KindDT, 0, 1}, {KindDT, 6, 1}}));
    EXPECT_EQ(merged({{100, 8}, {112, 2}}), (Blocks{{KindDT, 100, 14}}));
    EXPECT_EQ(merged({{100, 8}, {113, 2}}), (Blocks{{KindDT, 100, 8}, {KindDT, 113, 2}}));
}

TEST_F(Planning, ABlockHasAtMostSixteenWords)
{
    EXPECT_EQ(merged({{0, 8}, {8, 8}}), (Blocks{{KindDT, 0, 16}}));
    EXPECT_EQ(merged({{0, 8}, {8, 9}}), (Blocks{{KindDT, 0, 16}, {KindDT, 16, 1}}));
    EXPECT_EQ(merged({{0, 16}}), (Blocks{{KindDT, 0, 16}}));
    EXPECT_EQ(merged({{0, 17}}), (Blocks{{KindDT, 0, 16}, {KindDT, 16, 1}}));
    EXPECT_EQ(merged({{0, 48}}), runsOf16(KindDT, 0, 3));
    EXPECT_EQ(merged({{0, 14}, {18, 1}}), (Blocks{{KindDT, 0, 16}, {KindDT, 16, 3}}));
    EXPECT_EQ(merged({{0, 1}, {100, 20}}), (Blocks{{KindDT, 0, 1}, {KindDT, 100, 16}, {KindDT, 116, 4}}));
}

TEST_F(Planning, TheLengthOfABlockIsTheCallersToChoose)
{
    EXPECT_EQ(merged({{0, 20}}, 8), (Blocks{{KindDT, 0, 8}, {KindDT, 8, 8}, {KindDT, 16, 4}}));
    EXPECT_EQ(merged({{0, 3}}, 1), (Blocks{{KindDT, 0, 1}, {KindDT, 1, 1}, {KindDT, 2, 1}}));
    EXPECT_EQ(merged({{0, 20}}, INT_MAX), (Blocks{{KindDT, 0, 20}}));
    EXPECT_EQ(merged({{0, 20}}, 0), Blocks());
    EXPECT_EQ(merged({{0, 20}}, -1), Blocks());
}

TEST_F(Planning, AnEntryInsideABlockCutsItBackToTheEntrysEnd)
{
    EXPECT_EQ(merged({{0, 16}, {2, 1}}), (Blocks{{KindDT, 0, 3}}));
    EXPECT_EQ(merged({{0, 16}, {0, 1}}), (Blocks{{KindDT, 0, 1}}));
    EXPECT_EQ(merged({{0, 1}, {0, 16}}), (Blocks{{KindDT, 0, 16}}));
    EXPECT_EQ(merged({{0, 16}, {2, 1}, {7, 1}}), (Blocks{{KindDT, 0, 8}}));
    EXPECT_EQ(merged({{0, 16}, {2, 1}, {8, 1}}), (Blocks{{KindDT, 0, 3}, {KindDT, 8, 1}}));
}

TEST_F(Planning, AnEntryBeforeAPendingBlockTakesItBackToTheEntrysStart)
{
    // The first 32 words are out when the second entry comes; what was pending of the first is given up for it.
    EXPECT_EQ(merged({{0, 40}, {10, 5}}), (Blocks{{KindDT, 0, 16}, {KindDT, 16, 16}, {KindDT, 10, 5}}));
}

TEST_F(Planning, ABlockCarriesTheFieldsOfTheEntryThatWasExaminedWhenItWasEmitted)
{
    merged({{0, 1, "a"}, {2, 1, "b"}, {100, 20, "c"}, {200, 1, "d"}});
    EXPECT_EQ(blocksOf(polled()), (Blocks{{KindDT, 0, 3}, {KindDT, 100, 16}, {KindDT, 116, 4}, {KindDT, 200, 1}}));
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"c", "c", "d", "d"}));
}

TEST_F(Planning, ABlockIsAWholeCopyExceptForAddressAndCount)
{
    QList<RW_VAR> group;
    group.append(distinctVariable());
    group.last().count = 17;
    WordVarReCreatBuild(&group, 16);
    EXPECT_EQ(described(polled()),
              (std::vector<std::string>{
                  "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
                  "addrText 107, areaKind 10, address 108, station 3, count 16, extra1 109, extra2 110, data 01020304",
                  "ownerId 101, ownerTag 102, varFlag 103, remoteMode 104, linkNo 105, result 106, name boiler, "
                  "addrText 107, areaKind 10, address 124, station 3, count 1, extra1 109, extra2 110, data 01020304",
              }));
}

TEST_F(Planning, BlocksAreAppendedToThePollingListAndAnEmptyGroupMakesNone)
{
    PLC_driver.lst_PollingReadVar.append(variable(KindX, 5));
    QList<RW_VAR> group;
    WordVarReCreatBuild(&group, 16);
    EXPECT_EQ(countOf(polled()), 1);
    group.append(words(7, 3));
    WordVarReCreatBuild(&group, 16);
    EXPECT_EQ(blocksOf(polled()), (Blocks{{KindX, 5, 1}, {KindDT, 7, 3}}));
}

TEST_F(Planning, BlocksWhollyOutsideTheAreaAreNotMade)
{
    EXPECT_EQ(merged({{999990, 40}}), (Blocks{{KindDT, 999990, 16}}));
    EXPECT_EQ(merged({{1000000, 1}}), Blocks());
    EXPECT_EQ(merged({{1240, INT_MAX, "", KindT}}), (Blocks{{KindT, 1240, 16}}));
    EXPECT_EQ(merged({{INT_MAX, INT_MAX}}), Blocks());
    EXPECT_EQ(merged({{0, INT_MAX}}).size(), 62500u);
    EXPECT_EQ(merged({{0, 1}, {INT_MAX, 1}}), (Blocks{{KindDT, 0, 1}}));
    EXPECT_EQ(merged({{0, INT_MAX}}, INT_MAX), (Blocks{{KindDT, 0, INT_MAX}}));
    EXPECT_EQ(merged({{999999, 1, "", 15}}), (Blocks{{15, 999999, 1}}));
    EXPECT_EQ(merged({{1000000, 1, "", 15}}), Blocks());
}

// Planning: the short ones first --------------------------------------------------------------------------------------

TEST_F(Planning, BlocksOfUpToFourWordsGoToTheFrontInReverse)
{
    PLC_driver.lst_PollingReadVar << words(0, 5, "a") << words(0, 4, "b") << words(0, 16, "c") << words(0, 1, "d")
                                  << words(0, 5, "e") << words(0, 2, "f");
    sort_lst_PollingReadVar();
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"f", "d", "b", "a", "c", "e"}));
}

TEST_F(Planning, ShortBlocksAloneAreReversedAndLongOnesAloneStay)
{
    PLC_driver.lst_PollingReadVar << words(0, 1, "a") << words(0, 4, "b") << words(0, 3, "c");
    sort_lst_PollingReadVar();
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"c", "b", "a"}));
    PLC_driver.lst_PollingReadVar.clear();
    PLC_driver.lst_PollingReadVar << words(0, 5, "a") << words(0, 6, "b");
    sort_lst_PollingReadVar();
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"a", "b"}));
    PLC_driver.lst_PollingReadVar.clear();
    sort_lst_PollingReadVar();
    EXPECT_TRUE(polled().isEmpty());
}

TEST_F(Planning, TheMovedBlocksKeepAllTheirFields)
{
    PLC_driver.lst_PollingReadVar << words(0, 5, "a") << distinctVariable();
    sort_lst_PollingReadVar();
    EXPECT_EQ(described(polled().at(0)), described(distinctVariable()));
}

// Planning: the whole rebuild, one station ----------------------------------------------------------------------------

TEST_F(Planning, NeighboursBecomeOneBlock)
{
    EXPECT_EQ(plan({{KindDT, "0", 1}, {KindDT, "5", 1}}), (Blocks{{KindDT, 0, 6}}));
    EXPECT_EQ(plan({{KindDT, "0", 5}, {KindDT, "9", 5}}), (Blocks{{KindDT, 0, 14}}));
    EXPECT_EQ(plan({{KindDT, "0", 5}, {KindDT, "10", 5}}), (Blocks{{KindDT, 0, 5}, {KindDT, 10, 5}}));
}

TEST_F(Planning, OfTwoShortBlocksTheLaterStandsFirst)
{
    EXPECT_EQ(plan({{KindDT, "0", 1}, {KindDT, "6", 1}}), (Blocks{{KindDT, 6, 1}, {KindDT, 0, 1}}));
    EXPECT_EQ(plan({{KindDT, "0", 4}, {KindDT, "20", 5}, {KindDT, "40", 1}}),
              (Blocks{{KindDT, 40, 1}, {KindDT, 0, 4}, {KindDT, 20, 5}}));
}

TEST_F(Planning, ALongRunBecomesBlocksOfSixteen)
{
    EXPECT_EQ(plan({{KindDT, "100", 40}}), (Blocks{{KindDT, 100, 16}, {KindDT, 116, 16}, {KindDT, 132, 8}}));
}

TEST_F(Planning, ARunThatEndsInsideAnotherCutsItBack)
{
    EXPECT_EQ(plan({{KindDT, "0", 16}, {KindDT, "2", 1}}), (Blocks{{KindDT, 0, 3}}));
    EXPECT_EQ(plan({{KindDT, "2", 1}, {KindDT, "0", 16}}), (Blocks{{KindDT, 0, 3}}));
}

TEST_F(Planning, RelayBitsArePlannedAsTheWordsThatTheyTouch)
{
    EXPECT_EQ(plan({{KindX, "1F", 3}}), (Blocks{{KindWX, 1, 2}}));
    EXPECT_EQ(plan({{KindY, "1F", 1}}), (Blocks{{KindWY, 1, 1}}));
    EXPECT_EQ(plan({{KindR, "1F", 2}}), (Blocks{{KindWR, 1, 2}}));
    EXPECT_EQ(plan({{KindL, "10", 16}}), (Blocks{{KindWL, 1, 1}}));
    EXPECT_EQ(plan({{KindL, "10", 17}}), (Blocks{{KindWL, 1, 2}}));
    EXPECT_EQ(plan({{KindX, "1F", 3}, {KindWX, "3", 2}}), (Blocks{{KindWX, 1, 4}}));
}

TEST_F(Planning, ContactsArePlannedAsWordsOfTheirOwnKind)
{
    EXPECT_EQ(plan({{KindT, "31", 3}}), (Blocks{{KindT, 1, 2}}));
    EXPECT_EQ(plan({{KindC, "32", 16}}), (Blocks{{KindC, 2, 1}}));
}

TEST_F(Planning, GroupsFollowTheKindsWhateverTheOrderOfTheItems)
{
    const Blocks expected = {{KindT, 0, 5},  {KindC, 0, 5},  {KindWX, 0, 5}, {KindWY, 0, 5},
                             {KindWR, 0, 5}, {KindWL, 0, 5}, {KindDT, 0, 5}, {KindLD, 0, 5},
                             {KindFL, 0, 5}, {KindSV, 0, 5}, {KindEV, 0, 5}};
    EXPECT_EQ(plan({{KindEV, "0", 5},
                    {KindSV, "0", 5},
                    {KindFL, "0", 5},
                    {KindLD, "0", 5},
                    {KindDT, "0", 5},
                    {KindL, "0", 80},
                    {KindR, "0", 80},
                    {KindY, "0", 80},
                    {KindX, "0", 80},
                    {KindC, "0", 80},
                    {KindT, "0", 80}}),
              expected);
}

TEST_F(Planning, ShortBlocksOfAllGroupsStandInReverse)
{
    EXPECT_EQ(plan({{KindT, "0", 1}, {KindX, "0", 1}, {KindDT, "0", 5}, {KindEV, "0", 1}}),
              (Blocks{{KindEV, 0, 1}, {KindWX, 0, 1}, {KindT, 0, 1}, {KindDT, 0, 5}}));
}

TEST_F(Planning, ItemsOfOneGroupAreOrderedByAddress)
{
    EXPECT_EQ(plan({{KindDT, "200", 5}, {KindDT, "0", 6}, {KindDT, "100", 7}}),
              (Blocks{{KindDT, 0, 6}, {KindDT, 100, 7}, {KindDT, 200, 5}}));
}

TEST_F(Planning, ABlockIsFilledFromItsItemAndTheSettings)
{
    info.defaultStation = 7;
    info.remoteMode = 21;
    info.linkNo = 22;
    rebuild({{KindX, "1F", 3, 3, "pump"}});
    EXPECT_EQ(described(polled()),
              (std::vector<std::string>{
                  "ownerId 0, ownerTag -1, varFlag 0, remoteMode 21, linkNo 22, result 0, name pump, addrText 1F, "
                  "areaKind 6, address 1, station 7, count 2, extra1 0, extra2 0, data "}));
}

TEST_F(Planning, NamesAreThoseOfTheItemExaminedWhenTheBlockWasEmitted)
{
    rebuild({{KindDT, "0", 5, 1, "a"}, {KindDT, "100", 5, 1, "b"}, {KindDT, "105", 1, 1, "c"}});
    EXPECT_EQ(blocksOf(polled()), (Blocks{{KindDT, 0, 5}, {KindDT, 100, 6}}));
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(polled().at(1).addrText.toStdString(), "105");
}

TEST_F(Planning, OfEqualAddressesTheLaterItemIsMergedLast)
{
    EXPECT_EQ(plan({{KindDT, "0", 16}, {KindDT, "0", 5}}), (Blocks{{KindDT, 0, 5}}));
    EXPECT_EQ(plan({{KindDT, "0", 5}, {KindDT, "0", 16}}), (Blocks{{KindDT, 0, 16}}));
}

// Contacts of one station are cut into pieces of 240 words, not 16. That shows where another item lies in the middle:
// the whole piece is merged before that item cuts the block back, so the words behind it are not read.

TEST_F(Planning, ContactsAreCutInPiecesOf240Words)
{
    Blocks cutBack = runsOf16(KindT, 0, 14);
    cutBack.push_back(Block{KindT, 100, 5});
    EXPECT_EQ(plan({{KindT, "0", 3840}, {KindT, "1600", 80}}), cutBack);

    // One word more makes a second piece, which is read behind the one that was cut back.
    cutBack.insert(cutBack.begin(), Block{KindT, 240, 1});
    EXPECT_EQ(plan({{KindT, "0", 3841}, {KindT, "1600", 80}}), cutBack);

    Blocks counters = runsOf16(KindC, 0, 14);
    counters.push_back(Block{KindC, 100, 5});
    EXPECT_EQ(plan({{KindC, "0", 3840}, {KindC, "1600", 80}}), counters);
}

TEST_F(Planning, OtherKindsAreCutInPiecesOf16Words)
{
    Blocks oneShort = runsOf16(KindDT, 0, 6);
    oneShort.push_back(Block{KindDT, 96, 9});
    const Blocks rest = runsOf16(KindDT, 112, 8);
    oneShort.insert(oneShort.end(), rest.begin(), rest.end());
    EXPECT_EQ(plan({{KindDT, "0", 240}, {KindDT, "100", 5}}), oneShort);
}

TEST_F(Planning, ContactsOfManyWordsBecomeBlocksOfSixteen)
{
    Blocks all = runsOf16(KindT, 0, 18);
    all.push_back(Block{KindT, 288, 12});
    EXPECT_EQ(plan({{KindT, "0", 4800}}), all);
}

TEST_F(Planning, ARebuildReplacesTheListAndStartsTheCycleAnew)
{
    rebuild({{KindDT, "0", 5}, {KindDT, "100", 5}});
    PLC_driver.pollReplyCount = 9;
    info.cycleDone = 1;
    EXPECT_EQ(rebuild({{KindFL, "7", 5}}), 1);
    EXPECT_EQ(blocksOf(polled()), (Blocks{{KindFL, 7, 5}}));
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(info.cycleDone, 0);
}

TEST_F(Planning, NoItemsEmptyTheListAndLeaveTheCycleAlone)
{
    rebuild({{KindDT, "0", 5}});
    PLC_driver.pollReplyCount = 9;
    info.cycleDone = 1;
    EXPECT_EQ(rebuild({}), 0);
    EXPECT_TRUE(polled().isEmpty());
    EXPECT_EQ(PLC_driver.pollReplyCount, 9);
    EXPECT_EQ(info.cycleDone, 1);
}

TEST_F(Planning, ItemsWithBadAddressesAreLeftOut)
{
    EXPECT_EQ(
        plan({{KindX, "", 1}, {KindDT, "100", 5}, {KindDT, "-1", 1}, {KindDT, "2147483648", 1}, {KindL, "-10", 1}}),
        (Blocks{{KindDT, 100, 5}}));
    PLC_driver.pollReplyCount = 9;
    info.cycleDone = 1;
    EXPECT_EQ(rebuild({{KindX, "", 1}}), 0);
    EXPECT_TRUE(polled().isEmpty());
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(info.cycleDone, 0);
}

TEST_F(Planning, AnItemBeforeElement0IsLeftOutAlthoughItReachesIntoTheArea)
{
    const qint32 modes[] = {0, 1};
    for (qint32 multiStation : modes) {
        info.multiStation = multiStation;
        EXPECT_EQ(plan({{KindDT, "-10", 30}, {KindX, "-10", 100}, {KindT, "-10", 100}}), Blocks());
    }
}

TEST_F(Planning, ItemsOfUnknownKindsAreLeftOut)
{
    EXPECT_EQ(plan({{15, "100", 5}, {KindEV, "100", 5}, {255, "100", 5}}), (Blocks{{KindEV, 100, 5}}));
}

TEST_F(Planning, ItemsWithoutElementsAreLeftOut)
{
    EXPECT_EQ(plan({{KindDT, "100", 0}, {KindX, "0", 0}, {KindT, "16", 0}}), Blocks());
    EXPECT_EQ(plan({{KindDT, "100", -1},
                    {KindDT, "100", -16},
                    {KindDT, "100", -17},
                    {KindDT, "100", INT_MIN},
                    {KindX, "0E", -14},
                    {KindX, "0E", -30},
                    {KindX, "0E", -31},
                    {KindT, "14", -14},
                    {KindX, "0", INT_MIN}}),
              Blocks());
    EXPECT_EQ(plan({{KindX, "0E", 0}}), (Blocks{{KindWX, 0, 1}}));
    EXPECT_EQ(plan({{KindX, "0E", -15}}), (Blocks{{KindWX, 0, 1}}));
}

TEST_F(Planning, ARebuildIsNotTheItemsOwner)
{
    QList<HostReadItem> items;
    items << item(KindX, "1F", 3, 5);
    items.last().name = textOf("pump");
    ReCreatReadVarList(&items);
    ASSERT_EQ(countOf(items), 1);
    EXPECT_EQ(items.at(0).areaKind, KindX);
    EXPECT_EQ(items.at(0).station, 5);
    EXPECT_EQ(items.at(0).addrText.toStdString(), "1F");
    EXPECT_EQ(items.at(0).name.toStdString(), "pump");
    EXPECT_EQ(items.at(0).count, 3);
    items.clear();
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"pump"}));
}

TEST_F(Planning, ARebuildWaitsForTheListLock)
{
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { rebuild({{KindDT, "0", 5}}); }));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { rebuild({}); }));
    info.multiStation = 1;
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { rebuild({{KindDT, "0", 5}}); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [] { rebuild({{KindDT, "0", 5}}); }));
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(Planning, TheLastWordOfEachAreaIsPlannedAndTheOneBehindItIsNot)
{
    const qint32 modes[] = {0, 1};
    for (qint32 multiStation : modes) {
        info.multiStation = multiStation;
        for (const AreaEnd &end : kAreaEnds) {
            EXPECT_EQ(plan({{end.kind, end.last, 1}}), (Blocks{{end.wordKind, end.lastWord, 1}}));
            EXPECT_EQ(plan({{end.kind, end.behind, 1}}), Blocks()) << "kind " << int(end.kind);
        }
    }
}

TEST_F(Planning, ABlockThatReachesOverTheEndOfItsAreaKeepsItsLengthAndIsTheLast)
{
    EXPECT_EQ(plan({{KindDT, "999990", 40}}), (Blocks{{KindDT, 999990, 16}}));
    EXPECT_EQ(plan({{KindDT, "999999", 2}, {KindDT, "1000002", 3}}), (Blocks{{KindDT, 999999, 2}}));
    EXPECT_EQ(plan({{KindX, "9999F", 2}}), (Blocks{{KindWX, 9999, 2}}));
    info.multiStation = 1;
    EXPECT_EQ(plan({{KindDT, "999990", 40}}), (Blocks{{KindDT, 999990, 16}}));
}

TEST_F(Planning, AnAbsurdCountPlansTheAreaAndNothingBehindIt)
{
    const qint32 modes[] = {0, 1};
    for (qint32 multiStation : modes) {
        info.multiStation = multiStation;
        EXPECT_EQ(plan({{KindT, "0", INT_MAX}}), runsOf16(KindT, 0, 79));
        EXPECT_EQ(plan({{KindX, "0F", INT_MAX}}), runsOf16(KindWX, 0, 625));
        EXPECT_EQ(plan({{KindDT, "0", INT_MAX}}), runsOf16(KindDT, 0, 62500));
        EXPECT_EQ(plan({{KindDT, "2147483647", INT_MAX}}), Blocks());
        EXPECT_EQ(plan({{KindT, "2147483647", INT_MAX}}), Blocks());
        EXPECT_EQ(plan({{KindX, "134217727F", INT_MAX}}), Blocks());
    }
}

// Planning: the whole rebuild, several stations -----------------------------------------------------------------------

class PlanningForStations : public Planning
{
protected:
    PlanningForStations() { info.multiStation = 1; }

    struct StationBlock {
        qint32 kind, station, address, count;
        bool operator==(const StationBlock &o) const
        {
            return kind == o.kind && station == o.station && address == o.address && count == o.count;
        }
        friend std::ostream &operator<<(std::ostream &out, const StationBlock &b)
        {
            return out << "kind " << b.kind << " of station " << b.station << ": " << b.count << " at " << b.address;
        }
    };
    typedef std::vector<StationBlock> StationBlocks;

    static StationBlocks planned(std::initializer_list<Wanted> wanted)
    {
        const int entries = rebuild(wanted);
        EXPECT_EQ(entries, countOf(polled()));
        StationBlocks blocks;
        for (const RW_VAR &var : polled())
            blocks.push_back(StationBlock{var.areaKind, var.station, var.address, var.count});
        return blocks;
    }
};

TEST_F(PlanningForStations, ABlockCarriesItsItemsStation)
{
    info.defaultStation = 7;
    info.remoteMode = 21;
    info.linkNo = 22;
    rebuild({{KindX, "1F", 3, 3, "pump"}});
    EXPECT_EQ(described(polled()),
              (std::vector<std::string>{
                  "ownerId 0, ownerTag -1, varFlag 0, remoteMode 21, linkNo 22, result 0, name pump, addrText 1F, "
                  "areaKind 6, address 1, station 3, count 2, extra1 0, extra2 0, data "}));
}

TEST_F(PlanningForStations, GroupsFollowTheFirstOccurrenceOfTheirKindAndStation)
{
    EXPECT_EQ(planned({{KindDT, "0", 5, 2},
                       {KindX, "0", 80, 1},
                       {KindDT, "0", 5, 1},
                       {KindT, "0", 80, 2},
                       {KindDT, "100", 6, 2},
                       {KindWX, "100", 7, 1}}),
              (StationBlocks{{KindDT, 2, 0, 5},
                             {KindDT, 2, 100, 6},
                             {KindWX, 1, 0, 5},
                             {KindWX, 1, 100, 7},
                             {KindDT, 1, 0, 5},
                             {KindT, 2, 0, 5}}));
}

TEST_F(PlanningForStations, NeighboursOfDifferentStationsAreNotMerged)
{
    EXPECT_EQ(planned({{KindDT, "0", 5, 1}, {KindDT, "5", 5, 2}}),
              (StationBlocks{{KindDT, 1, 0, 5}, {KindDT, 2, 5, 5}}));
    EXPECT_EQ(planned({{KindDT, "0", 1, 1}, {KindDT, "5", 1, 1}}), (StationBlocks{{KindDT, 1, 0, 6}}));
    EXPECT_EQ(planned({{KindDT, "0", 1, 1}, {KindDT, "6", 1, 1}}),
              (StationBlocks{{KindDT, 1, 6, 1}, {KindDT, 1, 0, 1}}));
}

TEST_F(PlanningForStations, PiecesOfOneGroupAreOrderedByAddress)
{
    const StationBlocks expected = {{KindDT, 1, 0, 16},   {KindDT, 1, 16, 16},  {KindDT, 1, 32, 8},
                                    {KindDT, 1, 100, 16}, {KindDT, 1, 116, 16}, {KindDT, 1, 132, 8}};
    EXPECT_EQ(planned({{KindDT, "100", 40, 1}, {KindDT, "0", 40, 1}}), expected);
}

TEST_F(PlanningForStations, OfEqualAddressesTheEarlierItemIsMergedLast)
{
    EXPECT_EQ(planned({{KindDT, "0", 16}, {KindDT, "0", 5}}), (StationBlocks{{KindDT, 1, 0, 16}}));
    EXPECT_EQ(planned({{KindDT, "0", 5}, {KindDT, "0", 16}}), (StationBlocks{{KindDT, 1, 0, 5}}));
    rebuild({{KindDT, "0", 16, 1, "first"}, {KindDT, "0", 5, 1, "second"}});
    EXPECT_EQ(names(polled()), (std::vector<std::string>{"first"}));
}

TEST_F(PlanningForStations, ContactsAreCutInPiecesOf16Words)
{
    Blocks oneShort = runsOf16(KindT, 0, 6);
    oneShort.push_back(Block{KindT, 96, 9});
    const Blocks rest = runsOf16(KindT, 112, 8);
    oneShort.insert(oneShort.end(), rest.begin(), rest.end());
    EXPECT_EQ(plan({{KindT, "0", 3840}, {KindT, "1600", 80}}), oneShort);
}

TEST_F(PlanningForStations, AKindOfStation255AndTheNextKindOfStation0AreOneGroup)
{
    EXPECT_EQ(planned({{KindDT, "0", 1, 255}, {KindLD, "3", 1, 0}}), (StationBlocks{{KindLD, 0, 0, 4}}));
    EXPECT_EQ(planned({{KindLD, "0", 1, 0}, {KindDT, "3", 1, 255}}), (StationBlocks{{KindDT, 255, 0, 4}}));
    EXPECT_EQ(planned({{KindDT, "0", 5, 255}, {KindLD, "100", 6, 0}}),
              (StationBlocks{{KindLD, 0, 0, 5}, {KindLD, 0, 100, 6}}));
    EXPECT_EQ(planned({{KindX, "0", 16, 255}, {KindY, "30", 16, 0}}), (StationBlocks{{KindWY, 0, 0, 4}}));
    EXPECT_EQ(planned({{KindT, "0", 16, 255}, {KindC, "48", 16, 0}}), (StationBlocks{{KindC, 0, 0, 4}}));
}

TEST_F(PlanningForStations, OtherKindsAndStationsKeepTheirGroupsApart)
{
    EXPECT_EQ(planned({{KindDT, "0", 5, 254}, {KindLD, "5", 5, 0}}),
              (StationBlocks{{KindDT, 254, 0, 5}, {KindLD, 0, 5, 5}}));
    EXPECT_EQ(planned({{KindDT, "0", 5, 255}, {KindLD, "5", 5, 1}}),
              (StationBlocks{{KindDT, 255, 0, 5}, {KindLD, 1, 5, 5}}));
    EXPECT_EQ(planned({{KindDT, "0", 5, 255}, {KindFL, "5", 5, 0}}),
              (StationBlocks{{KindDT, 255, 0, 5}, {KindFL, 0, 5, 5}}));
}

TEST_F(PlanningForStations, AnItemBetweenTwoOfACollidingGroupKeepsItsPlaceByFirstOccurrence)
{
    EXPECT_EQ(planned({{KindDT, "0", 5, 255}, {KindFL, "0", 5, 1}, {KindLD, "5", 5, 0}}),
              (StationBlocks{{KindLD, 0, 0, 10}, {KindFL, 1, 0, 5}}));
}

TEST_F(PlanningForStations, AnItemWithoutElementsKeepsNoPlaceForItsGroup)
{
    const StationBlocks expected = {{KindDT, 2, 0, 5}, {KindDT, 1, 0, 5}};
    EXPECT_EQ(planned({{KindDT, "0", 0, 1}, {KindDT, "0", 5, 2}, {KindDT, "0", 5, 1}}), expected);
    EXPECT_EQ(planned({{KindDT, "100", -33, 1}, {KindDT, "0", 5, 2}, {KindDT, "0", 5, 1}}), expected);
    EXPECT_EQ(planned({{KindDT, "1000000", 5, 1}, {KindDT, "0", 5, 2}, {KindDT, "0", 5, 1}}), expected);
}

TEST_F(PlanningForStations, NoKindIsLeftOut)
{
    EXPECT_EQ(planned({{15, "7", 5, 1}, {255, "9", 17, 2}}),
              (StationBlocks{{255, 2, 25, 1}, {15, 1, 7, 5}, {255, 2, 9, 16}}));
}

TEST_F(PlanningForStations, UnknownKindsAreBoundedByTheLargestArea)
{
    EXPECT_EQ(planned({{15, "999999", 5, 1}}), (StationBlocks{{15, 1, 999999, 5}}));
    EXPECT_EQ(planned({{15, "1000000", 5, 1}}), StationBlocks());
    EXPECT_EQ(plan({{255, "0", INT_MAX, 1}}), runsOf16(255, 0, 62500));
}

TEST_F(PlanningForStations, ItemsWithBadAddressesOrWithoutElementsAreLeftOut)
{
    EXPECT_EQ(planned({{KindX, "", 1},
                       {KindDT, "-1", 1},
                       {KindDT, "2147483648", 1},
                       {KindDT, "100", 0},
                       {KindDT, "100", -17},
                       {KindDT, "100", INT_MIN},
                       {KindX, "0E", -30},
                       {15, "-1", 1},
                       {KindDT, "50", 5, 9}}),
              (StationBlocks{{KindDT, 9, 50, 5}}));
    EXPECT_EQ(planned({{KindX, "0E", -15, 9}}), (StationBlocks{{KindWX, 9, 0, 1}}));
}

TEST_F(PlanningForStations, ShortBlocksOfAllStationsStandInReverse)
{
    EXPECT_EQ(planned({{KindDT, "0", 1, 1}, {KindDT, "0", 5, 2}, {KindDT, "0", 4, 3}, {KindDT, "0", 2, 4}}),
              (StationBlocks{{KindDT, 4, 0, 2}, {KindDT, 3, 0, 4}, {KindDT, 1, 0, 1}, {KindDT, 2, 0, 5}}));
}

TEST_F(PlanningForStations, AnyNonzeroMultiStationMeansSeveral)
{
    info.defaultStation = 7;
    info.multiStation = -1;
    EXPECT_EQ(planned({{KindDT, "0", 5, 2}}), (StationBlocks{{KindDT, 2, 0, 5}}));
    info.multiStation = 0;
    EXPECT_EQ(planned({{KindDT, "0", 5, 2}}), (StationBlocks{{KindDT, 7, 0, 5}}));
}

} // namespace
