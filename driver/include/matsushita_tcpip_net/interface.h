// interface.h - everything that libMatsushita_TCPIP_net.so exports: functions with unmangled names, and data objects.
//
//  - The driver does no input or output: it opens no socket, starts no thread, keeps no timer. The host sends the
//    frames, waits for the replies and calls again.
//  - Nothing throws. Outcomes are integers; bad input is refused or ignored as each function says, and never touches
//    memory that is not its own.
//  - One communication thread alternates ComCommunication and DataCom. The host's other threads call the rest.
//  - Set-up comes first and in this order: SetComInfo, RegistCallBackFuncIntf, FlashLocalRegister (if wanted), then the
//    polling list (AddListReadVar or ReCreatReadVarList), then the communication thread.
//
// A host that loads the library at run time gets the type of each function from its declaration:
//
//     typedef decltype(&ComCommunication) ComCommunicationFn;
//     ComCommunicationFn next = ComCommunicationFn(dlsym(library, "ComCommunication"));

#ifndef MATSUSHITA_TCPIP_NET_INTERFACE_H
#define MATSUSHITA_TCPIP_NET_INTERFACE_H

#include "driver_object.h"

extern "C" {

// Set-up and stations -------------------------------------------------------------------------------------------------

/// Lends the driver the host's settings; must come before any list, communication or register function.
/// Sets reserved40 and reserved52 of the record to 0 and keeps the pointer: settings are read from the record whenever
/// they are needed, counters are written into it. Calling it again replaces the pointer and resets nothing else.
/// \param info  lives as long as the library is in use; not null
/// Takes no lock: call it before the communication thread starts.
MATSUSHITA_EXPORT void SetComInfo(ComInfo *info);

/// Registers the host's two callbacks. Both must be set before the first reply is handed to DataCom, which calls them
/// without a test. What they return is ignored.
/// Takes no lock: call it before the communication thread starts.
MATSUSHITA_EXPORT void RegistCallBackFuncIntf(ReadFinishFn readFinish, CommErrorFn commError);

/// Stores the bases of the host's own local bit, word and indirect word registers in the exported LB, LW and RWI.
/// They are 32-bit values on every target; the driver keeps them for the host and does not use them. Takes no lock.
MATSUSHITA_EXPORT void FlashLocalRegister(quint32 bitBase, quint32 wordBase, quint32 indirectBase);

/// Always 1: the driver has no unfinished background work. Any thread.
MATSUSHITA_EXPORT int QueryFinishFlag();

/// The element number that an address text stands for.
/// Kinds 0 to 3: a decimal word number followed by one hexadecimal bit digit, word x 16 + bit; a single character is
/// the bit digit alone. Every other kind (negative ones too): the whole text as a decimal number. A part that is no
/// number counts as 0: with kinds 0 to 3 "-5" is bit 5, since a lone minus sign is no number, and "-1F" is -1.
/// \return the element number; negative for a bad address: empty text (kinds 0 to 3), a negative number, a number that
///         does not fit 32 bits
/// Examples: (0, "10F") = 175, (2, "7") = 7, (1, "12A") = 202, (10, "12345") = 12345, (9, "12A") = 0, (0, "") = -1.
/// Any thread, no lock.
MATSUSHITA_EXPORT int PLCAddressChangeIntef(int areaKind, const QString &text);

/// Switches communication with a station off (enable 0) or on (enable 1); any other \a enable changes nothing.
/// A negative \a station switches every station on, whatever \a enable says. Frames already built are not affected:
/// queued writes and one-shot reads of a switched-off station are discarded without a callback when their turn comes,
/// its polling entries are skipped.
/// Any thread; takes mutexStation.
MATSUSHITA_EXPORT void EnCommStation(int station, int enable);

// Communication --------------------------------------------------------------------------------------------------

/// The next frame to send, or null when there is nothing to do now (call again later).
/// While a frame waits for its reply the same frame comes again, unchanged; otherwise the next work is chosen: writes
/// (at most five in a row), one-shot reads (at most five in a row), then one polling read.
/// The host sends the first frameLen bytes of frame, waits for replyLen bytes (0: do not wait, -1: any number), a CR or
/// its own time-out, and calls DataCom. The record stays the driver's and valid until DataCom removes it.
/// Takes mutexList, and mutexStation and mutexArea inside it. Communication thread only.
MATSUSHITA_EXPORT Protocol *ComCommunication();

/// Judges the reply to the frame that ComCommunication handed out, stores its data, and ends, continues, repeats or
/// abandons the request.
/// \param reply   the bytes received; may be null when \a length is 0
/// \param length  their number; 0 = nothing came (the host's time-out). A length above the bytes given is a bad reply.
/// \return the driver's result record, overwritten by the next call. Its result is
///
///   | code        | meaning                                                                                        |
///   |-------------|------------------------------------------------------------------------------------------------|
///   | 0           | the reply failed; the same frame goes out again                                                |
///   | 1           | good reply, data stored; also when no frame was queued                                         |
///   | 100         | good reply on the remote path, not stored or stored while framesDone was 1                     |
///   | 10 + k      | abandoned, local link: not a valid frame, or an error response                                 |
///   | 40 + k      | abandoned, local link: nothing received                                                        |
///   | 70 + k      | abandoned, local link: wrong length                                                            |
///   | 110/140/170 | the same three on the remote path, + k                                                         |
///
///   with k = ownerId + 1 for an ownerId of 1 to 11 and k = 1 for any other. After an ended request the record also
///   carries the fields of the variable served; its data is always empty.
///
/// A request is abandoned when retryCount passes retryLimit: the frame queue is emptied, the callbacks tell, and what
/// would fail the same way is dropped (one-shot reads of the same requester; all pending writes, or those of the same
/// station in multi-station mode).
/// Example: the reply "%01$RD341212" and CR to a read of DT100 leaves 0x1234 in DT100: header %, station 01, good mark
/// $, command RD, data 3412 (low byte first), check code 12 (the XOR of everything before it), CR.
///
/// Communication thread only. Judges the reply and removes its frame without mutexList; stores under mutexArea; ends
/// the request and calls the callbacks under mutexList. A callback must not call ComCommunication, DataCom,
/// AddListWriteVar, AddListOnceReadVar, ReCreatReadVarList or SetRegisterData.
MATSUSHITA_EXPORT const RW_VAR *DataCom(QByteArray *reply, int length);

// Variable lists -------------------------------------------------------------------------------------------------

/// Appends a copy of \a var to the polling list as it stands: no conversion, no limit, no check.
/// \return the new length of the polling list
/// Takes no lock: only while no other thread uses the polling list.
MATSUSHITA_EXPORT int AddListReadVar(RW_VAR *var);

/// Queues a write. A write to the same station, kind, address and count that waits behind the head of the list is
/// replaced in place by the new one; otherwise the record is appended while the list holds fewer than 1024 entries, and
/// dropped when it is full.
/// \param direct  1: append the record unchanged and unchecked, whatever the length of the list
/// \return the length of the write list after the call
/// Takes mutexList. Any thread.
MATSUSHITA_EXPORT int AddListWriteVar(RW_VAR *var, int direct);

/// Queues a one-shot read, converted to words and cut into blocks of 16; each block is skipped where the same requester
/// already waits for it, and dropped when the list holds 1024 entries. Blocks wholly outside their area are not made.
/// \param var     its addrText names the first element. On return it holds extra1 and extra2 of 0, the station
///                used, the converted kind, and the address and count of the last block.
/// \param direct  1: append the record unchanged and unchecked
/// \return the length of the one-shot list after the call; 0 for a bad address, and then nothing is changed
/// Example: 20 bits of X from "0E" become one entry of KindWX, address 0, count 3.
/// Takes mutexList. Any thread.
MATSUSHITA_EXPORT int AddListOnceReadVar(RW_VAR *var, int direct);

/// Rebuilds the polling list from the host's items as sorted block reads of at most 16 words, blocks of up to 4 words
/// first. Items with a bad address are left out. Starts the polling cycle anew (pollReplyCount and cycleDone 0), except
/// for an empty list of items, which only empties the polling list.
/// \return the length of the polling list; 0 for no items
/// Example: DT0 and DT5, one word each, become one block of six words; DT0 and DT6 become two blocks.
/// Takes mutexList. Any thread.
MATSUSHITA_EXPORT int ReCreatReadVarList(QList<HostReadItem> *items);

// Registers ------------------------------------------------------------------------------------------------------

/// Reads values from the local store: one byte per bit (0 or 1), two bytes per word (low byte first).
/// \param name      not used; may be null
/// \param kind      an AreaKind; an unknown one reads nothing
/// \param addrText  address text of the first element, see PLCAddressChangeIntef
/// \param station   whose values, in multi-station mode; not used otherwise
/// \param out       receives the values from byte 0 on and grows as needed. Bytes behind them, and bytes of elements
///                  outside the area, stay as they were; it does not grow for those.
/// \param count     number of elements; below 1 reads nothing
/// \return 1, or 0 for a bad address (and then out is untouched)
/// Example: with 0x1234 in DT100, (KindDT, "100", count 1) gives 34 12.
/// Takes mutexArea. Any thread.
MATSUSHITA_EXPORT int GetRegisterData(QString *name, int kind, QString *addrText, int station, QByteArray *out,
                                      int count);

/// Writes values: into the local store only, or (hostMode 2) to the PLC through the write list.
/// \param data      one byte per bit (1 = on, anything else off), two bytes per word (low byte first); missing
///                  bytes are sent as 0
/// \param count     number of elements
/// \param ownerId   copied into the queued records, as is \a ownerTag
/// \return 0 for a bad address. hostMode other than 2: 1. hostMode 2: the length of the write list after the last piece
///         (kinds 1 to 3 one bit each, kinds 7 to 14 pieces of maxWordsPerWrite words); 0 when nothing was queued
///         (kinds 0, 4, 5, 6 and unknown ones, a count below 1, maxWordsPerWrite below 1, no element inside the area).
/// While the last reply was a failure the values also go into the local store at once.
/// Example: maxWordsPerWrite 16, 40 words at DT100 queue writes of 16, 16 and 8 words at 100, 116 and 132.
/// Takes mutexList, then mutexArea, one after the other. Any thread.
MATSUSHITA_EXPORT int SetRegisterData(QString *name, int kind, QString *addrText, int station, QByteArray *data,
                                      int count, int ownerId, int ownerTag);

// Data objects ---------------------------------------------------------------------------------------------------

extern MATSUSHITA_EXPORT Matsushita_TCPIP_net PLC_driver; ///< the one driver object (the object, not a pointer to it)
extern MATSUSHITA_EXPORT QList<RW_VAR> qmap_list;         ///< the variables that the read in flight serves. mutexList
extern MATSUSHITA_EXPORT qint32 qmap_length;     ///< polling entries that the read in flight consumed. mutexList
extern MATSUSHITA_EXPORT QList<RW_VAR> map_bit;  ///< stays empty
extern MATSUSHITA_EXPORT QList<RW_VAR> map_word; ///< stays empty
extern MATSUSHITA_EXPORT quint32 LB;             ///< base of the host's local bit registers, see FlashLocalRegister
extern MATSUSHITA_EXPORT quint32 LW;             ///< base of the host's local word registers
extern MATSUSHITA_EXPORT quint32 RWI;            ///< base of the host's indirect word registers

} // extern "C"

#endif
