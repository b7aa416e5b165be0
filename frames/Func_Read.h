// Func_Read.h - the builders of read requests.
//
//  - Each builder appends its frame or frames to lst_Protocol and announces them in ComInfo (framesTotal, framesDone).
//  - Input is not checked: numbers wider than their field keep their low digits, a kind without a letter leaves a zero
//    byte in its place.
//  - The communication cycle calls them with mutexList held; they take no lock.

#ifndef FUNC_READ_H
#define FUNC_READ_H

#include "matsushita_tcpip_net.h"

/// Builds the request that reads what qmap_list holds: one entry by its kind (RCC, RD, RS, RK), several through the
/// monitor (MD, MD, MG). An empty qmap_list builds nothing.
void ReadRegister();

/// RCC, 19 bytes. Example: station 1, KindWR, address 10, count 3: "%01#RCCR00100012**" and CR, replyLen 21.
void ReadBoolRCC(RW_VAR var);

/// RD, 20 bytes. Example: station 1, KindDT, address 100, count 16: "%01#RDD0010000115**" and CR, replyLen 73.
void ReadAnalog(RW_VAR var);

/// RS or RK, 17 bytes, the only read with a computed check code. Example: station 1, KindSV, address 2, count 1:
/// "%01#RS00020002", its check code, CR, replyLen 13.
void ReadTCSK(RW_VAR var);

/// The three monitor frames for all entries of qmap_list, sent to var's station: reset, registration, execution.
/// The copies of the variable carry extra1 88. Example of the second: station 2, DT5 and WY3:
/// "%02#MDD00005WY00003**" and CR.
void ReadWordMD(RW_VAR var);

#endif
