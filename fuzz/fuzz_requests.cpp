// fuzz_requests.cpp - any bytes as requests and binary records to the simulated PLCs, whole and as a stream in pieces.
//
// Invariant: a reply is empty or a whole frame: the request's header and destination, a response mark, a fitting check
// code, CR, and within the frame's limit; an error response has nine bytes; the length found for a record is at least
// 22 and does not change when more bytes come; a line delivers in order of time, nothing of the past, nothing behind a
// reset, and only whole replies as long as no fault is planned.

#include "invariant.h"

#include "dice.h"
#include "plcsim/line.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

using plcsim::Delivery;
using plcsim::Line;
using plcsim::Simulator;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

static QByteArray withCheck(QByteArray text)
{
    int x = 0;
    for (const char c : text)
        x ^= static_cast<unsigned char>(c);
    return text + QByteArray::number(x, 16).rightJustified(2, '0').toUpper() + '\r';
}

static void checkReply(const QByteArray &reply, int limit)
{
    if (reply.isEmpty())
        return;
    require(reply.size() >= 9 && reply.size() <= limit, "a reply has 9 bytes to the limit of its frame");
    require(reply.at(0) == '%' || reply.at(0) == '<', "a reply begins with a header");
    require(reply.at(3) == '$' || (reply.at(3) == '!' && reply.size() == 9), "an error response has nine bytes");
    require(withCheck(reply.left(reply.size() - 3)) == reply, "a reply ends with its check code and CR");
    require(reply.count('\r') == 1, "a reply is one frame");
}

static void checkAnswer(Simulator &plc, const QByteArray &request)
{
    const QByteArray reply = plc.answer(request);
    checkReply(reply, request.startsWith('<') ? plcsim::kExtendedFrameLimit : plcsim::kFrameLimit);
    require(reply.isEmpty() || reply.left(3) == request.left(3), "a reply carries the request's header and station");
}

static void checkRecord(Simulator &plc, const QByteArray &record)
{
    const std::optional<int> length = plcsim::recordLength(record);
    require(length.has_value() || record.size() < 22, "22 bytes are enough to know a record's length");
    if (length) {
        require(*length >= 22, "a record has at least 22 bytes");
        require(plcsim::recordLength(record + QByteArray(300, '\0')) == length, "more bytes do not change the length");
    }
    plcsim::recordSumFits(record);
    // A remote read answers the words that its record asks for, whatever the limit of frames in text form.
    checkReply(plc.answerRemote(record), 1 << 20);
}

/// A record whose fields make sense, from a few bytes of the input.
static QByteArray plausibleRecord(Dice &dice)
{
    const bool write = dice.chance(50);
    QByteArray record(21, '\0');
    const int count = dice.oneOf<int>({1, 2, 16, 0, 128, 300, 65535});
    record[2] = char(write ? 1 : 0);
    record[4] = char(dice.oneOf<int>({1, 2, 255}));
    record[6] = char(dice.below(16));
    record[9] = char(dice.below(256));
    record[10] = char(dice.below(256));
    record[11] = char(count / 256);
    record[12] = char(count % 256);
    if (write)
        record.append(QByteArray(dice.oneOf<int>({count, 2 * count, 1, 3}) % 1000, char(dice.below(256))));
    record[0] = char(record.size() + 1);
    int sum = 0;
    for (const char c : record)
        sum += static_cast<unsigned char>(c);
    return record + char(sum);
}

/// A plan of up to three faults, for both stations.
static bool planFaults(Simulator &plc, Dice &dice)
{
    plcsim::FaultPlan plan;
    plan.seed = quint32(dice.below(256));
    for (int i = dice.below(4); i > 0; --i) {
        plcsim::Fault fault;
        fault.kind = plcsim::FaultKind(dice.below(int(plcsim::FaultKind::HalfOpen) + 1));
        const bool always = fault.kind == plcsim::FaultKind::Unreadable || fault.kind == plcsim::FaultKind::FrameLimit;
        fault.chance = always || dice.chance(50) ? 10000 : dice.below(10001);
        fault.number = dice.oneOf<int>({9, 1, 30, 255, 1000});
        fault.last = fault.number + dice.below(100);
        fault.errorCode = dice.below(256);
        plan.faults.push_back(fault);
    }
    for (const char *station : {"01", "02"}) {
        try {
            plc.setFaultPlan(station, plan);
        } catch (const std::invalid_argument &) { // a number that this fault does not take
            return false;
        }
    }
    return !plan.faults.empty();
}

/// The rest of the input as what arrives on one connection: pieces at their moments.
static void checkStream(const std::shared_ptr<Simulator> &plc, ByteDice &dice)
{
    const Line::Kind kind = dice.chance(70) ? Line::Kind::Text : Line::Kind::Binary;
    const bool faulty = planFaults(*plc, dice);
    Line line(plc, kind);
    qint64 nowMs = 0, lastMs = 0;
    bool dead = false;
    while (!dice.usedUp()) {
        QByteArray piece;
        for (int length = dice.below(80); length > 0; --length)
            piece.append(char(dice.below(256)));
        nowMs += dice.oneOf<int>({0, 0, 1, 20, 2000});
        for (const Delivery &delivery : line.take(piece, nowMs)) {
            require(!dead, "a line gives nothing behind its end");
            require(delivery.atMs >= nowMs && delivery.atMs >= lastMs, "a line delivers in order of time");
            lastMs = delivery.atMs;
            dead = delivery.kind != Delivery::Kind::Bytes;
            require(delivery.bytes.isEmpty() == dead, "bytes come before the end of a line, and nothing with it");
            if (!faulty)
                checkReply(delivery.bytes, 1 << 20);
        }
        if (dead && dice.chance(50)) {
            line.reconnect();
            dead = false;
            lastMs = nowMs;
        }
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    ByteDice dice(bytes, size);
    const auto shared = std::make_shared<Simulator>();
    Simulator &plc = *shared;
    plc.addStation("01", 1);
    plcsim::StationSettings small;
    small.words.set(plcsim::Area::DT, 20);
    small.words.set(plcsim::Area::FL, 0);
    small.writeProtected.push_back({plcsim::Area::DT, 5, 6});
    small.extendedFrames = false;
    plc.addStation("02", 2, small);
    while (!dice.usedUp()) {
        const int form = dice.below(7);
        if (form == 6) {
            checkStream(shared, dice);
            break;
        }
        if (form == 4) {
            checkRecord(plc, plausibleRecord(dice));
            continue;
        }
        QByteArray text;
        for (int length = dice.below(form == 3 ? 2200 : 130); length > 0 && !dice.usedUp(); --length) {
            const int c = dice.below(256);
            if (c == 0)
                break; // the requests' end, so that several fit into one input
            text.append(char(c));
        }
        if (form == 5) {
            checkRecord(plc, text);
        } else if (form == 0) {
            checkAnswer(plc, text);
            plc.answerTooSoon(text);
        } else {
            const QByteArray start = form == 3 ? "<" : "%";
            const QByteArray destination = dice.oneOf<const char *>({"01#", "02#", "FF#", "1F#", "03#"});
            text = start + destination + text;
            checkAnswer(plc, dice.chance(50) ? withCheck(text) : text + "**\r");
        }
        if (dice.chance(10))
            plc.advance(dice.below(100));
    }
    return 0;
}
