// line.cpp - one connection: requests out of the stream, answers with the moments at which they arrive.

#include "plcsim/line.h"

#include "receiver.h"

#include <algorithm>

namespace plcsim
{

struct Line::Private {
    Private(std::shared_ptr<Simulator> simulatorBehind, Kind lineKind)
        : simulator(std::move(simulatorBehind)), kind(lineKind), receiver(lineKind)
    {
    }

    QByteArray answer(const QByteArray &request) const;
    QByteArray answerTooSoon(const QByteArray &request) const;

    std::shared_ptr<Simulator> simulator;
    const Kind kind;
    Receiver receiver;
};

QByteArray Line::Private::answer(const QByteArray &request) const
{
    return kind == Kind::Text ? simulator->answer(request) : simulator->answerRemote(request);
}

QByteArray Line::Private::answerTooSoon(const QByteArray &request) const
{
    return kind == Kind::Text ? simulator->answerTooSoon(request) : simulator->answerRemoteTooSoon(request);
}

Line::Line(std::shared_ptr<Simulator> simulator, Kind kind) : d(std::make_unique<Private>(std::move(simulator), kind))
{
}

Line::~Line() = default;

void Line::reconnect()
{
    d->receiver.clear();
}

std::vector<Delivery> Line::take(const QByteArray &bytes, qint64 nowMs)
{
    std::vector<Delivery> deliveries;
    bool answering = false;
    for (const QByteArray &request : d->receiver.take(bytes, nowMs, d->simulator->longestFrame())) {
        const QByteArray reply = answering ? d->answerTooSoon(request) : d->answer(request);
        if (reply.isEmpty())
            continue;
        deliveries.push_back({nowMs, reply, Delivery::Kind::Bytes});
        answering = true;
    }
    return deliveries;
}

} // namespace plcsim
