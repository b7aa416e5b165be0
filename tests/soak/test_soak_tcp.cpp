// The whole host over real TCP against faulty PLCs for some seconds: threads, sockets, reconnecting, moving values.

#include "plc_memory.h"

#include "host/runtime.h"

#include "plcsim/server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <mutex>
#include <thread>

using namespace fphost;
using SteadyClock = std::chrono::steady_clock;

namespace
{

constexpr int kStations = 3;
constexpr auto kTime = std::chrono::seconds(3);
constexpr auto kLongest = std::chrono::seconds(60); // until what is queued has ended, on a busy machine

class TcpSoak
{
public:
    TcpSoak() : simulator_(std::make_shared<plcsim::Simulator>()), server_(simulator_), moving_(simulator_)
    {
        for (int station = 1; station <= kStations; ++station) {
            simulator_->addStation(plcsim::destinationOf(station), station);
            for (const Span &span : soak::movingSpans(station)) {
                moving_.add(span);
                polled_.push_back(span);
            }
            for (const Span &span : soak::writtenSpans(station))
                targets_.emplace_back(span);
        }
        const std::optional<QString> error = server_.listen(QHostAddress::LocalHost, 0, 0);
        EXPECT_FALSE(error.has_value()) << error->toStdString();
    }

    RuntimeSettings settings() const
    {
        RuntimeSettings settings;
        settings.library = QStringLiteral(DRIVER_LIBRARY);
        settings.link.port = server_.port();
        settings.session.multiStation = true;
        settings.exchange.replyTimeoutMs = 100;
        settings.exchange.reconnect.firstMs = 5;
        settings.exchange.reconnect.longestMs = 50;
        settings.exchange.stations.firstProbeMs = 100;
        settings.exchange.stations.longestProbeMs = 400;
        return settings;
    }

    void start(Runtime &runtime)
    {
        runtime_ = &runtime;
        Observers observers;
        observers.exchange = [this](const ExchangeReport &report) { check(report); };
        runtime.setObservers(observers);
        const std::optional<QString> whyNot = runtime.setPolling(polled_);
        ASSERT_FALSE(whyNot.has_value()) << whyNot->toStdString();
        runtime.start();
    }

    /// Moves values and queues writes; one write per target at a time.
    void run()
    {
        for (int station = 1; station <= kStations; ++station)
            simulator_->setFaultPlan(plcsim::destinationOf(station),
                                     soak::faultPlan(static_cast<quint32>(station), soak::Twice::Never));
        std::mt19937 dice(314);
        for (const auto end = SteadyClock::now() + kTime; SteadyClock::now() < end;) {
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                for (int i = 0; i < 5; ++i)
                    moving_.moveOne(dice);
            }
            queueWrite(targets_[dice() % targets_.size()]);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    /// Without faults, until nothing is queued any more.
    void settle()
    {
        for (int station = 1; station <= kStations; ++station)
            simulator_->setFaultPlan(plcsim::destinationOf(station), plcsim::FaultPlan());
        const auto end = SteadyClock::now() + kLongest;
        while (!allEnded() && SteadyClock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(allEnded());
    }

    void checkEnd()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Target &target : targets_) {
            const QByteArray held = soak::bytesInPlc(*simulator_, target.written.span());
            EXPECT_TRUE(target.written.allows(held))
                << soak::nameOf(target.written.span()) << " holds " << held.toHex().toStdString();
        }
        const Counters &counters = runtime_->counters();
        EXPECT_EQ(problems_, std::vector<std::string>());
        EXPECT_GT(done_, 20);
        EXPECT_GT(wordsCompared_, 300);
        EXPECT_GT(counters[Count::Failures], 10u);
        EXPECT_GT(counters[Count::Connects], 3u);
        std::cout << counters[Count::Exchanges] << " exchanges, " << simulator_->counters().faults << " with faults, "
                  << counters[Count::Good] << " good, " << wordsCompared_ << " words compared; " << queued_
                  << " writes, " << done_ << " done; " << counters[Count::Connects] << " connections\n";
    }

private:
    struct Target {
        explicit Target(const Span &span) : written(span) {}
        soak::WrittenSpan written;
        bool open = false;
    };

    void queueWrite(Target &target)
    {
        QByteArray values;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (target.open)
                return;
            target.open = true;
            ++queued_;
            values = target.written.nextValues();
        }
        const Queued queued = runtime_->write(target.written.span(), values,
                                              [this, &target, values](const Finished &f) { ended(target, values, f); });
        if (queued.id != 0)
            return;
        const std::lock_guard<std::mutex> lock(mutex_);
        target.open = false;
        --queued_;
    }

    void ended(Target &target, const QByteArray &values, const Finished &finished)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        target.open = false;
        ++ended_;
        if (finished.outcome != Outcome::Done) {
            target.written.failed(values);
            return;
        }
        ++done_;
        target.written.done(values);
        const QByteArray held = soak::bytesInPlc(*simulator_, target.written.span());
        if (held != values)
            problems_.push_back(soak::nameOf(target.written.span()) + " was reported written as " +
                                values.toHex().toStdString() + " and holds " + held.toHex().toStdString());
    }

    void check(const ExchangeReport &report)
    {
        const bool good = report.outcome == Outcome::Done && report.ended;
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Span &span : report.spans) {
            if (!good)
                continue; // zeros until a word was read for the first time
            wordsCompared_ += wordsOf(span).count;
            const std::string text = moving_.firstNeverHeld(span, runtime_->values(span));
            if (!text.empty())
                problems_.push_back(text + ", which the PLC never held");
        }
    }

    bool allEnded()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return ended_ == queued_;
    }

    std::shared_ptr<plcsim::Simulator> simulator_;
    plcsim::Server server_;
    Runtime *runtime_ = nullptr;
    std::vector<Span> polled_;

    std::mutex mutex_; // guards what follows; never held while a request is queued
    soak::MovingWords moving_;
    std::vector<Target> targets_;
    std::vector<std::string> problems_;
    int queued_ = 0;
    int ended_ = 0;
    int done_ = 0;
    long long wordsCompared_ = 0;
};

} // namespace

TEST(SoakOverTcp, EveryWriteIsAccountedForAndNoValueIsShownThatThePlcDidNotHold)
{
    TcpSoak soak;
    Runtime runtime(soak.settings());
    const std::optional<QString> unopened = runtime.open();
    ASSERT_FALSE(unopened.has_value()) << unopened->toStdString();
    soak.start(runtime);
    soak.run();
    soak.settle();
    runtime.stop();
    soak.checkEnd();
}
