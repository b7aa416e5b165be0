// numbers.h - numbers as people type them: ASCII digits only, nothing around them, and a limit.
//
//  - Pure functions over text.

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

#include "host/areas.h"

namespace fplink
{

/// "0" to \a limit in decimal digits; nothing for any other text. Leading zeros are fine.
std::optional<int> decimal(const QString &text, int limit);

/// The value of '0' to '9', 'A' to 'F', 'a' to 'f'.
std::optional<int> hexDigit(QChar c);

/// A word: decimal -32768 to 65535, or 0x0 to 0xFFFF. Negative numbers are two's complement: -1 is 0xFFFF.
std::optional<int> wordValue(const QString &text);

/// Reads the values of \a span, as many texts as it has elements: 0 or 1 for bits, words as wordValue() reads them.
/// Result: nothing, and the bytes as the driver takes them; otherwise one line that says what is wrong.
std::optional<QString> parseValues(const fphost::Span &span, const QStringList &texts, QByteArray *bytes);

/// The value of element \a index of \a bytes, which are in the driver's form: 0 or 1, or 0 to 65535.
int valueAt(const QByteArray &bytes, int kind, int index);

} // namespace fplink
