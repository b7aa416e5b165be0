// plain_driver.cpp - the reference driver's steps.

#include "plain_driver.h"

#include <climits>
#include <limits>
#include <utility>

namespace plain
{

// Small things --------------------------------------------------------------------------------------------------------

static Int saturated(Wide value)
{
    if (value > std::numeric_limits<Int>::max())
        return std::numeric_limits<Int>::max();
    if (value < std::numeric_limits<Int>::min())
        return std::numeric_limits<Int>::min();
    return Int(value);
}

static unsigned byteAt(const Bytes &bytes, Wide index)
{
    return static_cast<unsigned char>(bytes[std::size_t(index)]);
}

static Wide sizeOf(const Bytes &bytes)
{
    return Wide(bytes.size());
}

static char lowByte(Wide value)
{
    return char(value & 255);
}

static bool isBitKind(Int kind)
{
    return kind >= 0 && kind <= 5;
}

static bool isRelayBitKind(Int kind)
{
    return kind >= 0 && kind <= 3;
}

static bool isWordKind(Int kind)
{
    return kind >= 6 && kind <= 14;
}

unsigned calXor(const Bytes &bytes)
{
    unsigned x = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        x = x ^ byteAt(bytes, Wide(i));
    return x;
}

unsigned calSum(const Bytes &bytes)
{
    unsigned sum = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        sum = (sum + byteAt(bytes, Wide(i))) % 65536;
    return sum;
}

unsigned calCrc(const Bytes &bytes)
{
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        crc = crc ^ byteAt(bytes, Wide(i));
        for (int bit = 0; bit < 8; ++bit) {
            const bool lowest = crc % 2 == 1;
            crc = crc / 2;
            if (lowest)
                crc = crc ^ 0xA001;
        }
    }
    return crc;
}

unsigned calLrc(const Bytes &bytes)
{
    return 255 - calSum(bytes) % 256 + 1;
}

int digitalToAscii(int digit)
{
    return digit <= 9 ? digit + 0x30 : digit + 0x37;
}

int asciiToDigital(int ch)
{
    if (ch < 0x30)
        return 0;
    if (ch <= 0x3F)
        return ch - 0x30;
    if (ch == 0x40)
        return 0;
    return ch - 0x37;
}

/// The low \a digits digits of a number, each one divided out for itself.
static Bytes decimal(Wide value, int digits)
{
    Bytes text;
    for (int k = 1; k <= digits; ++k) {
        Wide power = 1;
        for (int i = 0; i < digits - k; ++i)
            power = power * 10;
        text += char(digitalToAscii(int(value / power % 10)));
    }
    return text;
}

static Bytes twoHexDigits(unsigned value)
{
    Bytes text;
    text += char(digitalToAscii(int(value / 16 % 16)));
    text += char(digitalToAscii(int(value % 16)));
    return text;
}

static Bytes bigEndian(Int value, int bytes)
{
    Bytes text;
    for (int k = bytes - 1; k >= 0; --k)
        text += lowByte(Wide(value) >> (8 * k));
    return text;
}

// Addresses -----------------------------------------------------------------------------------------------------------

Wide wordsOf(Int kind)
{
    switch (kind) {
    case 4:
    case 5:
        return 1250;
    case 0:
    case 1:
    case 2:
    case 3:
    case 6:
    case 7:
    case 8:
    case 9:
    case 11:
    case 13:
    case 14:
        return 10000;
    case 12:
        return 100000;
    default: // 10, and the kinds without an area
        return 1000000;
    }
}

Wide elementsOf(Int kind)
{
    return isBitKind(kind) ? wordsOf(kind) * 16 : wordsOf(kind);
}

/// Whether a run of words has a word in common with its area.
static bool touchesArea(Int kind, Wide address, Wide count)
{
    return count >= 1 && address < wordsOf(kind) && address + count > 0;
}

static bool isSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// A text as a number to a base: white space around it and one sign are allowed; anything else counts as 0.
/// Numbers beyond 10^12 stay there, which is far outside 32 bits.
static Wide numberIn(const Text &text, int base)
{
    std::size_t from = 0, to = text.size();
    while (from < to && isSpace(text[from]))
        ++from;
    while (to > from && isSpace(text[to - 1]))
        --to;
    bool negative = false;
    if (from < to && (text[from] == '+' || text[from] == '-')) {
        negative = text[from] == '-';
        ++from;
    }
    if (from == to)
        return 0;
    Wide value = 0;
    for (std::size_t i = from; i < to; ++i) {
        const char c = text[i];
        int digit = 99;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        if (digit >= base)
            return 0;
        value = value * base + digit;
        if (value > 1000000000000)
            value = 1000000000000;
    }
    return negative ? -value : value;
}

Int stringAddressToInt(Int kind, const Text &text)
{
    Wide number = 0;
    if (isRelayBitKind(kind)) {
        if (text.empty())
            return -1;
        if (text.size() == 1)
            number = numberIn(text, 16);
        else
            number = numberIn(text.substr(0, text.size() - 1), 10) * 16 + numberIn(text.substr(text.size() - 1), 16);
    } else {
        number = numberIn(text, 10);
    }
    if (number != saturated(number))
        return -1;
    return Int(number);
}

Wide wordsTouched(Wide a, Wide n)
{
    const Wide sum = a % 16 + n;
    Wide words = sum / 16;
    if (sum % 16 != 0)
        words = words + 1;
    return words;
}

// Copying between areas and bytes -------------------------------------------------------------------------------------

static void put(Bytes &out, Wide index, unsigned value)
{
    if (Wide(out.size()) <= index)
        out.resize(std::size_t(index + 1), '\0');
    out[std::size_t(index)] = char(value);
}

static bool inside(const std::vector<std::uint16_t> &area, Wide element)
{
    return element >= 0 && element < Wide(area.size());
}

void getBits(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count)
{
    for (Wide i = 0; i < count && start + i < Wide(area.size()) * 16; ++i) {
        const Wide b = start + i;
        if (b >= 0)
            put(out, i, unsigned(area[std::size_t(b / 16)] >> (b % 16)) & 1u);
    }
}

void getWords(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count)
{
    for (Wide i = 0; i < count && start + i < Wide(area.size()); ++i) {
        if (!inside(area, start + i))
            continue;
        const unsigned word = area[std::size_t(start + i)];
        put(out, 2 * i, word % 256);
        put(out, 2 * i + 1, word / 256);
    }
}

void setBits(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count)
{
    for (Wide i = 0; i < count && i < sizeOf(in); ++i) {
        const Wide b = start + i;
        if (b < 0 || !inside(area, b / 16))
            continue;
        const unsigned mask = 1u << (b % 16);
        const unsigned word = area[std::size_t(b / 16)];
        area[std::size_t(b / 16)] = std::uint16_t(byteAt(in, i) == 1 ? word | mask : word & ~mask);
    }
}

void setWords(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count)
{
    for (Wide i = 0; i < count && 2 * i + 1 < sizeOf(in); ++i)
        if (inside(area, start + i))
            area[std::size_t(start + i)] = std::uint16_t(byteAt(in, 2 * i + 1) * 256 + byteAt(in, 2 * i));
}

void getDoubleWords(Bytes &out, const std::vector<std::uint16_t> &area, Wide start, Wide count)
{
    if (count == 1) {
        put(out, 0, area[std::size_t(start + 1)] % 256u);
        put(out, 1, area[std::size_t(start + 1)] / 256u);
    }
    for (Wide k = 0; k < count / 2; ++k) {
        const unsigned low = area[std::size_t(start + 2 * k + 1)];
        const unsigned high = area[std::size_t(start + 2 * k)];
        put(out, 4 * k, low % 256);
        put(out, 4 * k + 1, low / 256);
        put(out, 4 * k + 2, high % 256);
        put(out, 4 * k + 3, high / 256);
    }
}

void setDoubleWords(Wide start, std::vector<std::uint16_t> &area, const Bytes &in, Wide count)
{
    for (Wide k = 0; k < count / 2; ++k) {
        if (sizeOf(in) <= 4 * k + 3)
            continue;
        area[std::size_t(start + 2 * k + 1)] = std::uint16_t(byteAt(in, 4 * k + 1) * 256 + byteAt(in, 4 * k));
        area[std::size_t(start + 2 * k)] = std::uint16_t(byteAt(in, 4 * k + 3) * 256 + byteAt(in, 4 * k + 2));
    }
}

// The driver object ---------------------------------------------------------------------------------------------------

Driver::Driver()
{
    for (Int kind = 4; kind <= 14; ++kind)
        area[kind].assign(std::size_t(wordsOf(kind)), 0);
}

void Driver::enCommStation(Int station, Int enable)
{
    if (station < 0) {
        offStations.clear();
        return;
    }
    if (enable == 0)
        offStations[station] = 0;
    if (enable == 1)
        offStations.erase(station);
}

bool Driver::stationIsOff(Int station) const
{
    return offStations.count(station) == 1;
}

Int Driver::findCell(Int station, Int kind, Int word)
{
    for (std::size_t i = 0; i < cells.size(); ++i)
        if (cells[i].station == station && cells[i].areaKind == kind && cells[i].address == word)
            return Int(i);
    cells.push_back({station, kind, word, Bytes(4, '\0')});
    return Int(cells.size() - 1);
}

// Variable lists ------------------------------------------------------------------------------------------------------

static const std::size_t kListLimit = 1024;

Int Driver::addListReadVar(const Var &var)
{
    polling.push_back(var);
    return Int(polling.size());
}

Int Driver::addListWriteVar(const Var &var, Int direct)
{
    if (direct == 1 || writes.size() < 2) {
        writes.push_back(var);
        return Int(writes.size());
    }
    for (std::size_t i = 1; i < writes.size(); ++i) {
        const Var &entry = writes[i];
        if (entry.station == var.station && entry.areaKind == var.areaKind && entry.address == var.address &&
            entry.count == var.count) {
            writes[i] = var;
            return Int(writes.size());
        }
    }
    if (writes.size() < kListLimit)
        writes.push_back(var);
    return Int(writes.size());
}

static bool sameOnceRead(const Var &a, const Var &b)
{
    return a.ownerId == b.ownerId && a.ownerTag == b.ownerTag && a.station == b.station && a.areaKind == b.areaKind &&
           a.address == b.address && a.count == b.count;
}

Int Driver::addListOnceReadVar(Var &var, Int direct)
{
    if (direct == 1) {
        onceReads.push_back(var);
        return Int(onceReads.size());
    }
    const Int a = stringAddressToInt(var.areaKind, var.addrText);
    if (a < 0)
        return 0;
    var.extra1 = 0;
    var.extra2 = 0;
    if (!multi())
        var.station = info.defaultStation;

    Wide address = var.address, count = var.count;
    if (isBitKind(var.areaKind)) {
        if (isRelayBitKind(var.areaKind))
            var.areaKind = var.areaKind + 6;
        address = a / 16;
        count = wordsTouched(a, var.count);
    } else if (isWordKind(var.areaKind)) {
        address = a;
    }
    var.address = Int(address);
    var.count = Int(count);

    Wide blocks = count / 16;
    if (count % 16 != 0)
        blocks = blocks + 1;
    for (Wide i = 0; i < blocks && address + 16 * i < wordsOf(var.areaKind); ++i) {
        const Wide start = address + 16 * i;
        const Wide length = i == blocks - 1 && count % 16 != 0 ? count % 16 : 16;
        if (!touchesArea(var.areaKind, start, length))
            continue;
        var.address = Int(start);
        var.count = Int(length);
        bool waiting = false;
        for (std::size_t k = 0; k < onceReads.size(); ++k)
            waiting = waiting || sameOnceRead(onceReads[k], var);
        if (!waiting && onceReads.size() < kListLimit)
            onceReads.push_back(var);
    }
    return Int(onceReads.size());
}

// Read planning -------------------------------------------------------------------------------------------------------

void whetherGroup(Wide n, Wide size, Var &var, std::vector<Var> &out)
{
    Wide pieces = n / size;
    if (n % size != 0)
        pieces = pieces + 1;
    const Wide address = var.address;
    for (Wide i = 0; i < pieces && address + i * size < wordsOf(var.areaKind); ++i) {
        const Wide start = address + i * size;
        const Wide length = i == pieces - 1 && n % size != 0 ? n % size : size;
        if (!touchesArea(var.areaKind, start, length))
            continue;
        var.address = Int(start);
        Var piece = var;
        piece.count = Int(length);
        out.push_back(piece);
    }
}

void exchangeSort(std::vector<Var> &list)
{
    const Wide n = Wide(list.size());
    for (Wide pass = 1; pass <= n - 1; ++pass)
        for (Wide j = n - 1; j >= pass; --j)
            if (list[std::size_t(j)].address < list[std::size_t(j - 1)].address)
                std::swap(list[std::size_t(j)], list[std::size_t(j - 1)]);
}

void Driver::wordVarReCreatBuild(const std::vector<Var> &group, Wide maxLen)
{
    if (group.empty() || maxLen < 1)
        return;
    const Var *examined = &group[0];
    const auto emit = [&](Wide start, Wide length) {
        if (!touchesArea(examined->areaKind, start, length))
            return;
        Var block = *examined;
        block.address = Int(start);
        block.count = Int(length);
        polling.push_back(block);
    };
    Wide S = group[0].address, L = group[0].count;
    const auto cut = [&]() {
        // Blocks in front of the area and behind it are never emitted; passing over them at once keeps this finite.
        if (S + L < 0 || S >= wordsOf(examined->areaKind)) {
            const Wide blocks = L > maxLen ? (L - 1) / maxLen : 0;
            S = S + blocks * maxLen;
            L = L - blocks * maxLen;
        }
        while (L > maxLen) {
            emit(S, maxLen);
            S = S + maxLen;
            L = L - maxLen;
        }
    };
    cut();
    for (std::size_t i = 1; i < group.size(); ++i) {
        examined = &group[i];
        const Wide A = examined->address, N = examined->count;
        if (A > S + L + 4) {
            emit(S, L);
            S = A;
            L = N;
        } else {
            if (A < S)
                S = A;
            L = A + N - S;
        }
        cut();
    }
    emit(S, L);
}

void Driver::sortPolling()
{
    for (std::size_t i = 0; i < polling.size(); ++i) {
        if (polling[i].count > 4)
            continue;
        const Var shortBlock = polling[i];
        polling.erase(polling.begin() + std::ptrdiff_t(i));
        polling.insert(polling.begin(), shortBlock);
    }
}

Int Driver::reCreatReadVarList(const std::vector<Item> &items)
{
    polling.clear();
    if (items.empty())
        return 0;
    Var var;
    var.ownerTag = -1;
    var.remoteMode = info.remoteMode;
    var.linkNo = info.linkNo;
    pollReplyCount = 0;
    info.cycleDone = 0;

    std::vector<Var> groupOfKind[15];           // single-station mode
    std::vector<Int> keys;                      // multi-station mode: in order of first occurrence,
    std::map<Int, std::vector<Var>> groupOfKey; // newest piece first
    for (const Item &item : items) {
        const Int a = stringAddressToInt(item.areaKind, item.addrText);
        if (a < 0)
            continue;
        var.station = multi() ? item.station : info.defaultStation;
        var.name = item.name;
        var.addrText = item.addrText;
        var.areaKind = isRelayBitKind(item.areaKind) ? item.areaKind + 6 : item.areaKind;
        var.address = isBitKind(item.areaKind) ? a / 16 : a;
        const Wide count = isBitKind(item.areaKind) ? wordsTouched(a, item.count) : item.count;

        if (!multi()) {
            if (item.areaKind > 14)
                continue;
            const Wide size = item.areaKind == 4 || item.areaKind == 5 ? 240 : 16;
            whetherGroup(count, size, var, groupOfKind[var.areaKind]);
            continue;
        }
        std::vector<Var> pieces;
        whetherGroup(count, 16, var, pieces);
        const Int key = var.areaKind * 255 + var.station;
        for (const Var &piece : pieces) {
            if (groupOfKey.count(key) == 0)
                keys.push_back(key);
            groupOfKey[key].insert(groupOfKey[key].begin(), piece);
        }
    }
    for (Int kind = 4; kind <= 14; ++kind) {
        exchangeSort(groupOfKind[kind]);
        wordVarReCreatBuild(groupOfKind[kind], 16);
    }
    for (const Int key : keys) {
        exchangeSort(groupOfKey[key]);
        wordVarReCreatBuild(groupOfKey[key], 16);
    }
    sortPolling();
    return Int(polling.size());
}

// Read requests -------------------------------------------------------------------------------------------------------

static Bytes frameStart(Int station)
{
    Bytes frame = "%";
    frame += char(digitalToAscii(station > 4 ? 1 : 0));
    frame += char(digitalToAscii(station & 15));
    frame += "#";
    return frame;
}

void Driver::announce(Int frameCount)
{
    info.framesTotal = frameCount;
    info.framesDone = 0;
}

void Driver::queueRead(const Bytes &bytes, const Var &var)
{
    Frame frame;
    frame.frame = bytes;
    frame.frameLen = Int(bytes.size());
    if (var.station != 255) {
        frame.replyLen = saturated(4 * Wide(var.count) + 9);
        frame.dataPos = 6;
        frame.dataLen = saturated(4 * Wide(var.count));
    }
    frame.var = var;
    frames.push_back(frame);
    announce(1);
}

static Wide lastOf(const Var &var)
{
    return Wide(var.address) + var.count - 1;
}

void Driver::readRegister()
{
    if (qmapList.empty())
        return;
    const Var first = qmapList[0];
    if (qmapList.size() > 1)
        readWordMD(first);
    else if (first.areaKind >= 10 && first.areaKind <= 12)
        readAnalog(first);
    else if (first.areaKind == 13 || first.areaKind == 14)
        readTCSK(first);
    else
        readBoolRCC(first);
}

void Driver::readBoolRCC(const Var &var)
{
    Bytes frame = frameStart(var.station) + "RCC";
    frame += var.areaKind >= 0 && var.areaKind <= 9 ? "XYRLTCXYRL"[var.areaKind] : '\0';
    frame += decimal(var.address, 4) + decimal(lastOf(var), 4) + "**\r";
    queueRead(frame, var);
}

void Driver::readAnalog(const Var &var)
{
    Bytes frame = frameStart(var.station) + "RD";
    frame += var.areaKind >= 10 && var.areaKind <= 12 ? "DLF"[var.areaKind - 10] : '\0';
    frame += decimal(var.address, 5) + decimal(lastOf(var), 5) + "**\r";
    queueRead(frame, var);
}

void Driver::readTCSK(const Var &var)
{
    Bytes frame = frameStart(var.station) + "R";
    frame += var.areaKind >= 13 && var.areaKind <= 14 ? "SK"[var.areaKind - 13] : '\0';
    frame += decimal(var.address, 4) + decimal(lastOf(var), 4);
    frame += twoHexDigits(calXor(frame)) + "\r";
    queueRead(frame, var);
}

void Driver::readWordMD(const Var &var)
{
    Bytes registration = frameStart(var.station) + "MD";
    for (const Var &entry : qmapList) {
        if (entry.areaKind >= 6 && entry.areaKind <= 9) {
            registration += "W";
            registration += "XYRL"[entry.areaKind - 6];
            registration += "0" + decimal(entry.address, 4);
        } else if (entry.areaKind >= 10 && entry.areaKind <= 14) {
            registration += "DLFSK"[entry.areaKind - 10];
            registration += decimal(entry.address, 5);
        }
    }
    registration += "**\r";
    const Bytes texts[3] = {frameStart(var.station) + "MDFFFFFF**\r", registration, frameStart(var.station) + "MG**\r"};
    for (int i = 0; i < 3; ++i) {
        Frame frame;
        frame.frame = texts[i];
        frame.frameLen = Int(texts[i].size());
        frame.var = var;
        frame.var.extra1 = 88;
        if (i < 2)
            frame.var.varFlag = 1;
        if (var.station != 255) {
            frame.replyLen = i < 2 ? 9 : Int(4 * qmapList.size() + 14);
            frame.dataPos = i < 2 ? 0 : 11;
            frame.dataLen = i < 2 ? 0 : Int(4 * qmapList.size());
        }
        frames.push_back(frame);
    }
    announce(3);
}

// Write requests ------------------------------------------------------------------------------------------------------

void Driver::writeRegister(const Var &var)
{
    if (var.areaKind >= 1 && var.areaKind <= 3)
        writeBool(var);
    if (var.areaKind >= 7 && var.areaKind <= 14)
        writeWords(var);
    if (bCommFail == 0)
        writeDataToLocal(var);
}

void Driver::writeBool(const Var &var)
{
    Bytes frame = frameStart(var.station) + "WCS";
    frame += var.areaKind >= 1 && var.areaKind <= 3 ? "YRL"[var.areaKind - 1] : '\0';
    frame += decimal(var.address / 16, 3);
    frame += char(digitalToAscii(var.address % 16));
    if (var.data.empty())
        return;
    frame += var.data[0] == 1 ? '1' : var.data[0] == 0 ? '0' : '\0';
    frame += twoHexDigits(calXor(frame)) + "\r";
    Frame queued;
    queued.frame = frame;
    queued.frameLen = 16;
    queued.replyLen = 9;
    queued.var = var;
    frames.push_back(queued);
    announce(1);
}

void Driver::writeWords(const Var &var)
{
    static const char *const commands[] = {"WCCY", "WCCR", "WCCL", "WDD", "WDL", "WDF", "WS", "WK"}; // from kind 7
    const int width = var.areaKind >= 10 && var.areaKind <= 12 ? 5 : 4;
    Bytes frame = frameStart(var.station) + commands[var.areaKind - 7];
    frame += decimal(var.address, width) + decimal(lastOf(var), width);
    for (Wide i = 0; i < var.count && i < wordsOf(var.areaKind); ++i) {
        if (sizeOf(var.data) >= 2 * i + 2)
            frame += twoHexDigits(byteAt(var.data, 2 * i)) + twoHexDigits(byteAt(var.data, 2 * i + 1));
        else
            frame += Bytes(4, '\0');
    }
    frame += twoHexDigits(calXor(frame)) + "\r";
    Frame queued;
    queued.frame = frame;
    queued.frameLen = Int(frame.size());
    queued.replyLen = var.station == 255 ? 0 : 9;
    queued.var = var;
    frames.push_back(queued);
    announce(1);
}

// Remote records ------------------------------------------------------------------------------------------------------

static Bytes remoteRecord(const Var &var, const Bytes &value)
{
    Bytes record(1, '\0');
    record += lowByte(var.ownerId);
    record += lowByte(var.varFlag);
    record += lowByte(var.linkNo);
    record += lowByte(var.station);
    record += bigEndian(var.areaKind, 2) + bigEndian(var.address, 4) + bigEndian(var.count, 2);
    record += bigEndian(var.extra1, 4) + bigEndian(var.extra2, 4);
    record += value;
    record[0] = lowByte(sizeOf(record) + 1);
    record += lowByte(Wide(calSum(record)));
    return record;
}

void Driver::remoteWriteVar(const Var &var)
{
    Frame queued;
    queued.frame = remoteRecord(var, var.data);
    queued.frameLen = Int(queued.frame.size());
    queued.replyLen = var.station == 255 ? 0 : 9;
    queued.var = var;
    frames.push_back(queued);
    announce(1);
    writeDataToLocal(var);
}

void Driver::remoteReadVar(const Var &var)
{
    const Bytes record = remoteRecord(var, Bytes());
    if (var.extra1 == 88 || var.extra1 == 99)
        return;
    queueRead(record, var);
}

// The communication cycle ---------------------------------------------------------------------------------------------

/// False when the list has run empty.
bool Driver::discardSwitchedOff(std::vector<Var> &list)
{
    while (!list.empty() && stationIsOff(list[0].station))
        list.erase(list.begin());
    return !list.empty();
}

bool Driver::comCommunication()
{
    if (!frames.empty())
        return true;
    qmapLength = 0;
    qmapList.clear();
    if (!writes.empty() && writeCount <= 4) {
        curReqKind = 1;
        if (!discardSwitchedOff(writes))
            return false;
        if (info.remoteMode != 0)
            remoteWriteVar(writes[0]);
        else
            writeRegister(writes[0]);
        writeCount = writeCount + 1;
    } else if (!onceReads.empty() && onceReadCount <= 4) {
        curReqKind = 2;
        if (!discardSwitchedOff(onceReads))
            return false;
        qmapLength = 1;
        qmapList.push_back(onceReads[0]);
        if (info.remoteMode == 0)
            readRegister();
        else
            remoteReadVar(onceReads[0]);
        onceReadCount = onceReadCount + 1;
    } else if (polling.empty()) {
        writeCount = 0;
        onceReadCount = 0;
        info.cycleDone = 1;
    } else {
        curReqKind = 0;
        if (info.remoteMode != 0) {
            qmapLength = 1;
            remoteReadVar(polling[0]);
        } else {
            gatherPollingGroup();
            if (qmapList.empty())
                return false;
            readRegister();
        }
        writeCount = 0;
        onceReadCount = 0;
    }
    return !frames.empty();
}

void Driver::gatherPollingGroup()
{
    for (std::size_t times = 0; times < polling.size(); ++times) {
        const Var &E = polling[std::size_t(qmapLength)];
        if (!isWordKind(E.areaKind)) {
            if (!qmapList.empty())
                return;
            qmapLength = 1;
            qmapList.push_back(E);
            return;
        }
        if (qmapList.empty() && E.count >= 5) {
            qmapLength = 1;
            qmapList.push_back(E);
            return;
        }
        qmapLength = qmapLength + 1;
        if (stationIsOff(E.station))
            continue;
        // A short entry is taken as it stands; of a long one, which joins behind a passed-over one, only what lies
        // inside.
        const Wide firstNumber = E.count > 4 ? 0 : Wide(INT_MIN);
        const Wide lastNumber = E.count > 4 ? wordsOf(E.areaKind) - 1 : Wide(INT_MAX);
        for (Wide i = 0; i < E.count && E.address + i <= lastNumber; ++i) {
            if (E.address + i < firstNumber)
                continue;
            Var element = E;
            element.count = 1;
            element.address = Int(E.address + i);
            qmapList.push_back(element);
        }
        if (std::size_t(qmapLength) == polling.size())
            return;
        const Var &next = polling[std::size_t(qmapLength)];
        if (next.count > 4)
            return;
        if (Wide(next.count) + Wide(qmapList.size()) > 14)
            return;
        if (!qmapList.empty() && next.station != qmapList[0].station)
            return;
    }
}

// Replies -------------------------------------------------------------------------------------------------------------

int Driver::checkGetData(const Bytes &reply, Int length) const
{
    if (length < 4 || length > sizeOf(reply))
        return 0;
    if (byteAt(reply, 0) != 0x25)
        return 0;
    if (byteAt(reply, length - 1) != 0x0D)
        return 0;
    Wide checked = (length - 3) & 0xFFFF; // the count is a 16-bit number, and the first byte always takes part
    if (checked == 0)
        checked = 1;
    const unsigned x = calXor(reply.substr(0, std::size_t(checked)));
    if (byteAt(reply, length - 2) != unsigned(digitalToAscii(int(x & 15))))
        return 0;
    if (byteAt(reply, length - 3) != unsigned(digitalToAscii(int(x >> 4 & 15))))
        return 0;
    if (frames[0].var.varFlag == 0)
        return byteAt(reply, 3) == 0x21 ? 0 : 1;
    return frames[0].var.varFlag == 1 ? 2 : 0;
}

static bool wordIsThere(const Bytes &reply, Wide lastChar)
{
    return lastChar - 3 >= 0 && lastChar < sizeOf(reply);
}

static unsigned digitOf(const Bytes &reply, Wide index)
{
    return unsigned(asciiToDigital(int(byteAt(reply, index)))) & 15u;
}

static unsigned wordEndingAt(const Bytes &reply, Wide lastChar)
{
    return (digitOf(reply, lastChar - 1) << 12) | (digitOf(reply, lastChar) << 8) |
           (digitOf(reply, lastChar - 3) << 4) | digitOf(reply, lastChar - 2);
}

void Driver::storeWord(Int kind, Wide element, unsigned word)
{
    if (kind >= 4 && kind <= 14 && inside(area[kind], element))
        area[kind][std::size_t(element)] = std::uint16_t(word);
}

void Driver::storeCell(const Bytes &reply, Wide lastChar, Int station, Int kind, Wide word)
{
    if (word < 0 || word >= wordsOf(kind))
        return;
    const Int index = findCell(station, kind, Int(word));
    Bytes &value = cells[std::size_t(index)].data;
    value.clear();
    if (!wordIsThere(reply, lastChar))
        return;
    value += char(wordEndingAt(reply, lastChar) % 256);
    value += char(wordEndingAt(reply, lastChar) / 256);
}

void Driver::saveToLocal(const Bytes &reply)
{
    const Frame head = frames[0];
    for (Wide i = 0; i < head.dataLen / 4; ++i) {
        const Wide lastChar = Wide(head.dataPos) + 4 * i + 3;
        if (head.var.extra1 == 88) {
            if (i >= Wide(qmapList.size()))
                return;
            const Var entry = qmapList[std::size_t(i)];
            if (!isWordKind(entry.areaKind))
                continue;
            if (multi())
                storeCell(reply, lastChar, entry.station, entry.areaKind, entry.address);
            else if (wordIsThere(reply, lastChar))
                storeWord(entry.areaKind, entry.address, wordEndingAt(reply, lastChar));
        } else {
            const Wide element = Wide(head.var.address) + i;
            if (head.var.areaKind < 4 || head.var.areaKind > 14 || element >= wordsOf(head.var.areaKind))
                return;
            if (multi())
                storeCell(reply, lastChar, head.var.station, head.var.areaKind, element);
            else if (wordIsThere(reply, lastChar))
                storeWord(head.var.areaKind, element, wordEndingAt(reply, lastChar));
        }
    }
}

void Driver::saveWordToUC(const Bytes &reply)
{
    static const Int areaOfBitKind[] = {6, 7, 8, 9, 4, 5};
    const Frame head = frames[0];
    for (Wide i = 0; i < head.dataLen / 4 && isBitKind(head.var.areaKind); ++i) {
        const Wide lastChar = Wide(head.dataPos) + 4 * i + 3;
        if (wordIsThere(reply, lastChar))
            storeWord(areaOfBitKind[head.var.areaKind], Wide(head.var.address) + i, wordEndingAt(reply, lastChar));
        else if (lastChar >= sizeOf(reply))
            return;
    }
}

void Driver::saveBitToUC(const Bytes &reply, Bytes &base) const
{
    const Frame &head = frames[0];
    for (Wide j = 0; j < head.dataLen; ++j)
        if (head.dataPos + j < sizeOf(reply))
            base[std::size_t(head.var.address + j)] = reply[std::size_t(head.dataPos + j)];
}

void Driver::specialRegisterSave(const Bytes &reply, std::vector<std::uint16_t> &base)
{
    const Frame head = frames[0];
    const Wide p = head.dataPos, n = head.dataLen / 2, a = head.var.address;
    unsigned w = 0;
    for (Wide i = 0; i < n; ++i) {
        if (p + 2 * i + 1 >= sizeOf(reply)) // bytes that are not there cannot be stored
            break;
        w = byteAt(reply, p + 2 * i) * 256 + byteAt(reply, p + 2 * i + 1);
        base[std::size_t(a + i)] = std::uint16_t(w);
    }
    if (head.var.extra1 != -1 || frames.size() < 2)
        return;
    if (!writes.empty() && !writes[0].data.empty() && writes[0].address >= 0) {
        const unsigned mask = 1u << (writes[0].address % 16);
        if (writes[0].data[0] == 1)
            w = w | mask;
        if (writes[0].data[0] == 0)
            w = w & ~mask;
    }
    Bytes &frame = frames[1].frame;
    put(frame, 4, w / 256);
    put(frame, 5, w % 256);
    const unsigned c = calCrc(frame.substr(0, 6));
    put(frame, 6, c % 256);
    put(frame, 7, c / 256);
}

int Driver::switchErrorReturn(int base) const
{
    const Int ownerId = frames.empty() ? 0 : frames[0].var.ownerId;
    return ownerId >= 1 && ownerId <= 11 ? base + ownerId + 1 : base + 1;
}

int Driver::driverReturnValue(int reason) const
{
    switch (reason) {
    case 0:
        return 1;
    case 1:
        return switchErrorReturn(10);
    case 2:
        return switchErrorReturn(40);
    case 3:
        return switchErrorReturn(70);
    case 4:
        return 100;
    case 5:
        return switchErrorReturn(110);
    case 6:
        return switchErrorReturn(140);
    case 7:
        return switchErrorReturn(170);
    default:
        return 200;
    }
}

int Driver::dealLocal(const Bytes &reply, Int length)
{
    const Int replyLen = frames[0].replyLen;
    if (length == 0 && replyLen != 0)
        return driverReturnValue(2);
    if (length != replyLen && replyLen != -1)
        return driverReturnValue(3);
    const int answer = checkGetData(reply, length);
    if (answer == 1)
        saveToLocal(reply);
    return answer == 0 ? driverReturnValue(1) : driverReturnValue(0);
}

int Driver::dealRemote(const Bytes &reply, Int length)
{
    const Int replyLen = frames[0].replyLen;
    if (length == 0 && replyLen != 0)
        return driverReturnValue(6);
    if (length != replyLen && replyLen != -1)
        return driverReturnValue(7);
    if (checkGetData(reply, length) == 0)
        return driverReturnValue(5);
    if (frames[0].var.extra1 != -1)
        return driverReturnValue(4);
    saveToLocal(reply);
    return driverReturnValue(info.framesDone == 1 ? 4 : 0);
}

void Driver::dataCom(const Bytes &reply, Int length)
{
    retVar.result = 1;
    if (frames.empty())
        return;
    const bool local = frames[0].var.linkNo == info.linkNo;
    const int code = local ? dealLocal(reply, length) : dealRemote(reply, length);
    if (code == 1 || code == 100) {
        bCommFail = 0;
        frames.erase(frames.begin());
        info.framesDone = info.framesDone + 1;
        if (info.framesDone < info.framesTotal) {
            retVar.result = code;
            return;
        }
        if (info.cycleDone == 0 && local) {
            pollReplyCount = pollReplyCount + 1;
            if (pollReplyCount > Wide(polling.size())) {
                pollReplyCount = 0;
                info.cycleDone = 1;
            }
        }
    } else {
        bCommFail = 1;
        pollReplyCount = 0;
        info.cycleDone = 0;
        info.retryCount = info.retryCount + 1;
        if (info.retryCount <= info.retryLimit) {
            retVar.result = 0;
            return;
        }
        info.retryCount = 0;
        frames.clear();
    }
    endRequest(local);
    if (bCommFail != 0) {
        calls.push_back("error " + std::to_string(retVar.ownerId) + " 1");
        dropWhatWouldFail();
    }
    retVar.result = code;
}

static void passRetValue(const Var &from, Var &to)
{
    to = from;
    to.data.clear();
}

void Driver::endOnceRead(bool local)
{
    if (onceReads.empty())
        return;
    const Var first = onceReads[0];
    bool another = false;
    for (std::size_t i = 1; i < onceReads.size(); ++i)
        another = another || (onceReads[i].ownerId == first.ownerId && onceReads[i].ownerTag == first.ownerTag);
    const std::string told = "finish " + std::to_string(info.hostHandle) + " " + std::to_string(first.ownerId) + " " +
                             std::to_string(first.ownerTag) + " ";
    if (local && bCommFail == 1)
        calls.push_back(told + "2");
    if (local && bCommFail == 0 && !another)
        calls.push_back(told + "1");
    passRetValue(first, retVar);
    onceReads.erase(onceReads.begin());
}

void Driver::endRequest(bool local)
{
    if (curReqKind == 1 && !writes.empty()) {
        passRetValue(writes[0], retVar);
        writes.erase(writes.begin());
    }
    if (curReqKind == 2)
        endOnceRead(local);
    if (curReqKind == 0 && !polling.empty()) {
        passRetValue(polling[0], retVar);
        // A full turn changes nothing, so only what is left of the turns is walked.
        const Wide turns = qmapLength > 0 ? qmapLength % Wide(polling.size()) : 0;
        for (Wide i = 0; i < turns; ++i) {
            const Var first = polling[0];
            polling.erase(polling.begin());
            polling.push_back(first);
        }
    }
}

void Driver::dropWhatWouldFail()
{
    for (std::size_t i = 0; i < onceReads.size();) {
        const Var &entry = onceReads[i];
        const bool sameStation = !multi() || entry.station == retVar.station;
        if (sameStation && entry.ownerId == retVar.ownerId && entry.ownerTag == retVar.ownerTag)
            onceReads.erase(onceReads.begin() + std::ptrdiff_t(i));
        else
            ++i;
    }
    for (std::size_t i = 0; i < writes.size();) {
        if (!multi() || writes[i].station == retVar.station)
            writes.erase(writes.begin() + std::ptrdiff_t(i));
        else
            ++i;
    }
}

// Host register access ------------------------------------------------------------------------------------------------

Int Driver::getRegisterData(Int kind, const Text &addrText, Int station, Bytes &out, Int count)
{
    const Int a = stringAddressToInt(kind, addrText);
    if (a < 0)
        return 0;
    if (kind < 0 || kind > 14)
        return 1;
    const Int wordKind = isRelayBitKind(kind) ? kind + 6 : kind;
    if (!multi()) {
        if (isBitKind(kind))
            getBits(out, area[wordKind], a, count);
        else
            getWords(out, area[wordKind], a, count);
        return 1;
    }
    for (Wide i = 0; i < count; ++i) {
        const Wide element = a + i;
        if (element >= elementsOf(kind))
            break;
        if (isBitKind(kind)) {
            const Int index = findCell(station, wordKind, Int(element / 16));
            const Bytes &value = cells[std::size_t(index)].data;
            const Wide at = element % 16 / 8;
            const unsigned byte = at < sizeOf(value) ? byteAt(value, at) : 0;
            put(out, i, byte >> (element % 16 % 8) & 1u);
        } else {
            const Int index = findCell(station, wordKind, Int(element));
            const Bytes &value = cells[std::size_t(index)].data;
            put(out, 2 * i, value.size() < 2 ? 0 : byteAt(value, 0));
            put(out, 2 * i + 1, value.size() < 2 ? 0 : byteAt(value, 1));
        }
    }
    return 1;
}

Int Driver::setRegisterData(const Text &name, Int kind, const Text &addrText, Int station, const Bytes &data, Int count,
                            Int ownerId, Int ownerTag)
{
    const Int a = stringAddressToInt(kind, addrText);
    if (a < 0)
        return 0;
    Var w;
    w.ownerId = ownerId;
    w.ownerTag = ownerTag;
    w.varFlag = 1;
    w.remoteMode = info.remoteMode;
    w.linkNo = info.linkNo;
    w.name = name;
    w.addrText = addrText;
    w.areaKind = kind;
    w.station = multi() ? station : info.defaultStation;
    if (info.hostMode != 2) {
        w.address = a;
        w.count = count;
        w.data = data;
        writeDataToLocal(w);
        return 1;
    }
    Wide pieceLength = 0;
    if (kind >= 1 && kind <= 3)
        pieceLength = 1;
    if (kind >= 7 && kind <= 14)
        pieceLength = info.maxWordsPerWrite;
    if (pieceLength < 1 || count < 1)
        return 0;
    const Wide bytesPerElement = isBitKind(kind) ? 1 : 2;
    const Wide total = count < elementsOf(kind) ? count : elementsOf(kind);
    Int result = 0;
    for (Wide done = 0; done < total; done = done + pieceLength) {
        if (a + done >= elementsOf(kind))
            break;
        const Wide length = total - done < pieceLength ? total - done : pieceLength;
        w.address = Int(a + done);
        w.count = Int(length);
        w.data.clear();
        for (Wide i = 0; i < length * bytesPerElement; ++i) {
            const Wide from = done * bytesPerElement + i;
            w.data += from < sizeOf(data) ? data[std::size_t(from)] : '\0';
        }
        result = addListWriteVar(w, 0);
        if (bCommFail != 0)
            writeDataToLocal(w);
    }
    return result;
}

void Driver::writeDataToLocal(const Var &var)
{
    const Int k = var.areaKind;
    if (k < 1 || k > 14 || k == 4 || k == 5)
        return;
    if (!multi()) {
        if (isBitKind(k))
            setBits(var.address, area[k + 6], var.data, var.count);
        else
            setWords(var.address, area[k], var.data, var.count);
        return;
    }
    for (Wide i = 0; i < var.count && var.address + i < elementsOf(k); ++i) {
        const Wide element = var.address + i;
        if (element < 0)
            continue;
        if (isBitKind(k)) {
            const Int index = findCell(var.station, k + 6, Int(element / 16));
            Bytes &value = cells[std::size_t(index)].data;
            if (value.empty() || i >= sizeOf(var.data))
                continue;
            const Wide at = element % 16 / 8;
            if (sizeOf(value) <= at)
                value.resize(std::size_t(at + 1), '\0');
            const unsigned mask = 1u << (element % 8);
            const unsigned byte = byteAt(value, at);
            value[std::size_t(at)] = char(var.data[std::size_t(i)] == 1 ? byte | mask : byte & ~mask);
        } else if (2 * i + 1 < sizeOf(var.data)) {
            const Int index = findCell(var.station, k, Int(element));
            cells[std::size_t(index)].data = var.data.substr(std::size_t(2 * i), 2);
        }
    }
}

} // namespace plain
