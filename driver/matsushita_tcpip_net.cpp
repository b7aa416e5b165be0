// matsushita_tcpip_net.cpp - the driver object, the communication cycle, the reply intake and the result codes.
//
//  - One request is in flight at a time: nothing is chosen while lst_Protocol holds a frame.
//  - Writes come first, then one-shot reads, then polling; after five of a kind in a row the next kind has its turn.
//  - A reply is judged and its frame removed without mutexList: only the communication thread does that. A request
//    ends under it.

#include "driver/matsushita_tcpip_net_p.h"

#include "driver/area_table.h"
#include "frames/Func_Check.h"
#include "frames/Func_Read.h"
#include "frames/Func_Remote.h"
#include "frames/Func_Write.h"
#include "frames/frame_format.h"
#include "init/Func_Init.h"
#include "init/pending_lists.h"
#include "store/Func_DealData.h"

#include <cstring>

Matsushita_TCPIP_net PLC_driver;
QList<RW_VAR> qmap_list;
qint32 qmap_length;

enum {
    kMostInARow = 5,          // writes, and one-shot reads, between two polling reads
    kLongestGrouped = 4,      // words of a polling entry that is read together with others
    kMostGrouped = 14,        // words in one grouped read
    kLongPollingList = 64,    // entries above which shifting the list costs more than making an entry anew
    kTurnsPerAppend = 64,     // entries of such a list that are moved for each one that is made anew
    kReadSucceeded = 1,       // status of the read-finished callback
    kReadFailed = 2,          //
    kAbandoned = 1,           // reason of the communication-failure callback
    kLastOwnerWithDigit = 11, // ownerIds 1 to this one have a failure digit of their own
    kCodeGood = 1,
    kCodeRemoteGood = 100,
    kCodeUnknown = 200
};

// The driver object ----------------------------------------------------------------------------------------------

// comInfo and the callbacks stay as the storage has them: null in the one static instance.
Matsushita_TCPIP_net::Matsushita_TCPIP_net()
    : curReqKind(RequestNone), writeCount(0), onceReadCount(0), pollReplyCount(0), bCommFail(0), bReserve(0)
{
    std::memset(localT, 0, sizeof localT);
    std::memset(localC, 0, sizeof localC);
    std::memset(localWX, 0, sizeof localWX);
    std::memset(localWY, 0, sizeof localWY);
    std::memset(localWR, 0, sizeof localWR);
    std::memset(localWL, 0, sizeof localWL);
    std::memset(localDT, 0, sizeof localDT);
    std::memset(localLD, 0, sizeof localLD);
    std::memset(localFL, 0, sizeof localFL);
    std::memset(localSV, 0, sizeof localSV);
    std::memset(localEV, 0, sizeof localEV);
}

Matsushita_TCPIP_net::~Matsushita_TCPIP_net() {}

// Copying records --------------------------------------------------------------------------------------------------

/// Makes \a to the same text or bytes as \a from, at no cost where the two already share them, as they mostly do where
/// the same variables come round again.
template <typename Shared> static void share(const Shared &from, Shared &to)
{
    if (from.constData() != to.constData() || from.size() != to.size())
        to = from;
}

/// Copies all fields but the value bytes.
static void copyDescription(const RW_VAR &from, RW_VAR &to)
{
    to.ownerId = from.ownerId;
    to.ownerTag = from.ownerTag;
    to.varFlag = from.varFlag;
    to.remoteMode = from.remoteMode;
    to.linkNo = from.linkNo;
    to.result = from.result;
    share(from.name, to.name);
    share(from.addrText, to.addrText);
    to.areaKind = from.areaKind;
    to.address = from.address;
    to.station = from.station;
    to.count = from.count;
    to.extra1 = from.extra1;
    to.extra2 = from.extra2;
}

void copyVariable(const RW_VAR &from, RW_VAR &to)
{
    copyDescription(from, to);
    share(from.data, to.data);
}

void passRetValue(const RW_VAR &from, RW_VAR &to)
{
    copyDescription(from, to);
    share(QByteArray(), to.data);
}

// Communication cycle --------------------------------------------------------------------------------------------

namespace
{

/// Drops the entries of switched-off stations at the head of a pending list.
template <typename Index> void dropSwitchedOff(Index &index, QList<RW_VAR> &list)
{
    while (!list.isEmpty() && Ethernetcontains(list.at(0).station)) {
        typename Index::Change change(index, list);
        change.removeFirst();
    }
}

/// The head of a pending list for a builder. Builders do not change their variable; the list may be shared with its
/// index, so it must not be asked for a changeable entry.
RW_VAR *headOf(const QList<RW_VAR> &list)
{
    return const_cast<RW_VAR *>(&list.at(0));
}

/// Fills qmap_list anew. What it holds from the request before is overwritten rather than freed and made again; until
/// close() the entries behind size() are left-overs.
class GroupList
{
public:
    GroupList() : m_size(0) {}

    int size() const { return m_size; }
    const RW_VAR &first() const { return qmap_list.at(0); }

    /// Appends a copy of \a entry.
    /// \return the copy, valid until the next one is appended
    RW_VAR &append(const RW_VAR &entry)
    {
        if (m_size == countOf(qmap_list)) {
            qmap_list.append(entry);
            return qmap_list[m_size++];
        }
        RW_VAR &copy = qmap_list[m_size++];
        copyVariable(entry, copy);
        return copy;
    }

    void close()
    {
        while (countOf(qmap_list) > m_size)
            qmap_list.removeAt(countOf(qmap_list) - 1);
    }

private:
    int m_size;
};

void serveWrite()
{
    QList<RW_VAR> &list = PLC_driver.lst_WriteVar;
    PLC_driver.curReqKind = RequestWrite;
    GroupList().close();
    dropSwitchedOff(writeIndex, list);
    if (list.isEmpty())
        return;
    if (PLC_driver.comInfo->remoteMode != 0)
        Remote_WriteVar(headOf(list));
    else
        WriteRegister(headOf(list));
    ++PLC_driver.writeCount;
}

void serveOnceRead()
{
    QList<RW_VAR> &list = PLC_driver.lst_OnceReadVar;
    PLC_driver.curReqKind = RequestOnceRead;
    GroupList group;
    dropSwitchedOff(onceReadIndex, list);
    if (!list.isEmpty()) {
        qmap_length = 1;
        group.append(list.at(0));
    }
    group.close();
    if (list.isEmpty())
        return;
    if (PLC_driver.comInfo->remoteMode != 0)
        Remote_ReadVar(headOf(list));
    else
        ReadRegister();
    ++PLC_driver.onceReadCount;
}

/// Appends the words of \a entry to the group one by one, as many as have element numbers that fit 32 bits.
void takeWords(GroupList &group, const RW_VAR &entry)
{
    if (entry.count == 1) { // as most that are read together are
        group.append(entry);
        return;
    }
    const qint64 numbers = qint64(0x7FFFFFFF) - entry.address + 1;
    for (int i = 0; i < qMin(qint64(entry.count), numbers); ++i) {
        RW_VAR &word = group.append(entry);
        word.address = entry.address + i;
        word.count = 1;
    }
}

/// Whether the group ends before \a next, the polling entry behind the one just taken.
bool endsBefore(const GroupList &group, const RW_VAR &next)
{
    if (next.count > kLongestGrouped || next.count + group.size() > kMostGrouped)
        return true;
    return group.size() > 0 && next.station != group.first().station;
}

/// The station check of one gathering: entries of one station follow each other, so the last answer mostly serves
/// again.
class StationCheck
{
public:
    StationCheck() : m_known(false), m_station(0), m_off(false) {}

    bool isOff(int station)
    {
        if (!m_known || station != m_station) {
            m_known = true;
            m_station = station;
            m_off = Ethernetcontains(station) != 0;
        }
        return m_off;
    }

private:
    bool m_known;
    int m_station;
    bool m_off;
};

/// Gathers what the next polling read serves from the head of the polling list.
/// \return the number of entries consumed
int gatherPollingGroup(GroupList &group)
{
    const QList<RW_VAR> &polling = PLC_driver.lst_PollingReadVar;
    const int entries = countOf(polling);
    StationCheck stations;
    for (int examined = 0; examined < entries;) {
        const RW_VAR &entry = polling.at(examined);
        // Kind and length are looked at before the station, so a bit entry or a long one at the head is read even when
        // its station is switched off.
        const bool alone = !isWordKind(entry.areaKind);
        if (alone && group.size() > 0)
            return examined;
        if (alone || (group.size() == 0 && entry.count > kLongestGrouped)) {
            group.append(entry);
            return 1; // one entry consumed, whatever was passed over before it
        }
        ++examined;
        if (stations.isOff(entry.station))
            continue; // and the entry behind it joins the group unexamined
        takeWords(group, entry);
        if (examined < entries && endsBefore(group, polling.at(examined)))
            return examined;
    }
    return entries;
}

void reopenRuns()
{
    PLC_driver.writeCount = 0;
    PLC_driver.onceReadCount = 0;
}

void servePolling()
{
    GroupList group;
    if (PLC_driver.lst_PollingReadVar.isEmpty()) {
        group.close();
        reopenRuns();
        PLC_driver.comInfo->cycleDone = 1;
        return;
    }
    PLC_driver.curReqKind = RequestPolling;
    if (PLC_driver.comInfo->remoteMode != 0) {
        group.close();
        qmap_length = 1;
        Remote_ReadVar(headOf(PLC_driver.lst_PollingReadVar));
    } else {
        qmap_length = gatherPollingGroup(group);
        group.close();
        if (group.size() == 0)
            return; // every entry examined is switched off
        ReadRegister();
    }
    reopenRuns();
}

void chooseWork()
{
    qmap_length = 0;
    if (!PLC_driver.lst_WriteVar.isEmpty() && PLC_driver.writeCount < kMostInARow)
        serveWrite();
    else if (!PLC_driver.lst_OnceReadVar.isEmpty() && PLC_driver.onceReadCount < kMostInARow)
        serveOnceRead();
    else
        servePolling();
}

} // namespace

Protocol *ComCommunication()
{
    QMutexLocker locker(&PLC_driver.mutexList);
    if (PLC_driver.lst_Protocol.isEmpty())
        chooseWork();
    return PLC_driver.lst_Protocol.isEmpty() ? nullptr : &PLC_driver.lst_Protocol[0];
}

// Result codes ---------------------------------------------------------------------------------------------------

int SwitchErrorReturn(int base)
{
    const int ownerId = PLC_driver.lst_Protocol.isEmpty() ? 0 : PLC_driver.lst_Protocol.at(0).var.ownerId;
    return base + (ownerId >= 1 && ownerId <= kLastOwnerWithDigit ? ownerId + 1 : 1);
}

int GetDriverReturnValue(int reason)
{
    switch (reason) {
    case ReasonGood:
        return kCodeGood;
    case ReasonLocalBadReply:
        return SwitchErrorReturn(10);
    case ReasonLocalNoReply:
        return SwitchErrorReturn(40);
    case ReasonLocalWrongLength:
        return SwitchErrorReturn(70);
    case ReasonRemoteGood:
        return kCodeRemoteGood;
    case ReasonRemoteBadReply:
        return SwitchErrorReturn(110);
    case ReasonRemoteNoReply:
        return SwitchErrorReturn(140);
    case ReasonRemoteWrongLength:
        return SwitchErrorReturn(170);
    default:
        return kCodeUnknown;
    }
}

// Reply intake ---------------------------------------------------------------------------------------------------

int DealDataOfLocalArea(QByteArray *reply, int length)
{
    const int replyLen = PLC_driver.lst_Protocol.at(0).replyLen;
    if (length == 0 && replyLen != 0)
        return GetDriverReturnValue(ReasonLocalNoReply);
    if (length != replyLen && replyLen != -1)
        return GetDriverReturnValue(ReasonLocalWrongLength);
    switch (CheckGetData(reply, length)) {
    case 1: {
        QMutexLocker locker(&PLC_driver.mutexArea);
        SaveToLocalDataErea(reply);
        return GetDriverReturnValue(ReasonGood);
    }
    case 2:
        return GetDriverReturnValue(ReasonGood);
    default:
        return GetDriverReturnValue(ReasonLocalBadReply);
    }
}

int DealDataOfRemoteArea(QByteArray *reply, int length)
{
    const Protocol &request = PLC_driver.lst_Protocol.at(0);
    if (length == 0 && request.replyLen != 0)
        return GetDriverReturnValue(ReasonRemoteNoReply);
    if (length != request.replyLen && request.replyLen != -1)
        return GetDriverReturnValue(ReasonRemoteWrongLength);
    if (CheckGetData(reply, length) == 0)
        return GetDriverReturnValue(ReasonRemoteBadReply);
    if (request.var.extra1 != kStoreReply)
        return GetDriverReturnValue(ReasonRemoteGood);
    SaveToLocalDataErea(reply); // without mutexArea: this path never takes it
    return GetDriverReturnValue(PLC_driver.comInfo->framesDone == 1 ? ReasonRemoteGood : ReasonGood);
}

namespace
{

void setCommFail(quint8 failed)
{
    __atomic_store_n(&PLC_driver.bCommFail, failed, __ATOMIC_RELAXED); // SetRegisterData reads it on other threads
}

/// Every request that ends well on the local link counts towards the cycle, whatever its kind.
void countTowardsCycle()
{
    if (PLC_driver.comInfo->cycleDone != 0)
        return;
    const qint64 replies = qint64(PLC_driver.pollReplyCount) + 1;
    PLC_driver.pollReplyCount = int(replies);
    if (replies > countOf(PLC_driver.lst_PollingReadVar)) {
        PLC_driver.pollReplyCount = 0;
        PLC_driver.comInfo->cycleDone = 1;
    }
}

/// Takes the first entry of a pending list; the result record gets its fields.
template <typename Index> void finishHead(Index &index, QList<RW_VAR> &list)
{
    if (list.isEmpty())
        return;
    passRetValue(list.at(0), PLC_driver.retVar);
    typename Index::Change change(index, list);
    change.removeFirst();
}

/// Tells the host that the one-shot read at the head has ended; a success only when the requester waits for no more.
void tellReadFinished()
{
    const QList<RW_VAR> &list = PLC_driver.lst_OnceReadVar;
    if (list.isEmpty())
        return;
    const qint32 ownerId = list.at(0).ownerId;
    const qint32 ownerTag = list.at(0).ownerTag;
    const qint32 hostHandle = PLC_driver.comInfo->hostHandle;
    if (PLC_driver.bCommFail) {
        PLC_driver.pfnReadFinish(hostHandle, ownerId, ownerTag, kReadFailed);
        return;
    }
    for (int i = 1; i < countOf(list); ++i)
        if (list.at(i).ownerId == ownerId && list.at(i).ownerTag == ownerTag)
            return;
    PLC_driver.pfnReadFinish(hostHandle, ownerId, ownerTag, kReadSucceeded);
}

/// Whether the first entry of the polling list is appended anew rather than moved to the end. Up to Qt 5 a move costs
/// next to nothing while there is room behind the last entry, but shifts the whole list when there is none; in a long
/// list an append now and then makes the room. In Qt 6 a move always shifts whole entries.
bool isAppendedAnew(int entries)
{
    static unsigned int turns = 0;
    return QT_VERSION >= QT_VERSION_CHECK(6, 0, 0) || (entries > kLongPollingList && ++turns % kTurnsPerAppend == 0);
}

/// Moves the first \a entries entries of the polling list to its end.
void turnPollingList(int entries)
{
    QList<RW_VAR> &list = PLC_driver.lst_PollingReadVar;
    const int length = countOf(list);
    for (int left = entries % length; left > 0; --left) {
        if (isAppendedAnew(length))
            list.append(list.takeFirst());
        else
            list.move(0, length - 1);
    }
}

void finishPolling()
{
    QList<RW_VAR> &list = PLC_driver.lst_PollingReadVar;
    if (list.isEmpty())
        return;
    passRetValue(list.at(0), PLC_driver.retVar);
    if (qmap_length > 0)
        turnPollingList(qmap_length);
}

void endRequest(bool remote)
{
    switch (PLC_driver.curReqKind) {
    case RequestWrite:
        finishHead(writeIndex, PLC_driver.lst_WriteVar);
        break;
    case RequestOnceRead:
        if (!remote)
            tellReadFinished();
        finishHead(onceReadIndex, PLC_driver.lst_OnceReadVar);
        break;
    case RequestPolling:
        finishPolling();
        break;
    default:
        break;
    }
}

void dropIf(QList<RW_VAR> &list, bool (*drop)(const RW_VAR &))
{
    QList<RW_VAR> kept;
    for (int i = 0; i < countOf(list); ++i)
        if (!drop(list.at(i)))
            kept.append(list.at(i));
    if (kept.size() != list.size())
        list = kept;
}

bool ofEndedStation(const RW_VAR &var)
{
    return var.station == PLC_driver.retVar.station;
}

bool ofEndedRequester(const RW_VAR &var)
{
    return var.ownerId == PLC_driver.retVar.ownerId && var.ownerTag == PLC_driver.retVar.ownerTag;
}

bool ofEndedRequesterAndStation(const RW_VAR &var)
{
    return ofEndedRequester(var) && ofEndedStation(var);
}

/// After an abandoned request: drops what waits and would fail the same way. The polling list is never touched.
void dropDoomed()
{
    onceReadIndex.forget();
    writeIndex.forget();
    if (PLC_driver.comInfo->multiStation != 0) {
        dropIf(PLC_driver.lst_OnceReadVar, ofEndedRequesterAndStation);
        dropIf(PLC_driver.lst_WriteVar, ofEndedStation);
    } else {
        dropIf(PLC_driver.lst_OnceReadVar, ofEndedRequester);
        PLC_driver.lst_WriteVar.clear();
    }
}

const RW_VAR *report(int code)
{
    PLC_driver.retVar.result = code;
    return &PLC_driver.retVar;
}

/// Counts a failed reply.
/// \return whether the request has had its last try and is abandoned; its frames are then gone
bool countFailure()
{
    ComInfo &info = *PLC_driver.comInfo;
    PLC_driver.pollReplyCount = 0;
    info.cycleDone = 0;
    const qint64 failures = qint64(info.retryCount) + 1;
    if (failures <= info.retryLimit) {
        info.retryCount = int(failures);
        return false;
    }
    info.retryCount = 0;
    PLC_driver.lst_Protocol.clear();
    return true;
}

} // namespace

const RW_VAR *DataCom(QByteArray *reply, int length)
{
    if (PLC_driver.lst_Protocol.isEmpty())
        return report(kCodeGood);
    ComInfo &info = *PLC_driver.comInfo;
    const bool remote = PLC_driver.lst_Protocol.at(0).var.linkNo != info.linkNo;
    const int code = remote ? DealDataOfRemoteArea(reply, length) : DealDataOfLocalArea(reply, length);
    const bool good = code == kCodeGood || code == kCodeRemoteGood;
    setCommFail(good ? 0 : 1);
    if (good) {
        dropRequest();
        info.framesDone = qint32(quint32(info.framesDone) + 1u); // the host's memory: may hold any value
    }

    // What follows is shared with the threads that change the lists.
    QMutexLocker locker(&PLC_driver.mutexList);
    if (good && info.framesDone < info.framesTotal)
        return report(code); // the request has more frames
    if (!good && !countFailure())
        return report(0); // the same frame goes out again
    if (good && !remote)
        countTowardsCycle();
    endRequest(remote);
    if (!good) {
        QList<RW_VAR> none;
        PLC_driver.pfnCommError(&none, PLC_driver.retVar.ownerId, kAbandoned);
        dropDoomed();
    }
    return report(code);
}
