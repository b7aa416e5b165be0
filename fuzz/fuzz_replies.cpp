// fuzz_replies.cpp - any bytes as replies to any kind of request.
//
// Invariant: for any bytes and any told length, DataCom returns retVar with a code of the table, reads nothing past the
// bytes that it was given and does not change them; a failed reply changes no area and no cell; after the retries the
// request is gone.
//
// Input: choices (station mode, path, kind of request, its variable), then replies: a form, a length, the bytes. Some
// forms get a fitting check code, since no fuzzer finds one by itself.

#include "invariant.h"

#include "dice.h"
#include "frames/Func_Check.h"
#include "walk.h"

#include <algorithm>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

static ComInfo info;

static void ignoreReadFinished(qint32, qint32, qint32, qint32) {}

static void ignoreCommFailed(QList<RW_VAR> *list, qint32, qint32 reason)
{
    require(list && list->isEmpty() && reason == 1, "the failure callback gets an empty list and the reason 1");
}

static void load(Dice &dice)
{
    reloadDriver();
    info = ComInfo();
    info.multiStation = dice.below(2);
    info.remoteMode = dice.below(2);
    info.linkNo = dice.below(2);
    info.defaultStation = 1;
    info.retryLimit = dice.below(3);
    info.maxWordsPerWrite = 16;
    info.hostMode = 2;
    SetComInfo(&info);
    RegistCallBackFuncIntf(ignoreReadFinished, ignoreCommFailed);
}

static void queueRequest(Dice &dice)
{
    RW_VAR var;
    var.ownerId = dice.below(14);
    var.linkNo = dice.below(2);
    var.varFlag = dice.below(3);
    var.areaKind = dice.below(16);
    var.station = dice.oneOf<qint32>({1, 2, 255});
    var.count = dice.oneOf<qint32>({1, 2, 4, 16, 0, -3, 300});
    var.address = dice.oneOf<qint32>({0, 7, 1248, 9998, 99999, 999990, -2});
    var.extra1 = dice.oneOf<qint32>({0, -1, 88});
    var.data = QByteArray(dice.below(40), char(dice.below(256)));
    switch (dice.below(3)) {
    case 0:
        AddListWriteVar(&var, 1);
        break;
    case 1:
        AddListOnceReadVar(&var, 1);
        break;
    default:
        for (int i = dice.below(4); i >= 0; --i, ++var.address)
            AddListReadVar(&var);
    }
}

/// One reply from the input, and the length that it is told to have.
static QByteArray nextReply(Dice &dice, int &told)
{
    const int asked = PLC_driver.lst_Protocol.at(0).replyLen;
    const int form = dice.below(8);
    const int size = form < 5 ? std::max(0, std::min(asked, 1500)) : dice.below(200);
    QByteArray reply(size, '0');
    for (int i = 0; i < size; ++i)
        reply[i] = char(dice.below(256));
    if (form != 4 && size >= 4) {
        reply[0] = '%';
        if (form != 3)
            reply[3] = form == 2 && size > 4 ? '!' : '$';
        unsigned char *const bytes = reinterpret_cast<unsigned char *>(reply.data());
        const unsigned x = CalXOR(bytes, static_cast<unsigned short>(size - 3));
        reply[size - 3] = char(DigitalToASCII(int(x >> 4 & 15)));
        reply[size - 2] = char(DigitalToASCII(int(x & 15)));
        reply[size - 1] = '\r';
    }
    told = size;
    if (form == 7)
        told = dice.oneOf<int>({-1, 0, 3, size + 1, 0x7FFFFFFF, -0x7FFFFFFF - 1, size - 1, asked});
    return reply;
}

static bool isCode(int code)
{
    const int base = code / 30 * 30 + 10; // 11 to 22, 41 to 52, 71 to 82 and the same 100 higher
    const bool local = code < 100 && code > base && code <= base + 12;
    const bool remote = code > 110 && code < 183 && (code - 110) % 30 >= 1 && (code - 110) % 30 <= 12;
    return code == 0 || code == 1 || code == 100 || local || remote;
}

/// The local areas as they were when last looked at.
class KeptAreas
{
public:
    void keep() { std::memcpy(m_kept.data(), areas(), m_kept.size()); }
    bool unchanged() const { return std::memcmp(m_kept.data(), areas(), m_kept.size()) == 0; }

private:
    static const char *areas() { return reinterpret_cast<const char *>(PLC_driver.localT); }
    std::vector<char> m_kept =
        std::vector<char>(std::size_t(reinterpret_cast<const char *>(PLC_driver.localEV + kWordsEV) - areas()));
};

/// An exact copy on the heap: a read past it is seen.
static QByteArray onTheHeap(std::vector<char> &memory, const QByteArray &bytes)
{
    memory.assign(bytes.constData(), bytes.constData() + bytes.size());
    return memory.empty() ? QByteArray() : QByteArray::fromRawData(memory.data(), int(memory.size()));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    ByteDice dice(bytes, size);
    load(dice);
    queueRequest(dice);
    queueRequest(dice);
    static KeptAreas before;
    before.keep();
    for (int i = 0; i < 12 && !dice.usedUp(); ++i) {
        const bool queued = ComCommunication() != nullptr;
        if (PLC_driver.curReqKind == RequestWrite) // a write shows in the store when its turn comes, frame or no frame
            before.keep();
        if (!queued) {
            QByteArray nothing;
            require(DataCom(&nothing, 0)->result == 1, "a reply without a request is reported good");
            continue;
        }
        int told = 0;
        std::vector<char> memory;
        const QByteArray given = nextReply(dice, told);
        QByteArray handed = onTheHeap(memory, given);
        const QList<EXTENDVAR> cells = PLC_driver.lst_ExtendVar;
        const bool absent = told == 0 && given.isEmpty() && dice.chance(50);
        const int code = DataCom(absent ? nullptr : &handed, told)->result;

        require(isCode(code), "DataCom's code is " + std::to_string(code));
        require(handed == given, "the reply was changed");
        require(PLC_driver.retVar.data.isEmpty(), "the result record carries no data");
        if (code == 1 || code == 100) {
            before.keep();
        } else {
            require(before.unchanged(), "only a good reply changes an area");
            bool same = cells.size() == PLC_driver.lst_ExtendVar.size();
            for (int k = 0; same && k < cells.size(); ++k)
                same = cells.at(k).data == PLC_driver.lst_ExtendVar.at(k).data;
            require(same, "only a good reply changes a cell");
        }
        require(code == 0 || code == 1 || code == 100 || PLC_driver.lst_Protocol.isEmpty(),
                "an abandoned request leaves no frame");
        require(info.retryCount <= info.retryLimit, "the retries are counted up to their limit");
    }
    return 0;
}
