// wire_text.cpp - the characters of the link.

#include "wire_text.h"

namespace plcsim
{

namespace
{
constexpr char kDigits[] = "0123456789ABCDEF";
}

bool isHeader(char character)
{
    return character == kHeader || character == kExtendedHeader;
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

void appendHexByte(QByteArray *text, int byte)
{
    text->append(kDigits[byte >> 4 & 15]);
    text->append(kDigits[byte & 15]);
}

void appendWord(QByteArray *text, quint16 word)
{
    appendHexByte(text, word & 0xFF);
    appendHexByte(text, word >> 8);
}

quint8 checkOf(const char *text, int size)
{
    quint8 check = 0;
    for (int i = 0; i < size; ++i)
        check = static_cast<quint8>(check ^ static_cast<quint8>(text[i]));
    return check;
}

QByteArray responseFrame(char header, const QByteArray &destination, char mark, const QByteArray &body)
{
    QByteArray frame;
    frame.reserve(kFrameHead + body.size() + kFrameTail);
    frame.append(header).append(destination).append(mark).append(body);
    appendHexByte(&frame, checkOf(frame.constData(), frame.size()));
    frame.append(kCarriageReturn);
    return frame;
}

QByteArray errorFrame(char header, const QByteArray &destination, int code)
{
    QByteArray body;
    appendHexByte(&body, code);
    return responseFrame(header, destination, '!', body);
}

} // namespace plcsim
