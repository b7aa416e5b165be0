// Func_Read.cpp - the builders of read requests.
//
//  - A request names its first and its last word, inclusively: one word has first == last.
//  - Replies carry four characters per word behind six leading ones, in a monitor reply behind eleven.

#include "frames/Func_Read.h"

#include "driver/area_table.h"
#include "driver/matsushita_tcpip_net_p.h"
#include "frames/frame_format.h"

enum {
    kMonitorSize = kRequestHead + 2 + kReplyTail, // "MD" or "MG" alone
    kMonitorClearSize = kMonitorSize + 6,         // "MDFFFFFF"
    kMonitorDataPos = kReplyHead + 5,             // scans, "00", number of characters
    kMonitorReply = kMonitorDataPos + kReplyTail  // without the words
};
static_assert(kMonitorSize == 9 && kMonitorClearSize == 15, "the two fixed monitor requests");
static_assert(kMonitorDataPos == 11 && kMonitorReply == 14, "with only data registered");

/// Writes first and last word number in fields of \a Digits.
template <int Digits> static void writeRange(FrameWriter &frame, const RW_VAR &var)
{
    frame.decimal<Digits>(var.address);
    frame.decimal<Digits>(qint64(var.address) + var.count - 1);
}

/// Queues a read of one variable with a frame of \a size bytes; the caller writes the frame.
static Protocol &queueRead(int size, const RW_VAR &var)
{
    const qint64 chars = charsOfWords(var.count);
    announceFrames(1);
    return queueRequest(size, length32(chars + kAcknowledge), kReplyHead, length32(chars), var);
}

// The builders take their variable by value; a request that comes from qmap_list need not be copied for that.

static void readContacts(const RW_VAR &var)
{
    enum { kSize = 19 };
    FrameWriter frame(queueRead(kSize, var).frame, kSize, var.station, "RCC");
    frame.letter(letterWithin(var.areaKind, KindX, KindWL));
    writeRange<4>(frame, var);
    frame.closeUnchecked();
}

static void readRegisters(const RW_VAR &var)
{
    enum { kSize = 20 };
    FrameWriter frame(queueRead(kSize, var).frame, kSize, var.station, "RD");
    frame.letter(letterWithin(var.areaKind, KindDT, KindFL));
    writeRange<5>(frame, var);
    frame.closeUnchecked();
}

static void readTimerValues(const RW_VAR &var)
{
    enum { kSize = 17 };
    FrameWriter frame(queueRead(kSize, var).frame, kSize, var.station, "R");
    frame.letter(letterWithin(var.areaKind, KindSV, KindEV));
    writeRange<4>(frame, var);
    frame.closeChecked();
}

void ReadBoolRCC(RW_VAR var)
{
    readContacts(var);
}

void ReadAnalog(RW_VAR var)
{
    readRegisters(var);
}

void ReadTCSK(RW_VAR var)
{
    readTimerValues(var);
}

/// Queues a request of a monitor read. \a varFlag: 1 where its reply brings no data.
static Protocol &queueMonitor(int size, int replyLen, int dataPos, int dataLen, const RW_VAR &var, qint32 varFlag)
{
    Protocol &queued = queueRequest(size, replyLen, dataPos, dataLen, var);
    queued.var.extra1 = kGroupedRead; // so that the store works entry by entry
    queued.var.varFlag = varFlag;
    return queued;
}

/// The request that clears what is registered.
static void queueMonitorClear(const RW_VAR &var)
{
    Protocol &queued = queueMonitor(kMonitorClearSize, kAcknowledge, 0, 0, var, 1);
    FrameWriter frame(queued.frame, kMonitorClearSize, var.station, "MD");
    frame.text("FFFFFF");
    frame.closeUnchecked();
}

/// Characters that the entries of qmap_list take in a monitor registration; those that cannot stand there take none.
static int registeredChars()
{
    int chars = 0;
    for (int i = 0; i < countOf(qmap_list); ++i) {
        const int kind = qmap_list.at(i).areaKind;
        if (isWordKind(kind))
            chars += kind <= KindWL ? 7 : 6;
    }
    return chars;
}

/// The request that registers every entry of qmap_list that can be.
static void queueMonitorRegistration(const RW_VAR &var)
{
    const int size = kMonitorSize + registeredChars();
    FrameWriter frame(queueMonitor(size, kAcknowledge, 0, 0, var, 1).frame, size, var.station, "MD");
    for (int i = 0; i < countOf(qmap_list); ++i) {
        const RW_VAR &entry = qmap_list.at(i);
        if (!isWordKind(entry.areaKind))
            continue;
        frame.text(areaRow(entry.areaKind)->registered);
        if (entry.areaKind <= KindWL)
            frame.decimal<4>(entry.address);
        else
            frame.decimal<5>(entry.address);
    }
    frame.closeUnchecked();
}

static void queueMonitorExecution(const RW_VAR &var)
{
    const int chars = length32(charsOfWords(qmap_list.size()));
    Protocol &queued = queueMonitor(kMonitorSize, chars + kMonitorReply, kMonitorDataPos, chars, var, var.varFlag);
    FrameWriter(queued.frame, kMonitorSize, var.station, "MG").closeUnchecked();
}

static void readThroughMonitor(const RW_VAR &var)
{
    queueMonitorClear(var);
    queueMonitorRegistration(var);
    queueMonitorExecution(var);
    announceFrames(3);
}

void ReadWordMD(RW_VAR var)
{
    readThroughMonitor(var);
}

void ReadRegister()
{
    if (qmap_list.isEmpty())
        return;
    const RW_VAR &first = qmap_list.at(0);
    if (qmap_list.size() > 1) {
        readThroughMonitor(first);
        return;
    }
    switch (first.areaKind) {
    case KindDT:
    case KindLD:
    case KindFL:
        readRegisters(first);
        break;
    case KindSV:
    case KindEV:
        readTimerValues(first);
        break;
    default:
        readContacts(first);
    }
}
