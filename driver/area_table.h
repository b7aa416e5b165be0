// area_table.h - what is known of each area kind: its letters on the wire, its local words, its size.
//
//  - The one place that maps kinds to local areas. A null row answers for kinds that came from outside and mean
//  nothing.
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
    int registeredDigits;   ///< digits of that number
    int words;              ///< size of the local area
    quint16 *local;         ///< its first word; the bit kinds 0 to 3 share the words of 6 to 9
};

/// The row of a kind 0 to 14, null for any other.
const AreaRow *areaRow(int kind);

/// The letter of \a kind if it lies in first to last, a zero byte otherwise.
char letterWithin(int kind, int first, int last);

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
int areaWords(int kind);

/// Elements of the area of \a kind as its addresses count them, bits or words.
int areaElements(int kind);

/// The elements 0 to count - 1 of a run that lie inside an area are first to end - 1; none if first == end.
struct RunInside {
    int first;
    int end;
};

/// Which elements of the run (\a address, \a count) lie inside an area of \a elements. For any int values.
/// Example: address 9998, count 5, 10000 elements: 0 to 2.
RunInside insideArea(int address, int count, int elements);

/// The run (\a address, \a count) is cut into pieces of \a size, the last one with the remainder: which of the pieces,
/// counted from 0, touch an area of \a elements. For any int values. Example: address 9990, count 40, size 16, 10000
/// elements: pieces 0 to 1.
RunInside piecesInside(int address, int count, int size, int elements);

#endif
