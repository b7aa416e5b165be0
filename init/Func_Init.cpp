// Func_Init.cpp - set-up, the variable lists and the planning of the polling list.
//
//  - The write list and the one-shot list are searched for duplicates through an index; the result is that of a walk.
//  - Planning cuts every variable into pieces, orders the pieces of a group by address and merges them into blocks.

#include "init/Func_Init.h"

#include "driver/area_table.h"
#include "init/pending_lists.h"
#include "store/Func_GetOrSetData.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

QList<RW_VAR> map_bit;
QList<RW_VAR> map_word;
quint32 LB;
quint32 LW;
quint32 RWI;

WriteIndex writeIndex;
OnceReadIndex onceReadIndex;

enum {
    kListLimit = 1024,     // entries of the write list and of the one-shot list
    kBlockWords = 16,      // most words in one read
    kContactPiece = 240,   // words in one piece of timer or counter contacts, before merging
    kBridgedGap = 4,       // words between two variables that still go into one block
    kShortBlock = 4,       // most words of a block that may be read through the monitor
    kAppendUnchecked = 1,  // argument of the list functions
    kGroupKeyFactor = 255, // multi-station groups: areaKind x 255 + station
    kPollingTag = -1       // ownerTag of polling entries
};

// Set-up
// ---------------------------------------------------------------------------------------------------------------

void SetComInfo(ComInfo *info)
{
    info->reserved40 = 0;
    info->reserved52 = 0;
    PLC_driver.comInfo = info;
}

void RegistCallBackFuncIntf(ReadFinishFn readFinish, CommErrorFn commError)
{
    PLC_driver.pfnReadFinish = readFinish;
    PLC_driver.pfnCommError = commError;
}

void FlashLocalRegister(quint32 bitBase, quint32 wordBase, quint32 indirectBase)
{
    LB = bitBase;
    LW = wordBase;
    RWI = indirectBase;
}

int QueryFinishFlag()
{
    return 1;
}

int PLCAddressChangeIntef(int areaKind, const QString &text)
{
    return StringAddressToInt(areaKind, text);
}

void EnCommStation(int station, int enable)
{
    QMutexLocker locker(&PLC_driver.mutexStation);
    QMap<int, int> &off = PLC_driver.map_Station;
    if (station < 0)
        off = QMap<int, int>();
    else if (enable == 1)
        off.remove(station);
    else if (enable == 0 && !off.contains(station))
        off.insert(station, 0);
}

int Ethernetcontains(int station)
{
    QMutexLocker locker(&PLC_driver.mutexStation);
    return PLC_driver.map_Station.contains(station) ? 1 : 0;
}

// Variable lists -------------------------------------------------------------------------------------------------

/// Turns a run of bits from bit \a bit on into the run of words that it touches.
static void touchedWords(RW_VAR &var, int bit)
{
    const qint64 bits = qint64(bit % kBitsPerWord) + var.count;
    var.address = bit / kBitsPerWord; // bit is not negative
    var.count = int(bits / kBitsPerWord + (bits % kBitsPerWord != 0 ? 1 : 0));
}

int AddListReadVar(RW_VAR *var)
{
    PLC_driver.lst_PollingReadVar.append(*var);
    return countOf(PLC_driver.lst_PollingReadVar);
}

int AddListWriteVar(RW_VAR *var, int direct)
{
    QList<RW_VAR> &list = PLC_driver.lst_WriteVar;
    QMutexLocker locker(&PLC_driver.mutexList);
    WriteIndex::Change change(writeIndex, list);
    // The head is being served or is next; it is never replaced.
    const int same = direct == kAppendUnchecked || list.size() < 2 ? -1 : change.find(WriteKey::of(*var), 1);
    if (same >= 0)
        change.entry(same) = *var;
    else if (direct == kAppendUnchecked || list.size() < kListLimit)
        change.append(*var);
    return countOf(list);
}

/// Queues the words that \a var names in blocks of kBlockWords; leaves the last block in \a var.
static void queueBlocks(RW_VAR *var)
{
    QList<RW_VAR> &list = PLC_driver.lst_OnceReadVar;
    OnceReadIndex::Change change(onceReadIndex, list);
    const int address = var->address;
    const int count = var->count;
    const RunInside blocks = piecesInside(address, count, kBlockWords, areaWords(var->areaKind));
    for (int i = blocks.first; i < blocks.end; ++i) {
        var->address = int(address + qint64(i) * kBlockWords);
        var->count = int(qMin(qint64(kBlockWords), count - qint64(i) * kBlockWords));
        if (change.find(OnceReadKey::of(*var)) < 0 && list.size() < kListLimit)
            change.append(*var);
    }
}

int AddListOnceReadVar(RW_VAR *var, int direct)
{
    QList<RW_VAR> &list = PLC_driver.lst_OnceReadVar;
    if (direct == kAppendUnchecked) {
        QMutexLocker locker(&PLC_driver.mutexList);
        OnceReadIndex::Change change(onceReadIndex, list);
        change.append(*var);
        return countOf(list);
    }
    const int address = StringAddressToInt(var->areaKind, var->addrText);
    if (address < 0)
        return 0;
    var->extra1 = 0;
    var->extra2 = 0;
    if (PLC_driver.comInfo->multiStation == 0)
        var->station = PLC_driver.comInfo->defaultStation;
    if (isBitKind(var->areaKind)) {
        touchedWords(*var, address);
        var->areaKind = wordKindOf(var->areaKind);
    } else if (isWordKind(var->areaKind)) {
        var->address = address;
    }
    QMutexLocker locker(&PLC_driver.mutexList);
    queueBlocks(var);
    return countOf(list);
}

// Planning -------------------------------------------------------------------------------------------------------

void WhetherGroup(int n, int size, RW_VAR *var, QList<RW_VAR> *out)
{
    const int address = var->address;
    const RunInside pieces = piecesInside(address, n, size, areaWords(var->areaKind));
    for (int i = pieces.first; i < pieces.end; ++i) {
        const qint64 first = qint64(i) * size;
        var->address = int(address + first);
        out->append(*var);
        (*out)[out->size() - 1].count = int(qMin(qint64(size), n - first));
    }
}

/// Moves every entry \a order[i] of \a list to place i; \a order is used up.
static void reorder(QList<RW_VAR> &list, std::vector<qint64> &order)
{
    const QList<RW_VAR>::iterator entries = list.begin();
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (order[i] == qint64(i))
            continue;
        RW_VAR held = std::move(entries[int(i)]);
        std::size_t place = i;
        for (std::size_t from; (from = std::size_t(order[place])) != i; place = from) {
            entries[int(place)] = std::move(entries[int(from)]);
            order[place] = qint64(place);
        }
        entries[int(place)] = std::move(held);
        order[place] = qint64(place);
    }
}

/// Orders \a list by address; entries of the same address keep their order, or turn it around for newestFirst.
static void orderByAddress(QList<RW_VAR> &list, bool newestFirst)
{
    const qint64 kRanks = qint64(1) << 32;
    const int last = countOf(list) - 1;
    std::vector<qint64> order; // address x kRanks + rank among equals
    order.reserve(std::size_t(list.size()));
    for (int i = 0; i <= last; ++i)
        order.push_back(list.at(i).address * kRanks + (newestFirst ? last - i : i));
    if (std::is_sorted(order.begin(), order.end()))
        return;
    std::sort(order.begin(), order.end());
    for (qint64 &from : order) {
        const qint64 rank = from & (kRanks - 1);
        from = newestFirst ? last - rank : rank;
    }
    reorder(list, order);
}

void Bubble_Sort(QList<RW_VAR> *list)
{
    orderByAddress(*list, false);
}

namespace
{

/// The block that grows while a group is merged. Its numbers may leave the 32 bits that addresses have.
struct PendingBlock {
    qint64 start;
    qint64 length;

    /// Appends the words from start on, \a words long, to the polling list, unless they lie outside the area.
    void emitBlock(const RW_VAR &examined, qint64 words) const
    {
        if (words < 1 || start >= areaWords(examined.areaKind) || start + words <= 0)
            return;
        QList<RW_VAR> &polling = PLC_driver.lst_PollingReadVar;
        polling.append(examined);
        RW_VAR &block = polling[polling.size() - 1];
        block.address = int(start);
        block.count = int(words);
    }

    /// Emits whole blocks until at most \a maxLen words are left.
    void cut(const RW_VAR &examined, int maxLen)
    {
        const qint64 whole = length > maxLen ? (length - 1) / maxLen : 0;
        const qint64 end = start + whole * maxLen;
        const qint64 rest = length - whole * maxLen;
        // Blocks in front of the area and behind it are passed over without a step each.
        if (start < 0)
            start += qMin(whole, -start / maxLen) * maxLen;
        for (; start < end && start < areaWords(examined.areaKind); start += maxLen)
            emitBlock(examined, maxLen);
        start = end;
        length = rest;
    }
};

} // namespace

void WordVarReCreatBuild(QList<RW_VAR> *group, int maxLen)
{
    if (group->isEmpty() || maxLen < 1)
        return;
    PendingBlock pending = {group->at(0).address, group->at(0).count};
    pending.cut(group->at(0), maxLen);
    for (int i = 1; i < countOf(*group); ++i) {
        const RW_VAR &entry = group->at(i);
        if (entry.address > pending.start + pending.length + kBridgedGap) {
            pending.emitBlock(entry, pending.length);
            pending.start = entry.address;
            pending.length = entry.count;
        } else {
            pending.start = qMin(pending.start, qint64(entry.address));
            pending.length = qint64(entry.address) + entry.count - pending.start;
        }
        pending.cut(entry, maxLen);
    }
    pending.emitBlock(group->at(group->size() - 1), pending.length);
}

void sort_lst_PollingReadVar()
{
    QList<RW_VAR> &list = PLC_driver.lst_PollingReadVar;
    std::vector<qint64> order;
    order.reserve(std::size_t(list.size()));
    for (int i = countOf(list) - 1; i >= 0; --i)
        if (list.at(i).count <= kShortBlock)
            order.push_back(i);
    for (int i = 0; i < countOf(list); ++i)
        if (list.at(i).count > kShortBlock)
            order.push_back(i);
    reorder(list, order);
}

namespace
{

RW_VAR pollingTemplate(const ComInfo &info)
{
    RW_VAR var;
    var.ownerTag = kPollingTag;
    var.remoteMode = info.remoteMode;
    var.linkNo = info.linkNo;
    return var;
}

/// Puts the item into the template and turns bits into the words that they touch.
/// \return false for an item whose address is bad
bool takeItem(RW_VAR &var, const HostReadItem &item, int station)
{
    const int address = StringAddressToInt(item.areaKind, item.addrText);
    if (address < 0)
        return false;
    var.station = station;
    var.name = item.name;
    var.addrText = item.addrText;
    var.address = address;
    var.count = item.count;
    var.areaKind = wordKindOf(item.areaKind);
    if (isBitKind(item.areaKind))
        touchedWords(var, address);
    return true;
}

void planOneStation(const QList<HostReadItem> &items)
{
    const ComInfo &info = *PLC_driver.comInfo;
    QList<RW_VAR> groups[KindEV - KindT + 1];
    RW_VAR var = pollingTemplate(info);
    for (int i = 0; i < countOf(items); ++i) {
        if (items.at(i).areaKind > KindEV || !takeItem(var, items.at(i), info.defaultStation))
            continue;
        const int size = isBitKind(var.areaKind) ? kContactPiece : kBlockWords;
        WhetherGroup(var.count, size, &var, &groups[var.areaKind - KindT]);
    }
    for (QList<RW_VAR> &group : groups) {
        Bubble_Sort(&group);
        WordVarReCreatBuild(&group, kBlockWords);
    }
}

void planStations(const QList<HostReadItem> &items)
{
    std::vector<QList<RW_VAR>> groups; // in the order in which their keys first occur
    std::unordered_map<int, std::size_t> groupOfKey;
    RW_VAR var = pollingTemplate(*PLC_driver.comInfo);
    for (int i = 0; i < countOf(items); ++i) {
        if (!takeItem(var, items.at(i), items.at(i).station))
            continue;
        const RunInside pieces = piecesInside(var.address, var.count, kBlockWords, areaWords(var.areaKind));
        if (pieces.first == pieces.end)
            continue;
        const int key = var.areaKind * kGroupKeyFactor + var.station;
        const std::size_t group = groupOfKey.insert(std::make_pair(key, groups.size())).first->second;
        if (group == groups.size())
            groups.push_back(QList<RW_VAR>());
        WhetherGroup(var.count, kBlockWords, &var, &groups[group]);
    }
    for (std::size_t i = 0; i < groups.size(); ++i) {
        orderByAddress(groups[i], true); // of two pieces at the same address the newer one counts first
        WordVarReCreatBuild(&groups[i], kBlockWords);
    }
}

} // namespace

int ReCreatReadVarList(QList<HostReadItem> *items)
{
    QMutexLocker locker(&PLC_driver.mutexList);
    PLC_driver.lst_PollingReadVar.clear();
    if (items->isEmpty())
        return 0;
    PLC_driver.pollReplyCount = 0;
    PLC_driver.comInfo->cycleDone = 0;
    if (PLC_driver.comInfo->multiStation == 0)
        planOneStation(*items);
    else
        planStations(*items);
    sort_lst_PollingReadVar();
    return countOf(PLC_driver.lst_PollingReadVar);
}
