// pending_lists.h - the indexes beside the write list and the one-shot list.
//
//  - The list functions find duplicates through them; the communication cycle and the reply intake take entries from
//    the front through them. mutexList guards them as it guards the lists.

#ifndef PENDING_LISTS_H
#define PENDING_LISTS_H

#include "driver/list_index.h"

/// What makes two pending writes the same.
struct WriteKey {
    typedef ListKey<4> Key;
    static Key of(const RW_VAR &var)
    {
        const Key key = {{var.station, var.areaKind, var.address, var.count}};
        return key;
    }
};

/// What makes two pending one-shot reads the same.
struct OnceReadKey {
    typedef ListKey<6> Key;
    static Key of(const RW_VAR &var)
    {
        const Key key = {{var.ownerId, var.ownerTag, var.station, var.areaKind, var.address, var.count}};
        return key;
    }
};

typedef ListIndex<RW_VAR, WriteKey> WriteIndex;
typedef ListIndex<RW_VAR, OnceReadKey> OnceReadIndex;

extern WriteIndex writeIndex;
extern OnceReadIndex onceReadIndex;

#endif
