// Func_DealData.cpp - decoding of accepted replies into the local store.
//
//  - Decoding goes through one table, so that every byte of a reply means what ASCIIToDigital and a mask say.
//  - Words that lie outside their area, or past the end of a short reply, are skipped.

#include "store/Func_DealData.h"

#include "driver/area_table.h"
#include "driver/matsushita_tcpip_net_p.h"
#include "frames/Func_Check.h"
#include "frames/frame_format.h"
#include "store/cells.h"

#include <cstring>

namespace
{

/// The low four bits of ASCIIToDigital.
constexpr quint8 digitOf(int ch)
{
    return quint8((ch < '0' || ch == '@' ? 0 : ch <= '?' ? ch - '0' : ch - ('A' - 10)) & 15);
}

constexpr quint8 highDigitOf(int ch)
{
    return quint8(digitOf(ch) << 4);
}

// clang-format off
#define ROW(f, c) f(c), f(c + 1), f(c + 2), f(c + 3), f(c + 4), f(c + 5), f(c + 6), f(c + 7), \
                  f(c + 8), f(c + 9), f(c + 10), f(c + 11), f(c + 12), f(c + 13), f(c + 14), f(c + 15)
#define EVERY_BYTE(f) ROW(f, 0x00), ROW(f, 0x10), ROW(f, 0x20), ROW(f, 0x30), ROW(f, 0x40), ROW(f, 0x50), \
                      ROW(f, 0x60), ROW(f, 0x70), ROW(f, 0x80), ROW(f, 0x90), ROW(f, 0xA0), ROW(f, 0xB0), \
                      ROW(f, 0xC0), ROW(f, 0xD0), ROW(f, 0xE0), ROW(f, 0xF0)
// clang-format on
const quint8 kDigit[256] = {EVERY_BYTE(digitOf)};
const quint8 kHighDigit[256] = {EVERY_BYTE(highDigitOf)};
#undef ROW
#undef EVERY_BYTE

quint8 decodeByte(const unsigned char *chars)
{
    return quint8(kHighDigit[chars[0]] | kDigit[chars[1]]);
}

/// The word that four data characters stand for: "3412" is 0x1234.
quint16 decodeWord(const char *chars)
{
    const unsigned char *c = reinterpret_cast<const unsigned char *>(chars);
    return quint16(decodeByte(c + 2) << 8 | decodeByte(c));
}

/// The data characters of a reply, as the request being answered says where they are.
struct ReplyWords {
    const char *first; ///< of word 0
    int promised;      ///< words that dataLen speaks of
    int there;         ///< of them, words whose four characters are all in the reply

    ReplyWords(const QByteArray &reply, const Protocol &request)
        : first(reply.constData() + request.dataPos), promised(qMax(0, request.dataLen / kCharsPerWord)), there(0)
    {
        const qint64 chars = qint64(reply.size()) - request.dataPos;
        if (request.dataPos >= 0 && chars > 0)
            there = int(qMin(qint64(promised), chars / kCharsPerWord));
    }

    quint16 at(int i) const { return decodeWord(first + i * kCharsPerWord); }
};

/// Stores the words at consecutive elements of \a area, which has \a size words.
void storeRun(const ReplyWords &words, int address, quint16 *area, int size)
{
    const RunInside inside = insideArea(address, words.there, size);
    for (int i = inside.first; i < inside.end; ++i)
        area[address + i] = words.at(i); // whole words: a remote reply is stored beside readers
}

/// Gives cell (station, kind, word) the word \a i of a reply, or an empty value where the reply ends before it.
void storeCell(CellAccess &cells, const ReplyWords &words, int i, int station, int kind, int word)
{
    if (i < words.there)
        cells.store(station, kind, word, words.at(i));
    else
        cells.changeable(station, kind, word).resize(0);
}

/// A grouped reply has one word per entry of qmap_list; a host may have shortened the list meanwhile.
int groupedWords(int words)
{
    return qMin(words, countOf(qmap_list));
}

void storeGroupInCells(const ReplyWords &words)
{
    CellAccess cells;
    for (int i = 0; i < groupedWords(words.promised); ++i) {
        const RW_VAR &entry = qmap_list.at(i);
        if (isWordKind(entry.areaKind) && entry.address >= 0 && entry.address < areaWords(entry.areaKind))
            storeCell(cells, words, i, entry.station, entry.areaKind, entry.address);
    }
}

void storeRunInCells(const ReplyWords &words, const RW_VAR &var)
{
    if (var.areaKind < KindT || var.areaKind > KindEV)
        return;
    const RunInside inside = insideArea(var.address, words.promised, areaWords(var.areaKind));
    CellAccess cells;
    for (int i = inside.first; i < inside.end; ++i)
        storeCell(cells, words, i, var.station, var.areaKind, var.address + i);
}

} // namespace

void SaveToLocalDataErea(QByteArray *reply)
{
    const Protocol &request = PLC_driver.lst_Protocol.at(0);
    const bool grouped = request.var.extra1 == kGroupedRead;
    if (PLC_driver.comInfo->multiStation == 0) {
        if (grouped)
            SaveWordMD(reply);
        else
            SaveWordToUS(reply);
        return;
    }
    const ReplyWords words(*reply, request);
    if (grouped)
        storeGroupInCells(words);
    else
        storeRunInCells(words, request.var);
}

void SaveWordToUS(QByteArray *reply)
{
    const Protocol &request = PLC_driver.lst_Protocol.at(0);
    const int kind = request.var.areaKind;
    if (kind < KindT || kind > KindEV)
        return;
    const AreaRow &row = *areaRow(kind);
    storeRun(ReplyWords(*reply, request), request.var.address, row.local, row.words);
}

void SaveWordMD(QByteArray *reply)
{
    const ReplyWords words(*reply, PLC_driver.lst_Protocol.at(0));
    for (int i = 0; i < groupedWords(words.there); ++i) {
        const RW_VAR &entry = qmap_list.at(i);
        if (!isWordKind(entry.areaKind))
            continue;
        const AreaRow &row = *areaRow(entry.areaKind);
        if (entry.address >= 0 && entry.address < row.words)
            row.local[entry.address] = words.at(i);
    }
}

void SaveWordToUC(QByteArray *reply)
{
    const Protocol &request = PLC_driver.lst_Protocol.at(0);
    if (!isBitKind(request.var.areaKind))
        return;
    const AreaRow &row = *areaRow(request.var.areaKind);
    storeRun(ReplyWords(*reply, request), request.var.address, row.local, row.words);
}

void SaveBitToUC(QByteArray *reply, unsigned char *base)
{
    const Protocol &request = PLC_driver.lst_Protocol.at(0);
    const int there = qMin(request.dataLen, sizeOf(*reply) - request.dataPos);
    if (request.dataPos >= 0 && there > 0)
        std::memcpy(base + request.var.address, reply->constData() + request.dataPos, std::size_t(there));
}

/// Stores the reply's binary words, high byte first, at base[address] onward.
/// \return the last word stored, 0 if there was none
static quint16 storeBinaryWords(const QByteArray &reply, const Protocol &request, unsigned short *base)
{
    const int words = request.dataLen / 2;
    const int pos = request.dataPos;
    quint16 last = 0;
    if (pos < 0)
        return last;
    // A word that the reply does not hold whole is not there to be stored.
    for (int i = 0; i < words && pos + 2 * i + 1 < sizeOf(reply); ++i) {
        last = quint16(quint8(reply.at(pos + 2 * i)) << 8 | quint8(reply.at(pos + 2 * i + 1)));
        base[request.var.address + i] = last;
    }
    return last;
}

/// \a word with the bit that the write at the head of lst_WriteVar names set or cleared, as its first byte says.
static quint16 withPendingBit(quint16 word)
{
    if (PLC_driver.lst_WriteVar.isEmpty() || PLC_driver.lst_WriteVar.at(0).data.isEmpty())
        return word;
    const RW_VAR &write = PLC_driver.lst_WriteVar.at(0);
    const int bit = write.address % kBitsPerWord;
    if (bit < 0)
        return word; // no such bit
    const unsigned int mask = 1u << bit;
    switch (write.data.at(0)) {
    case 0:
        return quint16(word & ~mask);
    case 1:
        return quint16(word | mask);
    default:
        return word;
    }
}

void SpecialRegisterSave(QByteArray *reply, unsigned short *base)
{
    enum { kValuePos = 4, kCrcPos = 6, kFrameSize = 8 };
    QList<Protocol> &queue = PLC_driver.lst_Protocol;
    const quint16 last = storeBinaryWords(*reply, queue.at(0), base);
    if (queue.at(0).var.extra1 != kStoreReply || queue.size() < 2)
        return;
    const quint16 word = withPendingBit(last);

    QByteArray frame = queue.at(1).frame;
    const int built = sizeOf(frame);
    if (built < kFrameSize)
        frame.append(QByteArray(kFrameSize - built, '\0'));
    char *bytes = frame.data();
    bytes[kValuePos] = char(word >> 8);
    bytes[kValuePos + 1] = char(word & 0xFF);
    const unsigned short crc = CalCRC(reinterpret_cast<unsigned char *>(bytes), kCrcPos);
    bytes[kCrcPos] = char(crc & 0xFF);
    bytes[kCrcPos + 1] = char(crc >> 8);
    queue[1].frame = frame;
}
