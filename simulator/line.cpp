// line.cpp - one connection: requests out of the stream, answers with the moments at which they arrive.
//
// Deliveries keep their order, as bytes on a connection do: what is held up holds up all that follow.

#include "plcsim/line.h"

#include "receiver.h"
#include "simulator_p.h"

#include <algorithm>

namespace plcsim
{

struct Line::Private {
    Private(std::shared_ptr<Simulator> simulatorBehind, Kind lineKind)
        : simulator(std::move(simulatorBehind)), kind(lineKind), receiver(lineKind)
    {
    }

    void serve(const QByteArray &request, qint64 nowMs);
    void refuseTooSoon(const QByteArray &request, qint64 nowMs);
    void deliver(const QByteArray &reply, const Effects &effects, qint64 nowMs);
    void end(Delivery::Kind how, qint64 atMs);

    /// Adds bytes, not before \a atMs and not before what was delivered last: in one piece, or byte by byte with a
    /// pause after each.
    void add(const QByteArray &bytes, qint64 atMs, std::optional<qint64> pauseMs = std::nullopt);

    std::shared_ptr<Simulator> simulator;
    const Kind kind;
    Receiver receiver;

    std::vector<Delivery> deliveries; // of the call under way
    bool answering = false;           // a request of the call under way has been answered
    qint64 busyUntilMs = 0;           // then the unit's last answer is out
    qint64 lastMs = 0;                // moment of the last delivery
    QByteArray held;                  // an answer that waits for the next
    bool dead = false;
};

void Line::Private::add(const QByteArray &bytes, qint64 atMs, std::optional<qint64> pauseMs)
{
    lastMs = std::max(lastMs, atMs);
    if (!pauseMs) {
        deliveries.push_back({lastMs, bytes, Delivery::Kind::Bytes});
        return;
    }
    for (int i = 0; i < bytes.size(); ++i) {
        lastMs += i == 0 ? 0 : *pauseMs;
        deliveries.push_back({lastMs, bytes.mid(i, 1), Delivery::Kind::Bytes});
    }
}

void Line::Private::end(Delivery::Kind how, qint64 atMs)
{
    lastMs = std::max(lastMs, atMs);
    deliveries.push_back({lastMs, QByteArray(), how});
    dead = true;
}

void Line::Private::deliver(const QByteArray &reply, const Effects &effects, qint64 nowMs)
{
    const qint64 outMs = nowMs + effects.delayMs;
    busyUntilMs = std::max(busyUntilMs, outMs);
    if (effects.reset || effects.halfOpen) {
        end(effects.reset ? Delivery::Kind::Reset : Delivery::Kind::HalfOpen, outMs + effects.lateMs);
        return;
    }
    if (effects.dropped)
        return;
    const QByteArray bytes = spoiled(reply, effects);
    if (effects.glue && held.isEmpty()) {
        held = bytes;
        return;
    }
    answering = true;
    add(held + bytes, outMs + effects.lateMs, effects.pauseMs);
    held.clear();
    if (effects.duplicate)
        add(bytes, outMs + effects.lateMs, effects.pauseMs);
    if (effects.pauseMs)
        busyUntilMs = std::max(busyUntilMs, lastMs - effects.lateMs);
}

void Line::Private::serve(const QByteArray &request, qint64 nowMs)
{
    const Simulator::Private::Exchange exchange = simulator->d->exchange(request, kind, nowMs);
    if (!exchange.reply.isEmpty())
        deliver(exchange.reply, exchange.effects, nowMs);
}

void Line::Private::refuseTooSoon(const QByteArray &request, qint64 nowMs)
{
    const QByteArray reply =
        kind == Kind::Text ? simulator->answerTooSoon(request) : simulator->answerRemoteTooSoon(request);
    if (!reply.isEmpty())
        add(reply, nowMs);
}

Line::Line(std::shared_ptr<Simulator> simulator, Kind kind) : d(std::make_unique<Private>(std::move(simulator), kind))
{
}

Line::~Line() = default;

void Line::reconnect()
{
    d = std::make_unique<Private>(d->simulator, d->kind);
}

std::vector<Delivery> Line::take(const QByteArray &bytes, qint64 nowMs)
{
    d->deliveries.clear();
    d->answering = false;
    for (const QByteArray &request : d->receiver.take(bytes, nowMs, d->simulator->longestFrame())) {
        if (d->dead)
            break;
        if (d->answering || nowMs < d->busyUntilMs)
            d->refuseTooSoon(request, nowMs);
        else
            d->serve(request, nowMs);
    }
    return std::move(d->deliveries);
}

} // namespace plcsim
