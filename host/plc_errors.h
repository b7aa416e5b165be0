// plc_errors.h - error responses of the PLC: finding one, its name, and whether asking again may help.
//
//  - Stateless, any thread.

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

namespace fphost
{

/// The code of an error response, 0 to 255; nothing when the reply is anything else.
/// An error response is 9 bytes: %, two station characters, '!', the code as two hexadecimal digits, two check
/// characters that fit, CR. "%01!6102\r" -> 0x61. An error response whose check characters do not fit is none: the line
/// has changed it, and it may have been anything.
std::optional<int> errorResponseCode(const QByteArray &reply);

/// "61 data error (a bad number, or a number outside the area)"; a code without a known name is "7F unknown error".
QString errorName(int code);

/// True for errors that say nothing about the request itself: the line has changed it (40), it came too soon (43), or
/// the unit was busy (53).
bool mayPass(int code);

/// True for errors that say that an address is none of this PLC's (60, 61).
bool saysBadAddress(int code);

} // namespace fphost
