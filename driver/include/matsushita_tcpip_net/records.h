// records.h - the records that cross the interface between a host and the driver.
//
//  - Field order and widths are fixed: hosts are built apart from the library. Every integer has the width that its
//    type names, on every target.
//  - The records carry no Qt type traits: a trait would change how a QList keeps them, and so the binary interface.
//  - Strings and byte arrays are implicitly shared Qt values; a copied record owns its own.

#ifndef MATSUSHITA_TCPIP_NET_RECORDS_H
#define MATSUSHITA_TCPIP_NET_RECORDS_H

#include "platform.h"

#include <cstddef>

/// Memory areas of the PLC, as used in RW_VAR::areaKind, HostReadItem::areaKind and the kind arguments.
///
/// Kinds 0 to 5 count bits: element number = word x 16 + bit for 0 to 3, contact number for 4 and 5. Kinds 6 to 14
/// count 16-bit words. Kinds 0 to 3 are the bits of the words of kinds 6 to 9.
enum AreaKind {
    KindX = 0,   ///< input relay bits, the bits of KindWX
    KindY = 1,   ///< output relay bits, the bits of KindWY
    KindR = 2,   ///< internal relay bits, the bits of KindWR
    KindL = 3,   ///< link relay bits, the bits of KindWL
    KindT = 4,   ///< timer contacts
    KindC = 5,   ///< counter contacts
    KindWX = 6,  ///< input relay words
    KindWY = 7,  ///< output relay words
    KindWR = 8,  ///< internal relay words
    KindWL = 9,  ///< link relay words
    KindDT = 10, ///< data registers
    KindLD = 11, ///< link data registers
    KindFL = 12, ///< file registers
    KindSV = 13, ///< timer and counter set values
    KindEV = 14  ///< timer and counter elapsed values
};

/// One PLC variable (a run of elements of one area of one station) to be read or written, with its value and result.
///
/// Example, a write of DT100 = 0x1234 to station 1: areaKind KindDT, address 100, station 1, count 1, varFlag 1,
/// data "\x34\x12".
struct RW_VAR {
    qint32 ownerId = 0;    ///< who asks; 1 to 11 also choose the digit of a failure code (see DataCom)
    qint32 ownerTag = 0;   ///< second identification of who asks; with ownerId it names a one-shot read
    qint32 varFlag = 0;    ///< 0: the reply carries data to store; 1: the reply is only checked (writes)
    qint32 remoteMode = 0; ///< ComInfo::remoteMode when the variable was made; carried along
    qint32 linkNo = 0;     ///< ComInfo::linkNo when the variable was made; a different current one means a remote reply
    qint32 result = 0;     ///< result code; set by the driver in the record that DataCom returns
    QString name;          ///< the host's name for the variable; carried along, never interpreted
    QString addrText;      ///< the address as the host wrote it: "100" for a word, "10F" for bit F of word 10
    qint32 areaKind = 0;   ///< an AreaKind
    qint32 address = 0;    ///< element number; negative = invalid
    qint32 station = 0;    ///< PLC station number; 255 = broadcast, which is never answered
    qint32 count = 0;      ///< number of elements, words or bits as the kind counts
    qint32 extra1 = 0;     ///< 0 from the lists; 88 in the frames of a grouped read; -1 = store a remote reply
    qint32 extra2 = 0;     ///< bytes 17 to 20 of a remote record; 0 for local variables
    QByteArray data;       ///< value bytes: one per bit (1 = on), two per word (low byte first); or empty
};

/// One built request frame that waits for its reply.
///
/// Example, the read of 16 data registers from DT100 of station 1: frame "%01#RDD0010000115**" and CR, frameLen 20,
/// replyLen 73, dataPos 6, dataLen 64.
struct Protocol {
    QByteArray frame;    ///< the request, ready to send
    qint32 frameLen = 0; ///< bytes of frame to send
    qint32 replyLen = 0; ///< bytes of the reply that must come back; 0 = none comes; -1 = any number
    qint32 dataPos = 0;  ///< index in the reply of the first data character; 0 where there is no data
    qint32 dataLen = 0;  ///< data characters in the reply, four per word; 0 where there is no data
    RW_VAR var;          ///< the variable that the frame serves (the first one of a grouped read)
};

/// One word of one area of one station, kept while ComInfo::multiStation is nonzero.
struct EXTENDVAR {
    qint32 station = 0;  ///< PLC station number
    qint32 areaKind = 0; ///< KindT to KindEV; relay bits live in their word kinds
    qint32 address = 0;  ///< word number
    QByteArray data;     ///< low byte, high byte; four zero bytes until the first value arrives
};

/// The host's communication settings. The host owns the record and keeps it alive while the library is in use; the
/// driver keeps a pointer, reads the settings at the moment it needs them and writes its counters straight into it.
/// A run of 32-bit words; what follows hostHandle in a host's own record is the host's.
struct ComInfo {
    qint32 hostWord1 = 0; ///< the host's own
    qint32 hostWord2 = 0; ///< the host's own
    qint32 hostWord3 = 0; ///< the host's own
    qint32 hostWord4 = 0; ///< the host's own
    qint32 maxWordsPerWrite =
        0;                     ///< most words in one write request made by SetRegisterData; below 1 refuses word writes
    qint32 hostWord6 = 0;      ///< the host's own
    qint32 defaultStation = 0; ///< station of every variable while multiStation is 0
    qint32 retryLimit = 0;     ///< repeated sends after failed replies before a request is abandoned
    qint32 retryCount = 0;     ///< written by the driver: failed replies since the last abandoned request
    qint32 multiStation = 0;   ///< nonzero: each variable carries its own station
    qint32 reserved40 = 0;     ///< set to 0 by SetComInfo
    qint32 framesTotal = 0;    ///< written by the driver: frames of the request in flight
    qint32 framesDone = 0;     ///< written by the driver: how many of them are answered
    qint32 reserved52 = 0;     ///< set to 0 by SetComInfo
    qint32 remoteMode = 0;     ///< nonzero: requests go out as binary remote records
    qint32 linkNo = 0;         ///< current link number, copied into each new variable
    qint32 hostMode = 0;       ///< 2: SetRegisterData sends to the PLC; anything else: it writes the local store only
    qint32 cycleDone = 0;      ///< written by the driver: 1 = a whole polling cycle is answered, or nothing is polled
    qint32 hostHandle = 0;     ///< first argument of the read-finished callback
};

/// One variable that the host wants polled; the element of the list given to ReCreatReadVarList.
struct HostReadItem {
    quint8 hostByte0 = 0; ///< the host's own; not read
    quint8 areaKind = 0;  ///< an AreaKind
    quint8 station = 0;   ///< PLC station; used in multi-station mode only
    quint8 hostByte3 = 0; ///< the host's own, and so is what follows up to the first string
    QString addrText;     ///< address text, see PLCAddressChangeIntef
    QString name;         ///< the host's name for the variable
    qint32 count = 0;     ///< number of elements: bits for kinds 0 to 5, words for kinds 6 to 14
};

// The layouts, for any size of a Qt value: P is what a QString takes, B what a QByteArray takes (one pointer each up to
// Qt 5, three in Qt 6). The checked-in dumps of tests/layout/ give the numbers for each target.

static_assert(sizeof(qint32) == 4 && alignof(qint32) == 4, "every integer field is one 32-bit word");

static_assert(offsetof(RW_VAR, ownerId) == 0 * 4, "field 1");
static_assert(offsetof(RW_VAR, ownerTag) == 1 * 4, "field 2");
static_assert(offsetof(RW_VAR, varFlag) == 2 * 4, "field 3");
static_assert(offsetof(RW_VAR, remoteMode) == 3 * 4, "field 4");
static_assert(offsetof(RW_VAR, linkNo) == 4 * 4, "field 5");
static_assert(offsetof(RW_VAR, result) == 5 * 4, "field 6");
static_assert(offsetof(RW_VAR, name) == 6 * 4, "the strings follow the six leading integers directly");
static_assert(offsetof(RW_VAR, addrText) == offsetof(RW_VAR, name) + sizeof(QString), "field 8");
static_assert(offsetof(RW_VAR, areaKind) == offsetof(RW_VAR, addrText) + sizeof(QString), "field 9");
static_assert(offsetof(RW_VAR, address) == offsetof(RW_VAR, areaKind) + 1 * 4, "field 10");
static_assert(offsetof(RW_VAR, station) == offsetof(RW_VAR, areaKind) + 2 * 4, "field 11");
static_assert(offsetof(RW_VAR, count) == offsetof(RW_VAR, areaKind) + 3 * 4, "field 12");
static_assert(offsetof(RW_VAR, extra1) == offsetof(RW_VAR, areaKind) + 4 * 4, "field 13");
static_assert(offsetof(RW_VAR, extra2) == offsetof(RW_VAR, areaKind) + 5 * 4, "field 14");
static_assert(offsetof(RW_VAR, data) == offsetof(RW_VAR, areaKind) + 6 * 4, "field 15");
static_assert(sizeof(RW_VAR) == offsetof(RW_VAR, data) + sizeof(QByteArray), "nothing behind the value bytes");

static_assert(offsetof(Protocol, frame) == 0, "field 1");
static_assert(offsetof(Protocol, frameLen) == sizeof(QByteArray), "field 2");
static_assert(offsetof(Protocol, replyLen) == offsetof(Protocol, frameLen) + 1 * 4, "field 3");
static_assert(offsetof(Protocol, dataPos) == offsetof(Protocol, frameLen) + 2 * 4, "field 4");
static_assert(offsetof(Protocol, dataLen) == offsetof(Protocol, frameLen) + 3 * 4, "field 5");
static_assert(offsetof(Protocol, var) == offsetof(Protocol, frameLen) + 4 * 4, "field 6");
static_assert(sizeof(Protocol) == offsetof(Protocol, var) + sizeof(RW_VAR), "nothing behind the variable");

static_assert(offsetof(EXTENDVAR, station) == 0 * 4, "field 1");
static_assert(offsetof(EXTENDVAR, areaKind) == 1 * 4, "field 2");
static_assert(offsetof(EXTENDVAR, address) == 2 * 4, "field 3");
static_assert(offsetof(EXTENDVAR, data) ==
                  (3 * 4 + alignof(QByteArray) - 1) / alignof(QByteArray) * alignof(QByteArray),
              "field 4, on its own alignment");

static_assert(offsetof(ComInfo, maxWordsPerWrite) == 4 * 4, "word five");
static_assert(offsetof(ComInfo, defaultStation) == 6 * 4, "word seven");
static_assert(offsetof(ComInfo, retryLimit) == 7 * 4, "word eight");
static_assert(offsetof(ComInfo, retryCount) == 8 * 4, "word nine");
static_assert(offsetof(ComInfo, multiStation) == 9 * 4, "word ten");
static_assert(offsetof(ComInfo, reserved40) == 40, "named after its offset");
static_assert(offsetof(ComInfo, framesTotal) == 11 * 4, "word twelve");
static_assert(offsetof(ComInfo, framesDone) == 12 * 4, "word thirteen");
static_assert(offsetof(ComInfo, reserved52) == 52, "named after its offset");
static_assert(offsetof(ComInfo, remoteMode) == 14 * 4, "word fifteen");
static_assert(offsetof(ComInfo, linkNo) == 15 * 4, "word sixteen");
static_assert(offsetof(ComInfo, hostMode) == 16 * 4, "word seventeen");
static_assert(offsetof(ComInfo, cycleDone) == 17 * 4, "word eighteen");
static_assert(offsetof(ComInfo, hostHandle) == 18 * 4, "word nineteen");
static_assert(sizeof(ComInfo) == 19 * 4, "what follows is the host's");

static_assert(offsetof(HostReadItem, areaKind) == 1, "second byte");
static_assert(offsetof(HostReadItem, station) == 2, "third byte");
static_assert(offsetof(HostReadItem, addrText) == alignof(QString), "the first string stands on its own alignment");
static_assert(offsetof(HostReadItem, name) == offsetof(HostReadItem, addrText) + sizeof(QString), "second string");
static_assert(offsetof(HostReadItem, count) == offsetof(HostReadItem, name) + sizeof(QString), "behind the strings");

#endif
