// plc_errors.cpp - see plc_errors.h.

#include "plc_errors.h"

namespace fphost
{

namespace
{

constexpr int kErrorResponseBytes = 9;

struct ErrorRow {
    int code; // the two digits on the wire, read as hexadecimal
    bool passing;
    const char *name;
};

// clang-format off
const ErrorRow kErrors[] = {
    { 0x27, false, "frame over (the request or its reply would be too long)" },
    { 0x40, true,  "BCC error (the check code of the request did not fit)" },
    { 0x41, false, "format error (the request does not have the form)" },
    { 0x42, false, "not supported (the unit does not have the command)" },
    { 0x43, true,  "procedure error (another request was pending)" },
    { 0x45, false, "operation error (a write outside the data area)" },
    { 0x53, true,  "busy (the unit is occupied)" },
    { 0x60, false, "parameter error (no such area, or a missing parameter)" },
    { 0x61, false, "data error (a bad number, or a number outside the area)" },
    { 0x62, false, "registration error (monitor registration)" },
    { 0x63, false, "mode error (the PLC's mode forbids the command)" },
    { 0x65, false, "protect error (the area is write-protected)" },
};
// clang-format on

const ErrorRow *rowOf(int code)
{
    for (const ErrorRow &row : kErrors) {
        if (row.code == code)
            return &row;
    }
    return nullptr;
}

// Upper-case only, as units send them; -1 for anything else.
int digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

int hexByte(const char *two)
{
    const int high = digit(two[0]);
    const int low = digit(two[1]);
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

} // namespace

std::optional<int> errorResponseCode(const QByteArray &reply)
{
    if (reply.size() != kErrorResponseBytes || reply[0] != '%' || reply[3] != '!' || reply[8] != '\r')
        return std::nullopt;
    int check = 0;
    for (int i = 0; i < kErrorResponseBytes - 3; ++i)
        check ^= static_cast<unsigned char>(reply[i]);
    const int code = hexByte(reply.constData() + 4);
    if (code < 0 || hexByte(reply.constData() + 6) != check)
        return std::nullopt;
    return code;
}

QString errorName(int code)
{
    const ErrorRow *row = rowOf(code);
    const QString digits = QStringLiteral("%1").arg(code, 2, 16, QLatin1Char('0')).toUpper();
    return digits + QLatin1Char(' ') + QString::fromLatin1(row ? row->name : "unknown error");
}

bool saysBadAddress(int code)
{
    return code == 0x60 || code == 0x61;
}

bool mayPass(int code)
{
    const ErrorRow *row = rowOf(code);
    return row && row->passing;
}

} // namespace fphost
