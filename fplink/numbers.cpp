// numbers.cpp - see numbers.h.

#include "numbers.h"

#include "shown_text.h"

#include <algorithm>

namespace fplink
{

namespace
{

constexpr int kLowestWord = -32768;
constexpr int kHighestWord = 65535;
constexpr int kHexWordDigits = 4;

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

std::optional<int> hexWord(const QString &digits)
{
    if (digits.isEmpty() || digits.size() > kHexWordDigits)
        return std::nullopt;
    int value = 0;
    for (const QChar c : digits) {
        const std::optional<int> digit = hexDigit(c);
        if (!digit)
            return std::nullopt;
        value = value * 16 + *digit;
    }
    return value;
}

QString outOfRange(const QString &name, const QString &text, bool bits)
{
    if (bits)
        return QStringLiteral("%1: '%2' is no value for a bit; bits are 0 and 1").arg(name, quoted(text));
    return QStringLiteral("%1: '%2' is no value for a word; words are -32768 to 65535 or 0x0 to 0xFFFF")
        .arg(name, quoted(text));
}

} // namespace

std::optional<int> decimal(const QString &text, int limit)
{
    if (text.isEmpty() || !std::all_of(text.begin(), text.end(), isDigit))
        return std::nullopt;
    long long value = 0;
    for (const QChar c : text) {
        value = value * 10 + (c.unicode() - '0');
        if (value > limit)
            return std::nullopt;
    }
    return static_cast<int>(value);
}

std::optional<int> hexDigit(QChar c)
{
    if (isDigit(c))
        return c.unicode() - '0';
    const ushort upper = c.toUpper().unicode();
    if (c.unicode() < 128 && upper >= 'A' && upper <= 'F')
        return upper - 'A' + 10;
    return std::nullopt;
}

std::optional<int> wordValue(const QString &text)
{
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        return hexWord(text.mid(2));
    if (!text.startsWith(QLatin1Char('-')))
        return decimal(text, kHighestWord);
    const std::optional<int> size = decimal(text.mid(1), -kLowestWord);
    if (!size)
        return std::nullopt;
    return -*size & kHighestWord;
}

std::optional<QString> parseValues(const fphost::Span &span, const QStringList &texts, QByteArray *bytes)
{
    const QString name = fphost::elementName(span.kind, span.first);
    if (texts.size() != span.count)
        return QStringLiteral("%1: %2 value%3 for %4 element%5")
            .arg(name)
            .arg(texts.size())
            .arg(texts.size() == 1 ? QString() : QStringLiteral("s"))
            .arg(span.count)
            .arg(span.count == 1 ? QString() : QStringLiteral("s"));
    const bool bits = fphost::areaRow(span.kind)->bits;
    QByteArray parsed;
    parsed.reserve(fphost::valueBytes(span.kind, span.count));
    for (const QString &text : texts) {
        const std::optional<int> value = bits ? decimal(text, 1) : wordValue(text);
        if (!value)
            return outOfRange(name, text, bits);
        parsed.append(static_cast<char>(*value & 255));
        if (!bits)
            parsed.append(static_cast<char>(*value >> 8));
    }
    *bytes = parsed;
    return std::nullopt;
}

int valueAt(const QByteArray &bytes, int kind, int index)
{
    if (fphost::areaRow(kind)->bits)
        return bytes[index];
    return static_cast<unsigned char>(bytes[2 * index]) + 256 * static_cast<unsigned char>(bytes[2 * index + 1]);
}

} // namespace fplink
