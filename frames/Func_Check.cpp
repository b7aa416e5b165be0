// Func_Check.cpp - check codes, digit conversions and the reply check.
//
//  - Everything here is stateless except CheckGetData, which looks at the request being answered.

#include "frames/Func_Check.h"

#include "frames/frame_format.h"

#include <cstring>

unsigned short CalXOR(unsigned char *data, unsigned short length)
{
    unsigned int result = data[0];
    if (length < 2)
        return static_cast<unsigned short>(result);
    const unsigned char *next = data + 1;
    unsigned int left = length - 1u;
    // Eight bytes at a time, folded at the end: XOR does not care about the order.
    quint64 wide = 0;
    for (; left >= sizeof wide; left -= unsigned(sizeof wide), next += sizeof wide) {
        quint64 eight;
        std::memcpy(&eight, next, sizeof eight);
        wide ^= eight;
    }
    for (; left > 0; --left)
        result ^= *next++;
    wide ^= wide >> 32;
    wide ^= wide >> 16;
    wide ^= wide >> 8;
    return static_cast<unsigned short>((result ^ unsigned(wide)) & 0xFF);
}

unsigned short CalSUM(unsigned char *data, unsigned short length)
{
    quint32 sum = 0;
    for (unsigned int i = 0; i < length; ++i)
        sum += data[i];
    return static_cast<unsigned short>(sum & 0xFFFF);
}

unsigned short CalCRC(unsigned char *data, unsigned short length)
{
    unsigned int crc = 0xFFFF;
    for (unsigned int i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    return static_cast<unsigned short>(crc);
}

unsigned short CalLRC(unsigned char *data, unsigned short length)
{
    quint32 sum = 0;
    for (unsigned int i = 0; i < length; ++i)
        sum += data[i];
    // The 1 is added behind the mask: a sum of 0 gives 256.
    return static_cast<unsigned short>((~sum & 0xFF) + 1);
}

int DigitalToASCII(int digit)
{
    return digit <= 9 ? digit + '0' : digit + ('A' - 10);
}

int ASCIIToDigital(int ch)
{
    if (ch < '0' || ch == '@')
        return 0;
    return ch <= '?' ? ch - '0' : ch - ('A' - 10);
}

int CheckGetData(QByteArray *reply, int length)
{
    if (length < kShortestReply || !reply || length > sizeOf(*reply))
        return 0;
    const char *bytes = reply->constData();
    if (bytes[0] != kHeader || bytes[length - 1] != kTerminator)
        return 0;
    unsigned char *checked = reinterpret_cast<unsigned char *>(const_cast<char *>(bytes));
    const unsigned int check = CalXOR(checked, static_cast<unsigned short>(length - kReplyTail));
    if (bytes[length - 2] != kHexDigits[check & 15] || bytes[length - 3] != kHexDigits[check >> 4 & 15])
        return 0;
    switch (PLC_driver.lst_Protocol.at(0).var.varFlag) {
    case 0:
        return bytes[kMarkPos] == kErrorMark ? 0 : 1;
    case 1:
        return 2; // an error response to a write or a registration counts as accepted
    default:
        return 0;
    }
}
