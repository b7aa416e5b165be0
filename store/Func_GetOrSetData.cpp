// Func_GetOrSetData.cpp - address texts, per-station cells, and the host's access to values.
//
//  - Runs of elements are clipped to their area before anything is read, written, made or queued.
//  - In multi-station mode one cell holds one word; a run of bits looks its cell up once per word.

#include "store/Func_GetOrSetData.h"

#include "driver/area_table.h"
#include "store/cells.h"

#include <cstring>

namespace
{

enum { kWriteToPlc = 2 }; // ComInfo::hostMode

struct Converted {
    int value; ///< 0 for a text that is no number
    bool fits; ///< false for a number beyond 32 bits
};

bool isNumber(const QString &text)
{
    int first = 0;
    int end = sizeOf(text);
    while (first < end && text.at(first).isSpace())
        ++first;
    while (end > first && text.at(end - 1).isSpace())
        --end;
    if (first < end && (text.at(first) == QLatin1Char('-') || text.at(first) == QLatin1Char('+')))
        ++first;
    for (int i = first; i < end; ++i)
        if (text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return false;
    return first < end;
}

/// The number that \a length plain digits from the front of \a text stand for: what nearly every address is made of.
/// \return -1 for anything else, and for more digits than surely fit 32 bits
int plainNumber(const QString &text, int length)
{
    enum { kMostDigits = 9 };
    if (length < 1 || length > kMostDigits)
        return -1;
    int number = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned int digit = text.at(i).unicode() - unsigned('0');
        if (digit > 9)
            return -1;
        number = 10 * number + int(digit);
    }
    return number;
}

/// The number that the first \a length characters of \a text stand for.
Converted decimal(const QString &text, int length)
{
    const int plain = plainNumber(text, length);
    if (plain >= 0) {
        const Converted number = {plain, true};
        return number;
    }
    const QString part = text.left(length);
    bool converted = false;
    const Converted result = {part.toInt(&converted, 10), true};
    if (converted)
        return result;
    const Converted failed = {0, !isNumber(part)};
    return failed;
}

/// The value of a hexadecimal digit; 0 for any other character.
int hexDigitOf(QChar ch)
{
    const unsigned int code = ch.unicode();
    if (code >= '0' && code <= '9')
        return int(code - '0');
    const unsigned int upper = code & ~0x20u;
    return upper >= 'A' && upper <= 'F' ? int(upper - 'A' + 10) : 0;
}

/// The word that bit \a bit lies in, counted from the start of the run, and how many bits of the run lie in it.
int bitsInWord(int bit, int end)
{
    return qMin(kBitsPerWord - bit % kBitsPerWord, end - bit);
}

/// Grows \a out to at least \a size bytes and returns its bytes, its own.
char *bytesUpTo(QByteArray &out, int size)
{
    if (sizeOf(out) < size)
        out.resize(size);
    return out.data();
}

quint16 wordOfBytes(const char *bytes)
{
    return quint16(quint8(bytes[0]) | quint8(bytes[1]) << 8);
}

void bytesOfWord(char *bytes, quint16 word)
{
    bytes[0] = char(word & 0xFF);
    bytes[1] = char(word >> 8);
}

} // namespace

int StringAddressToInt(int kind, QString text)
{
    const int length = sizeOf(text);
    if (!isRelayBitKind(kind)) {
        const Converted whole = decimal(text, length);
        return whole.fits ? whole.value : -1;
    }
    if (length == 0)
        return -1;
    const int bit = hexDigitOf(text.at(length - 1));
    if (length == 1)
        return bit;
    const Converted word = decimal(text, length - 1);
    const qint64 element = qint64(word.value) * kBitsPerWord + bit;
    return word.fits && element >= -0x7FFFFFFF && element <= 0x7FFFFFFF ? int(element) : -1;
}

int ExtendFindSameVar(int station, int kind, int word)
{
    CellAccess cells;
    return cells.find(station, kind, word);
}

// The store behind GetRegisterData -------------------------------------------------------------------------------

static void readCellBits(CellAccess &cells, int station, int kind, int address, int count, char *out)
{
    const int end = address + count;
    for (int bit = address, bits; bit < end; bit += bits) {
        bits = bitsInWord(bit, end);
        const QByteArray &value = cells.value(station, wordKindOf(kind), bit / kBitsPerWord);
        for (int i = 0; i < bits; ++i) {
            const int inWord = (bit + i) % kBitsPerWord;
            const bool held = inWord / 8 < sizeOf(value);
            *out++ = char(held ? value.at(inWord / 8) >> inWord % 8 & 1 : 0);
        }
    }
}

static void readCellWords(CellAccess &cells, int station, int kind, int address, int count, char *out)
{
    for (int i = 0; i < count; ++i, out += 2) {
        const QByteArray &value = cells.value(station, kind, address + i);
        const bool whole = sizeOf(value) >= 2;
        out[0] = whole ? value.at(0) : char(0);
        out[1] = whole ? value.at(1) : char(0);
    }
}

int GetRegisterData(QString *, int kind, QString *addrText, int station, QByteArray *out, int count)
{
    const int address = StringAddressToInt(kind, *addrText);
    if (address < 0)
        return 0;
    QMutexLocker locker(&PLC_driver.mutexArea);
    const AreaRow *row = areaRow(kind);
    const int inside = row ? insideArea(address, count, areaElements(kind)).end : 0;
    if (inside == 0)
        return 1;
    if (PLC_driver.comInfo->multiStation == 0) {
        if (isBitKind(kind))
            GetBitFromUS(*out, row->local, address, inside);
        else
            GetWordFromUS(*out, row->local, address, inside);
        return 1;
    }
    CellAccess cells;
    if (isBitKind(kind))
        readCellBits(cells, station, kind, address, inside, bytesUpTo(*out, inside));
    else
        readCellWords(cells, station, kind, address, inside, bytesUpTo(*out, 2 * inside));
    return 1;
}

// Writing --------------------------------------------------------------------------------------------------------

static void setBit(QByteArray &value, int inWord, bool on)
{
    char *bytes = value.data();
    const int mask = 1 << inWord % 8;
    bytes[inWord / 8] = char(on ? bytes[inWord / 8] | mask : bytes[inWord / 8] & ~mask);
}

static void writeCellBits(const RW_VAR &var, const RunInside &inside)
{
    CellAccess cells;
    const int given = sizeOf(var.data);
    for (int i = inside.first, bits; i < inside.end; i += bits) {
        const int bit = var.address + i;
        bits = bitsInWord(bit, var.address + inside.end);
        // The cell is made before the data is looked at, even where no byte is left for it.
        QByteArray &value = cells.changeable(var.station, wordKindOf(var.areaKind), bit / kBitsPerWord);
        if (value.isEmpty())
            continue;
        for (int j = i; j < qMin(i + bits, given); ++j) {
            const int inWord = (var.address + j) % kBitsPerWord;
            while (sizeOf(value) <= inWord / 8)
                value.append('\0');
            setBit(value, inWord, var.data.at(j) == 1);
        }
    }
}

static void writeCellWords(const RW_VAR &var, const RunInside &inside)
{
    CellAccess cells;
    const int end = qMin(inside.end, sizeOf(var.data) / 2);
    for (int i = inside.first; i < end; ++i)
        cells.store(var.station, var.areaKind, var.address + i, wordOfBytes(var.data.constData() + 2 * i));
}

/// The copy helpers take their bytes from the front, so a run that starts before its area loses its first bytes here.
static void writeArea(const RW_VAR &var, const RunInside &inside, const AreaRow &row)
{
    const int bytesPerElement = isBitKind(var.areaKind) ? 1 : 2;
    QByteArray data = inside.first == 0 ? var.data : var.data.mid(inside.first * bytesPerElement);
    const int start = var.address + inside.first;
    const int count = inside.end - inside.first;
    if (isBitKind(var.areaKind))
        SetBitToUS(start, row.local, &data, count);
    else
        SetWordToUS(start, row.local, &data, count);
}

void WriteDataToLocal(RW_VAR *var)
{
    QMutexLocker locker(&PLC_driver.mutexArea);
    const int kind = var->areaKind;
    if (kind < KindY || kind == KindT || kind == KindC || kind > KindEV)
        return;
    const RunInside inside = insideArea(var->address, var->count, areaElements(kind));
    if (inside.first == inside.end)
        return;
    if (PLC_driver.comInfo->multiStation == 0)
        writeArea(*var, inside, *areaRow(kind));
    else if (isBitKind(kind))
        writeCellBits(*var, inside);
    else
        writeCellWords(*var, inside);
}

/// Queues one piece of a host's write; while the link has failed its value also goes into the store.
static int queueWrite(RW_VAR &piece)
{
    const int queued = AddListWriteVar(&piece, 0);
    if (__atomic_load_n(&PLC_driver.bCommFail, __ATOMIC_RELAXED)) // the communication thread writes it
        WriteDataToLocal(&piece);
    return queued;
}

/// \a bytes of \a data from \a first on; zero bytes where it has none.
static QByteArray paddedBytes(const QByteArray &data, int first, int bytes)
{
    QByteArray piece(bytes, '\0');
    const int given = qMin(sizeOf(data) - first, bytes);
    if (given > 0)
        std::memcpy(piece.data(), data.constData() + first, std::size_t(given));
    return piece;
}

/// Cuts the run that \a write names into pieces of \a size elements and queues those that touch the area.
static int queuePieces(RW_VAR &write, const QByteArray &data, int size, int bytesPerElement)
{
    const int elements = areaElements(write.areaKind);
    const int address = write.address;
    const int count = qMin(write.count, elements);
    const RunInside pieces = piecesInside(address, count, size, elements);
    int queued = 0;
    for (int i = pieces.first; i < pieces.end; ++i) {
        const int first = i * size; // below count, so it cannot overflow
        write.address = address + first;
        write.count = qMin(size, count - first);
        write.data = paddedBytes(data, first * bytesPerElement, write.count * bytesPerElement);
        queued = queueWrite(write);
    }
    return queued;
}

int SetRegisterData(QString *name, int kind, QString *addrText, int station, QByteArray *data, int count, int ownerId,
                    int ownerTag)
{
    const int address = StringAddressToInt(kind, *addrText);
    if (address < 0)
        return 0;
    const ComInfo &info = *PLC_driver.comInfo;
    RW_VAR write;
    write.ownerId = ownerId;
    write.ownerTag = ownerTag;
    write.varFlag = 1; // the reply to a write carries nothing to store
    write.remoteMode = info.remoteMode;
    write.linkNo = info.linkNo;
    if (name)
        write.name = *name;
    write.addrText = *addrText;
    write.areaKind = kind;
    write.address = address;
    write.station = info.multiStation != 0 ? station : info.defaultStation;
    write.count = count;

    if (info.hostMode != kWriteToPlc) {
        write.data = *data;
        WriteDataToLocal(&write);
        return 1;
    }
    if (kind >= KindY && kind <= KindL)
        return queuePieces(write, *data, 1, 1);
    if (kind >= KindWY && kind <= KindEV)
        return queuePieces(write, *data, info.maxWordsPerWrite, 2);
    return 0; // inputs and contacts cannot be written
}

// Copy helpers ---------------------------------------------------------------------------------------------------

void GetBitFromUS(QByteArray &out, unsigned short *base, int start, int count)
{
    if (count < 1)
        return;
    char *bytes = bytesUpTo(out, count);
    for (int i = 0; i < count; ++i)
        bytes[i] = char(base[(start + i) / kBitsPerWord] >> (start + i) % kBitsPerWord & 1);
}

void GetWordFromUS(QByteArray &out, unsigned short *base, int start, int count)
{
    if (count < 1)
        return;
    char *bytes = bytesUpTo(out, 2 * count);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    std::memcpy(bytes, base + start, 2 * std::size_t(count));
#else
    for (int i = 0; i < count; ++i)
        bytesOfWord(bytes + 2 * i, base[start + i]);
#endif
}

void SetBitToUS(int start, unsigned short *base, QByteArray *in, int count)
{
    const int given = qMin(count, sizeOf(*in));
    const char *bytes = in->constData();
    for (int i = 0; i < given; ++i) {
        unsigned short &word = base[(start + i) / kBitsPerWord];
        const unsigned int mask = 1u << (start + i) % kBitsPerWord;
        word = quint16(bytes[i] == 1 ? word | mask : word & ~mask);
    }
}

void SetWordToUS(int start, unsigned short *base, QByteArray *in, int count)
{
    const int whole = qMin(count, sizeOf(*in) / 2);
    if (whole < 1)
        return;
    const char *bytes = in->constData();
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    std::memcpy(base + start, bytes, 2 * std::size_t(whole));
#else
    for (int i = 0; i < whole; ++i)
        base[start + i] = wordOfBytes(bytes + 2 * i);
#endif
}

void GetBitFromUC(QByteArray &out, unsigned char *base, int start, int count)
{
    if (count < 1)
        return;
    char *bytes = bytesUpTo(out, count);
    for (int i = 0; i < count; ++i)
        bytes[i] = char(base[start + i] & 1);
}

void SetBitToUC(int start, unsigned char *base, QByteArray *in, int count)
{
    const int given = qMin(count, sizeOf(*in));
    for (int i = 0; i < given; ++i)
        base[start + i] = in->at(i) == 1 ? 1 : 0;
}

void GetWordFromUI(QByteArray &out, unsigned short *base, int start, int count)
{
    if (count == 1) {
        bytesOfWord(bytesUpTo(out, 2), base[start + 1]);
        return;
    }
    if (count < 2)
        return;
    char *bytes = bytesUpTo(out, count / 2 * 4);
    for (int pair = 0; pair < count / 2; ++pair) {
        bytesOfWord(bytes + 4 * pair, base[start + 2 * pair + 1]);
        bytesOfWord(bytes + 4 * pair + 2, base[start + 2 * pair]);
    }
}

void SetWordToUI(int start, unsigned short *base, QByteArray *in, int count)
{
    const int whole = qMin(count / 2, sizeOf(*in) / 4);
    const char *bytes = in->constData();
    for (int pair = 0; pair < whole; ++pair) {
        base[start + 2 * pair + 1] = wordOfBytes(bytes + 4 * pair);
        base[start + 2 * pair] = wordOfBytes(bytes + 4 * pair + 2);
    }
}
