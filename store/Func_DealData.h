// Func_DealData.h - decoding of accepted replies into the local store.
//
//  - Every function looks at the head of lst_Protocol, the request being answered, and removes nothing.
//  - Data characters are upper-case hexadecimal, four per word, low byte first: "3412" is 0x1234. Each digit is
//    masked to four bits; no character is rejected.
//  - Elements outside their area are ignored. The caller holds mutexArea.

#ifndef FUNC_DEALDATA_H
#define FUNC_DEALDATA_H

#include "matsushita_tcpip_net.h"

/// Stores the data of a reply that CheckGetData answered with 1: into the areas, or into the per-station cells in
/// multi-station mode. There a word that a short reply cuts off is left with an empty value.
void SaveToLocalDataErea(QByteArray *reply);

/// Single-station store of a one-variable request: dataLen / 4 words from byte dataPos on into the area of kinds 4
/// to 14. A word whose characters are not all there leaves its element as it was.
void SaveWordToUS(QByteArray *reply);

/// Single-station store of a grouped request: word i goes to the element that entry i of qmap_list names (kinds 6 to
/// 14).
void SaveWordMD(QByteArray *reply);

/// As SaveWordToUS for the bit kinds 0 to 5, into the words of X, Y, R, L, T, C. Provided, not called.
void SaveWordToUC(QByteArray *reply);

/// Copies the dataLen characters from dataPos on, as they are, to base[address] onward. Provided, not called; the
/// caller answers for the room behind \a base.
void SaveBitToUC(QByteArray *reply, unsigned char *base);

/// Stores a reply of binary words (high byte first) at base[address] onward; for an extra1 of -1 also completes the bit
/// write that waits at the head of lst_WriteVar: the last word, with that bit set or cleared, goes into bytes 4 and 5
/// of the second frame of lst_Protocol, its CRC into bytes 6 and 7, low byte first. Provided, not called; the caller
/// answers for the room behind \a base and holds mutexArea and mutexList.
void SpecialRegisterSave(QByteArray *reply, unsigned short *base);

#endif
