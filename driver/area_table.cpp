// area_table.cpp - the table of area kinds.

#include "area_table.h"

// clang-format off
static const AreaRow kAreas[] = {
    // letter  registered  digits  words     first word
    {  'X',    nullptr,    0,      kWordsWX, PLC_driver.localWX },
    {  'Y',    nullptr,    0,      kWordsWY, PLC_driver.localWY },
    {  'R',    nullptr,    0,      kWordsWR, PLC_driver.localWR },
    {  'L',    nullptr,    0,      kWordsWL, PLC_driver.localWL },
    {  'T',    nullptr,    0,      kWordsT,  PLC_driver.localT  },
    {  'C',    nullptr,    0,      kWordsC,  PLC_driver.localC  },
    {  'X',    "WX0",      4,      kWordsWX, PLC_driver.localWX },
    {  'Y',    "WY0",      4,      kWordsWY, PLC_driver.localWY },
    {  'R',    "WR0",      4,      kWordsWR, PLC_driver.localWR },
    {  'L',    "WL0",      4,      kWordsWL, PLC_driver.localWL },
    {  'D',    "D",        5,      kWordsDT, PLC_driver.localDT },
    {  'L',    "L",        5,      kWordsLD, PLC_driver.localLD },
    {  'F',    "F",        5,      kWordsFL, PLC_driver.localFL },
    {  'S',    "S",        5,      kWordsSV, PLC_driver.localSV },
    {  'K',    "K",        5,      kWordsEV, PLC_driver.localEV },
};
// clang-format on

static_assert(sizeof kAreas / sizeof kAreas[0] == KindEV + 1, "one row per kind, in the order of the kinds");

const AreaRow *areaRow(int kind)
{
    return kind >= KindX && kind <= KindEV ? &kAreas[kind] : nullptr;
}

char letterWithin(int kind, int first, int last)
{
    return kind >= first && kind <= last ? kAreas[kind].letter : '\0';
}

int areaWords(int kind)
{
    const AreaRow *row = areaRow(kind);
    return row ? row->words : int(kLargestAreaWords);
}

int areaElements(int kind)
{
    return isBitKind(kind) ? areaWords(kind) * kBitsPerWord : areaWords(kind);
}

RunInside insideArea(int address, int count, int elements)
{
    return piecesInside(address, count, 1, elements);
}

RunInside piecesInside(int address, int count, int size, int elements)
{
    const RunInside none = {0, 0};
    if (count < 1 || size < 1 || address >= elements || qint64(address) + count <= 0)
        return none;
    const qint64 pieces = (qint64(count) + size - 1) / size;
    const qint64 first = address >= 0 ? 0 : -qint64(address) / size;
    const qint64 starting = (qint64(elements) - address + size - 1) / size; // pieces that start before the end
    const RunInside inside = {int(first), int(qMin(pieces, starting))};
    return inside;
}
