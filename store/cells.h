// cells.h - the per-station words of multi-station mode, found by key.
//
//  - The caller holds mutexArea, except for a reply on the remote path, which never takes it. So that such a reply
//    does not meet a host that reads values, an access holds a lock of its own for as long as it lives. It is the
//    last lock taken.

#ifndef CELLS_H
#define CELLS_H

#include "driver/list_index.h"

struct CellKey {
    typedef ListKey<3> Key;
    static Key of(const EXTENDVAR &cell)
    {
        const Key key = {{cell.station, cell.areaKind, cell.address}};
        return key;
    }
};

typedef ListIndex<EXTENDVAR, CellKey> CellIndex;

class CellAccess
{
public:
    CellAccess();

    /// Index of the first cell with this key; one with four zero bytes is appended where there is none.
    int find(int station, int kind, int word);

    /// The value of that cell, to look at and to change.
    const QByteArray &value(int station, int kind, int word) { return m_change.at(find(station, kind, word)).data; }
    QByteArray &changeable(int station, int kind, int word) { return m_change.entry(find(station, kind, word)).data; }

    /// Gives that cell the two bytes of \a content, low byte first.
    void store(int station, int kind, int word, quint16 content);

private:
    struct Lock {
        Lock();
        ~Lock();
    };

    Lock m_lock; // taken before the change begins, released after it has ended
    CellIndex::Change m_change;
};

#endif
