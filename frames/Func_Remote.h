// Func_Remote.h - the binary request records of remote mode.
//
//  - A record is 22 bytes plus the value bytes of a write; its reply is an ordinary ASCII reply.
//  - The communication cycle calls them with mutexList held; only the mirroring takes a lock, mutexArea.

#ifndef FUNC_REMOTE_H
#define FUNC_REMOTE_H

#include "matsushita_tcpip_net.h"

/// Appends the record that writes \a var's data, and mirrors the value into the local store whatever the state of the
/// link. The length byte keeps its low 8 bits.
void Remote_WriteVar(RW_VAR *var);

/// Appends the record that reads \a var; nothing for an extra1 of 88 or 99, which are never forwarded.
/// Example: linkNo 1, station 1, KindDT, address 100, count 2:
/// 16 00 00 01 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88, replyLen 17.
void Remote_ReadVar(RW_VAR *var);

#endif
