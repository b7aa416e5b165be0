// Func_Write.cpp - the builders of write requests.
//
//  - One table row per word command; the contact command has a form of its own.

#include "frames/Func_Write.h"

#include "driver/area_table.h"
#include "frames/frame_format.h"
#include "store/Func_GetOrSetData.h"

/// A command that writes words: its letters, the kinds that it serves, the width of its numbers.
struct WordCommand {
    const char *code;
    int firstKind;
    int lastKind;
    int digits;
};

/// Builds and queues the request; 4n characters of data stand between the numbers and the check code.
static void queueWordWrite(const WordCommand &command, const RW_VAR &var)
{
    // A PLC has no more words than an area holds; a larger count would only make a frame that fills the memory.
    const int limit = areaWords(var.areaKind);
    const int words = qBound(0, var.count, limit);
    const int codeChars = int(qstrlen(command.code)) + 1;
    const int size = kRequestHead + codeChars + 2 * command.digits + words * kCharsPerWord + kReplyTail;

    FrameWriter frame(queueRequest(size, kAcknowledge, 0, 0, var).frame, size, var.station, command.code);
    frame.letter(letterWithin(var.areaKind, command.firstKind, command.lastKind));
    const qint64 last = qint64(var.address) + var.count - 1;
    if (command.digits == 4) {
        frame.decimal<4>(var.address);
        frame.decimal<4>(last);
    } else {
        frame.decimal<5>(var.address);
        frame.decimal<5>(last);
    }
    frame.words(var.data, words);
    frame.closeChecked();
    announceFrames(1);
}

void WriteRegister(RW_VAR *var)
{
    switch (var->areaKind) {
    case KindY:
    case KindR:
    case KindL:
        WriteBool(var);
        break;
    case KindWY:
    case KindWR:
    case KindWL:
        WriteboolWCC(var);
        break;
    case KindDT:
    case KindLD:
    case KindFL:
        WriteAnalog(var);
        break;
    case KindSV:
    case KindEV:
        WriteTCWSK(var);
        break;
    default: // no write command
        break;
    }
    // While the link has failed, SetRegisterData has already put the value into the store.
    if (!PLC_driver.bCommFail)
        WriteDataToLocal(var);
}

void WriteBool(RW_VAR *var)
{
    if (var->data.isEmpty())
        return;
    enum { kSize = 16 };
    Protocol &queued = queueRequest(kSize, kAcknowledge, 0, 0, *var);
    queued.replyLen = kAcknowledge; // expected from the broadcast station too, unlike that of the word commands
    FrameWriter frame(queued.frame, kSize, var->station, "WCS");
    frame.letter(letterWithin(var->areaKind, KindY, KindL));
    frame.decimal<3>(var->address / kBitsPerWord);
    frame.hexDigit(var->address % kBitsPerWord);
    const char value = var->data.at(0);
    frame.letter(value == 0 ? '0' : value == 1 ? '1' : '\0');
    frame.closeChecked();
    announceFrames(1);
}

void WriteboolWCC(RW_VAR *var)
{
    static const WordCommand wcc = {"WCC", KindWY, KindWL, 4};
    queueWordWrite(wcc, *var);
}

void WriteAnalog(RW_VAR *var)
{
    static const WordCommand wd = {"WD", KindDT, KindFL, 5};
    queueWordWrite(wd, *var);
}

void WriteTCWSK(RW_VAR *var)
{
    static const WordCommand ws = {"W", KindSV, KindEV, 4};
    queueWordWrite(ws, *var);
}
