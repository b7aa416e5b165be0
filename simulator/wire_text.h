// wire_text.h - the characters of the link: hexadecimal digits, words, check codes, response frames.

#pragma once

#include <QtCore/QByteArray>

#include <optional>

namespace plcsim
{

constexpr char kHeader = '%';
constexpr char kExtendedHeader = '<';
constexpr char kCarriageReturn = '\r';

enum {
    kDestinationChars = 2,
    kCharsPerWord = 4,
    kCheckChars = 2,
    kEchoChars = 2,                             // the first two letters of the command
    kFrameHead = 1 + kDestinationChars + 1,     // header, station, mark
    kFrameTail = kCheckChars + 1,               // check, CR
    kBareResponse = kFrameHead + 2 + kFrameTail // without data, and every error response
};
static_assert(kBareResponse == 9, "a response without data has 9 characters");

/// What a unit answers instead of data; the value is the code on the wire, read as hexadecimal. A fault plan may ask
/// for codes that have no name here.
enum class Refusal {
    None = -1,
    FrameOver = 0x27,
    Check = 0x40,
    Format = 0x41,
    NotSupported = 0x42,
    Procedure = 0x43,
    Operation = 0x45,
    Busy = 0x53,
    Parameter = 0x60,
    Data = 0x61,
    Registration = 0x62,
    Mode = 0x63,
    Protect = 0x65
};

bool isHeader(char character);

/// 0 to 15 for '0' to '9' and 'A' to 'F', -1 for everything else: a unit knows no lower-case digits.
int hexDigit(char character);

/// Appends two upper-case digits: 0x4B -> "4B".
void appendHexByte(QByteArray *text, int byte);

/// Appends a word, low byte first: 0x1234 -> "3412".
void appendWord(QByteArray *text, quint16 word);

/// The XOR of all characters.
quint8 checkOf(const char *text, int size);

/// A response: header, destination, mark, body, check, CR. ('%', "01", '$', "WC") -> "%01$WC14\r".
QByteArray responseFrame(char header, const QByteArray &destination, char mark, const QByteArray &body);

/// An error response of 9 characters: "%01!4302\r".
QByteArray errorFrame(char header, const QByteArray &destination, int code);

} // namespace plcsim
