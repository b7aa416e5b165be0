// shown_text.cpp - see shown_text.h.

#include "shown_text.h"

#include <QtCore/QVector>

namespace fplink
{

namespace
{

constexpr int kLongestQuote = 80; // characters that are worth looking at
constexpr uint kFirstBeyondAscii = 0x80;
constexpr uint kFirstOfFivePlaces = 0x10000;

bool showsAsItself(uint character)
{
    const QChar::Category category = QChar::category(character);
    const bool breaksLine = category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
    return QChar::isPrint(character) && !breaksLine && character != QChar::ReplacementCharacter;
}

QString spelled(uint character)
{
    switch (character) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        break;
    }
    const char form = character < kFirstBeyondAscii ? 'x' : character < kFirstOfFivePlaces ? 'u' : 'U';
    const int digits = form == 'x' ? 2 : form == 'u' ? 4 : 8;
    return QLatin1Char('\\') + QString(QLatin1Char(form)) +
           QStringLiteral("%1").arg(character, digits, 16, QLatin1Char('0')).toUpper();
}

} // namespace

QString shown(const QString &text)
{
    QString result;
    for (const uint character : text.toUcs4()) {
        if (showsAsItself(character))
            result += QString::fromUcs4(&character, 1);
        else
            result += spelled(character);
    }
    return result;
}

QString quoted(const QString &text)
{
    if (text.size() <= kLongestQuote)
        return shown(text);
    QString beginning = text.left(kLongestQuote);
    if (beginning.at(kLongestQuote - 1).isHighSurrogate()) // half a character
        beginning.chop(1);
    return shown(beginning) + QStringLiteral("...");
}

} // namespace fplink
