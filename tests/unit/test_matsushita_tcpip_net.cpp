// test_matsushita_tcpip_net.cpp - the driver object, the communication cycle and the reply intake.
//
//  - The lists are filled by hand, so that each step of the cycle is seen apart from the planning and queueing.
//  - A sequence of requests is stated as the commands that went out: "WDD00001" writes DT1, "RDD00100" reads from DT100
//    on, "" stands for a call that had nothing to send.

#include "driver/matsushita_tcpip_net_p.h"

#include "driver_state.h"
#include "fresh_driver.h"
#include "variables_and_frames.h"

#include <atomic>
#include <climits>
#include <thread>

namespace
{

// Good replies of station 1.
const char kWritten[] = "%01$WD13\r";
const char kOneWord[] = "%01$RD341212\r";
const char kFiveWords[] = "%01$RD0100020003000400050017\r";

using Commands = std::vector<std::string>;

/// What ComInfo, the counters and the lists say, in one line.
std::string counters()
{
    const ComInfo &info = *PLC_driver.comInfo;
    std::ostringstream line;
    line << "kind " << PLC_driver.curReqKind << ", writes " << PLC_driver.writeCount << ", reads "
         << PLC_driver.onceReadCount << ", replies " << PLC_driver.pollReplyCount << ", failed "
         << int(PLC_driver.bCommFail) << ", retries " << info.retryCount << ", frames " << info.framesDone << " of "
         << info.framesTotal << ", cycle " << info.cycleDone << ", group " << qmap_list.size() << " of " << qmap_length;
    return line.str();
}

/// kind:address:count@station of each entry: "10:100:1@1 10:101:1@1".
std::string runs(const QList<RW_VAR> &list)
{
    std::string all;
    for (const RW_VAR &var : list) {
        all += (all.empty() ? "" : " ") + std::to_string(var.areaKind) + ":" + std::to_string(var.address) + ":" +
               std::to_string(var.count) + "@" + std::to_string(var.station);
    }
    return all;
}

/// ownerId/ownerTag@station:address of each entry: "4/9@1:100".
std::string owners(const QList<RW_VAR> &list)
{
    std::string all;
    for (const RW_VAR &var : list) {
        all += (all.empty() ? "" : " ") + std::to_string(var.ownerId) + "/" + std::to_string(var.ownerTag) + "@" +
               std::to_string(var.station) + ":" + std::to_string(var.address);
    }
    return all;
}

std::vector<std::string> queuedFrames()
{
    std::vector<std::string> all;
    const QList<Protocol> &frames = PLC_driver.lst_Protocol;
    for (const Protocol &queued : frames)
        all.push_back(std::string(queued.frame.constData(), std::size_t(queued.frameLen)));
    return all;
}

/// The library's state before the first test, as its static initialisers left it.
class LoadedState : public ::testing::Environment
{
public:
    static std::string &lists()
    {
        static std::string text;
        return text;
    }
    static std::string &numbers()
    {
        static std::string text;
        return text;
    }
    static bool &hostIsUnknown()
    {
        static bool unknown = false;
        return unknown;
    }

    void SetUp() override
    {
        std::ostringstream sizes, values;
        sizes << PLC_driver.lst_PollingReadVar.size() << PLC_driver.lst_WriteVar.size()
              << PLC_driver.lst_OnceReadVar.size() << PLC_driver.lst_ReserveVar.size() << PLC_driver.lst_Protocol.size()
              << PLC_driver.lst_ExtendVar.size() << PLC_driver.map_Station.size() << qmap_list.size() << map_bit.size()
              << map_word.size();
        lists() = sizes.str();
        values << PLC_driver.curReqKind << ' ' << PLC_driver.writeCount << PLC_driver.onceReadCount
               << PLC_driver.pollReplyCount << int(PLC_driver.bCommFail) << int(PLC_driver.bReserve) << qmap_length
               << LB << LW << RWI << storedWords();
        numbers() = values.str();
        hostIsUnknown() = !PLC_driver.comInfo && !PLC_driver.pfnReadFinish && !PLC_driver.pfnCommError;
    }
};
const ::testing::Environment *const loadedState = ::testing::AddGlobalTestEnvironment(new LoadedState);

class DriverObject : public FreshDriver
{
};

class Cycle : public FreshDriver
{
protected:
    static void queueWrites(int count, qint32 firstAddress = 1, qint32 station = 1)
    {
        for (int i = 0; i < count; ++i) {
            RW_VAR var = variable(KindDT, firstAddress + i, 1, station, bytesOf("34 12"));
            var.varFlag = 1;
            PLC_driver.lst_WriteVar.append(var);
        }
    }
    static void queueReads(int count, qint32 firstAddress = 301, qint32 station = 1)
    {
        for (int i = 0; i < count; ++i)
            PLC_driver.lst_OnceReadVar.append(variable(KindDT, firstAddress + i, 1, station));
    }
    static void poll(qint32 kind, qint32 address, qint32 count, qint32 station = 1)
    {
        RW_VAR var = variable(kind, address, count, station);
        var.ownerTag = -1;
        PLC_driver.lst_PollingReadVar.append(var);
    }
    static void switchOff(int station) { PLC_driver.map_Station.insert(station, 0); }

    /// The whole next frame, "" if there is none.
    static std::string next()
    {
        const Protocol *request = ComCommunication();
        return request ? std::string(request->frame.constData(), std::size_t(request->frameLen)) : "";
    }

    static int answer(const char *bytes)
    {
        QByteArray reply(bytes);
        return DataCom(&reply, sizeOf(reply))->result;
    }
    static int nothingCame() { return DataCom(nullptr, 0)->result; }

    /// Calls ComCommunication \a calls times, answers each request well, and names the commands that went out.
    static Commands serve(int calls)
    {
        Commands commands;
        for (int i = 0; i < calls; ++i) {
            const Protocol *request = ComCommunication();
            if (!request) {
                commands.push_back("");
                continue;
            }
            commands.push_back(text(request->frame).substr(4, 8));
            QByteArray reply(request->replyLen == 9 ? kWritten : request->replyLen == 13 ? kOneWord : kFiveWords);
            EXPECT_EQ(DataCom(&reply, sizeOf(reply))->result, 1) << commands.back();
        }
        return commands;
    }

    /// The group of the next polling request; the frames built for it are dropped.
    static std::string nextGroup()
    {
        ComCommunication();
        PLC_driver.lst_Protocol.clear();
        return runs(qmap_list);
    }
};

class Gathering : public Cycle
{
};

class Intake : public Cycle
{
protected:
    /// Puts a one-frame request in flight that reads \a var and expects \a replyLen bytes.
    Protocol &inFlight(const RW_VAR &var, qint32 replyLen = 13, qint32 requestKind = RequestPolling)
    {
        Protocol request;
        request.frame = "%01#RDD0010000100**\r";
        request.frameLen = 20;
        request.replyLen = replyLen;
        request.dataPos = 6;
        request.dataLen = 4;
        request.var = var;
        PLC_driver.lst_Protocol.append(request);
        PLC_driver.curReqKind = requestKind;
        info.framesTotal = countOf(PLC_driver.lst_Protocol);
        info.framesDone = 0;
        return PLC_driver.lst_Protocol.last();
    }

    /// A write in flight, as the head of the write list.
    void writeInFlight(const RW_VAR &var)
    {
        PLC_driver.lst_WriteVar.insert(0, var);
        Protocol &request = inFlight(var, 9, RequestWrite);
        request.dataPos = request.dataLen = 0;
    }

    /// A one-shot read in flight, as the head of the one-shot list.
    void readInFlight(const RW_VAR &var)
    {
        PLC_driver.lst_OnceReadVar.insert(0, var);
        inFlight(var, 13, RequestOnceRead);
    }

    static RW_VAR owned(qint32 ownerId, qint32 ownerTag, qint32 address = 100, qint32 station = 1)
    {
        RW_VAR var = variable(KindDT, address, 1, station);
        var.ownerId = ownerId;
        var.ownerTag = ownerTag;
        return var;
    }

    static RW_VAR ownedWrite(qint32 ownerId, qint32 ownerTag, qint32 address = 100, qint32 station = 1)
    {
        RW_VAR var = owned(ownerId, ownerTag, address, station);
        var.varFlag = 1;
        var.data = bytesOf("34 12");
        return var;
    }

    /// A variable whose reply comes by the remote path.
    static RW_VAR remote(RW_VAR var, qint32 extra1 = 0)
    {
        var.linkNo = 1;
        var.extra1 = extra1;
        return var;
    }

    static int dealLocally(const char *bytes)
    {
        QByteArray reply(bytes);
        return DealDataOfLocalArea(&reply, sizeOf(reply));
    }
    static int dealRemotely(const char *bytes)
    {
        QByteArray reply(bytes);
        return DealDataOfRemoteArea(&reply, sizeOf(reply));
    }
};

class ResultCodes : public Intake
{
};
class LocalReplies : public Intake
{
};
class RemoteReplies : public Intake
{
protected:
    RemoteReplies() { PLC_driver.bCommFail = 0; }
};
class GoodReplies : public Intake
{
};
class FailedReplies : public Intake
{
};
class Callbacks : public Intake
{
};
class Roads : public Intake
{
};

// The driver object
// ----------------------------------------------------------------------------------------------------

TEST_F(DriverObject, AFreshlyLoadedLibraryIsEmptyAndKnowsNoHost)
{
    ASSERT_NE(loadedState, nullptr);
    EXPECT_EQ(LoadedState::lists(), "0000000000");
    EXPECT_EQ(LoadedState::numbers(), "100 000000000");
    EXPECT_TRUE(LoadedState::hostIsUnknown());
}

TEST_F(DriverObject, ConstructionEmptiesWhateverTheStorageHeld)
{
    PLC_driver.lst_PollingReadVar.append(variable());
    PLC_driver.lst_WriteVar.append(variable());
    PLC_driver.lst_OnceReadVar.append(variable());
    PLC_driver.lst_ReserveVar.append(variable());
    PLC_driver.lst_Protocol.append(Protocol());
    PLC_driver.lst_ExtendVar.append(EXTENDVAR());
    PLC_driver.map_Station.insert(3, 0);
    PLC_driver.retVar = distinctVariable();
    PLC_driver.curReqKind = PLC_driver.writeCount = PLC_driver.onceReadCount = PLC_driver.pollReplyCount = 7;
    PLC_driver.bCommFail = PLC_driver.bReserve = 1;
    for (quint16 *word = PLC_driver.localT; word != PLC_driver.localEV + 10000; ++word)
        *word = 0xA5A5;

    PLC_driver.~Matsushita_TCPIP_net();
    new (&PLC_driver) Matsushita_TCPIP_net;

    EXPECT_EQ(PLC_driver.lst_PollingReadVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_ReserveVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(PLC_driver.lst_ExtendVar.size(), 0);
    EXPECT_EQ(PLC_driver.map_Station.size(), 0);
    EXPECT_EQ(described(PLC_driver.retVar), described(RW_VAR()));
    EXPECT_EQ(PLC_driver.curReqKind, 100);
    EXPECT_EQ(PLC_driver.writeCount, 0);
    EXPECT_EQ(PLC_driver.onceReadCount, 0);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(PLC_driver.bCommFail, 0);
    EXPECT_EQ(PLC_driver.bReserve, 0);
    EXPECT_EQ(storedWords(), "");
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(DriverObject, AnEmptyRecordHasOnlyZerosAndEmptyTexts)
{
    EXPECT_EQ(described(RW_VAR()), "ownerId 0, ownerTag 0, varFlag 0, remoteMode 0, linkNo 0, result 0, name , "
                                   "addrText , areaKind 0, address 0, station 0, count 0, extra1 0, extra2 0, data ");
}

TEST_F(DriverObject, ItsLocksAreNotRecursive)
{
    for (QMutex *mutex : {&PLC_driver.mutexList, &PLC_driver.mutexArea, &PLC_driver.mutexStation}) {
        ASSERT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

TEST_F(DriverObject, TheAreasFollowTheFlagsAndOneAnother)
{
    const char *const flags = reinterpret_cast<const char *>(&PLC_driver.bCommFail);
    const struct {
        const quint16 *area;
        int offset; // bytes behind the first flag
    } rows[] = {
        {PLC_driver.localT, 2},        {PLC_driver.localC, 2502},     {PLC_driver.localWX, 5002},
        {PLC_driver.localWY, 25002},   {PLC_driver.localWR, 45002},   {PLC_driver.localWL, 65002},
        {PLC_driver.localDT, 85002},   {PLC_driver.localLD, 2085002}, {PLC_driver.localFL, 2105002},
        {PLC_driver.localSV, 2305002}, {PLC_driver.localEV, 2325002},
    };
    for (const auto &row : rows)
        EXPECT_EQ(reinterpret_cast<const char *>(row.area) - flags, row.offset);
    EXPECT_EQ(sizeof PLC_driver.localEV, 20000u);
    EXPECT_LT(sizeof PLC_driver, 2347000u) << "a little over 2.3 megabytes";
}

TEST_F(DriverObject, AListEntryOutlivesTheRecordItWasCopiedFrom)
{
    {
        RW_VAR source = distinctVariable();
        PLC_driver.lst_PollingReadVar.append(source);
        source.name = "changed";
        source.data[0] = 'x';
    }
    EXPECT_EQ(described(PLC_driver.lst_PollingReadVar.at(0)), described(distinctVariable()));
}

TEST_F(DriverObject, TheUnusedListsStayEmptyWhateverTheHostDoes)
{
    QList<HostReadItem> items;
    items << item(KindDT, "100", 20) << item(KindR, "1F", 3) << item(KindT, "5", 1);
    ReCreatReadVarList(&items);
    RW_VAR read = variable(KindX, 0, 20), write = variable(KindR, 3, 1, 1, bytesOf("01"));
    AddListReadVar(&read);
    AddListOnceReadVar(&read, 0);
    AddListOnceReadVar(&read, 1);
    AddListWriteVar(&write, 0);
    AddListWriteVar(&write, 1);
    for (int i = 0; i < 20; ++i) {
        ComCommunication();
        QByteArray reply(kWritten);
        DataCom(&reply, i % 3 ? 9 : 0);
    }
    EXPECT_EQ(map_bit.size(), 0);
    EXPECT_EQ(map_word.size(), 0);
    EXPECT_EQ(PLC_driver.lst_ReserveVar.size(), 0);
    EXPECT_EQ(PLC_driver.bReserve, 0);
}

// The cycle: what is chosen
// --------------------------------------------------------------------------------------------

TEST_F(Cycle, WithNothingToDoThereIsNoFrameAndTheCycleCountsAsDone)
{
    PLC_driver.writeCount = 3;
    PLC_driver.onceReadCount = 4;
    PLC_driver.pollReplyCount = 2;
    qmap_length = 9;
    qmap_list.append(variable());
    info.framesTotal = 3;
    info.framesDone = 2;
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(counters(),
              "kind 100, writes 0, reads 0, replies 2, failed 0, retries 0, frames 2 of 3, cycle 1, group 0 of 0");
}

TEST_F(Cycle, AnEmptyPollingListLeavesTheRequestKindAsItWas)
{
    for (int kind : {0, 1, 2, 100}) {
        PLC_driver.curReqKind = kind;
        EXPECT_EQ(ComCommunication(), nullptr);
        EXPECT_EQ(PLC_driver.curReqKind, kind);
    }
}

TEST_F(Cycle, ThreeWritesComeBeforeThePolling)
{
    queueWrites(3);
    poll(10, 100, 5);
    poll(10, 200, 5);
    EXPECT_EQ(serve(6), (Commands{"WDD00001", "WDD00002", "WDD00003", "RDD00100", "RDD00200", "RDD00100"}));
}

TEST_F(Cycle, AfterFiveWritesAPollingReadComesBeforeTheSixth)
{
    queueWrites(7);
    poll(10, 100, 5);
    poll(10, 200, 5);
    EXPECT_EQ(serve(9), (Commands{"WDD00001", "WDD00002", "WDD00003", "WDD00004", "WDD00005", "RDD00100", "WDD00006",
                                  "WDD00007", "RDD00200"}));
}

TEST_F(Cycle, AfterFiveOneShotReadsAPollingReadComesBeforeTheSixth)
{
    queueReads(7);
    poll(10, 100, 5);
    EXPECT_EQ(serve(9), (Commands{"RDD00301", "RDD00302", "RDD00303", "RDD00304", "RDD00305", "RDD00100", "RDD00306",
                                  "RDD00307", "RDD00100"}));
}

TEST_F(Cycle, FiveWritesThenFiveOneShotReadsThenOnePollingRead)
{
    queueWrites(7);
    queueReads(7);
    poll(10, 100, 5);
    EXPECT_EQ(serve(16), (Commands{"WDD00001", "WDD00002", "WDD00003", "WDD00004", "WDD00005", //
                                   "RDD00301", "RDD00302", "RDD00303", "RDD00304", "RDD00305", //
                                   "RDD00100",                                                 //
                                   "WDD00006", "WDD00007", "RDD00306", "RDD00307", "RDD00100"}));
}

TEST_F(Cycle, WithoutPollingWritesAndOneShotReadsAlternateInRunsOfFive)
{
    queueWrites(7);
    queueReads(7);
    EXPECT_EQ(serve(17), (Commands{"WDD00001", "WDD00002", "WDD00003", "WDD00004", "WDD00005", //
                                   "RDD00301", "RDD00302", "RDD00303", "RDD00304", "RDD00305", //
                                   "",                                                         //
                                   "WDD00006", "WDD00007", "RDD00306", "RDD00307", "", ""}));
}

TEST_F(Cycle, WithoutPollingALongRowOfWritesCostsAnEmptyCallAfterEachFive)
{
    queueWrites(6);
    EXPECT_EQ(serve(8), (Commands{"WDD00001", "WDD00002", "WDD00003", "WDD00004", "WDD00005", "", "WDD00006", ""}));
}

TEST_F(Cycle, TheRunOfFiveCountsSinceTheLastPollingRead)
{
    poll(10, 100, 5);
    queueWrites(3);
    EXPECT_EQ(serve(3), (Commands{"WDD00001", "WDD00002", "WDD00003"}));
    queueReads(1);
    EXPECT_EQ(serve(1), (Commands{"RDD00301"}));
    queueWrites(3, 4);
    EXPECT_EQ(serve(4), (Commands{"WDD00004", "WDD00005", "RDD00100", "WDD00006"}));
}

TEST_F(Cycle, AWriteIsServedUpToACountOf4AndNotAt5)
{
    queueWrites(1);
    queueReads(1);
    PLC_driver.writeCount = 5;
    EXPECT_EQ(next(), "%01#RDD0030100301**\r");
    PLC_driver.lst_Protocol.clear();
    PLC_driver.writeCount = 4;
    EXPECT_EQ(next(), "%01#WDD0000100001341254\r");
    EXPECT_EQ(PLC_driver.writeCount, 5);
}

TEST_F(Cycle, AOneShotReadIsServedUpToACountOf4AndNotAt5)
{
    queueReads(1);
    poll(10, 100, 5);
    PLC_driver.onceReadCount = 5;
    EXPECT_EQ(next(), "%01#RDD0010000104**\r");
    EXPECT_EQ(PLC_driver.onceReadCount, 0);
    PLC_driver.lst_Protocol.clear();
    PLC_driver.onceReadCount = 4;
    EXPECT_EQ(next(), "%01#RDD0030100301**\r");
    EXPECT_EQ(PLC_driver.onceReadCount, 5);
}

TEST_F(Cycle, AWriteIsHandedOutAndStaysAtTheHeadOfItsList)
{
    queueWrites(2);
    EXPECT_EQ(next(), "%01#WDD0000100001341254\r");
    EXPECT_EQ(counters(),
              "kind 1, writes 1, reads 0, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 0 of 0");
    EXPECT_EQ(runs(PLC_driver.lst_WriteVar), "10:1:1@1 10:2:1@1");
    EXPECT_EQ(storedWords(), "DT1=1234") << "mirrored while the link is good";
}

TEST_F(Cycle, AOneShotReadIsHandedOutAndStaysAtTheHeadOfItsList)
{
    PLC_driver.lst_OnceReadVar.append(distinctVariable());
    EXPECT_EQ(next(), "%03#RDD0010800109**\r");
    EXPECT_EQ(counters(),
              "kind 2, writes 0, reads 1, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 1 of 1");
    EXPECT_EQ(described(qmap_list.at(0)), described(distinctVariable()));
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 1);
}

TEST_F(Cycle, APollingReadIsHandedOutAndStaysInItsList)
{
    poll(10, 100, 5);
    poll(10, 200, 5);
    PLC_driver.writeCount = 5;
    PLC_driver.onceReadCount = 5;
    EXPECT_EQ(next(), "%01#RDD0010000104**\r");
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 1 of 1");
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:100:5@1 10:200:5@1");
}

TEST_F(Cycle, AFrameThatWaitsForItsReplyIsHandedOutAgainAndNothingElseIsTouched)
{
    poll(10, 100, 5);
    Protocol *const first = ComCommunication();
    ASSERT_NE(first, nullptr);
    const std::string before = counters();
    queueWrites(2);
    queueReads(2);
    switchOff(1);
    info.remoteMode = 1;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ComCommunication(), first);
        EXPECT_EQ(text(first->frame), "%01#RDD0010000104**\r");
    }
    EXPECT_EQ(counters(), before);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 1);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 2);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 2);
}

TEST_F(Cycle, RecordsThatAHostKeepsAreNotUsedForTheNextRequest)
{
    poll(10, 100, 5);
    ASSERT_NE(ComCommunication(), nullptr);
    const QList<Protocol> kept = PLC_driver.lst_Protocol;
    const Protocol copy = kept.at(0);
    EXPECT_EQ(answer(kFiveWords), 1);
    poll(10, 7000, 16);
    PLC_driver.lst_PollingReadVar.removeFirst();
    EXPECT_EQ(next(), "%01#RDD0700007015**\r");
    EXPECT_EQ(text(kept.at(0).frame), "%01#RDD0010000104**\r");
    EXPECT_EQ(kept.at(0).replyLen, 29);
    EXPECT_EQ(kept.at(0).var.address, 100);
    EXPECT_EQ(text(copy.frame), "%01#RDD0010000104**\r");
}

TEST_F(Cycle, AShortFrameAfterALongOneEndsWithItsOwnEnd)
{
    poll(10, 100, 1);
    poll(13, 200, 1);
    poll(10, 300, 5);
    EXPECT_EQ(next(), "%01#MDFFFFFF**\r");
    EXPECT_EQ(text(PLC_driver.lst_Protocol.at(1).frame), "%01#MDD00100S00200**\r");
    EXPECT_EQ(text(PLC_driver.lst_Protocol.at(2).frame), "%01#MG**\r");
    for (const char *reply : {"%01$MD09\r", "%01$MD09\r", "%01$MG000080100020031\r"})
        ASSERT_EQ(answer(reply), 1);
    EXPECT_EQ(next(), "%01#RDD0030000304**\r");
    EXPECT_EQ(answer(kFiveWords), 1);
    EXPECT_EQ(next(), "%01#MDFFFFFF**\r");
    EXPECT_EQ(PLC_driver.lst_Protocol.at(0).frame.size(), 15);
}

TEST_F(Cycle, AChoiceForgetsTheGroupOfTheRequestBefore)
{
    queueWrites(1);
    qmap_length = 3;
    qmap_list.append(variable());
    next();
    EXPECT_EQ(qmap_length, 0);
    EXPECT_EQ(qmap_list.size(), 0);
}

TEST_F(Cycle, AWriteWithoutAFrameIsChosenAgainAndCountsTowardsTheRun)
{
    PLC_driver.lst_WriteVar.append(variable(KindR, 0x23, 1)); // a bit write without a value
    queueReads(1);
    poll(10, 100, 5);
    EXPECT_EQ(serve(2), (Commands{"", ""}));
    EXPECT_EQ(PLC_driver.curReqKind, 1);
    EXPECT_EQ(PLC_driver.writeCount, 2);
    EXPECT_EQ(serve(6), (Commands{"", "", "", "RDD00301", "RDD00100", ""}));
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
}

TEST_F(Cycle, LeavesEveryLockFree)
{
    ComCommunication();
    EXPECT_TRUE(allLocksAreFree()) << "nothing to do";
    switchOff(3);
    queueWrites(1, 1, 3);
    queueReads(1, 1, 3);
    ComCommunication();
    EXPECT_TRUE(allLocksAreFree()) << "writes of a switched-off station";
    ComCommunication();
    EXPECT_TRUE(allLocksAreFree()) << "reads of a switched-off station";
    poll(10, 100, 1, 3);
    ComCommunication();
    EXPECT_TRUE(allLocksAreFree()) << "polling of a switched-off station";
    queueWrites(1);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_TRUE(allLocksAreFree()) << "a new frame";
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_TRUE(allLocksAreFree()) << "the same frame again";
}

TEST_F(Cycle, WaitsForTheListLock)
{
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { ComCommunication(); })) << "nothing to do";
    queueWrites(1);
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { ComCommunication(); })) << "a new frame";
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { ComCommunication(); })) << "the same frame again";
}

TEST_F(Cycle, AsksForTheStationAndMirrorsUnderTheirLocks)
{
    queueWrites(1);
    EXPECT_TRUE(takesLock(PLC_driver.mutexStation, [] { ComCommunication(); }));
    PLC_driver.lst_Protocol.clear();
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [] { ComCommunication(); }));
}

// The cycle: switched-off stations
// -------------------------------------------------------------------------------------

TEST_F(Cycle, WritesOfASwitchedOffStationAreDiscardedAtTheHead)
{
    switchOff(3);
    queueWrites(2, 1, 3);
    queueWrites(1, 10);
    queueWrites(1, 20, 3);
    EXPECT_EQ(next(), "%01#WDD0001000010341254\r");
    EXPECT_EQ(runs(PLC_driver.lst_WriteVar), "10:10:1@1 10:20:1@3") << "one behind the head stays";
    EXPECT_EQ(PLC_driver.writeCount, 1);
    EXPECT_EQ(commFailed().size(), 0u);
    EXPECT_EQ(storedWords(), "DT10=1234") << "a discarded write is not mirrored";
}

TEST_F(Cycle, WhenAllWritesWereDiscardedNothingIsSentInThatCall)
{
    switchOff(3);
    queueWrites(2, 1, 3);
    queueReads(1);
    poll(10, 100, 5);
    EXPECT_EQ(next(), "");
    EXPECT_EQ(counters(),
              "kind 1, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 0, cycle 0, group 0 of 0");
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(serve(2), (Commands{"RDD00301", "RDD00100"}));
    EXPECT_EQ(commFailed().size(), 0u);
}

TEST_F(Cycle, OneShotReadsOfASwitchedOffStationAreDiscardedAtTheHead)
{
    switchOff(3);
    queueReads(2, 301, 3);
    queueReads(1, 310);
    queueReads(1, 320, 3);
    EXPECT_EQ(next(), "%01#RDD0031000310**\r");
    EXPECT_EQ(runs(PLC_driver.lst_OnceReadVar), "10:310:1@1 10:320:1@3") << "one behind the head stays";
    EXPECT_EQ(runs(qmap_list), "10:310:1@1");
    EXPECT_EQ(PLC_driver.onceReadCount, 1);
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(commFailed().size(), 0u);
}

TEST_F(Cycle, WhenAllOneShotReadsWereDiscardedNothingIsSentInThatCall)
{
    switchOff(3);
    queueReads(2, 301, 3);
    poll(10, 100, 5);
    EXPECT_EQ(next(), "");
    EXPECT_EQ(counters(),
              "kind 2, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 0, cycle 0, group 0 of 0");
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 0);
    EXPECT_EQ(serve(1), (Commands{"RDD00100"}));
    EXPECT_EQ(readFinished().size(), 0u);
}

TEST_F(Cycle, ASwitchedOffStationThatHoldsBackNothingChangesNothing)
{
    switchOff(2);
    queueWrites(1);
    queueReads(1);
    poll(10, 100, 5);
    EXPECT_EQ(serve(3), (Commands{"WDD00001", "RDD00301", "RDD00100"}));
}

TEST_F(Cycle, AFrameAlreadyBuiltIsSentThoughItsStationIsSwitchedOff)
{
    queueWrites(1);
    ComCommunication();
    switchOff(1);
    EXPECT_EQ(serve(2), (Commands{"WDD00001", ""}));
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
}

// The cycle: remote mode
// -----------------------------------------------------------------------------------------------

TEST_F(Cycle, InRemoteModeAWriteGoesOutAsARecord)
{
    info.remoteMode = 1;
    RW_VAR var = variable(10, 100, 2, 1, bytesOf("34 12"));
    var.linkNo = 1;
    PLC_driver.lst_WriteVar.append(var);
    const Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(hex(request->frame), "18 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 34 12 d0");
    EXPECT_EQ(counters(),
              "kind 1, writes 1, reads 0, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 0 of 0");
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
}

TEST_F(Cycle, InRemoteModeAOneShotReadGoesOutAsARecord)
{
    info.remoteMode = -1;
    RW_VAR var = variable(10, 100, 2);
    var.linkNo = 1;
    PLC_driver.lst_OnceReadVar.append(var);
    const Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(hex(request->frame), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88");
    EXPECT_EQ(counters(),
              "kind 2, writes 0, reads 1, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 1 of 1");
    EXPECT_EQ(runs(qmap_list), "10:100:2@1");
}

TEST_F(Cycle, InRemoteModeTheHeadOfThePollingListGoesOutEvenIfItsStationIsSwitchedOff)
{
    info.remoteMode = 1;
    switchOff(1);
    poll(10, 100, 2);
    poll(10, 102, 2);
    PLC_driver.lst_PollingReadVar[0].linkNo = 1;
    PLC_driver.writeCount = 5;
    PLC_driver.onceReadCount = 5;
    const Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(hex(request->frame), "16 00 00 01 01 00 0a 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88");
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 1, cycle 0, group 0 of 1");
}

TEST_F(Cycle, InRemoteModeTheQueuesOfASwitchedOffStationAreDiscardedToo)
{
    info.remoteMode = 1;
    switchOff(3);
    queueWrites(2, 1, 3);
    queueReads(2, 301, 3);
    EXPECT_EQ(serve(3), (Commands{"", "", ""}));
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 0);
}

TEST_F(Cycle, AReadThatIsNeverForwardedRemotelyGivesNoFrameAndStays)
{
    info.remoteMode = 1;
    queueReads(1);
    PLC_driver.lst_OnceReadVar[0].extra1 = 88;
    EXPECT_EQ(next(), "");
    EXPECT_EQ(PLC_driver.onceReadCount, 1);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 1);

    PLC_driver.lst_OnceReadVar.clear();
    poll(10, 100, 5);
    PLC_driver.lst_PollingReadVar[0].extra1 = 99;
    EXPECT_EQ(next(), "");
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 0, cycle 0, group 0 of 1");
}

// Gathering a polling group
// --------------------------------------------------------------------------------------------

TEST_F(Gathering, ABitAreaAtTheHeadIsReadAloneAndWhole)
{
    for (int kind : {0, 1, 2, 3, 4, 5}) {
        PLC_driver.lst_PollingReadVar.clear();
        poll(kind, 2, 1);
        poll(10, 100, 1);
        EXPECT_EQ(nextGroup(), std::to_string(kind) + ":2:1@1");
        EXPECT_EQ(qmap_length, 1);
    }
    PLC_driver.lst_PollingReadVar.clear();
    poll(4, 2, 3);
    EXPECT_EQ(next(), "%01#RCCT00020004**\r");
    EXPECT_EQ(runs(qmap_list), "4:2:3@1");
}

TEST_F(Gathering, AnUnknownKindAtTheHeadIsReadAloneAndWhole)
{
    for (int kind : {15, -1, INT_MAX, INT_MIN}) {
        PLC_driver.lst_PollingReadVar.clear();
        poll(kind, 2, 3);
        poll(10, 100, 1);
        EXPECT_EQ(nextGroup(), std::to_string(kind) + ":2:3@1");
        EXPECT_EQ(qmap_length, 1);
    }
}

TEST_F(Gathering, KindsFrom6To14AreSplitIntoSingleElements)
{
    for (int kind = 6; kind <= 14; ++kind) {
        PLC_driver.lst_PollingReadVar.clear();
        poll(kind, 20, 2);
        const std::string k = std::to_string(kind);
        EXPECT_EQ(nextGroup(), k + ":20:1@1 " + k + ":21:1@1");
        EXPECT_EQ(qmap_length, 1);
    }
}

TEST_F(Gathering, ABitAreaBehindShortEntriesEndsTheGroupWithoutIt)
{
    for (int kind : {0, 5, 15, -1}) {
        PLC_driver.lst_PollingReadVar.clear();
        poll(10, 100, 2);
        poll(6, 7, 1);
        poll(kind, 2, 1);
        poll(10, 200, 1);
        EXPECT_EQ(nextGroup(), "10:100:1@1 10:101:1@1 6:7:1@1") << "kind " << kind;
        EXPECT_EQ(qmap_length, 2) << "kind " << kind;
    }
}

TEST_F(Gathering, AnEntryOfFiveOrMoreAtTheHeadIsReadAloneAndWhole)
{
    poll(10, 100, 5);
    poll(10, 105, 1);
    EXPECT_EQ(nextGroup(), "10:100:5@1");
    EXPECT_EQ(qmap_length, 1);
    PLC_driver.lst_PollingReadVar[0].count = 16;
    EXPECT_EQ(nextGroup(), "10:100:16@1");
    EXPECT_EQ(qmap_length, 1);
    PLC_driver.lst_PollingReadVar[0].count = 4;
    EXPECT_EQ(nextGroup(), "10:100:1@1 10:101:1@1 10:102:1@1 10:103:1@1 10:105:1@1");
    EXPECT_EQ(qmap_length, 2);
}

TEST_F(Gathering, EntriesOf2And3And4WordsMakeAGroupOfNine)
{
    poll(10, 100, 2);
    poll(8, 20, 3);
    poll(13, 5, 4);
    EXPECT_EQ(next(), "%01#MDFFFFFF**\r");
    EXPECT_EQ(runs(qmap_list), "10:100:1@1 10:101:1@1 8:20:1@1 8:21:1@1 8:22:1@1 13:5:1@1 13:6:1@1 13:7:1@1 13:8:1@1");
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 0, retries 0, frames 0 of 3, cycle 0, group 9 of 3");
    EXPECT_EQ(queuedFrames(),
              (Commands{"%01#MDFFFFFF**\r", "%01#MDD00100D00101WR00020WR00021WR00022S00005S00006S00007S00008**\r",
                        "%01#MG**\r"}));
}

TEST_F(Gathering, AGroupHoldsAtMost14Elements)
{
    const struct {
        std::vector<int> counts;
        int elements, consumed;
    } rows[] = {
        {{4, 4, 4, 4}, 12, 3},
        {{4, 4, 4, 3}, 12, 3},
        {{4, 4, 4, 2}, 14, 4},
        {{4, 4, 4, 1}, 13, 4},
        {{4, 4, 4, 2, 1}, 14, 4},
        {{3, 4, 4, 4}, 11, 3},
        {{3, 3, 4, 4}, 14, 4},
        {{4, 4, 4, 1, 1}, 14, 5},
        {{4, 4, 4, 1, 2}, 13, 4},
        {std::vector<int>(15, 1), 14, 14},
        {std::vector<int>(14, 1), 14, 14},
        {std::vector<int>(13, 1), 13, 13},
        {{1}, 1, 1},
    };
    for (const auto &row : rows) {
        PLC_driver.lst_PollingReadVar.clear();
        int address = 0;
        for (int count : row.counts) {
            poll(10, address, count);
            address += 100;
        }
        nextGroup();
        EXPECT_EQ(qmap_list.size(), row.elements) << row.counts.size() << " entries";
        EXPECT_EQ(qmap_length, row.consumed) << row.counts.size() << " entries";
    }
}

TEST_F(Gathering, ANextEntryOf4WordsIsTakenAndOneOf5EndsTheGroup)
{
    poll(10, 100, 1);
    poll(10, 200, 4);
    poll(10, 300, 5);
    poll(10, 400, 1);
    EXPECT_EQ(nextGroup(), "10:100:1@1 10:200:1@1 10:201:1@1 10:202:1@1 10:203:1@1");
    EXPECT_EQ(qmap_length, 2);
    PLC_driver.lst_PollingReadVar[1].count = 5;
    EXPECT_EQ(nextGroup(), "10:100:1@1");
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, AnotherStationEndsTheGroup)
{
    poll(10, 100, 1, 1);
    poll(10, 101, 1, 1);
    poll(10, 102, 1, 2);
    poll(10, 103, 1, 1);
    EXPECT_EQ(nextGroup(), "10:100:1@1 10:101:1@1");
    EXPECT_EQ(qmap_length, 2);
}

TEST_F(Gathering, OneSingleWordIsReadWithoutTheMonitor)
{
    poll(10, 100, 1);
    EXPECT_EQ(next(), "%01#RDD0010000100**\r");
    EXPECT_EQ(qmap_length, 1);
    EXPECT_EQ(info.framesTotal, 1);
}

TEST_F(Gathering, TheElementsCarryTheOtherFieldsOfTheirEntry)
{
    PLC_driver.lst_PollingReadVar.append(distinctVariable()); // two words of DT from 108 on
    nextGroup();
    ASSERT_EQ(qmap_list.size(), 2);
    RW_VAR expected = distinctVariable();
    expected.count = 1;
    EXPECT_EQ(described(qmap_list.at(0)), described(expected));
    expected.address = 109;
    EXPECT_EQ(described(qmap_list.at(1)), described(expected));
    EXPECT_EQ(described(PLC_driver.lst_PollingReadVar.at(0)), described(distinctVariable()));
}

TEST_F(Gathering, OnlyTheQueuedFramesCarryTheMarkOfAGroup)
{
    poll(10, 100, 2);
    ComCommunication();
    ASSERT_EQ(PLC_driver.lst_Protocol.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(PLC_driver.lst_Protocol.at(i).var.extra1, 88) << "frame " << i;
    EXPECT_EQ(PLC_driver.lst_Protocol.at(0).var.varFlag, 1);
    EXPECT_EQ(PLC_driver.lst_Protocol.at(1).var.varFlag, 1);
    EXPECT_EQ(PLC_driver.lst_Protocol.at(2).var.varFlag, 0);
    EXPECT_EQ(qmap_list.at(0).extra1, 0);
    EXPECT_EQ(qmap_list.at(1).extra1, 0);
    EXPECT_EQ(PLC_driver.lst_PollingReadVar.at(0).extra1, 0);
}

TEST_F(Gathering, ASwitchedOffEntryAtTheHeadIsSkippedAndCounted)
{
    switchOff(2);
    poll(10, 100, 1, 2);
    poll(10, 101, 4, 2);
    poll(10, 102, 2, 1);
    poll(10, 104, 1, 1);
    poll(10, 105, 1, 2);
    EXPECT_EQ(nextGroup(), "10:102:1@1 10:103:1@1 10:104:1@1");
    EXPECT_EQ(qmap_length, 4);
}

TEST_F(Gathering, ASwitchedOffEntryAtTheEndIsLeftForTheNextGroup)
{
    switchOff(2);
    poll(10, 100, 1, 1);
    poll(10, 101, 1, 2);
    EXPECT_EQ(nextGroup(), "10:100:1@1");
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, WhenAllStationsAreSwitchedOffNothingIsSentAndNothingMoves)
{
    switchOff(1);
    switchOff(2);
    poll(10, 100, 1, 1);
    poll(10, 101, 2, 2);
    poll(10, 102, 4, 1);
    PLC_driver.writeCount = 5;
    PLC_driver.onceReadCount = 5;
    queueWrites(1);
    queueReads(1);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(next(), "");
        EXPECT_EQ(counters(),
                  "kind 0, writes 5, reads 5, replies 0, failed 0, retries 0, frames 0 of 0, cycle 0, group 0 of 3");
        EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:100:1@1 10:101:2@2 10:102:4@1");
    }
}

TEST_F(Gathering, KindAndLengthAreLookedAtBeforeTheStation)
{
    switchOff(1);
    poll(4, 2, 1);
    EXPECT_EQ(next(), "%01#RCCT00020002**\r") << "a bit area";
    PLC_driver.lst_Protocol.clear();
    PLC_driver.lst_PollingReadVar.clear();
    poll(10, 100, 5);
    EXPECT_EQ(next(), "%01#RDD0010000104**\r") << "a long entry";
    PLC_driver.lst_Protocol.clear();
    PLC_driver.lst_PollingReadVar.clear();
    poll(10, 100, 4);
    EXPECT_EQ(next(), "") << "a short entry";
}

TEST_F(Gathering, ALongEntryBehindSkippedOnesMakesTheLengthOne)
{
    switchOff(2);
    poll(10, 100, 1, 2);
    poll(10, 101, 1, 2);
    poll(10, 102, 5, 1);
    EXPECT_EQ(nextGroup(), "10:102:5@1");
    EXPECT_EQ(qmap_length, 1);
    PLC_driver.lst_PollingReadVar[2].station = 2;
    EXPECT_EQ(nextGroup(), "10:102:5@2") << "even if its own station is switched off";
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, ABitAreaBehindSkippedOnesMakesTheLengthOne)
{
    switchOff(2);
    poll(10, 100, 1, 2);
    poll(10, 101, 1, 2);
    poll(4, 7, 2, 1);
    EXPECT_EQ(nextGroup(), "4:7:2@1");
    EXPECT_EQ(qmap_length, 1);
    PLC_driver.lst_PollingReadVar[2].station = 2;
    EXPECT_EQ(nextGroup(), "4:7:2@2") << "even if its own station is switched off";
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, TheFirstEntryBehindSkippedOnesSetsTheStationOfTheGroup)
{
    switchOff(2);
    poll(10, 100, 1, 2);
    poll(10, 101, 1, 3);
    poll(10, 102, 1, 3);
    poll(10, 103, 1, 1);
    EXPECT_EQ(nextGroup(), "10:101:1@3 10:102:1@3");
    EXPECT_EQ(qmap_length, 3);
}

TEST_F(Gathering, AnEntryWithoutElementsMakesNoGroupByItself)
{
    for (int count : {0, -1, INT_MIN}) {
        PLC_driver.lst_PollingReadVar.clear();
        PLC_driver.writeCount = 5;
        poll(10, 100, count);
        EXPECT_EQ(next(), "") << count;
        EXPECT_EQ(PLC_driver.writeCount, 5) << "an empty group is no polling read";
        EXPECT_EQ(runs(qmap_list), "");
        poll(10, 200, 1);
        EXPECT_EQ(nextGroup(), "10:200:1@1") << count;
        EXPECT_EQ(qmap_length, 2);
    }
}

TEST_F(Gathering, AHugeEntryIsReadAlone)
{
    poll(10, 100, INT_MAX);
    poll(10, 200, 1);
    EXPECT_EQ(nextGroup(), "10:100:2147483647@1");
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, ElementsAtTheEndOfTheNumberRangeDoNotOverflow)
{
    poll(10, INT_MAX, 1);
    EXPECT_EQ(nextGroup(), "10:2147483647:1@1");
    PLC_driver.lst_PollingReadVar[0].count = 4;
    EXPECT_EQ(nextGroup(), "10:2147483647:1@1") << "there is no number for the other three";
    EXPECT_EQ(qmap_length, 1);
}

TEST_F(Gathering, AnEntryOutsideItsAreaDoesNotHoldUpThePolling)
{
    poll(10, 1000000, 1);
    poll(10, 0, 5);
    bool reached = false;
    for (int i = 0; i < 3 && !reached; ++i) {
        reached = next() == "%01#RDD0000000004**\r";
        if (!reached)
            answer(kOneWord);
    }
    EXPECT_TRUE(reached);
}

TEST_F(Gathering, NothingIsLeftOfALargerGroupBefore)
{
    PLC_driver.lst_PollingReadVar.append(distinctVariable());
    poll(10, 100, 4, 3);
    nextGroup();
    ASSERT_EQ(qmap_list.size(), 6);
    PLC_driver.lst_PollingReadVar.clear();
    poll(8, 20, 1);
    poll(9, 30, 1);
    nextGroup();
    ASSERT_EQ(qmap_list.size(), 2);
    EXPECT_EQ(described(qmap_list.at(0)), described(PLC_driver.lst_PollingReadVar.at(0)));
    EXPECT_EQ(described(qmap_list.at(1)), described(PLC_driver.lst_PollingReadVar.at(1)));
    queueReads(1);
    nextGroup();
    ASSERT_EQ(qmap_list.size(), 1);
    EXPECT_EQ(described(qmap_list.at(0)), described(PLC_driver.lst_OnceReadVar.at(0)));
}

TEST_F(Gathering, StaysWholeWhileAnotherThreadSwitchesTheStation)
{
    for (int i = 0; i < 20; ++i)
        poll(10, i, 1);
    std::atomic<bool> stop(false);
    std::thread switcher([&] {
        for (int i = 0; !stop && i < 1000000; ++i)
            EnCommStation(1, i & 1);
    });
    for (int i = 0; i < 2000; ++i) {
        const Protocol *request = ComCommunication();
        ASSERT_LE(qmap_length, 20);
        ASSERT_EQ(request != nullptr, !qmap_list.isEmpty());
        if (!request) {
            ASSERT_EQ(qmap_length, 20) << "without an element every entry was examined";
            continue;
        }
        ASSERT_LE(qmap_list.size(), 14);
        ASSERT_TRUE(qmap_list.size() == 14 || qmap_length == 20);
        if (qmap_length < 20) {
            ASSERT_EQ(qmap_list.last().address, qmap_length - 1) << "only an element that was taken ends the group";
        }
        for (int j = 1; j < qmap_list.size(); ++j)
            ASSERT_LT(qmap_list.at(j - 1).address, qmap_list.at(j).address);
        PLC_driver.lst_Protocol.clear();
    }
    stop = true;
    switcher.join();
    EXPECT_TRUE(allLocksAreFree());
}

// Result codes
// ---------------------------------------------------------------------------------------------------------

struct CodeRow {
    qint32 ownerId;
    int bad, none, length, remoteBad, remoteNone, remoteLength;
};

const CodeRow kCodes[] = {
    {0, 11, 41, 71, 111, 141, 171},   {1, 12, 42, 72, 112, 142, 172},       {2, 13, 43, 73, 113, 143, 173},
    {3, 14, 44, 74, 114, 144, 174},   {4, 15, 45, 75, 115, 145, 175},       {5, 16, 46, 76, 116, 146, 176},
    {6, 17, 47, 77, 117, 147, 177},   {7, 18, 48, 78, 118, 148, 178},       {8, 19, 49, 79, 119, 149, 179},
    {9, 20, 50, 80, 120, 150, 180},   {10, 21, 51, 81, 121, 151, 181},      {11, 22, 52, 82, 122, 152, 182},
    {12, 11, 41, 71, 111, 141, 171},  {13, 11, 41, 71, 111, 141, 171},      {-1, 11, 41, 71, 111, 141, 171},
    {256, 11, 41, 71, 111, 141, 171}, {INT_MAX, 11, 41, 71, 111, 141, 171}, {INT_MIN, 11, 41, 71, 111, 141, 171},
};

TEST_F(ResultCodes, EachReasonHasItsBaseAndEachRequesterItsDigit)
{
    for (const CodeRow &row : kCodes) {
        PLC_driver.lst_Protocol.clear();
        inFlight(owned(row.ownerId, 0));
        SCOPED_TRACE(row.ownerId);
        EXPECT_EQ(GetDriverReturnValue(0), 1);
        EXPECT_EQ(GetDriverReturnValue(1), row.bad);
        EXPECT_EQ(GetDriverReturnValue(2), row.none);
        EXPECT_EQ(GetDriverReturnValue(3), row.length);
        EXPECT_EQ(GetDriverReturnValue(4), 100);
        EXPECT_EQ(GetDriverReturnValue(5), row.remoteBad);
        EXPECT_EQ(GetDriverReturnValue(6), row.remoteNone);
        EXPECT_EQ(GetDriverReturnValue(7), row.remoteLength);
    }
}

TEST_F(ResultCodes, AnUnknownReasonIs200)
{
    inFlight(owned(5, 0));
    for (int reason : {8, 9, -1, 100, INT_MAX, INT_MIN})
        EXPECT_EQ(GetDriverReturnValue(reason), 200) << reason;
}

TEST_F(ResultCodes, TheDigitGoesOnTopOfAnyBase)
{
    inFlight(owned(11, 0));
    EXPECT_EQ(SwitchErrorReturn(40), 52);
    EXPECT_EQ(SwitchErrorReturn(0), 12);
    PLC_driver.lst_Protocol[0].var.ownerId = 1;
    EXPECT_EQ(SwitchErrorReturn(170), 172);
    PLC_driver.lst_Protocol[0].var.ownerId = 12;
    EXPECT_EQ(SwitchErrorReturn(10), 11);
}

TEST_F(ResultCodes, TheDigitIsThatOfTheHeadFrame)
{
    inFlight(owned(2, 0));
    inFlight(owned(7, 0));
    EXPECT_EQ(SwitchErrorReturn(10), 13);
    EXPECT_EQ(GetDriverReturnValue(2), 43);
}

TEST_F(ResultCodes, WithoutAFrameTheDigitIs1)
{
    EXPECT_EQ(SwitchErrorReturn(40), 41);
    EXPECT_EQ(GetDriverReturnValue(1), 11);
    EXPECT_EQ(GetDriverReturnValue(0), 1);
}

TEST_F(ResultCodes, AnAbandonedRequestReportsTheCodeOfItsReasonAndRequester)
{
    info.retryLimit = 0;
    for (const CodeRow &row : kCodes) {
        SCOPED_TRACE(row.ownerId);
        inFlight(owned(row.ownerId, 0));
        EXPECT_EQ(answer("%01$RD341200\r"), row.bad);
        inFlight(owned(row.ownerId, 0));
        EXPECT_EQ(nothingCame(), row.none);
        inFlight(owned(row.ownerId, 0));
        EXPECT_EQ(answer("%01$WD13\r"), row.length);
        inFlight(remote(owned(row.ownerId, 0)));
        EXPECT_EQ(answer("%01$RD341200\r"), row.remoteBad);
        inFlight(remote(owned(row.ownerId, 0)));
        EXPECT_EQ(nothingCame(), row.remoteNone);
        inFlight(remote(owned(row.ownerId, 0)));
        EXPECT_EQ(answer("%01$WD13\r"), row.remoteLength);
    }
}

TEST_F(ResultCodes, PassRetValueCopiesAllButTheValue)
{
    RW_VAR from = distinctVariable(), to;
    to.data = bytesOf("ff ff ff");
    passRetValue(from, to);
    RW_VAR expected = distinctVariable();
    expected.data.clear();
    EXPECT_EQ(described(to), described(expected));
    EXPECT_EQ(described(from), described(distinctVariable()));
}

// Replies on the local link
// --------------------------------------------------------------------------------------------

TEST_F(LocalReplies, AGoodReplyIsStored)
{
    inFlight(variable());
    EXPECT_EQ(dealLocally(kOneWord), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 1) << "removing the frame is left to the caller";
}

TEST_F(LocalReplies, AReplyThatIsOnlyCheckedIsNotStored)
{
    RW_VAR var = variable();
    var.varFlag = 1;
    inFlight(var);
    EXPECT_EQ(dealLocally(kOneWord), 1);
    EXPECT_EQ(dealLocally("%01!RD341217\r"), 1) << "even an error response counts as accepted";
    EXPECT_EQ(storedWords(), "");
}

TEST_F(LocalReplies, NothingReceivedIs41UnlessNoReplyWasExpected)
{
    inFlight(variable());
    QByteArray unused("%01$RD341212\r");
    EXPECT_EQ(DealDataOfLocalArea(nullptr, 0), 41);
    EXPECT_EQ(DealDataOfLocalArea(&unused, 0), 41);
    PLC_driver.lst_Protocol[0].replyLen = -1;
    EXPECT_EQ(DealDataOfLocalArea(nullptr, 0), 41);
    PLC_driver.lst_Protocol[0].replyLen = 0;
    EXPECT_EQ(DealDataOfLocalArea(nullptr, 0), 11) << "the check finds no frame in nothing";
    EXPECT_EQ(DealDataOfLocalArea(&unused, 0), 11);
}

TEST_F(LocalReplies, ALengthOtherThanExpectedIs71)
{
    inFlight(variable());
    QByteArray reply("%01$RD341212\r");
    EXPECT_EQ(DealDataOfLocalArea(&reply, 12), 71);
    EXPECT_EQ(DealDataOfLocalArea(&reply, 14), 71);
    EXPECT_EQ(DealDataOfLocalArea(&reply, -1), 71);
    EXPECT_EQ(DealDataOfLocalArea(&reply, INT_MAX), 71);
    EXPECT_EQ(storedWords(), "");
    PLC_driver.lst_Protocol[0].replyLen = 0;
    EXPECT_EQ(DealDataOfLocalArea(&reply, 13), 71);
    PLC_driver.lst_Protocol[0].replyLen = -2;
    EXPECT_EQ(DealDataOfLocalArea(&reply, 13), 71);
}

TEST_F(LocalReplies, AReplyLenOfMinusOneAcceptsAnyLength)
{
    inFlight(variable(), -1);
    EXPECT_EQ(dealLocally("%01$RD3412781D\r"), 1);
    EXPECT_EQ(dealLocally("%01$RD16\r"), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
    EXPECT_EQ(dealLocally("%\r"), 11);
    QByteArray reply(kOneWord);
    EXPECT_EQ(DealDataOfLocalArea(&reply, -1), 11);
}

TEST_F(LocalReplies, ABadFrameOrAnErrorResponseIs11AndStoresNothing)
{
    inFlight(variable());
    EXPECT_EQ(dealLocally("$01$RD341212\r"), 11) << "header";
    EXPECT_EQ(dealLocally("%01$RD341212\n"), 11) << "terminator";
    EXPECT_EQ(dealLocally("%01$RD341213\r"), 11) << "check code";
    EXPECT_EQ(dealLocally("%01!RD341217\r"), 11) << "error response";
    PLC_driver.lst_Protocol[0].var.varFlag = 2;
    EXPECT_EQ(dealLocally(kOneWord), 11) << "no such kind of reply";
    EXPECT_EQ(storedWords(), "");
}

TEST_F(LocalReplies, ALengthGreaterThanTheBytesGivenIsABadReply)
{
    inFlight(variable());
    QByteArray reply("%01$RD3412");
    EXPECT_EQ(DealDataOfLocalArea(&reply, 13), 11);
    QByteArray whole("%01$WD13\r");
    EXPECT_EQ(DealDataOfLocalArea(&whole, 13), 11);
    QByteArray none;
    EXPECT_EQ(DealDataOfLocalArea(&none, 13), 11);
    PLC_driver.lst_Protocol[0].replyLen = 10;
    EXPECT_EQ(DealDataOfLocalArea(&whole, 10), 11) << "one byte too many";
    PLC_driver.lst_Protocol[0].replyLen = -1;
    EXPECT_EQ(DealDataOfLocalArea(&whole, 1000000), 11);
    EXPECT_EQ(DealDataOfLocalArea(&whole, INT_MAX), 11);
    EXPECT_EQ(DealDataOfLocalArea(&whole, 9), 1);
    EXPECT_EQ(storedWords(), "");
}

TEST_F(LocalReplies, BytesBehindTheLengthAreNotPartOfTheReply)
{
    inFlight(variable());
    QByteArray reply("%01$RD341212\rnoise\r");
    EXPECT_EQ(DealDataOfLocalArea(&reply, 13), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(LocalReplies, OnlyStoringTakesTheAreaLock)
{
    inFlight(variable());
    EXPECT_TRUE(takesLock(PLC_driver.mutexArea, [] { EXPECT_EQ(dealLocally(kOneWord), 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [] { EXPECT_EQ(dealLocally(kOneWord), 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [] { EXPECT_EQ(dealLocally("%01$RD341213\r"), 11); }));
    PLC_driver.lst_Protocol[0].var.varFlag = 1;
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [] { EXPECT_EQ(dealLocally(kOneWord), 1); }));
}

// Replies on the remote path
// -------------------------------------------------------------------------------------------

TEST_F(RemoteReplies, OnlyAnExtra1OfMinusOneIsStored)
{
    for (int extra1 : {0, 1, -2, 88, INT_MAX}) {
        PLC_driver.lst_Protocol.clear();
        inFlight(remote(variable(), extra1));
        EXPECT_EQ(dealRemotely(kOneWord), 100) << "extra1 " << extra1;
        EXPECT_EQ(storedWords(), "") << "extra1 " << extra1;
    }
    PLC_driver.lst_Protocol.clear();
    inFlight(remote(variable(), -1));
    EXPECT_EQ(dealRemotely(kOneWord), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(RemoteReplies, AReplyThatIsOnlyCheckedIsStoredToo)
{
    RW_VAR var = remote(variable(), -1);
    var.varFlag = 1;
    inFlight(var);
    EXPECT_EQ(dealRemotely("%01!RD341217\r"), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(RemoteReplies, AStoredReplyIs100WhileOneFrameIsAnsweredAnd1Otherwise)
{
    inFlight(remote(variable(), -1));
    info.framesDone = 1;
    EXPECT_EQ(dealRemotely(kOneWord), 100);
    EXPECT_EQ(storedWords(), "DT100=1234");
    for (int framesDone : {0, 2, -1}) {
        info.framesDone = framesDone;
        EXPECT_EQ(dealRemotely(kOneWord), 1) << "framesDone " << framesDone;
    }
}

TEST_F(RemoteReplies, NothingReceivedIs141UnlessNoReplyWasExpected)
{
    inFlight(remote(variable(), -1));
    QByteArray unused(kOneWord);
    EXPECT_EQ(DealDataOfRemoteArea(nullptr, 0), 141);
    EXPECT_EQ(DealDataOfRemoteArea(&unused, 0), 141);
    PLC_driver.lst_Protocol[0].replyLen = -1;
    EXPECT_EQ(DealDataOfRemoteArea(nullptr, 0), 141);
    PLC_driver.lst_Protocol[0].replyLen = 0;
    EXPECT_EQ(DealDataOfRemoteArea(nullptr, 0), 111);
}

TEST_F(RemoteReplies, ALengthOtherThanExpectedIs171)
{
    inFlight(remote(variable(), -1));
    QByteArray reply("%01$RD341212\r");
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 12), 171);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 14), 171);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, -1), 171);
    PLC_driver.lst_Protocol[0].replyLen = 0;
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 13), 171);
    PLC_driver.lst_Protocol[0].replyLen = -1;
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 13), 1);
}

TEST_F(RemoteReplies, ABadFrameOrAnErrorResponseIs111AndStoresNothing)
{
    inFlight(remote(variable(), -1));
    EXPECT_EQ(dealRemotely("%01$RD341213\r"), 111) << "check code";
    EXPECT_EQ(dealRemotely("%01!RD341217\r"), 111) << "error response";
    PLC_driver.lst_Protocol[0].var.varFlag = 2;
    EXPECT_EQ(dealRemotely(kOneWord), 111) << "no such kind of reply";
    PLC_driver.lst_Protocol[0].var.varFlag = 0;
    QByteArray tooShort("%01$RD3412");
    EXPECT_EQ(DealDataOfRemoteArea(&tooShort, 13), 111) << "fewer bytes than told";
    PLC_driver.lst_Protocol[0].replyLen = -1;
    EXPECT_EQ(DealDataOfRemoteArea(&tooShort, INT_MAX), 111);
    EXPECT_EQ(storedWords(), "");
}

TEST_F(RemoteReplies, TakeNoLockToStore)
{
    inFlight(remote(variable(), -1));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexArea, [] { EXPECT_EQ(dealRemotely(kOneWord), 1); }));
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [] { EXPECT_EQ(dealRemotely(kOneWord), 1); }));
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(RemoteReplies, AreStoredInTheCellsInMultiStationMode)
{
    info.multiStation = 1;
    inFlight(remote(variable(KindDT, 100, 1, 3), -1));
    EXPECT_EQ(answer("%03$RD341210\r"), 1);
    EXPECT_EQ(cells(), "3:10:100=34 12");
}

TEST_F(RemoteReplies, TheCurrentLinkNumberChoosesThePath)
{
    info.linkNo = 5;
    RW_VAR var = variable();
    var.linkNo = 5;
    inFlight(var);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(storedWords(), "DT100=1234") << "the same link is the local one";
    for (int linkNo : {4, 6, 0, -5}) {
        var.linkNo = linkNo;
        inFlight(var);
        EXPECT_EQ(answer(kOneWord), 100) << "link " << linkNo;
    }
    EXPECT_EQ(info.remoteMode, 0) << "the mode plays no part in it";
}

TEST_F(RemoteReplies, AStoredReplyEndsItsRequestWithCode1)
{
    PLC_driver.lst_OnceReadVar.append(remote(owned(4, 9), -1));
    inFlight(remote(owned(4, 9), -1), 13, RequestOnceRead);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(storedWords(), "DT100=1234");
}

TEST_F(RemoteReplies, TheSecondFrameOfAStoredRequestIsReportedAs100)
{
    inFlight(remote(variable(KindDT, 100), -1));
    inFlight(remote(variable(KindDT, 101), -1));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(answer("%01$RD78561A\r"), 100);
    EXPECT_EQ(storedWords(), "DT100=1234 DT101=5678");
}

TEST_F(RemoteReplies, AGoodReplyEndsTheRequestWithoutCountingTowardsTheCycle)
{
    PLC_driver.pollReplyCount = 0;
    PLC_driver.bCommFail = 1;
    writeInFlight(remote(ownedWrite(4, 9)));
    EXPECT_EQ(answer(kWritten), 100);
    EXPECT_EQ(counters(),
              "kind 1, writes 0, reads 0, replies 0, failed 0, retries 0, frames 1 of 1, cycle 0, group 0 of 0");
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
}

TEST_F(RemoteReplies, AFailureIsRetriedAbandonedAndEndsThePollingCycle)
{
    poll(10, 100, 1);
    poll(10, 200, 1);
    qmap_length = 1;
    info.cycleDone = 1;
    PLC_driver.pollReplyCount = 1;
    inFlight(remote(owned(2, -1)));
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 1, retries 1, frames 0 of 1, cycle 0, group 0 of 1");
    EXPECT_EQ(answer("%01$RD341213\r"), 0);
    EXPECT_EQ(answer(kWritten), 173);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:200:1@1 10:100:1@1");
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 0, 1}}));
}

// Good replies
// ---------------------------------------------------------------------------------------------------------

TEST_F(GoodReplies, WithoutAFrameTheResultIs1AndNothingElseChanges)
{
    poll(10, 100, 1);
    queueWrites(1);
    queueReads(1);
    qmap_length = 1;
    info.retryCount = 1;
    info.framesTotal = 3;
    PLC_driver.bCommFail = 1;
    PLC_driver.retVar = distinctVariable();
    const std::string before = counters();
    QByteArray reply(kOneWord);
    const RW_VAR *result = DataCom(&reply, 13);
    EXPECT_EQ(result, &PLC_driver.retVar);
    RW_VAR expected = distinctVariable();
    expected.result = 1;
    EXPECT_EQ(described(*result), described(expected));
    EXPECT_EQ(nothingCame(), 1);
    EXPECT_EQ(counters(), before);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 1);
    EXPECT_EQ(storedWords(), "");
    EXPECT_EQ(readFinished().size() + commFailed().size(), 0u);
    EXPECT_TRUE(takesNoLock(PLC_driver.mutexList, [] { nothingCame(); }));
}

TEST_F(GoodReplies, AWriteIsTakenFromItsListAndReportedWithoutItsValue)
{
    PLC_driver.lst_WriteVar.append(ownedWrite(5, 6, 7));
    RW_VAR var = distinctVariable();
    var.linkNo = 0;
    var.varFlag = 1;
    writeInFlight(var);
    EXPECT_EQ(answer(kWritten), 1);
    var.data.clear();
    var.result = 1;
    EXPECT_EQ(described(PLC_driver.retVar), described(var));
    EXPECT_EQ(owners(PLC_driver.lst_WriteVar), "5/6@1:7");
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(readFinished().size() + commFailed().size(), 0u);
}

TEST_F(GoodReplies, AnEndedRequestIsTakenFromItsListAndNotFromItsFrame)
{
    writeInFlight(ownedWrite(4, 9, 100));
    PLC_driver.lst_WriteVar[0].ownerTag = 77;
    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(PLC_driver.retVar.ownerTag, 77);
}

TEST_F(GoodReplies, APollingReadTurnsTheListByWhatTheFrameConsumed)
{
    for (int i = 1; i <= 4; ++i)
        poll(10, i * 100, 1);
    qmap_length = 3;
    inFlight(variable());
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:400:1@1 10:100:1@1 10:200:1@1 10:300:1@1");
    EXPECT_EQ(PLC_driver.retVar.address, 100) << "the entry that was first";
    EXPECT_EQ(PLC_driver.retVar.ownerTag, -1);
    EXPECT_EQ(PLC_driver.retVar.result, 1);
}

TEST_F(GoodReplies, AnAnsweredRecordDoesNotComeBackBesideOneThatTheHostQueued)
{
    poll(10, 100, 1);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    PLC_driver.lst_PollingReadVar.clear();
    inFlight(variable(10, 200, 1));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(ComCommunication(), nullptr);
}

TEST_F(GoodReplies, ALongPollingListComesRoundInItsOrder)
{
    const int kEntries = 70; // longer than lists whose entries are only ever moved
    for (int i = 0; i < kEntries; ++i)
        poll(10, 10 * i, 1);
    for (int turn = 1; turn <= 300; ++turn) {
        qmap_length = 3;
        inFlight(variable());
        ASSERT_EQ(answer(kOneWord), 1);
        for (int i = 0; i < kEntries; ++i)
            ASSERT_EQ(PLC_driver.lst_PollingReadVar.at(i).address, (3 * turn + i) % kEntries * 10) << turn;
    }
}

TEST_F(GoodReplies, APollingListIsNotTurnedByALengthOfZeroOrLess)
{
    for (int length : {0, -1}) {
        PLC_driver.lst_PollingReadVar.clear();
        poll(10, 100, 1);
        poll(10, 200, 1);
        qmap_length = length;
        inFlight(variable());
        EXPECT_EQ(answer(kOneWord), 1);
        EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:100:1@1 10:200:1@1");
    }
}

TEST_F(GoodReplies, APollingListThatGrewShortMeanwhileIsTurnedAllTheSame)
{
    poll(10, 100, 1);
    poll(10, 200, 1);
    qmap_length = 3;
    inFlight(variable());
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:200:1@1 10:100:1@1");

    PLC_driver.lst_PollingReadVar.clear();
    PLC_driver.retVar = distinctVariable();
    inFlight(variable());
    EXPECT_EQ(answer(kOneWord), 1) << "an empty list";
    RW_VAR expected = distinctVariable();
    expected.result = 1;
    EXPECT_EQ(described(PLC_driver.retVar), described(expected));
}

TEST_F(GoodReplies, TheSecondOfTwoFramesEndsTheRequest)
{
    PLC_driver.retVar = distinctVariable();
    PLC_driver.lst_WriteVar.append(ownedWrite(4, 9));
    inFlight(ownedWrite(4, 9), 9, RequestWrite);
    inFlight(ownedWrite(4, 9), 9, RequestWrite);
    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 1);
    EXPECT_EQ(info.framesDone, 1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    RW_VAR expected = distinctVariable();
    expected.result = 1;
    EXPECT_EQ(described(PLC_driver.retVar), described(expected)) << "only the result is new";

    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    EXPECT_EQ(info.framesDone, 2);
    EXPECT_EQ(PLC_driver.retVar.ownerId, 4);
}

TEST_F(GoodReplies, TheFirstOfTwoRemoteFramesIsReportedAs100)
{
    PLC_driver.lst_WriteVar.append(remote(ownedWrite(4, 9)));
    inFlight(remote(ownedWrite(4, 9)), 9, RequestWrite);
    inFlight(remote(ownedWrite(4, 9)), 9, RequestWrite);
    EXPECT_EQ(answer(kWritten), 100);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
    EXPECT_EQ(answer(kWritten), 100);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
}

TEST_F(GoodReplies, MoreThanTheLengthOfThePollingListCompleteTheCycle)
{
    poll(10, 100, 5);
    poll(10, 200, 5);
    serve(1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 1);
    EXPECT_EQ(info.cycleDone, 0);
    serve(1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 2);
    EXPECT_EQ(info.cycleDone, 0);
    serve(1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(info.cycleDone, 1);
    serve(2);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0) << "nothing is counted while the cycle is done";
    EXPECT_EQ(info.cycleDone, 1);
}

TEST_F(GoodReplies, WritesAndOneShotReadsCountTowardsTheCycle)
{
    poll(10, 100, 5);
    queueWrites(1);
    queueReads(1);
    serve(1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 1);
    serve(1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(info.cycleDone, 1);
}

TEST_F(GoodReplies, AMultiFrameRequestCountsOnceTowardsTheCycle)
{
    poll(10, 100, 2);
    poll(10, 200, 5);
    ComCommunication();
    EXPECT_EQ(answer("%01$MD09\r"), 1);
    EXPECT_EQ(answer("%01$MD09\r"), 1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 0);
    EXPECT_EQ(answer("%01$MG10008341278563B\r"), 1);
    EXPECT_EQ(PLC_driver.pollReplyCount, 1);
    EXPECT_EQ(info.framesDone, 3);
}

TEST_F(GoodReplies, DoNotResetTheRetryCount)
{
    info.retryCount = 2;
    inFlight(variable());
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(info.retryCount, 2);
}

TEST_F(GoodReplies, ClearTheFailureFlag)
{
    inFlight(variable());
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(PLC_driver.bCommFail, 1);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(PLC_driver.bCommFail, 0);
    EXPECT_EQ(commFailed().size(), 0u);
}

TEST_F(GoodReplies, AnUnknownRequestKindEndsWithoutTouchingAList)
{
    for (int kind : {100, 3, -1}) {
        PLC_driver.lst_WriteVar.clear();
        PLC_driver.lst_OnceReadVar.clear();
        PLC_driver.lst_PollingReadVar.clear();
        queueWrites(1);
        queueReads(1);
        poll(10, 100, 1);
        poll(10, 200, 1);
        qmap_length = 1;
        PLC_driver.retVar = distinctVariable();
        inFlight(variable(), 13, kind);
        EXPECT_EQ(answer(kOneWord), 1) << "kind " << kind;
        RW_VAR expected = distinctVariable();
        expected.result = 1;
        EXPECT_EQ(described(PLC_driver.retVar), described(expected));
        EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 1);
        EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 1);
        EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:100:1@1 10:200:1@1");
        EXPECT_EQ(readFinished().size(), 0u);
    }
}

TEST_F(GoodReplies, AWriteWhoseListWasEmptiedMeanwhileJustEnds)
{
    PLC_driver.retVar = distinctVariable();
    inFlight(ownedWrite(4, 9), 9, RequestWrite);
    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(PLC_driver.retVar.ownerId, 101);
    EXPECT_EQ(PLC_driver.retVar.result, 1);
}

TEST_F(GoodReplies, TakeTheListLockToReportAndLeaveAllLocksFree)
{
    writeInFlight(ownedWrite(4, 9));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { EXPECT_EQ(answer(kWritten), 1); })) << "the end of a request";
    inFlight(variable(), 13);
    inFlight(variable(), 13);
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { EXPECT_EQ(answer(kOneWord), 1); })) << "more frames to come";
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { EXPECT_EQ(nothingCame(), 0); })) << "a retry to come";
    EXPECT_TRUE(allLocksAreFree());
}

TEST_F(GoodReplies, AreStoredBeforeTheListLockIsTaken)
{
    inFlight(variable());
    PLC_driver.mutexList.lock();
    std::future<int> answered = std::async(std::launch::async, [] { return answer(kOneWord); });
    int stored = 0;
    for (int i = 0; i < 5000 && stored == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        QMutexLocker locker(&PLC_driver.mutexArea);
        stored = PLC_driver.localDT[100];
    }
    EXPECT_EQ(stored, 0x1234);
    EXPECT_EQ(answered.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    PLC_driver.mutexList.unlock();
    EXPECT_EQ(answered.get(), 1);
}

// Failed replies
// -------------------------------------------------------------------------------------------------------

TEST_F(FailedReplies, APollWithoutReplyReports0And0AndThen41)
{
    poll(10, 100, 1);
    poll(10, 200, 1);
    poll(10, 300, 5);
    info.cycleDone = 1;
    PLC_driver.pollReplyCount = 2;
    Protocol *const request = ComCommunication();
    ASSERT_EQ(qmap_length, 2);
    PLC_driver.retVar = distinctVariable();

    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 1, retries 1, frames 0 of 3, cycle 0, group 2 of 2");
    RW_VAR expected = distinctVariable();
    expected.result = 0;
    EXPECT_EQ(described(PLC_driver.retVar), described(expected)) << "only the result is new";
    EXPECT_EQ(ComCommunication(), request) << "the same frame again";

    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(info.retryCount, 2);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_EQ(commFailed().size(), 0u);

    EXPECT_EQ(nothingCame(), 41);
    EXPECT_EQ(counters(),
              "kind 0, writes 0, reads 0, replies 0, failed 1, retries 0, frames 0 of 3, cycle 0, group 2 of 2");
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0) << "all three frames are dropped";
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:300:5@1 10:100:1@1 10:200:1@1");
    EXPECT_EQ(PLC_driver.retVar.address, 100);
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 0, 1}}));
    EXPECT_EQ(next(), "%01#RDD0030000304**\r");
}

TEST_F(FailedReplies, RequesterElevenHasTheLastCodeAndTwelveTheFirst)
{
    info.retryLimit = 0;
    writeInFlight(ownedWrite(11, 0));
    EXPECT_EQ(answer("%01$WD14\r"), 22);
    writeInFlight(ownedWrite(12, 0));
    EXPECT_EQ(answer("%01$WD14\r"), 11);
}

TEST_F(FailedReplies, ALimitOfZeroOrLessAbandonsAtOnce)
{
    for (int limit : {0, -1, INT_MIN}) {
        info.retryLimit = limit;
        inFlight(variable());
        EXPECT_EQ(nothingCame(), 41) << "limit " << limit;
        EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
    }
    info.retryLimit = 1;
    inFlight(variable());
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 41);
}

TEST_F(FailedReplies, FailuresOfDifferentRequestsAddUp)
{
    writeInFlight(ownedWrite(1, 0));
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(answer(kWritten), 1);
    inFlight(variable());
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(info.retryCount, 2);
    inFlight(owned(3, 0));
    EXPECT_EQ(nothingCame(), 44) << "the third failure in all";
    EXPECT_EQ(info.retryCount, 0);
}

TEST_F(FailedReplies, TheReasonOfTheLastFailureIsReported)
{
    inFlight(variable());
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(answer("%01$RD341213\r"), 0);
    EXPECT_EQ(answer(kWritten), 71);
}

TEST_F(FailedReplies, AFailureInTheMiddleDropsTheWholeMultiFrameRequest)
{
    poll(10, 100, 2);
    poll(10, 200, 5);
    ComCommunication();
    EXPECT_EQ(answer("%01$MD09\r"), 1);
    EXPECT_EQ(queuedFrames(), (Commands{"%01#MDD00100D00101**\r", "%01#MG**\r"}));
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(queuedFrames(), (Commands{"%01#MDD00100D00101**\r", "%01#MG**\r"})) << "kept while it is retried";
    EXPECT_EQ(nothingCame(), 41);
    EXPECT_EQ(queuedFrames(), Commands());
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:200:5@1 10:100:2@1");
}

TEST_F(FailedReplies, ARequestToStation255IsNeverAnsweredAndEndsAsFailed)
{
    poll(10, 100, 5, 255);
    poll(10, 200, 2, 255);
    Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(text(request->frame), "%1F#RDD0010000104**\r");
    EXPECT_EQ(replyOf(*request), kNoReply);
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 11);
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:200:2@255 10:100:5@255");

    ASSERT_NE(ComCommunication(), nullptr);
    ASSERT_EQ(PLC_driver.lst_Protocol.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(replyOf(PLC_driver.lst_Protocol.at(i)), kNoReply) << "frame " << i;
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 11);
    EXPECT_EQ(PLC_driver.lst_Protocol.size(), 0);
}

TEST_F(FailedReplies, ABitWriteToStation255WaitsForAReplyThatDoesNotCome)
{
    info.retryLimit = 0;
    PLC_driver.lst_WriteVar.append(variable(KindR, 0x23, 1, 255, bytesOf("01")));
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(nothingCame(), 41);
    PLC_driver.lst_WriteVar.append(variable(KindWR, 2, 1, 255, bytesOf("34 12")));
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(nothingCame(), 11);
}

TEST_F(FailedReplies, LeaveTheStoredValuesAsTheyWere)
{
    PLC_driver.localDT[100] = 0x7777;
    inFlight(variable());
    for (int i = 0; i < 3; ++i)
        answer("%01$RD341213\r");
    EXPECT_EQ(storedWords(), "DT100=7777");
}

TEST_F(FailedReplies, AnAbandonedWriteEmptiesTheWholeWriteListOfASingleStation)
{
    info.retryLimit = 0;
    writeInFlight(ownedWrite(4, 9, 100));
    PLC_driver.lst_WriteVar << ownedWrite(4, 9, 101) << ownedWrite(5, 5, 102, 2) << ownedWrite(6, 6, 103, 3);
    poll(10, 100, 1);
    poll(10, 200, 1);
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(owners(PLC_driver.lst_WriteVar), "");
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:100:1@1 10:200:1@1") << "the polling list is never pruned";
    EXPECT_EQ(owners({PLC_driver.retVar}), "4/9@1:100");
    EXPECT_EQ(PLC_driver.retVar.data.size(), 0);
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 4, 1}}));
    EXPECT_EQ(readFinished().size(), 0u);
}

TEST_F(FailedReplies, OneShotReadsOfTheSameRequesterGoWithASingleStationsRequest)
{
    info.retryLimit = 0;
    writeInFlight(ownedWrite(4, 9, 100));
    PLC_driver.lst_OnceReadVar << owned(4, 9, 1) << owned(4, 9, 2, 2) << owned(4, 8, 3) << owned(5, 9, 4)
                               << owned(4, 9, 5) << owned(9, 4, 6) << owned(4, 9, 7);
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "4/8@1:3 5/9@1:4 9/4@1:6");
    EXPECT_EQ(readFinished().size(), 0u) << "what is dropped is not reported";
}

TEST_F(FailedReplies, InMultiStationModeOnlyTheSameStationsWorkIsDropped)
{
    for (int multiStation : {1, -1}) {
        info.retryLimit = 0;
        info.multiStation = multiStation;
        PLC_driver.lst_WriteVar.clear();
        PLC_driver.lst_OnceReadVar.clear();
        writeInFlight(ownedWrite(4, 9, 100, 1));
        PLC_driver.lst_WriteVar << ownedWrite(4, 9, 101, 2) << ownedWrite(5, 5, 102, 1) << ownedWrite(6, 6, 103, 1)
                                << ownedWrite(7, 7, 104, 3) << ownedWrite(8, 8, 105, 1);
        PLC_driver.lst_OnceReadVar << owned(4, 9, 1) << owned(4, 9, 2) << owned(4, 9, 3, 2) << owned(4, 8, 4)
                                   << owned(5, 9, 5) << owned(4, 9, 6);
        EXPECT_EQ(nothingCame(), 45);
        EXPECT_EQ(owners(PLC_driver.lst_WriteVar), "4/9@2:101 7/7@3:104");
        EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "4/9@2:3 4/8@1:4 5/9@1:5");
    }
}

TEST_F(FailedReplies, AnAbandonedOneShotReadTakesItsLikeAndTheWritesWithIt)
{
    info.retryLimit = 0;
    readInFlight(owned(4, 9, 100));
    PLC_driver.lst_OnceReadVar << owned(4, 9, 116) << owned(6, 1, 200) << owned(4, 9, 132);
    PLC_driver.lst_WriteVar << ownedWrite(1, 1, 1) << ownedWrite(2, 2, 2, 2);
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "6/1@1:200");
    EXPECT_EQ(owners(PLC_driver.lst_WriteVar), "");
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 2}})) << "once for all of them";
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 4, 1}}));
}

TEST_F(FailedReplies, AnAbandonedPollDropsTheWorkOfItsOwnStationOnly)
{
    info.retryLimit = 0;
    info.multiStation = 1;
    poll(10, 100, 1, 2);
    qmap_length = 1;
    inFlight(variable(KindDT, 100, 1, 2));
    PLC_driver.lst_WriteVar << ownedWrite(1, 1, 1, 1) << ownedWrite(2, 2, 2, 2);
    PLC_driver.lst_OnceReadVar << owned(0, -1, 3, 2) << owned(0, -1, 4, 1) << owned(0, 0, 5, 2);
    EXPECT_EQ(nothingCame(), 41);
    EXPECT_EQ(owners(PLC_driver.lst_WriteVar), "1/1@1:1");
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "0/-1@1:4 0/0@2:5");
}

TEST_F(FailedReplies, AnAbandonedRequestOfAnEmptiedListIsReportedForTheLastOneReported)
{
    info.retryLimit = 0;
    PLC_driver.retVar = owned(6, 3, 50);
    PLC_driver.lst_OnceReadVar << owned(6, 3, 1) << owned(4, 9, 2);
    inFlight(owned(4, 9));
    EXPECT_EQ(nothingCame(), 45) << "the code is that of the frame";
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 6, 1}}));
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "4/9@1:2");
}

TEST_F(FailedReplies, AWorkWithoutAFrameGoesWithAnAbandonedRequest)
{
    PLC_driver.lst_WriteVar.append(variable(KindR, 0x23, 1)); // a bit write without a value: no frame
    poll(10, 100, 5);
    info.retryLimit = 0;
    EXPECT_EQ(serve(5), (Commands{"", "", "", "", ""}));
    EXPECT_EQ(next(), "%01#RDD0010000104**\r");
    EXPECT_EQ(nothingCame(), 41);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
}

TEST_F(FailedReplies, LeaveAllLocksFree)
{
    info.retryLimit = 1;
    writeInFlight(ownedWrite(4, 9));
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { EXPECT_EQ(nothingCame(), 0); })) << "a retry to come";
    EXPECT_TRUE(takesLock(PLC_driver.mutexList, [] { EXPECT_EQ(nothingCame(), 45); })) << "the end of a request";
    EXPECT_TRUE(allLocksAreFree());
}

// Callbacks
// ------------------------------------------------------------------------------------------------------------

std::vector<std::string> &calls()
{
    static std::vector<std::string> noted;
    return noted;
}

void noteLocks()
{
    const auto state = [](QMutex &mutex) {
        if (!mutex.tryLock())
            return "held";
        mutex.unlock();
        return "free";
    };
    calls().push_back(std::string("list ") + state(PLC_driver.mutexList) + ", area " + state(PLC_driver.mutexArea) +
                      ", station " + state(PLC_driver.mutexStation));
}

void noteReadFinished(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status)
{
    std::ostringstream call;
    call << "read finished " << hostHandle << ' ' << ownerId << ' ' << ownerTag << ' ' << status;
    calls().push_back(call.str());
    noteLocks();
}

void noteCommError(QList<RW_VAR> *list, qint32 ownerId, qint32 reason)
{
    std::ostringstream call;
    call << "failed " << ownerId << ' ' << reason << (list && list->isEmpty() ? "" : " with a list");
    calls().push_back(call.str());
    noteLocks();
}

TEST_F(Callbacks, AFailedOneShotReadIsToldFirstAsFinishedAndThenAsFailed)
{
    RegistCallBackFuncIntf(noteReadFinished, noteCommError);
    calls().clear();
    info.retryLimit = 0;
    info.hostHandle = -123;
    readInFlight(owned(4, 9));
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(calls(), (Commands{"read finished -123 4 9 2", "list held, area free, station free", "failed 4 1",
                                 "list held, area free, station free"}));
}

TEST_F(Callbacks, AGoodOneShotReadIsToldAsFinishedUnderTheListLock)
{
    RegistCallBackFuncIntf(noteReadFinished, noteCommError);
    calls().clear();
    readInFlight(owned(4, 9));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(calls(), (Commands{"read finished 77 4 9 1", "list held, area free, station free"}));
}

TEST_F(Callbacks, AGoodOneShotReadIsReportedAndTakenFromItsList)
{
    PLC_driver.lst_OnceReadVar << owned(5, 5, 200);
    readInFlight(owned(4, 9));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 1}}));
    EXPECT_EQ(commFailed().size(), 0u);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "5/5@1:200");
    EXPECT_EQ(owners({PLC_driver.retVar}), "4/9@1:100");
    EXPECT_EQ(PLC_driver.retVar.result, 1);
}

TEST_F(Callbacks, OnlyTheLastOfSeveralReadsOfOneRequesterIsReported)
{
    queueReads(2);
    for (RW_VAR &var : PLC_driver.lst_OnceReadVar) {
        var.ownerId = 4;
        var.ownerTag = 9;
    }
    EXPECT_EQ(serve(1), (Commands{"RDD00301"}));
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(serve(1), (Commands{"RDD00302"}));
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 1}}));
}

TEST_F(Callbacks, ALikeRequestAnywhereBehindHoldsTheReportBack)
{
    PLC_driver.lst_OnceReadVar << owned(1, 1, 1) << owned(2, 2, 2) << owned(4, 9, 3, 7);
    readInFlight(owned(4, 9));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "1/1@1:1 2/2@1:2 4/9@7:3");
}

TEST_F(Callbacks, ARequestThatSharesOnlyOneOfTheTwoNumbersDoesNotHoldTheReportBack)
{
    PLC_driver.lst_OnceReadVar << owned(4, 8, 1) << owned(5, 9, 2) << owned(9, 4, 3);
    readInFlight(owned(4, 9));
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 1}}));
}

TEST_F(Callbacks, AFailureIsReportedEvenWithALikeRequestBehind)
{
    info.retryLimit = 0;
    PLC_driver.lst_OnceReadVar << owned(4, 9, 200);
    readInFlight(owned(4, 9));
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 2}}));
}

TEST_F(Callbacks, ARetryIsNotReportedAndItsSuccessIsReportedAsSuccess)
{
    readInFlight(owned(4, 9));
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(readFinished().size() + commFailed().size(), 0u);
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 1}}));
}

TEST_F(Callbacks, AnEmptyOneShotListIsNotReported)
{
    inFlight(owned(4, 9), 13, RequestOnceRead);
    EXPECT_EQ(answer(kOneWord), 1);
    info.retryLimit = 0;
    PLC_driver.retVar = owned(6, 3);
    inFlight(owned(4, 9), 13, RequestOnceRead);
    EXPECT_EQ(nothingCame(), 45);
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 6, 1}}));
}

TEST_F(Callbacks, OneShotReadsOfTheRemotePathAreNotReportedAsFinished)
{
    info.retryLimit = 0;
    PLC_driver.lst_OnceReadVar << owned(5, 5, 200);
    readInFlight(remote(owned(4, 9)));
    EXPECT_EQ(answer(kOneWord), 100);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "5/5@1:200");
    EXPECT_EQ(owners({PLC_driver.retVar}), "4/9@1:100");
    readInFlight(remote(owned(4, 9)));
    EXPECT_EQ(nothingCame(), 145);
    EXPECT_EQ(owners(PLC_driver.lst_OnceReadVar), "5/5@1:200");
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(commFailed(), (std::vector<CommFailed>{{true, 4, 1}}));
}

TEST_F(Callbacks, WritesAndPollsAreNotReportedAsFinished)
{
    queueReads(1);
    writeInFlight(ownedWrite(4, 9));
    EXPECT_EQ(answer(kWritten), 1);
    poll(10, 100, 1);
    qmap_length = 1;
    inFlight(variable());
    EXPECT_EQ(answer(kOneWord), 1);
    EXPECT_EQ(readFinished().size(), 0u);
}

// Whole roads
// ----------------------------------------------------------------------------------------------------------

TEST_F(Roads, SixteenRegistersArePolled)
{
    QList<HostReadItem> items;
    items << item(KindDT, "100", 16);
    EXPECT_EQ(ReCreatReadVarList(&items), 1);
    const Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(text(request->frame), "%01#RDD0010000115**\r");
    EXPECT_EQ(request->frameLen, 20);
    EXPECT_EQ(replyOf(*request), (ExpectedReply{73, 6, 64}));
    EXPECT_EQ(answer("%01$RD01000200030004000500060007000800090010001100120013001400FFFF341216\r"), 1);
    EXPECT_EQ(storedWords(), "DT100=0001 DT101=0002 DT102=0003 DT103=0004 DT104=0005 DT105=0006 DT106=0007 DT107=0008 "
                             "DT108=0009 DT109=0010 DT110=0011 DT111=0012 DT112=0013 DT113=0014 DT114=ffff DT115=1234");
    EXPECT_EQ(PLC_driver.retVar.result, 1);
    EXPECT_EQ(owners({PLC_driver.retVar}), "0/-1@1:100");
    QString address = "115";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(nullptr, KindDT, &address, 1, &out, 1), 1);
    EXPECT_EQ(hex(out), "34 12");
}

TEST_F(Roads, SeveralShortBlocksArePolledThroughTheMonitor)
{
    poll(10, 5, 1, 2);
    poll(7, 3, 1, 2);
    EXPECT_EQ(next(), "%02#MDFFFFFF**\r");
    EXPECT_EQ(answer("%02$MD0A\r"), 1);
    EXPECT_EQ(next(), "%02#MDD00005WY00003**\r");
    EXPECT_EQ(answer("%02$MD0A\r"), 1);
    EXPECT_EQ(next(), "%02#MG**\r");
    EXPECT_EQ(replyOf(PLC_driver.lst_Protocol.at(0)), (ExpectedReply{22, 11, 8}));
    EXPECT_EQ(storedWords(), "");
    EXPECT_EQ(answer("%02$MG100083412785638\r"), 1);
    EXPECT_EQ(storedWords(), "WY3=5678 DT5=1234");
    EXPECT_EQ(runs(PLC_driver.lst_PollingReadVar), "10:5:1@2 7:3:1@2") << "turned by two of two";
    EXPECT_EQ(info.framesDone, 3);
}

TEST_F(Roads, AnErrorResponseToTheMonitorSetUpCountsAsAccepted)
{
    poll(10, 5, 2);
    ComCommunication();
    EXPECT_EQ(answer("%01!6201\r"), 1);
    EXPECT_EQ(answer("%01!6201\r"), 1);
    info.retryLimit = 0;
    PLC_driver.lst_Protocol[0].replyLen = 9;
    EXPECT_EQ(answer("%01!6201\r"), 11) << "and to the data itself does not";
}

TEST_F(Roads, EveryStationsPollGoesToItsOwnCells)
{
    info.multiStation = 1;
    QList<HostReadItem> items;
    items << item(KindDT, "100", 5, 2) << item(KindDT, "100", 5, 3);
    EXPECT_EQ(ReCreatReadVarList(&items), 2);
    EXPECT_EQ(next(), "%02#RDD0010000104**\r");
    EXPECT_EQ(answer("%02$RD0100020003000400050014\r"), 1);
    EXPECT_EQ(next(), "%03#RDD0010000104**\r");
    EXPECT_EQ(answer("%03$RD1100120013001400FFFF10\r"), 1);
    EXPECT_EQ(cells(), "2:10:100=01 00, 2:10:101=02 00, 2:10:102=03 00, 2:10:103=04 00, 2:10:104=05 00, "
                       "3:10:100=11 00, 3:10:101=12 00, 3:10:102=13 00, 3:10:103=14 00, 3:10:104=ff ff");
    EXPECT_EQ(storedWords(), "");
}

TEST_F(Roads, AScreensWriteGoesOutAndIsMirroredByTheCycle)
{
    QString name = "level", address = "100";
    QByteArray data = bytesOf("34 12 78 56");
    EXPECT_EQ(SetRegisterData(&name, KindDT, &address, 1, &data, 2, 4, 9), 1);
    EXPECT_EQ(storedWords(), "");
    EXPECT_EQ(next(), "%01#WDD00100001013412785659\r");
    EXPECT_EQ(storedWords(), "DT100=1234 DT101=5678");
    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(described(PLC_driver.retVar),
              "ownerId 4, ownerTag 9, varFlag 1, remoteMode 0, linkNo 0, result 1, name level, addrText 100, "
              "areaKind 10, address 100, station 1, count 2, extra1 0, extra2 0, data ");
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
    EXPECT_EQ(next(), "");
}

TEST_F(Roads, AnErrorResponseToAWriteCountsAsAccepted)
{
    queueWrites(1);
    ComCommunication();
    EXPECT_EQ(answer("%01!6102\r"), 1);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0);
}

TEST_F(Roads, WhileTheLinkFailsAWriteIsMirroredWhenItIsQueuedAndNotByTheCycle)
{
    poll(10, 500, 5);
    ComCommunication();
    EXPECT_EQ(nothingCame(), 0);
    QString name, address = "100";
    QByteArray data = bytesOf("34 12");
    EXPECT_EQ(SetRegisterData(&name, KindDT, &address, 1, &data, 1, 4, 9), 1);
    EXPECT_EQ(storedWords(), "DT100=1234");
    PLC_driver.localDT[100] = 0;
    EXPECT_EQ(nothingCame(), 0);
    EXPECT_EQ(nothingCame(), 41);
    EXPECT_EQ(PLC_driver.lst_WriteVar.size(), 0) << "dropped with the abandoned poll";
    queueWrites(1);
    EXPECT_EQ(next(), "%01#WDD0000100001341254\r");
    EXPECT_EQ(storedWords(), "") << "the flag still says failed";
    EXPECT_EQ(answer(kWritten), 1);
    EXPECT_EQ(storedWords(), "") << "and the good reply brings no data";
}

TEST_F(Roads, ALongOneShotReadIsReportedOnceWhenItsLastBlockIsIn)
{
    RW_VAR var = variable(KindDT, 100, 21);
    var.ownerId = 4;
    var.ownerTag = 9;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 2);
    EXPECT_EQ(next(), "%01#RDD0010000115**\r");
    EXPECT_EQ(answer("%01$RD010000000000000000000000000000000000000000000000000000000000000017\r"), 1);
    EXPECT_EQ(readFinished().size(), 0u);
    EXPECT_EQ(next(), "%01#RDD0011600120**\r");
    EXPECT_EQ(answer(kFiveWords), 1);
    EXPECT_EQ(readFinished(), (std::vector<ReadFinished>{{77, 4, 9, 1}}));
    EXPECT_EQ(storedWords(), "DT100=0001 DT116=0001 DT117=0002 DT118=0003 DT119=0004 DT120=0005");
}

TEST_F(Roads, ARemoteReadIsAnsweredInTheOrdinaryForm)
{
    info.remoteMode = 1;
    RW_VAR var = remote(owned(0, 0), -1);
    var.count = 2;
    PLC_driver.lst_OnceReadVar.append(var);
    const Protocol *request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(hex(request->frame), "16 00 00 01 01 00 0a 00 00 00 64 00 02 ff ff ff ff 00 00 00 00 84");
    EXPECT_EQ(replyOf(*request), (ExpectedReply{17, 6, 8}));
    EXPECT_EQ(answer("%01$RD341278561E\r"), 1);
    EXPECT_EQ(storedWords(), "DT100=1234 DT101=5678");
    EXPECT_EQ(PLC_driver.lst_OnceReadVar.size(), 0);
}

TEST_F(Roads, PublishedResponsesAreUnderstood)
{
    inFlight(variable(KindDT, 0, 2), 17);
    PLC_driver.lst_Protocol[0].dataLen = 8;
    EXPECT_EQ(answer("%01$RD05000A0062\r"), 1);
    EXPECT_EQ(storedWords(), "DT0=0005 DT1=000a");
    writeInFlight(ownedWrite(1, 1));
    EXPECT_EQ(answer("%01$WC14\r"), 1);
}

} // namespace
