// Func_Write.h - the builders of write requests.
//
//  - Each builder appends at most one frame to lst_Protocol and announces it in ComInfo; it does not change its
//    variable.
//  - Positions that have no value (a kind without a letter, a bit that is neither 0 nor 1, words missing from the data)
//    are zero bytes; the length of the frame stays.
//  - The communication cycle calls them with mutexList held; only the mirroring takes a lock, mutexArea.

#ifndef FUNC_WRITE_H
#define FUNC_WRITE_H

#include "matsushita_tcpip_net.h"

/// Builds the write request for var's kind (none for kinds 0, 4, 5, 6 and unknown ones), then, unless the last reply
/// was a failure, mirrors the value into the local store, whatever the kind.
void WriteRegister(RW_VAR *var);

/// WCS, 16 bytes, always replyLen 9. Example: station 1, KindR, address 0x23, data 1: "%01#WCSR00231", check, CR.
/// Empty data builds nothing.
void WriteBool(RW_VAR *var);

/// WCC, 19 + 4n bytes: relay words.
void WriteboolWCC(RW_VAR *var);

/// WD, 20 + 4n bytes: registers. Example: station 1, KindDT, address 100, count 2, data 34 12 78 56:
/// "%01#WDD001000010134127856", check, CR.
void WriteAnalog(RW_VAR *var);

/// WS or WK, 17 + 4n bytes: set and elapsed values.
void WriteTCWSK(RW_VAR *var);

#endif
