// frame_format.cpp - the writer of ASCII frames and the frame queue's way in.

#include "frames/frame_format.h"

#include "driver/matsushita_tcpip_net_p.h"
#include "frames/Func_Check.h"

#include <cstring>
#include <utility>

const char kDigitPairs[] = "00010203040506070809"
                           "10111213141516171819"
                           "20212223242526272829"
                           "30313233343536373839"
                           "40414243444546474849"
                           "50515253545556575859"
                           "60616263646566676869"
                           "70717273747576777879"
                           "80818283848586878889"
                           "90919293949596979899";

enum {
    kSpareFrames = 2,      // a monitor read has two frames beside the record that is kept
    kUsualFrameBytes = 107 // the longest frame of a polled read registers fourteen words in the monitor
};

/// The record that was answered last, if any; it serves the next request. Frames mostly come and go one at a time,
/// so that neither a record nor the bytes of its frame are allocated anew. Where a host still shares them, the next
/// request gets its own.
static QList<Protocol> answeredRecord;

/// Frames of records that are gone, for further frames of the next request.
static QByteArray spareFrames[kSpareFrames];
static int spareFrameCount;

/// The bytes of \a frame, \a size of them and all zero.
static char *zeroBytes(QByteArray &frame, int size)
{
    if (frame.isEmpty())
        frame.reserve(kUsualFrameBytes); // frames of all sizes then follow each other without a new allocation
    if (sizeOf(frame) != size)
        frame.resize(size);
    char *bytes = frame.data();
    std::memset(bytes, 0, std::size_t(size));
    return bytes;
}

FrameWriter::FrameWriter(QByteArray &frame, int size, int station, const char *code)
    : m_start(zeroBytes(frame, size)), m_next(m_start)
{
    letter(kHeader);
    letter(station > 4 ? '1' : '0'); // not the tens digit: only whether the number is above 4
    letter(kHexDigits[station & 15]);
    letter(kCommandMark);
    text(code);
}

void FrameWriter::hexDigit(int digit)
{
    letter(char(DigitalToASCII(digit)));
}

void FrameWriter::oddDecimal(char *end, qint64 value, int digits)
{
    for (; digits > 0; --digits, value /= 10)
        *--end = char(DigitalToASCII(int(value % 10)));
}

void FrameWriter::words(const QByteArray &data, int count)
{
    const int whole = qMin(count, sizeOf(data) / 2);
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(data.constData());
    char *out = m_next;
    for (int i = 0; i < 2 * whole; ++i) {
        *out++ = kHexDigits[bytes[i] >> 4];
        *out++ = kHexDigits[bytes[i] & 15];
    }
    if (count > 0)
        m_next += qint64(count) * kCharsPerWord;
}

void FrameWriter::closeUnchecked()
{
    text("**");
    letter(kTerminator);
}

void FrameWriter::closeChecked()
{
    unsigned char *next = reinterpret_cast<unsigned char *>(m_start);
    unsigned int check = 0;
    for (int left = int(m_next - m_start), part; left > 0; left -= part, next += part) {
        part = qMin(left, 0xFFFF); // what CalXOR counts in one call
        check ^= CalXOR(next, static_cast<unsigned short>(part));
    }
    letter(kHexDigits[check >> 4 & 15]);
    letter(kHexDigits[check & 15]);
    letter(kTerminator);
}

/// Appends a record to the frame queue, mostly one that was there before.
static Protocol &appendRecord()
{
    QList<Protocol> &queue = PLC_driver.lst_Protocol;
    if (queue.isEmpty() && !answeredRecord.isEmpty()) {
        std::swap(queue, answeredRecord);
        return queue[0];
    }
    static const Protocol empty;
    queue.append(empty);
    Protocol &record = queue[queue.size() - 1];
    if (spareFrameCount > 0)
        std::swap(record.frame, spareFrames[--spareFrameCount]);
    return record;
}

Protocol &queueRequest(int frameLen, int replyLen, int dataPos, int dataLen, const RW_VAR &var)
{
    Protocol &queued = appendRecord();
    const bool answered = var.station != kBroadcastStation;
    queued.frameLen = frameLen;
    queued.replyLen = answered ? replyLen : 0;
    queued.dataPos = answered ? dataPos : 0;
    queued.dataLen = answered ? dataLen : 0;
    copyVariable(var, queued.var);
    return queued;
}

void dropRequest()
{
    QList<Protocol> &queue = PLC_driver.lst_Protocol;
    if (queue.size() == 1) {
        answeredRecord.clear(); // not empty where a host has queued a record of its own
        std::swap(queue, answeredRecord);
        return;
    }
    if (spareFrameCount < kSpareFrames)
        std::swap(queue[0].frame, spareFrames[spareFrameCount++]);
    queue.removeFirst();
}

void announceFrames(int frames)
{
    ComInfo &info = *PLC_driver.comInfo;
    info.framesTotal = frames;
    info.framesDone = 0;
}
