// fuzz_calls.cpp - the exported functions in any order with any arguments, and a host that changes the lists between.
//
// Invariant: whatever is called with whatever values, nothing is read or written that is not the driver's, no
// arithmetic overflows, every call comes back with no lock held, no list grows beyond 1,024 entries by a call that does
// not ask for "unchecked", and byte arrays that share their contents with an argument keep theirs.

#include "invariant.h"

#include "dice.h"
#include "walk.h"

#include <algorithm>
#include <limits>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

static ComInfo info, otherInfo; // the host's records; the driver has one of them

static void ignoreReadFinished(qint32, qint32, qint32, qint32) {}
static void ignoreCommFailed(QList<RW_VAR> *, qint32, qint32) {}

enum {
    kMostCalls = 150,
    kMostCells = 20000,     // what one input may make; a larger store is a matter of memory, not of correctness
    kMostListEntries = 2000 // likewise, for the lists that have no limit
};

static qint32 anyInt(Dice &dice)
{
    const qint32 highest = std::numeric_limits<qint32>::max(), lowest = std::numeric_limits<qint32>::min();
    switch (dice.below(8)) {
    case 0:
        return dice.oneOf<qint32>({highest, lowest, highest - 1, lowest + 1, highest / 4, -1, -2, 0x10000, 0xFFFF});
    case 1:
        return dice.oneOf<qint32>(
            {1249, 1250, 9999, 10000, 19999, 20000, 99999, 100000, 159999, 160000, 999999, 1000000, 1000001});
    case 2:
        return qint32(quint32(dice.below(65536)) << 16 | quint32(dice.below(65536)));
    case 3:
        return dice.below(256);
    default:
        return dice.below(20);
    }
}

static qint32 anyKind(Dice &dice)
{
    return dice.chance(90) ? dice.below(16) : anyInt(dice);
}

static QByteArray anyBytes(Dice &dice)
{
    const int size = dice.chance(95) ? dice.below(70) : dice.below(70000);
    QByteArray bytes(size, char(dice.below(256)));
    for (int i = 0; i < size && i < 8; ++i)
        bytes[i] = char(dice.below(256));
    return bytes;
}

static QString anyText(Dice &dice)
{
    if (dice.chance(80))
        return QString::number(anyInt(dice)) + (dice.chance(40) ? QString(QChar(dice.below(128))) : QString());
    QString text;
    for (int i = dice.below(14); i > 0; --i)
        text.append(QChar(dice.chance(80) ? dice.below(128) : dice.below(65536)));
    return text;
}

static RW_VAR anyVar(Dice &dice)
{
    RW_VAR var;
    var.ownerId = anyInt(dice);
    var.ownerTag = anyInt(dice);
    var.varFlag = dice.below(3);
    var.linkNo = dice.below(3);
    var.name = anyText(dice);
    var.addrText = anyText(dice);
    var.areaKind = anyKind(dice);
    var.address = anyInt(dice);
    var.station = anyInt(dice);
    var.count = anyInt(dice);
    var.extra1 = dice.oneOf<qint32>({0, 0, -1, 88, 99, 5});
    var.extra2 = anyInt(dice);
    var.data = anyBytes(dice);
    return var;
}

/// Multi-station mode makes a cell for every word that is asked for, as far as the area reaches.
static qint32 affordable(qint32 count)
{
    const int room = kMostCells - int(PLC_driver.lst_ExtendVar.size());
    return info.multiStation != 0 && count > room ? room : count;
}

static void changeEntry(Dice &dice, QList<RW_VAR> &list)
{
    const int at = dice.below(int(list.size()));
    switch (dice.below(5)) {
    case 0:
        if (list.size() < kMostListEntries)
            list.insert(at, anyVar(dice));
        break;
    case 1:
        if (!list.isEmpty())
            list.removeAt(at);
        break;
    case 2:
        if (!list.isEmpty())
            list[at] = anyVar(dice);
        break;
    case 3:
        if (!list.isEmpty())
            list.move(at, 0);
        break;
    default:
        list.clear();
    }
}

static void changeCell(Dice &dice)
{
    QList<EXTENDVAR> &cells = PLC_driver.lst_ExtendVar;
    const int at = dice.below(int(cells.size()));
    EXTENDVAR cell;
    cell.station = anyInt(dice);
    cell.areaKind = anyKind(dice);
    cell.address = anyInt(dice);
    cell.data = anyBytes(dice);
    if (dice.chance(50) || cells.isEmpty())
        cells.insert(at, cell);
    else if (dice.chance(50))
        cells[at] = cell;
    else
        cells.removeAt(at);
}

static void changeFrame(Dice &dice)
{
    if (PLC_driver.lst_Protocol.isEmpty())
        return;
    Protocol &frame = PLC_driver.lst_Protocol[0];
    frame.replyLen = dice.chance(50) ? -1 : anyInt(dice);
    frame.dataPos = anyInt(dice);
    frame.dataLen = affordable(anyInt(dice) / 4) * 4;
    frame.var.varFlag = dice.below(3);
    frame.var.areaKind = anyKind(dice);
    frame.var.address = anyInt(dice);
    frame.var.extra1 = dice.oneOf<qint32>({0, -1, 88});
}

static void changeSettings(Dice &dice)
{
    info.multiStation = dice.oneOf<qint32>({0, 0, 0, 1, 1, 1, -1, 2});
    info.remoteMode = dice.oneOf<qint32>({0, 0, 0, 0, 0, 0, 1, -1});
    info.linkNo = dice.chance(90) ? dice.below(3) : anyInt(dice);
    info.hostMode = dice.oneOf<qint32>({2, 2, 2, 2, 2, 0, 1, 3, -1});
    info.maxWordsPerWrite = dice.chance(60) ? 16 : anyInt(dice);
    info.defaultStation = anyInt(dice);
    info.retryLimit = dice.chance(60) ? dice.below(3) : anyInt(dice);
    info.retryCount = dice.chance(60) ? 0 : anyInt(dice);
    info.framesTotal = dice.chance(60) ? info.framesTotal : anyInt(dice);
    info.framesDone = dice.chance(60) ? info.framesDone : anyInt(dice);
    info.cycleDone = dice.chance(90) ? info.cycleDone : anyInt(dice);
    info.hostHandle = anyInt(dice);
    if (dice.chance(20))
        qmap_length = anyInt(dice);
    if (dice.chance(20))
        PLC_driver.pollReplyCount = anyInt(dice);
    if (dice.chance(20))
        PLC_driver.writeCount = anyInt(dice);
    if (dice.chance(20))
        PLC_driver.onceReadCount = anyInt(dice);
    if (dice.chance(20))
        PLC_driver.curReqKind = anyInt(dice);
}

/// A whole reply of the length that the head frame asks for, where that is affordable.
static void answer(Dice &dice)
{
    QByteArray reply;
    if (!PLC_driver.lst_Protocol.isEmpty()) {
        const int asked = PLC_driver.lst_Protocol.at(0).replyLen;
        if (asked >= 4 && asked < 100000) {
            reply = QByteArray(asked - 3, '0');
            reply[0] = '%';
            reply[asked > 6 ? 3 : 0] = asked > 6 ? '$' : '%';
            const unsigned x = plain::calXor(fromBytes(reply));
            reply.append(char(plain::digitalToAscii(int(x / 16))));
            reply.append(char(plain::digitalToAscii(int(x % 16))));
            reply.append('\r');
        }
    }
    const QByteArray shared = reply;
    DataCom(&reply, dice.chance(90) ? int(reply.size()) : anyInt(dice));
    require(reply == shared, "the reply was changed");
}

/// Set-up once more, in the middle of everything.
static void setUpAgain(Dice &dice)
{
    if (dice.chance(50)) {
        otherInfo = info;
        SetComInfo(&otherInfo);
        require(otherInfo.reserved40 == 0 && otherInfo.reserved52 == 0, "SetComInfo clears the reserved words");
        info = otherInfo;
        SetComInfo(&info);
    }
    const quint32 bits = quint32(anyInt(dice)), words = quint32(anyInt(dice)), indirect = quint32(anyInt(dice));
    FlashLocalRegister(bits, words, indirect);
    require(LB == bits && LW == words && RWI == indirect, "FlashLocalRegister stores the three bases");
    RegistCallBackFuncIntf(ignoreReadFinished, ignoreCommFailed);
}

/// Calls \a call, which appends to \a list.
template <typename Call> static void append(const QList<RW_VAR> &list, bool unchecked, Call call)
{
    const int before = int(list.size());
    call();
    require(unchecked || int(list.size()) <= std::max(before, 1024), "a call let a list grow beyond its limit");
}

static void rebuild(Dice &dice)
{
    QList<HostReadItem> items;
    for (int i = dice.below(12); i > 0; --i) {
        HostReadItem item;
        item.areaKind = quint8(dice.below(dice.chance(90) ? 16 : 256));
        item.station = quint8(dice.below(256));
        item.addrText = anyText(dice);
        item.name = anyText(dice);
        item.count = i == 1 ? anyInt(dice) : dice.below(600); // one huge item per list is enough
        items.append(item);
    }
    ReCreatReadVarList(&items);
}

static void callOne(Dice &dice)
{
    switch (dice.below(18)) {
    case 0:
    case 1:
    case 2:
        ComCommunication();
        break;
    case 3:
    case 4:
        answer(dice);
        break;
    case 5: {
        QByteArray reply = anyBytes(dice);
        if (dice.chance(20))
            DataCom(nullptr, 0);
        else
            DataCom(&reply, anyInt(dice));
        break;
    }
    case 6: {
        RW_VAR var = anyVar(dice);
        AddListReadVar(&var);
        break;
    }
    case 7: {
        RW_VAR var = anyVar(dice);
        var.count = affordable(var.count);
        const QByteArray data(var.data.constData(), int(var.data.size()));
        const qint32 direct = anyInt(dice);
        append(PLC_driver.lst_WriteVar, direct == 1, [&var, direct] { AddListWriteVar(&var, direct); });
        require(var.data == data, "the value to write was changed");
        break;
    }
    case 8: {
        RW_VAR var = anyVar(dice);
        const qint32 direct = anyInt(dice);
        append(PLC_driver.lst_OnceReadVar, direct == 1, [&var, direct] { AddListOnceReadVar(&var, direct); });
        break;
    }
    case 9:
        rebuild(dice);
        break;
    case 10: {
        QString name = anyText(dice), text = anyText(dice);
        QByteArray out = anyBytes(dice);
        const QByteArray shared = out, before(out.constData(), int(out.size()));
        GetRegisterData(dice.chance(50) ? &name : nullptr, anyKind(dice), &text, anyInt(dice), &out,
                        affordable(anyInt(dice)));
        require(shared == before, "an array that shares out's bytes was changed");
        break;
    }
    case 11: {
        QString name = anyText(dice), text = anyText(dice);
        QByteArray data = anyBytes(dice);
        const QByteArray before(data.constData(), int(data.size()));
        append(PLC_driver.lst_WriteVar, false, [&dice, &name, &text, &data] {
            SetRegisterData(dice.chance(50) ? &name : nullptr, anyKind(dice), &text, anyInt(dice), &data,
                            affordable(anyInt(dice)), anyInt(dice), anyInt(dice));
        });
        require(data == before, "the data to write was changed");
        break;
    }
    case 12:
        EnCommStation(anyInt(dice), anyInt(dice));
        break;
    case 13:
        PLCAddressChangeIntef(anyKind(dice), anyText(dice));
        break;
    case 14:
        changeSettings(dice);
        break;
    case 15:
        setUpAgain(dice);
        break;
    case 16: {
        QList<RW_VAR> *const lists[] = {&PLC_driver.lst_WriteVar, &PLC_driver.lst_OnceReadVar,
                                        &PLC_driver.lst_PollingReadVar, &qmap_list};
        changeEntry(dice, *lists[dice.below(4)]);
        break;
    }
    default:
        if (dice.chance(50))
            changeCell(dice);
        else
            changeFrame(dice);
    }
}

static bool isFree(QMutex &mutex)
{
    if (!mutex.tryLock())
        return false;
    mutex.unlock();
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    ByteDice dice(bytes, size);
    reloadDriver();
    info = ComInfo();
    info.multiStation = dice.below(2);
    info.maxWordsPerWrite = 16;
    info.defaultStation = 1;
    info.hostMode = 2;
    SetComInfo(&info);
    RegistCallBackFuncIntf(ignoreReadFinished, ignoreCommFailed);
    for (int i = 0; i < kMostCalls && !dice.usedUp(); ++i) {
        callOne(dice);
        require(isFree(PLC_driver.mutexList) && isFree(PLC_driver.mutexArea) && isFree(PLC_driver.mutexStation),
                "a call came back with a lock held");
        require(PLC_driver.lst_ReserveVar.isEmpty() && map_bit.isEmpty() && map_word.isEmpty(),
                "the reserved lists stay empty");
        require(QueryFinishFlag() == 1, "QueryFinishFlag");
    }
    return 0;
}
