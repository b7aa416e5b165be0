// assignments.cpp - see assignments.h.

#include "assignments.h"

#include "address.h"
#include "numbers.h"
#include "shown_text.h"

#include <utility>

namespace fplink
{

namespace
{

std::optional<QString> parseOne(const QString &address, const QStringList &values, int station, Assignment *one)
{
    if (std::optional<QString> why = parseAddress(address, station, &one->span))
        return why;
    one->values = values;
    if (one->span.count == 1)
        one->span.count = values.size();
    if (std::optional<QString> why = fphost::whyNotWritable(one->span))
        return why;
    return parseValues(one->span, values, &one->bytes);
}

} // namespace

std::optional<QString> parseAssignments(const QStringList &texts, int station, std::vector<Assignment> *all)
{
    std::vector<std::pair<QString, QStringList>> pairs;
    if (texts.first().contains(QLatin1Char('='))) {
        for (const QString &text : texts) {
            const int equals = text.indexOf(QLatin1Char('='));
            if (equals < 0)
                return QStringLiteral("%1: write ADDRESS=VALUE[,VALUE...]").arg(quoted(text));
            pairs.emplace_back(text.left(equals), text.mid(equals + 1).split(QLatin1Char(',')));
        }
    } else {
        QStringList values;
        for (const QString &text : texts.mid(1))
            values.append(text.split(QLatin1Char(',')));
        if (values.isEmpty())
            return QStringLiteral("%1: a value is missing").arg(quoted(texts.first()));
        pairs.emplace_back(texts.first(), values);
    }
    std::vector<Assignment> parsed;
    for (const auto &[address, values] : pairs) {
        parsed.emplace_back();
        if (std::optional<QString> why = parseOne(address, values, station, &parsed.back()))
            return why;
    }
    *all = std::move(parsed);
    return std::nullopt;
}

} // namespace fplink
