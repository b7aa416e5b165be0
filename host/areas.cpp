// areas.cpp - see areas.h.

#include "areas.h"

namespace fphost
{

namespace
{

constexpr int kRelayWords = 10000;                     // four decimal digits, and the local areas' size
constexpr int kRelayBits = kRelayWords * kBitsPerWord; //
constexpr int kWritableBits = 1000 * kBitsPerWord;     // three decimal digits of the word
constexpr int kContacts = 1250 * kBitsPerWord;         // the local areas' size
constexpr int kFiveDigits = 100000;                    // five decimal digits
constexpr int kFourDigits = 10000;                     //
static_assert(kContacts == kWordsT * kBitsPerWord, "the driver's local contacts bound T and C");
static_assert(kRelayWords <= kWordsWR && kFiveDigits <= kWordsDT, "what frames can name has a local place");

// clang-format off
const AreaRow kAreas[] = {
    // kind   name  bits   relay  elements     writable
    { KindX,  "X",  true,  true,  kRelayBits,  0 },
    { KindY,  "Y",  true,  true,  kRelayBits,  kWritableBits },
    { KindR,  "R",  true,  true,  kRelayBits,  kWritableBits },
    { KindL,  "L",  true,  true,  kRelayBits,  kWritableBits },
    { KindT,  "T",  true,  false, kContacts,   0 },
    { KindC,  "C",  true,  false, kContacts,   0 },
    { KindWX, "WX", false, false, kRelayWords, 0 },
    { KindWY, "WY", false, false, kRelayWords, kRelayWords },
    { KindWR, "WR", false, false, kRelayWords, kRelayWords },
    { KindWL, "WL", false, false, kRelayWords, kRelayWords },
    { KindDT, "DT", false, false, kFiveDigits, kFiveDigits },
    { KindLD, "LD", false, false, kFourDigits, kFourDigits },
    { KindFL, "FL", false, false, kFiveDigits, kFiveDigits },
    { KindSV, "SV", false, false, kFourDigits, kFourDigits },
    { KindEV, "EV", false, false, kFourDigits, kFourDigits },
};
// clang-format on
static_assert(sizeof(kAreas) / sizeof(kAreas[0]) == KindEV + 1, "one row per kind, in the order of the kinds");

std::optional<QString> whyNotInside(const Span &span, int elements, const char *what)
{
    if (span.count < 1)
        return QStringLiteral("%1: the count is %2, it must be 1 or more")
            .arg(elementName(span.kind, span.first))
            .arg(span.count);
    if (span.first < 0 || span.first >= elements || span.count > elements - span.first)
        return QStringLiteral(
                   "%1: %2 element%3 from there on do not end inside the area, %4 is the last that can be %5")
            .arg(elementName(span.kind, span.first))
            .arg(span.count)
            .arg(span.count == 1 ? QString() : QStringLiteral("s"), elementName(span.kind, elements - 1),
                 QString::fromLatin1(what));
    return std::nullopt;
}

} // namespace

const AreaRow *areaRow(int kind)
{
    return kind >= KindX && kind <= KindEV ? &kAreas[kind] : nullptr;
}

const AreaRow *areaNamed(const QString &name)
{
    for (const AreaRow &row : kAreas) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

QString addressText(int kind, int element)
{
    const AreaRow *row = areaRow(kind);
    if (!row || !row->relay || element < 0)
        return QString::number(element);
    return QString::number(element / kBitsPerWord) + QString::number(element % kBitsPerWord, 16).toUpper();
}

QString elementName(int kind, int element)
{
    const AreaRow *row = areaRow(kind);
    const QString area = row ? QString::fromLatin1(row->name) : QStringLiteral("?");
    if (row && row->relay && element >= 0 && element < kBitsPerWord) { // "R5", not "R05"
        const QString name = area + QString::number(element, 16).toUpper();
        if (!areaNamed(name)) // "L0D", since "LD" is the name of an area
            return name;
    }
    return area + addressText(kind, element);
}

int valueBytes(int kind, int count)
{
    const AreaRow *row = areaRow(kind);
    return row && row->bits ? count : 2 * count;
}

Span wordsOf(const Span &span)
{
    const AreaRow *row = areaRow(span.kind);
    if (!row || !row->bits)
        return span;
    Span words = span;
    words.kind = row->relay ? span.kind + KindWX : span.kind;
    words.first = span.first / kBitsPerWord;
    words.count = (span.first % kBitsPerWord + span.count + kBitsPerWord - 1) / kBitsPerWord;
    return words;
}

std::optional<QString> whyNotReadable(const Span &span)
{
    const AreaRow *row = areaRow(span.kind);
    if (!row)
        return QStringLiteral("there is no area of kind %1").arg(span.kind);
    if (span.station < 0 || span.station >= kBroadcast)
        return QStringLiteral("%1: station %2 cannot be read; stations are 0 to 254")
            .arg(elementName(span.kind, span.first))
            .arg(span.station);
    return whyNotInside(span, row->elements, "read");
}

std::optional<QString> whyNotWritable(const Span &span)
{
    const AreaRow *row = areaRow(span.kind);
    if (!row)
        return QStringLiteral("there is no area of kind %1").arg(span.kind);
    if (row->writable == 0)
        return QStringLiteral("%1: the area %2 is read-only")
            .arg(elementName(span.kind, span.first), QString::fromLatin1(row->name));
    if (span.station < 0 || span.station > kBroadcast)
        return QStringLiteral("%1: there is no station %2; stations are 0 to 254, and 255 is all of them")
            .arg(elementName(span.kind, span.first))
            .arg(span.station);
    return whyNotInside(span, row->writable, "written");
}

} // namespace fphost
