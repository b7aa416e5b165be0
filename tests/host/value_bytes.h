// value_bytes.h - values as they cross the driver's interface.

#pragma once

#include <QtCore/QByteArray>

/// A word, low byte first.
inline QByteArray word(int value)
{
    QByteArray bytes(2, '\0');
    bytes[0] = static_cast<char>(value & 255);
    bytes[1] = static_cast<char>(value >> 8 & 255);
    return bytes;
}
