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

/// Writes first and last word number in fields of \a digits.
static void writeRange(FrameWriter &frame, const RW_VAR &var, int digits)
{
    frame.decimal(var.address, digits);
    frame.decimal(qint64(var.address) + var.count - 1, digits);
}

static void queueRead(const FrameWriter &frame, const RW_VAR &var)
{
    const int dataLen = charsOfWords(var.count);
    queueFrame(frame.frame(), dataLen + kAcknowledge, kReplyHead, dataLen, var);
    announceFrames(1);
}

void ReadRegister()
{
    if (qmap_list.isEmpty())
        return;
    const RW_VAR &first = qmap_list.at(0);
    if (qmap_list.size() > 1) {
        ReadWordMD(first);
        return;
    }
    switch (first.areaKind) {
    case KindDT:
    case KindLD:
    case KindFL:
        ReadAnalog(first);
        break;
    case KindSV:
    case KindEV:
        ReadTCSK(first);
        break;
    default:
        ReadBoolRCC(first);
    }
}

void ReadBoolRCC(RW_VAR var)
{
    FrameWriter frame(19, var.station, "RCC");
    frame.letter(letterWithin(var.areaKind, KindX, KindWL));
    writeRange(frame, var, 4);
    frame.closeUnchecked();
    queueRead(frame, var);
}

void ReadAnalog(RW_VAR var)
{
    FrameWriter frame(20, var.station, "RD");
    frame.letter(letterWithin(var.areaKind, KindDT, KindFL));
    writeRange(frame, var, 5);
    frame.closeUnchecked();
    queueRead(frame, var);
}

void ReadTCSK(RW_VAR var)
{
    FrameWriter frame(17, var.station, "R");
    frame.letter(letterWithin(var.areaKind, KindSV, KindEV));
    writeRange(frame, var, 4);
    frame.closeChecked();
    queueRead(frame, var);
}

/// Characters that \a kind takes in a monitor registration; 0 where it cannot be registered.
static int registeredChars(int kind)
{
    if (!isWordKind(kind))
        return 0;
    return kind <= KindWL ? 7 : 6;
}

static QByteArray monitorRegistration(int station)
{
    int chars = 0;
    for (int i = 0; i < countOf(qmap_list); ++i)
        chars += registeredChars(qmap_list.at(i).areaKind);
    FrameWriter frame(kMonitorSize + chars, station, "MD");
    for (int i = 0; i < countOf(qmap_list); ++i) {
        const RW_VAR &entry = qmap_list.at(i);
        if (!isWordKind(entry.areaKind))
            continue;
        const AreaRow &row = *areaRow(entry.areaKind);
        frame.text(row.registered);
        frame.decimal(entry.address, row.registeredDigits);
    }
    frame.closeUnchecked();
    return frame.frame();
}

void ReadWordMD(RW_VAR var)
{
    // The set-up frames bring no data; their replies are only checked. All three are marked, so that the store works
    // entry by entry.
    const qint32 flagOfExecution = var.varFlag;
    var.extra1 = kGroupedRead;
    var.varFlag = 1;
    FrameWriter clear(kMonitorClearSize, var.station, "MD");
    clear.text("FFFFFF");
    clear.closeUnchecked();
    queueFrame(clear.frame(), kAcknowledge, 0, 0, var);

    queueFrame(monitorRegistration(var.station), kAcknowledge, 0, 0, var);

    var.varFlag = flagOfExecution;
    const int dataLen = charsOfWords(qmap_list.size());
    FrameWriter execute(kMonitorSize, var.station, "MG");
    execute.closeUnchecked();
    queueFrame(execute.frame(), dataLen + kMonitorReply, kMonitorDataPos, dataLen, var);
    announceFrames(3);
}
