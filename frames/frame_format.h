// frame_format.h - the shape of ASCII frames, and the one writer that makes them.
//
//  - A request: header, two destination characters, command mark, command text, two check characters, CR.
//  - The writer allocates a frame's bytes once; positions that are never written stay zero bytes.

#ifndef FRAME_FORMAT_H
#define FRAME_FORMAT_H

#include "matsushita_tcpip_net.h"

const char kHeader = '%';
const char kCommandMark = '#';
const char kErrorMark = '!';
const char kTerminator = '\r';
const char kHexDigits[] = "0123456789ABCDEF";

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

/// Characters of \a words data words; held inside 32 bits for counts that no PLC has.
inline int charsOfWords(qint64 words)
{
    return int(qBound(qint64(-1000000000), words * kCharsPerWord, qint64(1000000000)));
}

/// Writes one frame from its header to its CR.
///
/// Example, the request "%01#RDD0010000115**" and CR:
///
///     FrameWriter frame(queued.frame, 20, 1, "RD");
///     frame.letter('D');
///     frame.decimal(100, 5);
///     frame.decimal(115, 5);
///     frame.closeUnchecked();
class FrameWriter
{
public:
    /// Makes \a frame \a size bytes long and opens it with header, destination of \a station, command mark and \a code.
    FrameWriter(QByteArray &frame, int size, int station, const char *code);

    void letter(char c) { *m_next++ = c; }
    void hexDigit(int digit);
    void text(const char *chars);

    /// The low \a digits decimal digits of \a value: (7, 5) gives "00007", (12345, 4) "2345". A negative value gives
    /// what taking its digits one by one gives, characters below '0'.
    void decimal(qint64 value, int digits);

    /// \a count words of \a data, two bytes each, as four hexadecimal characters. A word whose two bytes are not both
    /// there is left as zero bytes.
    void words(const QByteArray &data, int count);

    void closeUnchecked(); ///< "**" in place of the check code, CR
    void closeChecked();   ///< check code over everything so far, CR

private:
    char *const m_start;
    char *m_next;
};

/// Appends a request to the frame queue: the reply that it expects and a copy of \a var; its frame is still empty.
/// For the broadcast station replyLen, dataPos and dataLen are 0.
/// \return the queued record, for queueing's caller to write the frame into; valid until the next one is queued
Protocol &queueRequest(int frameLen, int replyLen, int dataPos, int dataLen, const RW_VAR &var);

/// Tells the host's settings that the request just queued has \a frames frames, none of them answered.
void announceFrames(int frames);

#endif
