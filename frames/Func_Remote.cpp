// Func_Remote.cpp - the binary request records of remote mode.

#include "frames/Func_Remote.h"

#include "driver/matsushita_tcpip_net_p.h"
#include "frames/Func_Check.h"
#include "frames/frame_format.h"
#include "store/Func_GetOrSetData.h"

#include <cstring>

enum {
    kRecordHead = 21, // length byte to extra2
    kRecordCheck = 1  // low byte of the sum
};

/// Writes the low \a bytes bytes of \a value, most significant first.
static char *writeBigEndian(char *out, qint32 value, int bytes)
{
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        *out++ = char(quint32(value) >> shift & 0xFF);
    return out;
}

/// The record of \a var with \a value behind its fields (empty for a read).
static QByteArray remoteRecord(const RW_VAR &var, const QByteArray &value)
{
    const int length = kRecordHead + sizeOf(value);
    QByteArray record(length + kRecordCheck, '\0');
    char *out = record.data();
    out = writeBigEndian(out, length + kRecordCheck, 1);
    out = writeBigEndian(out, var.ownerId, 1);
    out = writeBigEndian(out, var.varFlag, 1);
    out = writeBigEndian(out, var.linkNo, 1);
    out = writeBigEndian(out, var.station, 1);
    out = writeBigEndian(out, var.areaKind, 2);
    out = writeBigEndian(out, var.address, 4);
    out = writeBigEndian(out, var.count, 2);
    out = writeBigEndian(out, var.extra1, 4);
    out = writeBigEndian(out, var.extra2, 4);
    std::memcpy(out, value.constData(), std::size_t(value.size()));

    unsigned char *next = reinterpret_cast<unsigned char *>(record.data());
    unsigned int sum = 0;
    for (int left = length, part; left > 0; left -= part, next += part) {
        part = qMin(left, 0xFFFF); // what CalSUM counts in one call
        sum += CalSUM(next, static_cast<unsigned short>(part));
    }
    *next = static_cast<unsigned char>(sum & 0xFF);
    return record;
}

void Remote_WriteVar(RW_VAR *var)
{
    const QByteArray record = remoteRecord(*var, var->data);
    queueRequest(sizeOf(record), kAcknowledge, 0, 0, *var).frame = record;
    announceFrames(1);
    WriteDataToLocal(var);
}

void Remote_ReadVar(RW_VAR *var)
{
    if (var->extra1 == kGroupedRead || var->extra1 == kNeverForwarded)
        return;
    const qint64 chars = charsOfWords(var->count);
    const QByteArray record = remoteRecord(*var, QByteArray());
    queueRequest(sizeOf(record), length32(chars + kAcknowledge), kReplyHead, length32(chars), *var).frame = record;
    announceFrames(1);
}
