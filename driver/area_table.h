// area_table.h - what is known of each area kind: its letters on the wire, its local words, its size.
//
//  - The one place that maps kinds to local areas. A null row answers for kinds that came from outside and mean
//    nothing.
//  - Sizes bound everything that a caller can ask for: nothing is stored, planned or queued for elements outside.

#ifndef AREA_TABLE_H
#define AREA_TABLE_H

#include "matsushita_tcpip_net.h"

enum {
    kBitsPerWord = 16,
    kLargestAreaWords = kWordsDT ///< bounds kinds that have no area
};

struct AreaRow {
    char letter;            ///< in RCC, WCS, WCC, RD, WD, RS, RK, WS, WK
    const char *registered; ///< in front of the number in a monitor registration; null where it cannot stand there
    int words;              ///< size of the local area
    quint16 *local;         ///< its first word; the bit kinds 0 to 3 share the words of 6 to 9
};

extern const AreaRow kAreas[KindEV + 1]; ///< by kind

/// The row of a kind 0 to 14, null for any other.
inline const AreaRow *areaRow(int kind)
{
    return kind >= KindX && kind <= KindEV ? &kAreas[kind] : nullptr;
}

/// The letter of \a kind if it lies in first to last, a zero byte otherwise.
inline char letterWithin(int kind, int first, int last)
{
    return kind >= first && kind <= last ? kAreas[kind].letter : '\0';
}

inline bool isBitKind(int kind)
{
    return kind >= KindX && kind <= KindC;
}

inline bool isWordKind(int kind)
{
    return kind >= KindWX && kind <= KindEV;
}

/// The relay bits 0 to 3, whose words have a kind of their own: kind + 6.
inline bool isRelayBitKind(int kind)
{
    return kind >= KindX && kind <= KindL;
}

/// The kind under which the words of \a kind are kept.
inline int wordKindOf(int kind)
{
    return isRelayBitKind(kind) ? kind + KindWX : kind;
}

/// Words of the area of \a kind; the size of the largest area for a kind that has none.
inline int areaWords(int kind)
{
    const AreaRow *row = areaRow(kind);
    return row ? row->words : int(kLargestAreaWords);
}

/// Elements of the area of \a kind as its addresses count them, bits or words.
inline int areaElements(int kind)
{
    return isBitKind(kind) ? areaWords(kind) * kBitsPerWord : areaWords(kind);
}

/// A run of elements or of pieces, counted from 0: first to end - 1; none if first == end.
struct RunInside {
    int first;
    int end;
};

/// The run (\a address, \a count) is cut into pieces of \a size, the last one with the remainder: which of the pieces,
/// counted from 0, touch an area of \a elements. For any int values.
/// Example: address 9990, count 40, size 16, 10000 elements: pieces 0 to 1.
RunInside piecesInside(int address, int count, int size, int elements);

/// Which elements of the run (\a address, \a count) lie inside an area of \a elements. For any int values.
/// Example: address 9998, count 5, 10000 elements: 0 to 2.
inline RunInside insideArea(int address, int count, int elements)
{
    if (address >= 0 && count >= 0 && address <= elements - count) {
        const RunInside whole = {0, count};
        return whole;
    }
    return piecesInside(address, count, 1, elements);
}

#endif
