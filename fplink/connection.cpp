// connection.cpp - see connection.h.

#include "connection.h"

#include "driver_path.h"
#include "host/plc_errors.h"

#include <algorithm>
#include <utility>

namespace fplink
{

using fphost::Outcome;
using fphost::Span;

namespace
{

// Parts that the driver's lists of 1,024 entries have room for: a bit is an entry, and so are 16 words.
constexpr int kBitsAtOnce = 512;
constexpr int kWordsAtOnce = 8192;

std::vector<Span> partsOf(const Span &span)
{
    const int most = fphost::areaRow(span.kind)->bits ? kBitsAtOnce : kWordsAtOnce;
    std::vector<Span> parts;
    for (int done = 0; done < span.count; done += most) {
        Span part = span;
        part.first += done;
        part.count = std::min(most, span.count - done);
        parts.push_back(part);
    }
    return parts;
}

} // namespace

std::optional<Failure> Connection::open(const std::vector<Span> &spans, fphost::Observers observers)
{
    std::set<int> stations;
    for (const Span &span : spans)
        stations.insert(span.station);
    severalStations_ = stations.size() > 1;
    if (std::optional<Failure> failure = startPlc(stations))
        return failure;

    fphost::RuntimeSettings settings;
    settings.library = options_.library.isEmpty() ? defaultDriverPath() : options_.library;
    settings.session.station = stations.empty() ? options_.station : *stations.begin();
    settings.session.multiStation = severalStations_;
    settings.session.remote = options_.remote;
    settings.session.retryLimit = options_.retries;
    settings.exchange.replyTimeoutMs = options_.timeoutMs;
    settings.exchange.quietMs = options_.quietMs;
    settings.exchange.cycleMs = options_.cycleMs;
    settings.exchange.reconnect.longestMs = 2000; // somebody is looking
    settings.link.host = endpoint_.host;
    settings.link.port = endpoint_.port;
    settings.link.connectTimeoutMs = options_.connectTimeoutMs;
    runtime_ = std::make_unique<fphost::Runtime>(settings);
    if (const std::optional<QString> error = runtime_->open())
        return Failure{ExitCode::Library, *error};
    observers.link = [this](const fphost::LinkReport &report) { onLink(report); };
    runtime_->setObservers(std::move(observers));
    runtime_->start();
    return std::nullopt;
}

std::optional<Failure> Connection::startPlc(const std::set<int> &stations)
{
    if (!options_.plc.isEmpty()) {
        if (const std::optional<QString> why = parseEndpoint(options_.plc, &endpoint_))
            return Failure{ExitCode::Usage, *why};
        return std::nullopt;
    }
    std::set<int> simulated = stations;
    simulated.erase(fphost::kBroadcast);
    if (simulated.empty())
        simulated.insert(1);
    embedded_ = std::make_unique<EmbeddedPlc>();
    if (std::optional<Failure> failure = embedded_->start(simulated))
        return failure;
    endpoint_ = {QStringLiteral("127.0.0.1"), options_.remote ? embedded_->remotePort() : embedded_->port()};
    return std::nullopt;
}

void Connection::onLink(const fphost::LinkReport &report)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        wasUp_ = wasUp_ || report.up;
        if (!report.up)
            linkTrouble_ = report.text;
    }
    changed_.notify_all();
}

QString Connection::linkTrouble() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return linkTrouble_;
}

QString Connection::plcText() const
{
    const QString text = endpointText(endpoint_);
    return embedded_ ? QStringLiteral("the embedded simulator at ") + text : text;
}

std::optional<Failure> Connection::waitForLink()
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return wasUp_ || !linkTrouble_.isEmpty(); });
    if (!wasUp_)
        return Failure{ExitCode::Unreachable, linkTrouble_};
    return std::nullopt;
}

// A request that cannot even be sent because there never was a connection ends with the first attempt: its text says
// what is wrong, and somebody waits.
std::optional<Failure> Connection::waitFor(const Queue &queue)
{
    struct State {
        bool ended = false;
        fphost::Finished finished;
    };
    const auto state = std::make_shared<State>();
    const fphost::Queued queued = queue([this, state](const fphost::Finished &finished) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            state->ended = true;
            state->finished = finished;
        }
        changed_.notify_all();
    });
    if (queued.id == 0)
        return Failure{ExitCode::Usage, queued.whyNot};
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this, &state] { return state->ended || (!wasUp_ && !linkTrouble_.isEmpty()); });
    if (!state->ended)
        return Failure{ExitCode::Unreachable, linkTrouble_};
    lock.unlock();
    const Outcome outcome = state->finished.outcome;
    if (outcome == Outcome::Done || outcome == Outcome::Sent)
        return std::nullopt;
    return failureOf(state->finished);
}

std::optional<Failure> Connection::read(const Span &span, QByteArray *values)
{
    for (const Span &part : partsOf(span)) {
        if (std::optional<Failure> failure = waitFor([&](auto done) { return runtime_->read(part, done); }))
            return failure;
    }
    *values = runtime_->values(span);
    return std::nullopt;
}

std::optional<Failure> Connection::write(const Span &span, const QByteArray &values)
{
    for (const Span &part : partsOf(span)) {
        const int from = fphost::valueBytes(span.kind, part.first - span.first);
        const QByteArray bytes = values.mid(from, fphost::valueBytes(span.kind, part.count));
        if (std::optional<Failure> failure = waitFor([&](auto done) { return runtime_->write(part, bytes, done); }))
            return failure;
    }
    return std::nullopt;
}

Failure Connection::failureOf(const fphost::Finished &finished) const
{
    const QString name = addressOf(finished.span, severalStations_);
    const QString station = QString::number(finished.span.station);
    QString part;
    if (finished.write && finished.piecesDone > 0)
        part = QStringLiteral(" (%1 of %2 write requests were done)").arg(finished.piecesDone).arg(finished.pieces);
    const int asked = options_.retries + 1;
    const QString times = asked == 1 ? QStringLiteral("once") : QStringLiteral("%1 times").arg(asked);
    switch (finished.outcome) {
    case Outcome::Refused:
        return {ExitCode::Refused,
                QStringLiteral("%1: refused by the PLC: %2%3").arg(name, fphost::errorName(finished.errorCode), part)};
    case Outcome::NoReply:
        return {ExitCode::TimeOut,
                QStringLiteral("%1: no reply from station %2 at %3 within %4 ms, asked %5%6")
                    .arg(name, station, plcText(), QString::number(options_.timeoutMs), times, part)};
    case Outcome::BadReply:
        return {ExitCode::BadReply, QStringLiteral("%1: the replies of station %2 at %3 could not be understood%4")
                                        .arg(name, station, plcText(), part)};
    case Outcome::NoLink:
        return {ExitCode::Unreachable, QStringLiteral("%1: %2%3").arg(name, linkTrouble(), part)};
    default:
        return {ExitCode::Failed,
                QStringLiteral("%1: %2%3").arg(name, QLatin1String(fphost::outcomeText(finished.outcome)), part)};
    }
}

} // namespace fplink
