// areas.h - the PLC's memory areas as a host names them: names, sizes, address texts, what may be written.
//
//  - One table; a span that passes the checks here fits the driver's local areas and the digits of its frames.
//  - Stateless, any thread.

#pragma once

#include "matsushita_tcpip_net.h"

#include <QtCore/QString>

#include <optional>

namespace fphost
{

constexpr int kBroadcast = 255; // the station number that every PLC obeys and none answers
constexpr int kBitsPerWord = 16;

/// A run of elements of one area of one station.
///
/// Example: {KindDT, 100, 16, 1} is DT100 to DT115 of station 1; {KindR, 175, 1, 1} is the bit R10F.
struct Span {
    int kind = KindDT; ///< an AreaKind
    int first = 0;     ///< element number: word number, word x 16 + bit (X, Y, R, L) or contact number (T, C)
    int count = 1;     ///< number of elements
    int station = 1;   ///< 0 to 255
};

inline bool operator==(const Span &a, const Span &b)
{
    return a.kind == b.kind && a.first == b.first && a.count == b.count && a.station == b.station;
}

/// One memory area.
struct AreaRow {
    int kind;         ///< an AreaKind
    const char *name; ///< as the field writes it: "R", "WR", "DT"
    bool bits;        ///< elements are bits, one value byte each; otherwise words, two value bytes each
    bool relay;       ///< a bit's address text is a word number and a hexadecimal bit digit: "10F"
    int elements;     ///< element numbers run from 0 to elements - 1
    int writable;     ///< elements that may be written, counted from 0; 0 = the area is read-only
};

/// The row of \a kind; null for a number that is no area.
const AreaRow *areaRow(int kind);

/// The area with this name, upper case; null when there is none.
const AreaRow *areaNamed(const QString &name);

/// The address text of an element as the driver's functions take it: (KindR, 175) -> "10F", (KindDT, 100) -> "100".
QString addressText(int kind, int element);

/// The element as the field writes it: (KindR, 175) -> "R10F", (KindDT, 100) -> "DT100". Unknown kinds: "?100".
QString elementName(int kind, int element);

/// Bytes that the values of \a count elements of \a kind take: one per bit, two per word.
int valueBytes(int kind, int count);

/// The words that the span touches, in the kind whose words carry it on the wire: 20 bits from X1E on are WX1, three
/// words; word spans and T and C (whose words are numbered too) likewise. The kind must be known.
Span wordsOf(const Span &span);

/// Why the span cannot be read, as one line without a full stop; nothing when it can.
/// A span is readable when its area and station (0 to 254) are known, its count is 1 or more and it ends inside the
/// area.
std::optional<QString> whyNotReadable(const Span &span);

/// The same for writing. X, T, C and WX are read-only; single bits can be written in the first 1,000 words only, since
/// the write command has three digits for the word. Station 255 (all stations) can be written.
std::optional<QString> whyNotWritable(const Span &span);

} // namespace fphost
