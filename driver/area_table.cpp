// area_table.cpp - the table of area kinds.

#include "area_table.h"

// clang-format off
const AreaRow kAreas[KindEV + 1] = {
    // letter  registered  words     first word
    {  'X',    nullptr,    kWordsWX, PLC_driver.localWX },
    {  'Y',    nullptr,    kWordsWY, PLC_driver.localWY },
    {  'R',    nullptr,    kWordsWR, PLC_driver.localWR },
    {  'L',    nullptr,    kWordsWL, PLC_driver.localWL },
    {  'T',    nullptr,    kWordsT,  PLC_driver.localT  },
    {  'C',    nullptr,    kWordsC,  PLC_driver.localC  },
    {  'X',    "WX0",      kWordsWX, PLC_driver.localWX },
    {  'Y',    "WY0",      kWordsWY, PLC_driver.localWY },
    {  'R',    "WR0",      kWordsWR, PLC_driver.localWR },
    {  'L',    "WL0",      kWordsWL, PLC_driver.localWL },
    {  'D',    "D",        kWordsDT, PLC_driver.localDT },
    {  'L',    "L",        kWordsLD, PLC_driver.localLD },
    {  'F',    "F",        kWordsFL, PLC_driver.localFL },
    {  'S',    "S",        kWordsSV, PLC_driver.localSV },
    {  'K',    "K",        kWordsEV, PLC_driver.localEV },
};
// clang-format on

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
