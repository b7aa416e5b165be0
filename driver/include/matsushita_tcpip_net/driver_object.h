// driver_object.h - the one object that holds all of the driver's state.
//
//  - Exactly one instance exists, the exported PLC_driver: constructed when the library is loaded, destroyed when it is
//    unloaded. It is a little over 2.3 megabytes, nearly all of it the local data areas, so it never lives on a stack.
//  - Three non-recursive mutexes guard it. Where two are held, mutexList was taken first; nobody takes mutexList while
//    holding another.
//  - Member order and widths are fixed, as in records.h.

#ifndef MATSUSHITA_TCPIP_NET_DRIVER_OBJECT_H
#define MATSUSHITA_TCPIP_NET_DRIVER_OBJECT_H

#include "records.h"

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMutex>

extern "C" {

/// A one-shot read of the local link has ended. Called on the communication thread from inside DataCom with mutexList
/// held: it must not call a function that takes mutexList (DataCom names them).
/// \param hostHandle  ComInfo::hostHandle
/// \param ownerId     of the read that ended
/// \param ownerTag    of the read that ended
/// \param status      1 = its values are in the local areas; 2 = it failed and was abandoned after its retries
typedef void (*ReadFinishFn)(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status);

/// A request was abandoned after its retries. Called as ReadFinishFn is, under the same rule.
/// \param list     always empty; the driver's own temporary, gone when the callback returns
/// \param ownerId  of the variable whose request was abandoned
/// \param reason   always 1
typedef void (*CommErrorFn)(QList<RW_VAR> *list, qint32 ownerId, qint32 reason);

} // extern "C"

/// Sizes of the local areas, in 16-bit words. Bit areas pack 16 bits to the word.
enum AreaWords {
    kWordsT = 1250,
    kWordsC = 1250,
    kWordsWX = 10000,
    kWordsWY = 10000,
    kWordsWR = 10000,
    kWordsWL = 10000,
    kWordsDT = 1000000,
    kWordsLD = 10000,
    kWordsFL = 100000,
    kWordsSV = 10000,
    kWordsEV = 10000
};

/// Value of Matsushita_TCPIP_net::curReqKind.
enum RequestKind {
    RequestPolling = 0,  ///< a polling read is in flight, or was the last choice
    RequestWrite = 1,    ///< a write
    RequestOnceRead = 2, ///< a one-shot read
    RequestNone = 100    ///< nothing was sent since the library was loaded
};

/// The driver's state. Hosts may look at it; the locks named with the members apply to them too.
class Matsushita_TCPIP_net
{
public:
    /// Empty lists, zeroed areas and counters, curReqKind 100. Leaves comInfo and the callbacks as storage has them
    /// (null in the static instance).
    Matsushita_TCPIP_net();

    /// Releases what the lists and records own. The host's ComInfo is not freed.
    ~Matsushita_TCPIP_net();

    ComInfo *comInfo;                 ///< the host's settings; set by SetComInfo
    QList<RW_VAR> lst_PollingReadVar; ///< read over and over; turned by DataCom. mutexList
    QList<RW_VAR> lst_WriteVar;       ///< pending writes, served first, oldest first. mutexList
    QList<RW_VAR> lst_OnceReadVar;    ///< pending one-shot reads, served second. mutexList
    QList<RW_VAR> lst_ReserveVar;     ///< stays empty
    QList<Protocol> lst_Protocol;     ///< built frames that are not answered yet, oldest first. mutexList
    QList<EXTENDVAR> lst_ExtendVar;   ///< per-station words in order of creation; only grows. mutexArea
    QMap<int, int> map_Station;       ///< a key present = that station is switched off; value 0. mutexStation
    ReadFinishFn pfnReadFinish;       ///< set by RegistCallBackFuncIntf
    CommErrorFn pfnCommError;         ///< set by RegistCallBackFuncIntf
    QMutex mutexList;                 ///< guards the variable lists, the frame queue, qmap_list, the counters, retVar
    QMutex mutexArea;                 ///< guards the local areas and lst_ExtendVar
    QMutex mutexStation;              ///< guards map_Station
    RW_VAR retVar;                    ///< what DataCom returns a pointer to
    qint32 curReqKind;                ///< a RequestKind
    qint32 writeCount;                ///< writes served in a row since the last polling read; at most 5
    qint32 onceReadCount;             ///< one-shot reads served in a row since the last polling read; at most 5
    qint32 pollReplyCount;            ///< good local requests since cycleDone was cleared
    quint8 bCommFail;                 ///< 1 after a failed reply, 0 after a good one
    quint8 bReserve;                  ///< stays 0

    // The local copies of the PLC's memory: unsigned words in the processor's order, word number n at index n; bit b of
    // a bit area is bit b % 16 of word b / 16. They follow the two flags directly. mutexArea
    quint16 localT[kWordsT];   ///< KindT
    quint16 localC[kWordsC];   ///< KindC
    quint16 localWX[kWordsWX]; ///< KindWX, and the bits of KindX
    quint16 localWY[kWordsWY]; ///< KindWY, and the bits of KindY
    quint16 localWR[kWordsWR]; ///< KindWR, and the bits of KindR
    quint16 localWL[kWordsWL]; ///< KindWL, and the bits of KindL
    quint16 localDT[kWordsDT]; ///< KindDT
    quint16 localLD[kWordsLD]; ///< KindLD
    quint16 localFL[kWordsFL]; ///< KindFL
    quint16 localSV[kWordsSV]; ///< KindSV
    quint16 localEV[kWordsEV]; ///< KindEV

private:
    Matsushita_TCPIP_net(const Matsushita_TCPIP_net &);
    Matsushita_TCPIP_net &operator=(const Matsushita_TCPIP_net &);
};

static_assert(offsetof(Matsushita_TCPIP_net, comInfo) == 0, "member 1");
static_assert(offsetof(Matsushita_TCPIP_net, lst_PollingReadVar) == sizeof(ComInfo *), "member 2");
static_assert(offsetof(Matsushita_TCPIP_net, curReqKind) == offsetof(Matsushita_TCPIP_net, retVar) + sizeof(RW_VAR),
              "member 15 follows the result record");
static_assert(offsetof(Matsushita_TCPIP_net, bCommFail) == offsetof(Matsushita_TCPIP_net, curReqKind) + 4 * 4,
              "four counters, then the flags");
static_assert(offsetof(Matsushita_TCPIP_net, bReserve) == offsetof(Matsushita_TCPIP_net, bCommFail) + 1, "member 20");
static_assert(offsetof(Matsushita_TCPIP_net, localT) == offsetof(Matsushita_TCPIP_net, bReserve) + 1,
              "the areas follow the flags directly");
static_assert(offsetof(Matsushita_TCPIP_net, localC) == offsetof(Matsushita_TCPIP_net, localT) + 2500, "T");
static_assert(offsetof(Matsushita_TCPIP_net, localWX) == offsetof(Matsushita_TCPIP_net, localC) + 2500, "C");
static_assert(offsetof(Matsushita_TCPIP_net, localWY) == offsetof(Matsushita_TCPIP_net, localWX) + 20000, "WX");
static_assert(offsetof(Matsushita_TCPIP_net, localWR) == offsetof(Matsushita_TCPIP_net, localWY) + 20000, "WY");
static_assert(offsetof(Matsushita_TCPIP_net, localWL) == offsetof(Matsushita_TCPIP_net, localWR) + 20000, "WR");
static_assert(offsetof(Matsushita_TCPIP_net, localDT) == offsetof(Matsushita_TCPIP_net, localWL) + 20000, "WL");
static_assert(offsetof(Matsushita_TCPIP_net, localLD) == offsetof(Matsushita_TCPIP_net, localDT) + 2000000, "DT");
static_assert(offsetof(Matsushita_TCPIP_net, localFL) == offsetof(Matsushita_TCPIP_net, localLD) + 20000, "LD");
static_assert(offsetof(Matsushita_TCPIP_net, localSV) == offsetof(Matsushita_TCPIP_net, localFL) + 200000, "FL");
static_assert(offsetof(Matsushita_TCPIP_net, localEV) == offsetof(Matsushita_TCPIP_net, localSV) + 20000, "SV");

#endif
