// address.cpp - see address.h.

#include "address.h"

#include "numbers.h"
#include "shown_text.h"

namespace fplink
{

namespace
{

constexpr int kMostElements = 1000000;

QString allAreas()
{
    QStringList names;
    for (int kind = KindX; kind <= KindEV; ++kind)
        names.append(QString::fromLatin1(fphost::areaRow(kind)->name));
    return names.join(QLatin1Char(' '));
}

bool isLetter(QChar c)
{
    return c >= QLatin1Char('A') && c <= QLatin1Char('Z');
}

/// The area that the text begins with, two letters before one; null when there is none.
const fphost::AreaRow *areaAtStart(const QString &text)
{
    for (const int letters : {2, 1}) {
        const fphost::AreaRow *row = fphost::areaNamed(text.left(letters));
        if (row && text.left(letters).size() == letters)
            return row;
    }
    return nullptr;
}

/// The element number behind the area's letters; why not otherwise, without the address itself.
std::optional<QString> parseElement(const fphost::AreaRow &row, const QString &number, int *element)
{
    if (number.isEmpty())
        return QStringLiteral("a number is missing behind %1").arg(QString::fromLatin1(row.name));
    if (!row.relay) {
        const std::optional<int> value = decimal(number, kMostElements);
        if (!value)
            return QStringLiteral("'%1' is not a decimal number").arg(quoted(number));
        *element = *value;
        return std::nullopt;
    }
    const QString wordDigits = number.left(number.size() - 1);
    const std::optional<int> bit = hexDigit(number.back());
    const std::optional<int> wordNumber = wordDigits.isEmpty() ? 0 : decimal(wordDigits, kMostElements);
    if (!bit)
        return QStringLiteral("the last character must be the bit, 0 to F");
    if (!wordNumber)
        return QStringLiteral("'%1' is not a decimal word number").arg(quoted(wordDigits));
    *element = *wordNumber * fphost::kBitsPerWord + *bit;
    return std::nullopt;
}

/// Takes what stands behind the last \a mark off the text; nothing when there is no mark.
std::optional<QString> takeBehind(QString *text, QChar mark)
{
    const int at = text->lastIndexOf(mark);
    if (at < 0)
        return std::nullopt;
    const QString behind = text->mid(at + 1);
    text->truncate(at);
    return behind;
}

} // namespace

std::optional<QString> parseAddress(const QString &text, int station, fphost::Span *span)
{
    const auto no = [&text](const QString &why) { return QStringLiteral("%1: %2").arg(quoted(text), why); };
    if (text.isEmpty())
        return QStringLiteral("an address is missing");

    fphost::Span parsed;
    parsed.station = station;
    QString rest = text.toUpper();
    if (const std::optional<QString> behind = takeBehind(&rest, QLatin1Char('@'))) {
        const std::optional<int> number = decimal(*behind, fphost::kBroadcast);
        if (!number)
            return no(QStringLiteral("the station behind '@' must be a number from 0 to 255"));
        parsed.station = *number;
    }
    rest.replace(QLatin1Char('*'), QLatin1Char(':'));
    if (const std::optional<QString> behind = takeBehind(&rest, QLatin1Char(':'))) {
        const std::optional<int> number = decimal(*behind, kMostElements);
        if (!number || *number == 0)
            return no(QStringLiteral("the count behind ':' must be a number from 1 to %1").arg(kMostElements));
        parsed.count = *number;
    }
    const fphost::AreaRow *row = areaAtStart(rest);
    if (!row) {
        int letters = 0;
        while (letters < rest.size() && isLetter(rest[letters]))
            ++letters;
        return no(QStringLiteral("there is no area '%1'; areas are %2").arg(quoted(rest.left(letters)), allAreas()));
    }
    parsed.kind = row->kind;
    if (const std::optional<QString> why =
            parseElement(*row, rest.mid(QString::fromLatin1(row->name).size()), &parsed.first))
        return no(*why);
    if (parsed.first >= row->elements || parsed.count > row->elements - parsed.first)
        return no(QStringLiteral("%1 ends at %2")
                      .arg(QString::fromLatin1(row->name), fphost::elementName(row->kind, row->elements - 1)));
    *span = parsed;
    return std::nullopt;
}

QString addressOf(const fphost::Span &span, bool withStation)
{
    QString text = fphost::elementName(span.kind, span.first);
    if (span.count != 1)
        text += QStringLiteral(":%1").arg(span.count);
    if (withStation)
        text += QStringLiteral("@%1").arg(span.station);
    return text;
}

std::optional<QString> parseEndpoint(const QString &text, Endpoint *endpoint)
{
    QString host = text;
    const std::optional<QString> portText = takeBehind(&host, QLatin1Char(':'));
    const bool bracketed = host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'));
    if (!portText || (text.startsWith(QLatin1Char('[')) && !bracketed))
        return QStringLiteral("%1: the port is missing; write HOST:PORT").arg(quoted(text));
    if (bracketed)
        host = host.mid(1, host.size() - 2);
    else if (host.contains(QLatin1Char(':')))
        return QStringLiteral("%1: write an IPv6 address in brackets, [::1]:9094").arg(quoted(text));
    if (host.isEmpty())
        return QStringLiteral("%1: the host is missing; write HOST:PORT").arg(quoted(text));
    const std::optional<int> port = decimal(*portText, 65535);
    if (!port || *port == 0)
        return QStringLiteral("%1: the port must be a number from 1 to 65535").arg(quoted(text));
    endpoint->host = host;
    endpoint->port = static_cast<quint16>(*port);
    return std::nullopt;
}

QString endpointText(const Endpoint &endpoint)
{
    const bool six = endpoint.host.contains(QLatin1Char(':'));
    const QString port = QString::number(endpoint.port);
    return six ? QLatin1Char('[') + endpoint.host + QStringLiteral("]:") + port
               : endpoint.host + QLatin1Char(':') + port;
}

} // namespace fplink
