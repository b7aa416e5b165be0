// binary_record.cpp - binary records: where one ends, and what a station answers to it.
//
//  - A record asks for the same memory as a text command does; its reply is that command's response, which has no limit
//    of size here.
//  - Multi-byte numbers of a record come most significant byte first; value bytes of a word low byte first.

#include "plcsim/simulator.h"

#include "station.h"

#include <algorithm>
#include <limits>

namespace plcsim
{

namespace
{

enum Offset {
    kLengthByte = 0,
    kFlagByte = 2,
    kStationByte = 4,
    kKindBytes = 5,
    kAddressBytes = 7,
    kCountBytes = 11,
    kValueBytes = 21,
    kReadSize = kValueBytes + 1 // the check byte follows
};
constexpr int kWriteFlag = 1;
constexpr int kLengthModulus = 256;

struct KindRow {
    Area area;
    bool bits;         // address and count are contacts
    const char *read;  // the matching text command
    const char *write; // null: the link cannot write this area
};

// clang-format off
constexpr KindRow kKinds[] = {
    // area     bits   read   write         kind
    { Area::X,  true,  "RCC", nullptr },  // 0
    { Area::Y,  true,  "RCC", "WCS" },
    { Area::R,  true,  "RCC", "WCS" },
    { Area::L,  true,  "RCC", "WCS" },
    { Area::T,  false, "RCC", nullptr },  // 4
    { Area::C,  false, "RCC", nullptr },
    { Area::X,  false, "RCC", nullptr },  // 6
    { Area::Y,  false, "RCC", "WCC" },
    { Area::R,  false, "RCC", "WCC" },
    { Area::L,  false, "RCC", "WCC" },
    { Area::DT, false, "RD",  "WD" },     // 10
    { Area::LD, false, "RD",  "WD" },
    { Area::FL, false, "RD",  "WD" },
    { Area::SV, false, "RS",  "WS" },
    { Area::EV, false, "RK",  "WK" },     // 14
};
// clang-format on
constexpr int kKindCount = sizeof(kKinds) / sizeof(kKinds[0]);

int byteAt(const QByteArray &bytes, int at)
{
    return static_cast<quint8>(bytes.at(at));
}
int pairAt(const QByteArray &bytes, int at)
{
    return byteAt(bytes, at) << 8 | byteAt(bytes, at + 1);
}

quint32 quadAt(const QByteArray &bytes, int at)
{
    return static_cast<quint32>(pairAt(bytes, at)) << 16 | static_cast<quint32>(pairAt(bytes, at + 2));
}

const KindRow *kindOf(const QByteArray &record)
{
    const int kind = pairAt(record, kKindBytes);
    return kind < kKindCount ? &kKinds[kind] : nullptr;
}

/// The value bytes that a write of the record's kind and count carries.
int valueBytesAsked(const QByteArray &record)
{
    const KindRow *kind = kindOf(record);
    const int count = pairAt(record, kCountBytes);
    return kind != nullptr && kind->bits ? count : 2 * count;
}

quint8 sumOf(const QByteArray &bytes, int size)
{
    quint8 sum = 0;
    for (int i = 0; i < size; ++i)
        sum = static_cast<quint8>(sum + byteAt(bytes, i));
    return sum;
}

/// What a record asks for, once it has been found whole and in order.
struct Request {
    const KindRow *kind;
    int first;
    int count;
};

/// First and last word that the request touches.
Span wordsOf(const Request &request)
{
    const int last = request.first + std::max(1, request.count) - 1;
    const int perWord = request.kind->bits ? kContactsPerWord : 1;
    return {request.kind->area, request.first / perWord, last / perWord};
}

Contact contactOf(const Request &request, int i)
{
    const int number = request.first + i;
    return {request.kind->area, number / kContactsPerWord, number % kContactsPerWord};
}

Refusal readValues(const Station &station, const Request &request, QByteArray *data)
{
    const Refusal refusal = station.mayRead(wordsOf(request));
    if (refusal != Refusal::None)
        return refusal;
    data->reserve(kCharsPerWord * request.count);
    for (int i = 0; i < request.count; ++i) {
        const bool bits = request.kind->bits;
        appendWord(data,
                   bits ? station.bit(contactOf(request, i)) : station.word(request.kind->area, request.first + i));
    }
    return Refusal::None;
}

Refusal writeValues(Station &station, const Request &request, const QByteArray &record)
{
    if (record.size() != kReadSize + valueBytesAsked(record))
        return Refusal::Format;
    const Refusal refusal = station.mayWrite(wordsOf(request));
    if (refusal != Refusal::None)
        return refusal;
    for (int i = 0; i < request.count; ++i) {
        if (request.kind->bits) {
            station.setBit(contactOf(request, i), byteAt(record, kValueBytes + i) == 1);
            continue;
        }
        const int at = kValueBytes + 2 * i;
        station.setWord(request.kind->area, request.first + i,
                        static_cast<quint16>(byteAt(record, at + 1) << 8 | byteAt(record, at)));
    }
    return Refusal::None;
}

Refusal execute(Station &station, const QByteArray &record, QByteArray *body, bool *executedWrite)
{
    if (!recordSumFits(record))
        return Refusal::Check;
    if (byteAt(record, kLengthByte) != record.size() % kLengthModulus)
        return Refusal::Format;
    const KindRow *kind = kindOf(record);
    const bool writes = record.size() > kReadSize;
    const char *command = kind == nullptr ? nullptr : writes ? kind->write : kind->read;
    if (command == nullptr)
        return Refusal::Parameter;
    Refusal refusal = station.mayExecute(command);
    if (refusal != Refusal::None)
        return refusal;
    const quint32 address = quadAt(record, kAddressBytes);
    constexpr quint32 kHighestAddress = std::numeric_limits<int>::max() / 2; // so that sums stay in range
    if (address > kHighestAddress)
        return writes ? Refusal::Operation : Refusal::Data;
    const Request request = {kind, static_cast<int>(address), pairAt(record, kCountBytes)};
    body->append(command, kEchoChars);
    if (!writes)
        return readValues(station, request, body);
    refusal = writeValues(station, request, record);
    *executedWrite = refusal == Refusal::None;
    return refusal;
}

} // namespace

std::optional<int> recordLength(const QByteArray &start)
{
    if (start.size() < kReadSize)
        return std::nullopt;
    const int said = (byteAt(start, kLengthByte) - kReadSize) & (kLengthModulus - 1);
    const int asked = valueBytesAsked(start);
    const bool agrees = asked % kLengthModulus == said;
    if (said != 0)
        return kReadSize + (agrees ? asked : said);
    if (!agrees || asked == 0)
        return kReadSize;
    const bool writes =
        byteAt(start, kFlagByte) == kWriteFlag || byteAt(start, kValueBytes) != sumOf(start, kValueBytes);
    return writes ? kReadSize + asked : static_cast<int>(kReadSize);
}

bool recordSumFits(const QByteArray &record)
{
    const int last = record.size() - 1;
    return last >= 0 && byteAt(record, last) == sumOf(record, last);
}

QByteArray respondToRecord(Station &station, const QByteArray &record, bool *executedWrite)
{
    const int limit = station.faults.frameLimit(std::numeric_limits<int>::max());
    QByteArray body;
    Refusal refusal = record.size() > limit ? Refusal::FrameOver : execute(station, record, &body, executedWrite);
    if (refusal == Refusal::None && body.size() + kFrameHead + kFrameTail > limit)
        refusal = Refusal::FrameOver;
    return refusal == Refusal::None ? responseFrame(kHeader, station.destination(), '$', body)
                                    : errorFrame(kHeader, station.destination(), static_cast<int>(refusal));
}

} // namespace plcsim
