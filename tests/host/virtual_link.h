// virtual_link.h - the host's exchange of frames against simulated PLCs in the test's own time.
//
//  - No socket and no waiting: a receive that finds nothing lets the clock run on to the next delivery or the time-out.
//  - What goes wrong on the line is up to the test, which may change what each request brings.

#pragma once

#include "host/exchanger.h"

#include "plcsim/line.h"

#include "value_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class VirtualClock : public fphost::Clock
{
public:
    qint64 nowUs() override { return us; }
    qint64 ms() const { return us / 1000; }
    void passMs(qint64 milliseconds) { us += 1000 * milliseconds; }

    qint64 us = 1000000;
};

class VirtualPipe : public fphost::BytePipe
{
public:
    using Deliveries = std::vector<plcsim::Delivery>;
    /// What a request really brings, given what the PLCs would deliver at \a nowMs.
    using Tamper = std::function<Deliveries(const QByteArray &request, Deliveries deliveries, qint64 nowMs)>;

    VirtualPipe(VirtualClock &clock, const std::shared_ptr<plcsim::Simulator> &simulator, plcsim::Line::Kind kind)
        : clock_(clock), line_(simulator, kind)
    {
    }

    std::optional<QString> open() override
    {
        attemptsMs.push_back(clock_.ms());
        clock_.passMs(connectMs);
        if (!reachable)
            return QStringLiteral("cannot connect to the virtual PLC");
        line_.reconnect();
        inbox_.clear();
        open_ = true;
        return std::nullopt;
    }
    bool isOpen() const override { return open_; }
    void close() override { open_ = false; }

    bool send(const char *bytes, int count) override
    {
        const QByteArray request(bytes, count);
        sent.push_back(std::string(bytes, static_cast<std::size_t>(count)));
        clock_.passMs(1); // on the way
        Deliveries deliveries = line_.take(request, clock_.ms());
        if (tamper)
            deliveries = tamper(request, deliveries, clock_.ms());
        for (const plcsim::Delivery &delivery : deliveries) {
            if (delivery.kind != plcsim::Delivery::Kind::HalfOpen) // of which the host learns nothing
                inbox_.push_back(delivery);
        }
        std::stable_sort(inbox_.begin(), inbox_.end(),
                         [](const plcsim::Delivery &a, const plcsim::Delivery &b) { return a.atMs < b.atMs; });
        return open_;
    }

    fphost::Piped receive(char *to, int room, int *count, qint64 timeoutUs) override
    {
        *count = 0;
        looks += timeoutUs == 0;
        if (!open_)
            return fphost::Piped::Closed;
        const qint64 untilUs = clock_.us + timeoutUs;
        if (inbox_.empty() || 1000 * inbox_.front().atMs > untilUs) {
            clock_.us = untilUs;
            return fphost::Piped::TimedOut;
        }
        const plcsim::Delivery &first = inbox_.front();
        clock_.us = std::max(clock_.us, 1000 * first.atMs);
        if (first.kind == plcsim::Delivery::Kind::Reset) {
            open_ = false;
            return fphost::Piped::Closed;
        }
        // As a stream socket does: everything that has come by now, and the end only when nothing else is left.
        while (*count < room && !inbox_.empty() && 1000 * inbox_.front().atMs <= clock_.us &&
               inbox_.front().kind != plcsim::Delivery::Kind::Reset)
            *count += takeBytes(to + *count, room - *count);
        return fphost::Piped::Bytes;
    }

    /// The other side goes, without a word.
    void hangUp() { inbox_.push_back({clock_.ms(), QByteArray(), plcsim::Delivery::Kind::Reset}); }
    void deliver(const QByteArray &bytes) { inbox_.push_back({clock_.ms(), bytes, plcsim::Delivery::Kind::Bytes}); }

    bool reachable = true;
    qint64 connectMs = 1;
    Tamper tamper;
    std::vector<std::string> sent;  // all requests
    std::vector<qint64> attemptsMs; // when open() was called
    int looks = 0;                  // receives that did not wait

private:
    /// Moves bytes of the first delivery to \a to, at most \a room.
    int takeBytes(char *to, int room)
    {
        QByteArray &bytes = inbox_.front().bytes;
        const int count = std::min(room, static_cast<int>(bytes.size()));
        std::copy_n(bytes.constData(), count, to);
        bytes.remove(0, count);
        if (bytes.isEmpty())
            inbox_.erase(inbox_.begin());
        return count;
    }

    VirtualClock &clock_;
    plcsim::Line line_;
    Deliveries inbox_;
    bool open_ = false;
};

/// Driver, session, exchanger and simulated PLCs of stations 1 to 3 ("01", "02", "03").
class VirtualHost
{
public:
    explicit VirtualHost(const fphost::SessionSettings &settings = {}, const fphost::ExchangeSettings &exchange = {},
                         plcsim::Line::Kind kind = plcsim::Line::Kind::Text)
        : simulator(std::make_shared<plcsim::Simulator>()), pipe(clock, simulator, kind)
    {
        simulator->addStation("01", 1);
        simulator->addStation("02", 2);
        simulator->addStation("03", 3);
        const std::optional<QString> unloaded = library.open(QStringLiteral(DRIVER_LIBRARY));
        EXPECT_FALSE(unloaded.has_value()) << unloaded->toStdString();
        const std::optional<QString> unopened = session.open(library.api(), settings);
        EXPECT_FALSE(unopened.has_value()) << unopened->toStdString();
        exchanger = std::make_unique<fphost::Exchanger>(session, pipe, clock, exchange, 1);
    }

    /// One step, and the wait that it asks for.
    void step() { clock.passMs(exchanger->step()); }

    void steps(int count)
    {
        for (int i = 0; i < count; ++i)
            step();
    }

    /// Steps until \a condition holds; false when it does not within \a most steps.
    bool until(const std::function<bool()> &condition, int most = 2000)
    {
        for (int i = 0; i < most; ++i) {
            if (condition())
                return true;
            step();
        }
        return condition();
    }

    unsigned long long count(fphost::Count what) const { return exchanger->counters()[what]; }

    /// Queues and runs until it has ended: "done", "refused by the PLC 61", or why it was not queued.
    std::string write(const fphost::Span &span, const QByteArray &values)
    {
        return outcomeOf([&](auto done) { return session.write(span, values, done); });
    }
    std::string read(const fphost::Span &span)
    {
        return outcomeOf([&](auto done) { return session.read(span, done); });
    }

    static std::string textOf(const fphost::Finished &finished)
    {
        std::string text = fphost::outcomeText(finished.outcome);
        if (finished.outcome == fphost::Outcome::Refused)
            text += " " + QString::number(finished.errorCode, 16).toStdString();
        return text;
    }

    /// The words that the driver holds for a span.
    std::vector<int> words(const fphost::Span &span) const
    {
        const QByteArray bytes = session.values(span);
        std::vector<int> words;
        for (int i = 0; i + 1 < bytes.size(); i += 2)
            words.push_back(static_cast<unsigned char>(bytes[i]) + 256 * static_cast<unsigned char>(bytes[i + 1]));
        return words;
    }

    int plcWord(const char *destination, plcsim::Area area, int number) const
    {
        const std::optional<quint16> word = simulator->word(destination, area, number);
        return word ? *word : -1;
    }

    int sentBeginning(const std::string &start) const
    {
        return static_cast<int>(std::count_if(pipe.sent.begin(), pipe.sent.end(), [&start](const std::string &request) {
            return request.compare(0, start.size(), start) == 0;
        }));
    }

    VirtualClock clock;
    std::shared_ptr<plcsim::Simulator> simulator;
    VirtualPipe pipe;
    fphost::DriverLibrary library;
    fphost::DriverSession session;
    std::unique_ptr<fphost::Exchanger> exchanger;

private:
    template <typename Queue> std::string outcomeOf(Queue queue)
    {
        std::string outcome;
        const fphost::Queued queued =
            queue([&outcome](const fphost::Finished &finished) { outcome = textOf(finished); });
        if (queued.id == 0)
            return queued.whyNot.toStdString();
        until([&outcome] { return !outcome.empty(); });
        return outcome;
    }
};

inline fphost::SessionSettings severalStations()
{
    fphost::SessionSettings settings;
    settings.multiStation = true;
    return settings;
}
