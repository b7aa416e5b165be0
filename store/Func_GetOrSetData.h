// Func_GetOrSetData.h - address texts, per-station cells, and the copying between areas and byte arrays.
//
//  - The exported GetRegisterData and SetRegisterData are declared in matsushita_tcpip_net/interface.h.
//  - The copy helpers take no lock and know no area size: their callers clip to the area first and hold mutexArea.

#ifndef FUNC_GETORSETDATA_H
#define FUNC_GETORSETDATA_H

#include "matsushita_tcpip_net.h"

/// The conversion behind PLCAddressChangeIntef, whose contract it has.
int StringAddressToInt(int kind, QString text);

/// The index in lst_ExtendVar of the first cell with this key; appends one with four zero bytes if there is none.
/// The caller holds mutexArea and keeps \a word inside its area.
int ExtendFindSameVar(int station, int kind, int word);

/// Writes var's data into the local store: bits for kinds 1 to 3, words for kinds 6 to 14, nothing for the others.
/// Elements whose bytes are missing, and elements outside the area, stay as they are. Takes mutexArea.
void WriteDataToLocal(RW_VAR *var);

/// out[i] = bit start + i of the words at \a base, as 0 or 1.
void GetBitFromUS(QByteArray &out, unsigned short *base, int start, int count);

/// out[2i], out[2i + 1] = low and high byte of base[start + i].
void GetWordFromUS(QByteArray &out, unsigned short *base, int start, int count);

/// Sets bit start + i of the words at \a base if in[i] is exactly 1, clears it otherwise; stops at the end of \a in.
void SetBitToUS(int start, unsigned short *base, QByteArray *in, int count);

/// base[start + i] = the two bytes of word i of \a in, low byte first; words not wholly there leave their element.
void SetWordToUS(int start, unsigned short *base, QByteArray *in, int count);

// Provided, not called:

/// out[i] = base[start + i] & 1.
void GetBitFromUC(QByteArray &out, unsigned char *base, int start, int count);

/// base[start + i] = 1 if in[i] is 1, else 0; stops at the end of \a in.
void SetBitToUC(int start, unsigned char *base, QByteArray *in, int count);

/// Double words, the high word at the lower element, written low byte first and the element behind first. A count of
/// exactly 1 gives the two bytes of base[start + 1].
void GetWordFromUI(QByteArray &out, unsigned short *base, int start, int count);

/// The mirror of GetWordFromUI for whole pairs.
void SetWordToUI(int start, unsigned short *base, QByteArray *in, int count);

#endif
