// frame_format.h - the shape of ASCII frames, and the one writer that makes them.
//
//  - A request: header, two destination characters, command mark, command text, two check characters, CR.
//  - The writer allocates a frame's bytes once; positions that are never written stay zero bytes.

#ifndef FRAME_FORMAT_H
#define FRAME_FORMAT_H

#include "matsushita_tcpip_net.h"

#include <cstring>

const char kHeader = '%';
const char kCommandMark = '#';
const char kErrorMark = '!';
const char kTerminator = '\r';
const char kHexDigits[] = "0123456789ABCDEF";
extern const char kDigitPairs[]; ///< "00" to "99", so that a number is written two digits at a time

enum {                                          // characters on the wire
    kDestinationChars = 2,                      // never the station's decimal number, see FrameWriter
    kCharsPerWord = 4,                          // hexadecimal, low byte first
    kCheckChars = 2,                            // hexadecimal, upper case
    kMarkPos = 1 + kDestinationChars,           // response mark: '$' or '!'
    kRequestHead = 1 + kDestinationChars + 1,   // %, destination, #
    kReplyHead = 1 + kDestinationChars + 1 + 2, // %, station, mark, echoed command
    kReplyTail = kCheckChars + 1,               // check code, CR
    kAcknowledge = kReplyHead + kReplyTail,     // a reply without data
    kShortestReply = 4,                         // what the reply check takes apart at all
    kBroadcastStation = 255                     // executed by every PLC, answered by none
};
static_assert(kAcknowledge == 9, "a reply without data is 9 bytes");

/// \a length where it fits 32 bits, else the nearest number that does: counts that no PLC has must not overflow.
inline int length32(qint64 length)
{
    return int(qBound(-qint64(0x7FFFFFFF) - 1, length, qint64(0x7FFFFFFF)));
}

/// Characters of \a words data words.
inline qint64 charsOfWords(qint64 words)
{
    return words * kCharsPerWord;
}

/// Writes one frame from its header to its CR.
///
/// Example, the request "%01#RDD0010000115**" and CR:
///
///     FrameWriter frame(queued.frame, 20, 1, "RD");
///     frame.letter('D');
///     frame.decimal<5>(100);
///     frame.decimal<5>(115);
///     frame.closeUnchecked();
class FrameWriter
{
public:
    /// Makes \a frame \a size bytes long and opens it with header, destination of \a station, command mark and \a code.
    FrameWriter(QByteArray &frame, int size, int station, const char *code);

    void letter(char c) { *m_next++ = c; }
    void hexDigit(int digit);
    void text(const char *chars)
    {
        char *next = m_next; // what is written could be m_next itself, for all that the compiler knows
        while (*chars)
            *next++ = *chars++;
        m_next = next;
    }

    /// The low \a Digits decimal digits of \a value: 7 in five digits is "00007", 12345 in four "2345". A negative
    /// value gives what taking its digits one by one gives, characters below '0'.
    template <int Digits> void decimal(qint64 value)
    {
        char *field = m_next + Digits; // filled from its end
        m_next = field;
        if (value < 0 || value > 0x7FFFFFFF) {
            oddDecimal(field, value, Digits);
            return;
        }
        quint32 rest = quint32(value); // 32-bit divisions: the panels' processors have no 64-bit ones
        for (int left = Digits; left >= 2; left -= 2, rest /= 100) {
            field -= 2;
            std::memcpy(field, kDigitPairs + 2 * (rest % 100), 2);
        }
        if (Digits % 2 == 1)
            *--field = char('0' + rest % 10);
    }

    /// \a count words of \a data, two bytes each, as four hexadecimal characters. A word whose two bytes are not both
    /// there is left as zero bytes.
    void words(const QByteArray &data, int count);

    void closeUnchecked(); ///< "**" in place of the check code, CR
    void closeChecked();   ///< check code over everything so far, CR

private:
    /// Writes the \a digits characters in front of \a end for a value outside the positive 32-bit numbers.
    static void oddDecimal(char *end, qint64 value, int digits);

    char *const m_start;
    char *m_next;
};

/// Appends a request to the frame queue: the reply that it expects and a copy of \a var; its frame is still empty.
/// For the broadcast station replyLen, dataPos and dataLen are 0.
/// \return the queued record, for queueing's caller to write the frame into; valid until the next one is queued
Protocol &queueRequest(int frameLen, int replyLen, int dataPos, int dataLen, const RW_VAR &var);

/// Takes the head of the frame queue away; the bytes of its frame serve the next one.
void dropRequest();

/// Tells the host's settings that the request just queued has \a frames frames, none of them answered.
void announceFrames(int frames);

#endif
