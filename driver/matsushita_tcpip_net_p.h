// matsushita_tcpip_net_p.h - the reply intake's inner steps and the result codes.
//
//  - A reply is judged against the head of lst_Protocol; a reason becomes a code by one table.
//  - Nothing here takes mutexList. The communication thread calls it, or a test does.

#ifndef MATSUSHITA_TCPIP_NET_P_H
#define MATSUSHITA_TCPIP_NET_P_H

#include "matsushita_tcpip_net.h"

/// Values of RW_VAR::extra1 that mean something.
enum Extra1Mark {
    kStoreReply = -1,    ///< remote path: the reply goes into the local areas; or: read for a bit write that waits
    kGroupedRead = 88,   ///< the frame serves every entry of qmap_list
    kNeverForwarded = 99 ///< as 88, a read that does not travel remotely
};

/// Why DataCom answers as it does; the argument of GetDriverReturnValue.
enum Reason {
    ReasonGood = 0,             ///< code 1
    ReasonLocalBadReply = 1,    ///< 10 + k
    ReasonLocalNoReply = 2,     ///< 40 + k
    ReasonLocalWrongLength = 3, ///< 70 + k
    ReasonRemoteGood = 4,       ///< code 100
    ReasonRemoteBadReply = 5,   ///< 110 + k
    ReasonRemoteNoReply = 6,    ///< 140 + k
    ReasonRemoteWrongLength = 7 ///< 170 + k
};

/// The result code for a Reason; 200 for anything else. Failure codes take their digit from the head frame.
int GetDriverReturnValue(int reason);

/// \a base plus the digit of the head frame's variable: ownerId + 1 for an ownerId of 1 to 11, else 1. An empty frame
/// queue counts as an ownerId of 0. Example: (40) with ownerId 11 = 52.
int SwitchErrorReturn(int base);

/// Judges a reply on the local link against the head frame and stores its data under mutexArea.
/// \return 1, 10 + k, 40 + k or 70 + k. lst_Protocol must not be empty.
int DealDataOfLocalArea(QByteArray *reply, int length);

/// Judges a reply on the remote path; stores its data, without a lock, where the variable's extra1 is -1.
/// \return 1, 100, 110 + k, 140 + k or 170 + k. lst_Protocol must not be empty.
int DealDataOfRemoteArea(QByteArray *reply, int length);

/// Makes \a to the same as \a from. Texts and bytes that the two already share, as they mostly do where the same
/// variables come round again, cost nothing.
void copyVariable(const RW_VAR &from, RW_VAR &to);

/// Copies the fields ownerId to extra2 of \a from into \a to and empties \a to's data.
void passRetValue(const RW_VAR &from, RW_VAR &to);

#endif
