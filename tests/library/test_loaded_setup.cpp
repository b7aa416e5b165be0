// test_loaded_setup.cpp - loading and unloading, the set-up calls and the exported data objects.

#include "loaded_driver.h"

#include <cstdlib>

namespace
{

class LoadedSetup : public LoadedLibrary
{
};

bool allZero(const quint16 *words, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (words[i] != 0)
            return false;
    }
    return true;
}

void expectFresh(const LoadedDriver &lib)
{
    const Matsushita_TCPIP_net &driver = *lib.PLC_driver;
    EXPECT_EQ(nullptr, driver.comInfo);
    EXPECT_TRUE(driver.lst_PollingReadVar.isEmpty());
    EXPECT_TRUE(driver.lst_WriteVar.isEmpty());
    EXPECT_TRUE(driver.lst_OnceReadVar.isEmpty());
    EXPECT_TRUE(driver.lst_ReserveVar.isEmpty());
    EXPECT_TRUE(driver.lst_Protocol.isEmpty());
    EXPECT_TRUE(driver.lst_ExtendVar.isEmpty());
    EXPECT_TRUE(driver.map_Station.isEmpty());
    EXPECT_TRUE(driver.pfnReadFinish == nullptr);
    EXPECT_TRUE(driver.pfnCommError == nullptr);
    EXPECT_TRUE(driver.retVar.name.isEmpty());
    EXPECT_TRUE(driver.retVar.addrText.isEmpty());
    EXPECT_TRUE(driver.retVar.data.isEmpty());
    EXPECT_EQ(100, driver.curReqKind);
    EXPECT_EQ(0, driver.writeCount);
    EXPECT_EQ(0, driver.onceReadCount);
    EXPECT_EQ(0, driver.pollReplyCount);
    EXPECT_EQ(0, driver.bCommFail);
    EXPECT_EQ(0, driver.bReserve);
    EXPECT_TRUE(allZero(driver.localT, 1250));
    EXPECT_TRUE(allZero(driver.localC, 1250));
    EXPECT_TRUE(allZero(driver.localWX, 10000));
    EXPECT_TRUE(allZero(driver.localWY, 10000));
    EXPECT_TRUE(allZero(driver.localWR, 10000));
    EXPECT_TRUE(allZero(driver.localWL, 10000));
    EXPECT_TRUE(allZero(driver.localDT, 1000000));
    EXPECT_TRUE(allZero(driver.localLD, 10000));
    EXPECT_TRUE(allZero(driver.localFL, 100000));
    EXPECT_TRUE(allZero(driver.localSV, 10000));
    EXPECT_TRUE(allZero(driver.localEV, 10000));
    EXPECT_TRUE(lib.qmap_list->isEmpty());
    EXPECT_EQ(0, *lib.qmap_length);
    EXPECT_TRUE(lib.map_bit->isEmpty());
    EXPECT_TRUE(lib.map_word->isEmpty());
    EXPECT_EQ(0u, *lib.LB);
    EXPECT_EQ(0u, *lib.LW);
    EXPECT_EQ(0u, *lib.RWI);
}

bool isLoaded()
{
    void *library = dlopen(DRIVER_LIBRARY, RTLD_LAZY | RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library != nullptr;
}

/// Leaves something in every kind of storage that the driver has.
void useEverything(const LoadedDriver &lib, ComInfo &info)
{
    info.defaultStation = 1;
    info.multiStation = 1;
    info.maxWordsPerWrite = 16;
    info.hostMode = 2;
    lib.SetComInfo(&info);
    lib.RegistCallBackFuncIntf([](qint32, qint32, qint32, qint32) {}, [](QList<RW_VAR> *, qint32, qint32) {});
    lib.FlashLocalRegister(1, 2, 3);
    lib.EnCommStation(9, 0);
    RW_VAR var;
    var.areaKind = KindDT;
    var.addrText = QString::fromLatin1("100");
    var.name = QString::fromLatin1("a name that is long enough to be on the heap");
    var.count = 20;
    var.station = 1;
    lib.AddListReadVar(&var);
    lib.AddListOnceReadVar(&var, 0);
    QString text = QString::fromLatin1("7");
    QByteArray values("\x34\x12", 2);
    lib.SetRegisterData(&text, KindWR, &text, 1, &values, 1, 1, 1);
    lib.GetRegisterData(&text, KindLD, &text, 1, &values, 1);
    ASSERT_NE(nullptr, lib.ComCommunication());
    QByteArray reply("%01$WC14\r", 9);
    EXPECT_EQ(1, lib.DataCom(&reply, 9)->result);
    ASSERT_NE(nullptr, lib.ComCommunication());
}

} // namespace

TEST(LoadedLibraryItself, ReportsRequestKindOneHundredAndEmptyStorageWhenFreshlyLoaded)
{
    const LoadedDriver lib;
    expectFresh(lib);
}

TEST(LoadedLibraryItself, IsGoneAfterUnloadingAndFreshWhenLoadedAgain)
{
    for (int round = 0; round < 3; ++round) {
        ASSERT_FALSE(isLoaded());
        ComInfo info;
        const LoadedDriver lib;
        ASSERT_TRUE(isLoaded());
        expectFresh(lib);
        useEverything(lib, info);
        EXPECT_EQ(2u, *lib.LW);
    }
    EXPECT_FALSE(isLoaded());
}

TEST(LoadedLibraryItself, HasOneDriverHoweverOftenItIsOpened)
{
    const LoadedDriver first;
    const LoadedDriver second;
    first.FlashLocalRegister(11, 12, 13);
    EXPECT_EQ(12u, *second.LW);
    EXPECT_EQ(first.PLC_driver, second.PLC_driver);
}

TEST(LoadedLibraryItself, LoadsWithAllNamesBoundAtOnce)
{
    const LoadedDriver lib(RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(1, lib.QueryFinishFlag());
}

TEST(LoadedLibraryItselfDeathTest, LendsItsNamesToOthersWhenLoadedGlobally)
{
    // In a process of its own: a program that looked a name up in this way keeps the library for good.
    EXPECT_EXIT(
        {
            const LoadedDriver lib(RTLD_LAZY | RTLD_GLOBAL);
            std::exit(dlsym(RTLD_DEFAULT, "DataCom") == reinterpret_cast<void *>(lib.DataCom) ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(LoadedLibraryItself, KeepsItsNamesToItselfWhenLoadedLocally)
{
    const LoadedDriver lib(RTLD_LAZY | RTLD_LOCAL);
    EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "DataCom"));
    EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "LB"));
}

TEST(LoadedLibraryItselfDeathTest, LetsTheProgramExitWithoutUnloading)
{
    EXPECT_EXIT(
        {
            static ComInfo info;
            const LoadedDriver lib;
            useEverything(lib, info);
            std::exit(0); // lib's destructor does not run
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(LoadedSetup, SettingsAreLentAndTwoReservedWordsCleared)
{
    ComInfo other;
    other.hostWord1 = 1;
    other.maxWordsPerWrite = 5;
    other.reserved40 = 40;
    other.retryCount = 9;
    other.framesTotal = 11;
    other.framesDone = 12;
    other.reserved52 = 52;
    other.cycleDone = 18;
    other.hostHandle = 19;
    lib.SetComInfo(&other);

    EXPECT_EQ(&other, lib.PLC_driver->comInfo);
    EXPECT_EQ(0, other.reserved40);
    EXPECT_EQ(0, other.reserved52);
    EXPECT_EQ(1, other.hostWord1);
    EXPECT_EQ(5, other.maxWordsPerWrite);
    EXPECT_EQ(9, other.retryCount);
    EXPECT_EQ(11, other.framesTotal);
    EXPECT_EQ(12, other.framesDone);
    EXPECT_EQ(18, other.cycleDone);
    EXPECT_EQ(19, other.hostHandle);
}

TEST_F(LoadedSetup, ASettingIsReadWhenItIsNeeded)
{
    info.defaultStation = 3;
    readOnce(KindDT, "0", 16);
    info.defaultStation = 4;
    readOnce(KindDT, "0", 16);
    ASSERT_EQ(2, countOf(lib.PLC_driver->lst_OnceReadVar));
    EXPECT_EQ(3, lib.PLC_driver->lst_OnceReadVar.at(0).station);
    EXPECT_EQ(4, lib.PLC_driver->lst_OnceReadVar.at(1).station);
}

TEST_F(LoadedSetup, ReplacedSettingsResetNothingElse)
{
    readOnce(KindDT, "0", 16);
    EXPECT_EQ("%01#RDD0000000015**\r", next());
    ComInfo other;
    lib.SetComInfo(&other);
    EXPECT_EQ("%01#RDD0000000015**\r", next());
    EXPECT_EQ(1, countOf(lib.PLC_driver->lst_OnceReadVar));
    EXPECT_EQ(2, lib.PLC_driver->curReqKind);
    lib.SetComInfo(&info);
}

TEST_F(LoadedSetup, BothCallbacksAreKept)
{
    const ReadFinishFn readFinish = [](qint32, qint32, qint32, qint32) {};
    const CommErrorFn commError = [](QList<RW_VAR> *, qint32, qint32) {};
    lib.RegistCallBackFuncIntf(readFinish, commError);
    EXPECT_EQ(readFinish, lib.PLC_driver->pfnReadFinish);
    EXPECT_EQ(commError, lib.PLC_driver->pfnCommError);
}

TEST_F(LoadedSetup, TheHostsRegisterBasesAreKeptInTheirOrder)
{
    lib.FlashLocalRegister(0x10000000u, 0xFFFFFFFFu, 3);
    EXPECT_EQ(0x10000000u, *lib.LB);
    EXPECT_EQ(0xFFFFFFFFu, *lib.LW);
    EXPECT_EQ(3u, *lib.RWI);
}

TEST_F(LoadedSetup, QueryFinishFlagIsOneWithAndWithoutQueuedFrames)
{
    EXPECT_EQ(1, lib.QueryFinishFlag());
    readOnce(KindDT, "0", 16);
    ASSERT_EQ("%01#RDD0000000015**\r", next());
    EXPECT_EQ(1, lib.QueryFinishFlag());
}

TEST_F(LoadedSetup, AddressTextsBecomeElementNumbers)
{
    const struct {
        int kind;
        const char *text;
        int element;
    } rows[] = {
        {0, "", -1},       {0, "A", 10},         {0, "Z", 0},     {0, "10F", 175}, {0, "15", 21},
        {0, "100F", 1615}, {1, "", -1},          {1, "12A", 202}, {2, "7", 7},     {2, "5", 5},
        {3, "", -1},       {3, "1F", 31},        {4, "", 0},      {4, "10F", 0},   {4, "19", 19},
        {9, "12A", 0},     {10, "12345", 12345}, {10, "0", 0},    {-1, "35", 35},  {99, "35", 35},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.element, lib.PLCAddressChangeIntef(row.kind, QString::fromLatin1(row.text)))
            << "kind " << row.kind << ", \"" << row.text << '"';
}

TEST_F(LoadedSetup, AnElementNumberBeyondThirtyTwoBitsIsABadAddress)
{
    // 134217727F is the last bit whose number fits 32 bits: 134217727 x 16 + 15 = 2147483647.
    EXPECT_EQ(2147483647, lib.PLCAddressChangeIntef(KindR, QString::fromLatin1("134217727F")));
    EXPECT_LT(lib.PLCAddressChangeIntef(KindR, QString::fromLatin1("1342177280")), 0);
    EXPECT_LT(lib.PLCAddressChangeIntef(KindR, QString::fromLatin1("2000000000F")), 0);
    EXPECT_EQ(2147483647, lib.PLCAddressChangeIntef(KindDT, QString::fromLatin1("2147483647")));
    EXPECT_LT(lib.PLCAddressChangeIntef(KindDT, QString::fromLatin1("2147483648")), 0);
    EXPECT_LT(lib.PLCAddressChangeIntef(KindDT, QString::fromLatin1("99999999999999999999")), 0);
    EXPECT_LT(lib.PLCAddressChangeIntef(KindDT, QString::fromLatin1("-1")), 0);
}

TEST_F(LoadedSetup, StationsAreSwitchedOffAndOn)
{
    const QMap<int, int> &off = lib.PLC_driver->map_Station;
    lib.EnCommStation(3, 0);
    lib.EnCommStation(3, 0);
    EXPECT_EQ(1, countOf(off));
    EXPECT_EQ(0, off.value(3, -1));
    lib.EnCommStation(3, 7);
    lib.EnCommStation(4, 7);
    EXPECT_EQ(1, countOf(off));
    lib.EnCommStation(3, 1);
    EXPECT_TRUE(off.isEmpty());
    lib.EnCommStation(0, 0);
    lib.EnCommStation(1, 0);
    lib.EnCommStation(2147483647, 0);
    EXPECT_EQ(3, countOf(off));
    lib.EnCommStation(-5, 1);
    EXPECT_TRUE(off.isEmpty());
    lib.EnCommStation(6, 0);
    lib.EnCommStation(-1, 0);
    EXPECT_TRUE(off.isEmpty());
}

TEST_F(LoadedSetup, UnusedListsStayEmptyWhateverTheHostDoes)
{
    poll({item(KindR, "10", 40), item(KindDT, "0", 3)});
    readOnce(KindT, "3", 2);
    write(KindR, "10", std::string(1, '\1'), 1);
    for (int i = 0; i < 20; ++i) {
        next();
        noAnswer();
    }
    EXPECT_TRUE(lib.map_bit->isEmpty());
    EXPECT_TRUE(lib.map_word->isEmpty());
    EXPECT_TRUE(lib.PLC_driver->lst_ReserveVar.isEmpty());
    EXPECT_EQ(0, lib.PLC_driver->bReserve);
}

TEST_F(LoadedSetup, AQueuedVariableOutlivesTheHostsRecord)
{
    {
        RW_VAR var;
        var.name = QString::fromLatin1("boiler temperature, upper sensor");
        var.addrText = QString::fromLatin1("100");
        var.areaKind = KindDT;
        var.address = 100;
        var.count = 1;
        var.station = 1;
        var.data = QByteArray("\x34\x12", 2);
        EXPECT_EQ(1, lib.AddListReadVar(&var));
        EXPECT_EQ(1, lib.AddListWriteVar(&var, 1));
        var.data[0] = 'x';
        var.name.clear();
    }
    const RW_VAR &polled = lib.PLC_driver->lst_PollingReadVar.at(0);
    EXPECT_EQ("boiler temperature, upper sensor", polled.name.toStdString());
    EXPECT_EQ("34 12", hex(string(polled.data)));
    EXPECT_EQ("34 12", hex(string(lib.PLC_driver->lst_WriteVar.at(0).data)));
    EXPECT_EQ("100", lib.PLC_driver->lst_WriteVar.at(0).addrText.toStdString());
}
