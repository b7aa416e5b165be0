// frame_format.cpp - the writer of ASCII frames and the frame queue's way in.

#include "frames/frame_format.h"

#include "frames/Func_Check.h"

#include <cstring>

FrameWriter::FrameWriter(int size, int station, const char *code) : m_frame(size, '\0'), m_next(m_frame.data())
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

void FrameWriter::text(const char *chars)
{
    while (*chars)
        *m_next++ = *chars++;
}

void FrameWriter::decimal(qint64 value, int digits)
{
    char *const field = m_next;
    m_next += digits;
    if (value >= 0 && value <= 0x7FFFFFFF) {
        quint32 rest = quint32(value); // 32-bit divisions: the panels' processors have no 64-bit ones
        for (int i = digits - 1; i >= 0; --i, rest /= 10)
            field[i] = char('0' + rest % 10);
        return;
    }
    for (int i = digits - 1; i >= 0; --i, value /= 10)
        field[i] = char(DigitalToASCII(int(value % 10)));
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
    unsigned char *next = reinterpret_cast<unsigned char *>(m_frame.data());
    unsigned int check = 0;
    for (int left = int(m_next - m_frame.constData()), part; left > 0; left -= part, next += part) {
        part = qMin(left, 0xFFFF); // what CalXOR counts in one call
        check ^= CalXOR(next, static_cast<unsigned short>(part));
    }
    letter(kHexDigits[check >> 4 & 15]);
    letter(kHexDigits[check & 15]);
    letter(kTerminator);
}

Protocol &queueFrame(const QByteArray &frame, int replyLen, int dataPos, int dataLen, const RW_VAR &var)
{
    QList<Protocol> &queue = PLC_driver.lst_Protocol;
    queue.append(Protocol());
    Protocol &queued = queue[queue.size() - 1];
    const bool answered = var.station != kBroadcastStation;
    queued.frame = frame;
    queued.frameLen = sizeOf(frame);
    queued.replyLen = answered ? replyLen : 0;
    queued.dataPos = answered ? dataPos : 0;
    queued.dataLen = answered ? dataLen : 0;
    queued.var = var;
    return queued;
}

void announceFrames(int frames)
{
    ComInfo &info = *PLC_driver.comInfo;
    info.framesTotal = frames;
    info.framesDone = 0;
}
