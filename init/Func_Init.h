// Func_Init.h - set-up, the variable lists and the planning of the polling list.
//
//  - The exported functions of this unit are declared in matsushita_tcpip_net/interface.h; here are the inner ones.
//  - The planning functions take no lock; ReCreatReadVarList calls them with mutexList held.

#ifndef FUNC_INIT_H
#define FUNC_INIT_H

#include "matsushita_tcpip_net.h"

/// 1 if communication with \a station is switched off (despite the name), 0 if it is on. Takes mutexStation.
int Ethernetcontains(int station);

/// Appends to \a out copies of \a var that cover \a n words from its address on in pieces of \a size, the last one with
/// the remainder. Pieces wholly outside the area are not made. Leaves var's address at the last piece made.
/// Example: n 40, size 16 at address 100 gives (100, 16), (116, 16), (132, 8).
void WhetherGroup(int n, int size, RW_VAR *var, QList<RW_VAR> *out);

/// Orders \a list by address, rising; entries of the same address keep their order.
void Bubble_Sort(QList<RW_VAR> *list);

/// Merges a group sorted by address into blocks of at most \a maxLen words and appends them to lst_PollingReadVar.
///
/// Gaps of up to 4 words are bridged. The end of a block is that of the entry merged last, even where the block already
/// reached further: (0, 16) then (2, 1) give (0, 3). A block carries the other fields of the entry that was examined
/// when it was emitted. Blocks wholly outside the area are not made; a maxLen below 1 makes none.
void WordVarReCreatBuild(QList<RW_VAR> *group, int maxLen);

/// Moves the blocks of up to 4 words to the front of lst_PollingReadVar, which reverses their order; the longer ones
/// keep theirs.
void sort_lst_PollingReadVar();

#endif
