// cells.cpp - the per-station words of multi-station mode.

#include "store/cells.h"

/// The index beside lst_ExtendVar.
static CellIndex cellIndex;

/// Guards lst_ExtendVar and its index among the driver's own accesses.
static QMutex cellMutex;

CellAccess::Lock::Lock()
{
    cellMutex.lock();
}

CellAccess::Lock::~Lock()
{
    cellMutex.unlock();
}

CellAccess::CellAccess() : m_change(cellIndex, PLC_driver.lst_ExtendVar) {}

int CellAccess::find(int station, int kind, int word)
{
    const CellKey::Key key = {{station, kind, word}};
    const int known = m_change.find(key);
    if (known >= 0)
        return known;
    EXTENDVAR cell;
    cell.station = station;
    cell.areaKind = kind;
    cell.address = word;
    cell.data = QByteArray(4, '\0');
    m_change.append(cell);
    return countOf(PLC_driver.lst_ExtendVar) - 1;
}

void CellAccess::store(int station, int kind, int word, quint16 content)
{
    QByteArray &held = changeable(station, kind, word);
    if (sizeOf(held) != 2)
        held.resize(2);
    char *bytes = held.data();
    bytes[0] = char(content & 0xFF);
    bytes[1] = char(content >> 8);
}
