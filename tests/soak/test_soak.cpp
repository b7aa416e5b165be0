// The host's policy and the driver library against faulty PLCs, hour after hour of the test's own time.
//
//  - The values move and many writes are queued while a fault meets every tenth request.
//  - After every exchange that served a read, the words that it served are compared with what the PLC holds, and held.
//  - At the end everything that was queued has been accounted for, and no memory has been kept.

#include "plc_memory.h"
#include "virtual_link.h"

#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // g++ comes without the header
#endif

#include <cstdlib>
#include <ctime>
#include <iostream>
#include <set>

using namespace fphost;

namespace
{

constexpr int kReplyTimeoutMs = 100;
constexpr int kDefaultExchanges = 1000000;
constexpr int kMostStepsPerExchange = 4;            // connecting and pausing take steps of their own
constexpr int kMostMsPerExchange = 200;             // of virtual time, on average
constexpr int kParts = 10;                          // of a run; bytes are counted at the end of each
constexpr long long kMostBytesKept = 96 * 1024;     // room that lists keep, the test's own among them
constexpr long long kMostBytesKeptLate = 32 * 1024; // of these in the second half of the run
constexpr std::size_t kMostProblems = 10;
constexpr int kFrameOver = 0x27; // the PLC's error code

long long bytesInUse()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return static_cast<long long>(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = mallinfo2();
    return static_cast<long long>(info.uordblks + info.hblkhd);
#endif
}

/// Exchanges of all links together.
unsigned long long exchangesAskedFor()
{
    const char *text = std::getenv("FP_SOAK_EXCHANGES");
    const long long number = text ? std::strtoll(text, nullptr, 10) : kDefaultExchanges;
    return static_cast<unsigned long long>(std::max(number, 1000LL));
}

struct Link {
    const char *name;
    bool severalStations;
    plcsim::Line::Kind kind;
    int quietMs; // see ExchangeSettings
};

[[maybe_unused]] void PrintTo(const Link &link, std::ostream *out)
{
    *out << link.name;
}

constexpr Link kLinks[] = {
    {"SeveralStations", true, plcsim::Line::Kind::Text, 0},
    {"ASingleStation", false, plcsim::Line::Kind::Text, 0},
    {"BehindASerialConverter", true, plcsim::Line::Kind::Text, 50},
    {"BinaryRecords", false, plcsim::Line::Kind::Binary, 0},
};

SessionSettings sessionOf(const Link &link)
{
    SessionSettings settings;
    settings.multiStation = link.severalStations;
    settings.remote = link.kind == plcsim::Line::Kind::Binary;
    return settings;
}

ExchangeSettings exchangeOf(const Link &link)
{
    ExchangeSettings settings;
    settings.replyTimeoutMs = kReplyTimeoutMs;
    settings.quietMs = link.quietMs;
    settings.reconnect.firstMs = 20;
    settings.reconnect.longestMs = 500;
    settings.stations.firstProbeMs = 500;
    settings.stations.longestProbeMs = 4000;
    return settings;
}

class Soak
{
public:
    explicit Soak(const Link &link)
        : host_(sessionOf(link), exchangeOf(link), link.kind), stations_(link.severalStations ? 3 : 1),
          moving_(host_.simulator)
    {
        for (int station = 1; station <= stations_; ++station) {
            for (const Span &span : soak::movingSpans(station)) {
                moving_.add(span);
                polled_.push_back(span);
            }
            for (const Span &span : soak::writtenSpans(station)) {
                written_.emplace_back(span);
                polled_.push_back(span);
            }
        }
        Observers observers;
        observers.exchange = [this](const ExchangeReport &report) { check(report); };
        observers.station = [this](int station, bool present) { noteStation(station, present); };
        host_.exchanger->setObservers(observers);
        const std::optional<QString> whyNot = host_.session.setPolling(polled_);
        EXPECT_FALSE(whyNot.has_value()) << whyNot->toStdString();
    }

    /// Without faults, until the driver shows everything as the PLCs hold it and nothing is queued any more.
    void settle()
    {
        for (int station = 1; station <= stations_; ++station) {
            host_.simulator->setFaultPlan(nameOf(station), plcsim::FaultPlan());
            host_.simulator->setPowered(nameOf(station), true);
        }
        off_.clear();
        limited_.clear();
        waitUntilAllIsShown();
        checkWrites();
        for (soak::WrittenSpan &target : written_)
            queueWrite(target);
        const unsigned long long failed = writesEnded_ - writesDone_;
        waitUntilAllIsShown();
        EXPECT_EQ(writesEnded_ - writesDone_, failed) << "writes that failed without a fault";
        checkWrites();
        allRead_ = true;
        // Not clear(): what the test itself keeps is not the host's.
        std::vector<std::string>().swap(host_.pipe.sent);
        std::vector<qint64>().swap(host_.pipe.attemptsMs);
    }

    void run(unsigned long long exchanges)
    {
        for (int station = 1; station <= stations_; ++station)
            host_.simulator->setFaultPlan(nameOf(station), soak::faultPlan(++planSeed_));
        const unsigned long long until = host_.count(Count::Exchanges) + exchanges;
        const qint64 startMs = host_.clock.ms();
        unsigned long long steps = 0;
        while (host_.count(Count::Exchanges) < until) {
            ASSERT_LT(++steps, kMostStepsPerExchange * exchanges + 1000);
            ASSERT_LT(host_.clock.ms() - startMs, kMostMsPerExchange * static_cast<qint64>(exchanges) + 60000);
            ASSERT_LT(problems_.size(), kMostProblems);
            host_.step();
            forgetTraffic();
            disturb();
            if (steps % 1000 == 0)
                checkAllHeld();
        }
    }

    /// Everything that was queued must have ended, and the PLCs hold what was reported.
    void checkWrites()
    {
        EXPECT_EQ(writesEnded_, writesQueued_);
        EXPECT_EQ(readsEnded_, readsQueued_);
        for (const soak::WrittenSpan &target : written_) {
            const QByteArray held = soak::bytesInPlc(*host_.simulator, target.span());
            EXPECT_TRUE(target.allows(held)) << soak::nameOf(target.span()) << " holds " << held.toHex().toStdString();
        }
    }

    void checkFigures(unsigned long long exchanges) const
    {
        const plcsim::Simulator::Counters plc = host_.simulator->counters();
        const double faults = static_cast<double>(plc.faults) / static_cast<double>(plc.requests);
        EXPECT_GT(faults, 0.07);
        EXPECT_LT(faults, 0.15);
        EXPECT_GT(host_.count(Count::Good), exchanges * 8 / 10);
        EXPECT_GT(writesDone_, exchanges / 20);
        EXPECT_GT(writesEnded_ - writesDone_, exchanges / 2000) << "writes that failed";
        EXPECT_GT(readsDone_, exchanges / 100);
        for (const Count what : {Count::TimeOuts, Count::BadReplies, Count::Refusals, Count::Lost, Count::OutOfStep})
            EXPECT_GT(host_.count(what), exchanges / 500) << static_cast<int>(what);
        EXPECT_GE(tooLong_, exchanges / 1000) << "refusals because of the frame size";
        EXPECT_GE(timesSilent_, stations_ > 1 ? exchanges / 20000 : 0) << "times a station was switched off";
        EXPECT_GE(trialsInVain_, timesSilent_ / 20) << "trials of stations that stayed silent";
        EXPECT_TRUE(silent_.empty()) << "stations that were not switched on again";
    }

    void print(const Link &link, double seconds, long long bytesKept) const
    {
        const plcsim::Simulator::Counters plc = host_.simulator->counters();
        std::cout << link.name << ": " << host_.count(Count::Exchanges) << " exchanges, " << plc.faults
                  << " with faults, " << host_.count(Count::Good) << " good, " << wordsCompared_ << " words compared; "
                  << writesQueued_ << " writes, " << writesDone_ << " done; " << readsQueued_ << " reads, "
                  << readsDone_ << " done; " << tooLong_ << " frames too long, " << timesSilent_
                  << " times a station was silent, " << host_.count(Count::Connects) << " connections; "
                  << host_.clock.ms() / 1000 << " s of virtual time in " << seconds << " s; " << bytesKept
                  << " bytes kept\n";
    }

    const std::vector<std::string> &problems() const { return problems_; }

private:
    static QByteArray nameOf(int station) { return plcsim::destinationOf(station); }
    int roll(int sides) { return static_cast<int>(dice_() % static_cast<unsigned>(sides)); }

    void forgetTraffic()
    {
        host_.pipe.sent.clear();
        host_.pipe.attemptsMs.clear();
    }

    void problem(const std::string &text)
    {
        if (problems_.size() < kMostProblems)
            problems_.push_back(std::to_string(host_.count(Count::Exchanges)) + ": " + text);
    }

    void waitUntilAllIsShown()
    {
        const bool shown = host_.until([this] { return !host_.session.hasWaiting() && showsEverything(); }, 40000);
        EXPECT_TRUE(shown) << firstDifference();
    }

    // What happens beside the exchanges -----------------------------------------------------------------------------

    void disturb()
    {
        moving_.moveOne(dice_);
        moving_.moveOne(dice_);
        if (roll(8) == 0)
            queueWrite(written_[dice_() % written_.size()]);
        if (roll(40) == 0)
            queueRead(polled_[dice_() % polled_.size()], true);
        if (roll(400) == 0)
            queueRead(soak::unreadableSpan(1 + roll(stations_)), false);
        switchPower();
        switchFrameLimit();
    }

    /// One station at a time is off for some seconds now and then; the others go on.
    void switchPower()
    {
        if (!off_.isEmpty() && host_.clock.ms() > onAtMs_) {
            host_.simulator->setPowered(off_, true);
            off_.clear();
        }
        if (!off_.isEmpty() || roll(5000) != 0)
            return;
        off_ = nameOf(1 + roll(stations_));
        onAtMs_ = host_.clock.ms() + 1000 + roll(4000);
        host_.simulator->setPowered(off_, false);
    }

    /// One station at a time takes only short frames for some seconds now and then, beside its other faults.
    void switchFrameLimit()
    {
        if (!limited_.isEmpty() && host_.clock.ms() > longFramesAtMs_) {
            host_.simulator->setFaultPlan(limited_, soak::faultPlan(++planSeed_));
            limited_.clear();
        }
        if (!limited_.isEmpty() || roll(5000) != 0)
            return;
        limited_ = nameOf(1 + roll(stations_));
        longFramesAtMs_ = host_.clock.ms() + 500 + roll(1000);
        plcsim::FaultPlan plan = soak::faultPlan(++planSeed_);
        plcsim::Fault limit;
        limit.kind = plcsim::FaultKind::FrameLimit;
        limit.number = soak::kShortFrames;
        plan.faults.push_back(limit);
        host_.simulator->setFaultPlan(limited_, plan);
    }

    void queueWrite(soak::WrittenSpan &target)
    {
        const QByteArray values = target.nextValues();
        const Queued queued =
            host_.session.write(target.span(), values, [this, &target, values](const Finished &finished) {
                ++writesEnded_;
                if (finished.outcome != Outcome::Done) {
                    target.failed(values);
                    return;
                }
                ++writesDone_;
                target.done(values);
                const QByteArray held = soak::bytesInPlc(*host_.simulator, target.span());
                if (held != values)
                    problem(soak::nameOf(target.span()) + " was reported written as " + values.toHex().toStdString() +
                            " and holds " + held.toHex().toStdString());
            });
        writesQueued_ += queued.id != 0;
    }

    void queueRead(const Span &span, bool readable)
    {
        const Queued queued = host_.session.read(span, [this, span, readable](const Finished &finished) {
            ++readsEnded_;
            readsDone_ += finished.outcome == Outcome::Done;
            if (!readable && finished.outcome == Outcome::Done)
                problem(soak::nameOf(span) + " cannot be read and was reported read");
        });
        readsQueued_ += queued.id != 0;
    }

    // What must hold ------------------------------------------------------------------------------------------------

    void check(const ExchangeReport &report)
    {
        const bool good = report.outcome == Outcome::Done && report.ended;
        tooLong_ += report.outcome == Outcome::Refused && report.errorCode == kFrameOver;
        for (const Span &span : report.spans) {
            wordsCompared_ += static_cast<unsigned long long>(wordsOf(span).count);
            if (good)
                checkRead(span, report);
            else if (allRead_)
                checkHeld(span);
        }
    }

    /// The values were read just now, and nothing in the PLC has moved since.
    void checkRead(const Span &span, const ExchangeReport &report)
    {
        const QByteArray shown = host_.session.values(span);
        const QByteArray held = soak::bytesInPlc(*host_.simulator, span);
        if (shown == held)
            return;
        problem(soak::nameOf(span) + " was read as " + shown.toHex().toStdString() + " and holds " +
                held.toHex().toStdString() + "; request " + report.request.toStdString() + ", reply " +
                report.reply.toStdString());
    }

    void checkHeld(const Span &span)
    {
        const std::string text = moving_.firstNeverHeld(span, host_.session.values(span));
        if (!text.empty())
            problem(text + ", which the PLC never held");
    }

    void checkAllHeld()
    {
        for (const Span &span : polled_)
            checkHeld(span);
    }

    void noteStation(int station, bool present)
    {
        if (host_.library.api().PLC_driver->map_Station.contains(station) == present)
            problem("the driver's switch of station " + std::to_string(station) + " is not where the host says");
        if (present)
            silent_.erase(station);
        else
            ++(silent_.insert(station).second ? timesSilent_ : trialsInVain_);
    }

    bool shows(const Span &span) const
    {
        return host_.session.values(span) == soak::bytesInPlc(*host_.simulator, span);
    }
    bool showsEverything() const
    {
        return std::all_of(polled_.begin(), polled_.end(), [this](const Span &span) { return shows(span); });
    }
    std::string firstDifference() const
    {
        for (const Span &span : polled_) {
            if (!shows(span))
                return soak::nameOf(span) + " is not shown as the PLC holds it";
        }
        return "requests are still queued";
    }

    VirtualHost host_;
    const int stations_;
    soak::MovingWords moving_;
    std::vector<soak::WrittenSpan> written_;
    std::vector<Span> polled_;
    std::mt19937 dice_{2718};
    qint64 onAtMs_ = 0;
    bool allRead_ = false; // every word once; before, the driver shows zeros
    QByteArray off_;       // the station whose power is off
    qint64 longFramesAtMs_ = 0;
    QByteArray limited_; // the station that takes only short frames
    quint32 planSeed_ = 100;

    std::vector<std::string> problems_;
    unsigned long long wordsCompared_ = 0;
    unsigned long long writesQueued_ = 0;
    unsigned long long writesEnded_ = 0;
    unsigned long long writesDone_ = 0;
    unsigned long long readsQueued_ = 0;
    unsigned long long readsEnded_ = 0;
    unsigned long long readsDone_ = 0;
    unsigned long long tooLong_ = 0; // refusals because of the frame size
    std::set<int> silent_;           // stations that the host has switched off
    unsigned long long timesSilent_ = 0;
    unsigned long long trialsInVain_ = 0;
};

class SoakTest : public testing::TestWithParam<Link>
{
};

} // namespace

TEST_P(SoakTest, EveryWriteIsAccountedForAndNoValueIsShownThatThePlcDidNotHold)
{
    const unsigned long long exchanges = exchangesAskedFor() / std::size(kLinks);
    const std::clock_t start = std::clock();
    Soak soak(GetParam());
    soak.settle();
    std::vector<long long> bytes;
    for (int part = 0; part < kParts; ++part) {
        soak.run(exchanges / kParts);
        soak.settle();
        bytes.push_back(bytesInUse());
    }
    const long long bytesKept = bytes.back() - bytes.front();
    soak.checkFigures(exchanges);
    EXPECT_LT(bytesKept, kMostBytesKept);
    EXPECT_LT(bytes.back() - bytes[kParts / 2], kMostBytesKeptLate);
    soak.print(GetParam(), static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, bytesKept);
    EXPECT_EQ(soak.problems(), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(Links, SoakTest, testing::ValuesIn(kLinks),
                         [](const auto &link) { return std::string(link.param.name); });
