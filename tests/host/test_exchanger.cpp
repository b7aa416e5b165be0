// What the host does on the line, in the test's own time: the good way, and everything that can go wrong.

#include "virtual_link.h"

using namespace fphost;
using plcsim::Area;
using Deliveries = VirtualPipe::Deliveries;

namespace
{

const Span kDT100 = {KindDT, 100, 1, 1};
const Span kDT200 = {KindDT, 200, 16, 1};

plcsim::Delivery bytesAt(qint64 atMs, const QByteArray &bytes)
{
    return {atMs, bytes, plcsim::Delivery::Kind::Bytes};
}

bool begins(const QByteArray &request, const char *start)
{
    return request.startsWith(start);
}

/// Everything silent.
Deliveries nothing(const QByteArray &, Deliveries, qint64)
{
    return {};
}

/// The first reply comes later than it would.
VirtualPipe::Tamper firstReplyLateBy(qint64 lateMs)
{
    return [lateMs, first = true](const QByteArray &, Deliveries deliveries, qint64) mutable {
        for (plcsim::Delivery &delivery : deliveries)
            delivery.atMs += first ? lateMs : 0;
        first = false;
        return deliveries;
    };
}

/// Replies come byte by byte.
VirtualPipe::Tamper byteEvery(qint64 ms)
{
    return [ms](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
        Deliveries drops;
        const QByteArray bytes = deliveries.front().bytes;
        for (int i = 0; i < bytes.size(); ++i)
            drops.push_back(bytesAt(nowMs + ms * (i + 1), bytes.mid(i, 1)));
        return drops;
    };
}

ExchangeSettings quickly()
{
    ExchangeSettings settings;
    settings.replyTimeoutMs = 100;
    return settings;
}

/// The replies of a station never come.
VirtualPipe::Tamper silence(const char *destination)
{
    const QByteArray start = QByteArray("%") + destination;
    return [start](const QByteArray &request, Deliveries deliveries, qint64) {
        return request.startsWith(start) ? Deliveries() : deliveries;
    };
}

using Times = std::vector<qint64>;

} // namespace

// The good way --------------------------------------------------------------------------------------------------------

TEST(Exchanger, PollsEveryKindAndKeepsTheConnection)
{
    VirtualHost host;
    std::vector<Span> spans;
    const Area areas[] = {Area::T,  Area::C,  Area::X,  Area::Y,  Area::R, Area::L,
                          Area::DT, Area::LD, Area::FL, Area::SV, Area::EV};
    for (int kind = KindT; kind <= KindEV; ++kind) {
        host.simulator->setWord("01", areas[kind - KindT], 3, static_cast<quint16>(0x0101 * kind));
        spans.push_back({kind, areaRow(kind)->bits ? 48 : 3, 1, 1});
    }
    ASSERT_FALSE(host.session.setPolling(spans).has_value());
    host.steps(40);
    for (int kind = KindWX; kind <= KindEV; ++kind)
        EXPECT_EQ(host.words({kind, 3, 1, 1}), std::vector<int>({0x0101 * kind})) << kind;
    EXPECT_EQ(host.session.values({KindT, 48, 4, 1}), QByteArray("\0\0\1\0", 4)); // 0x0404
    EXPECT_EQ(host.session.values({KindC, 48, 4, 1}), QByteArray("\1\0\1\0", 4)); // 0x0505
    EXPECT_EQ(host.session.values({KindX, 48, 4, 1}), QByteArray("\0\1\1\0", 4)); // 0x0606
    EXPECT_EQ(host.pipe.attemptsMs.size(), 1u);
    EXPECT_EQ(host.count(Count::Failures), 0u);
    EXPECT_EQ(host.count(Count::Good), host.count(Count::Exchanges));
    EXPECT_GT(host.count(Count::Good), 30u);
}

TEST(Exchanger, CountsBytesAndTimes)
{
    VirtualHost host;
    EXPECT_EQ(host.read({KindDT, 100, 16, 1}), "done");
    EXPECT_EQ(host.count(Count::BytesOut), 20u);
    EXPECT_EQ(host.count(Count::BytesIn), 73u);
    EXPECT_EQ(host.count(Count::Exchanges), 1u);
    EXPECT_EQ(host.count(Count::Connects), 1u);
    EXPECT_EQ(host.count(Count::ReplyUs), 1000u);
}

TEST(Exchanger, HasNothingToDoWithoutWork)
{
    VirtualHost host;
    host.steps(2); // connects; the driver's first "nothing" may be a change of run
    EXPECT_EQ(host.exchanger->step(), 50);
    EXPECT_EQ(host.exchanger->step(), 50);
    EXPECT_TRUE(host.pipe.sent.empty());
}

TEST(Exchanger, ServesWritesAndReadsInRunsWithoutIdlingBetween)
{
    VirtualHost host;
    int ended = 0;
    for (int i = 0; i < 12; ++i) {
        host.session.write({KindDT, 10 * i, 1, 1}, word(i), [&ended](const Finished &) { ++ended; });
        host.session.read({KindLD, 10 * i, 1, 1}, [&ended](const Finished &) { ++ended; });
    }
    const qint64 startMs = host.clock.ms();
    EXPECT_TRUE(host.until([&ended] { return ended == 24; }, 100));
    EXPECT_EQ(host.clock.ms() - startMs, 25) << "one to connect, 24 exchanges, no pause";
}

TEST(Exchanger, BeginsAPollingCycleNotBeforeItsTime)
{
    ExchangeSettings settings;
    settings.cycleMs = 500;
    VirtualHost host({}, settings);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 16, 1}, {KindLD, 0, 16, 1}}).has_value());
    Times starts;
    host.pipe.tamper = [&](const QByteArray &request, Deliveries deliveries, qint64 nowMs) {
        if (begins(request, "%01#RDD"))
            starts.push_back(nowMs);
        return deliveries;
    };
    host.until([&starts] { return starts.size() == 4; });
    ASSERT_EQ(starts.size(), 4u);
    for (std::size_t i = 1; i < starts.size(); ++i)
        EXPECT_EQ(starts[i] - starts[i - 1], 500);
}

TEST(Exchanger, DoesNotKeepWritesWaitingForTheNextPollingCycle)
{
    ExchangeSettings settings;
    settings.cycleMs = 100000;
    VirtualHost host({}, settings);
    ASSERT_FALSE(host.session.setPolling({kDT100}).has_value());
    host.steps(4);
    const qint64 startMs = host.clock.ms();
    EXPECT_EQ(host.write({KindDT, 5, 1, 1}, word(1)), "done");
    EXPECT_LT(host.clock.ms() - startMs, 10);
}

TEST(Exchanger, TellsWhatWasExchanged)
{
    VirtualHost host;
    std::vector<std::string> told;
    Observers observers;
    observers.exchange = [&told](const ExchangeReport &report) {
        told.push_back(report.request.toStdString() + "|" + report.reply.toStdString() + "|" +
                       outcomeText(report.outcome) + "|" + std::to_string(report.result) +
                       (report.ended ? "|ended" : ""));
    };
    host.exchanger->setObservers(observers);
    host.simulator->setWord("01", Area::DT, 100, 5);
    host.read(kDT100);
    host.write({KindR, 1, 1, 1}, QByteArray("\1", 1));
    EXPECT_EQ(told, std::vector<std::string>({"%01#RDD0010000100**\r|%01$RD050013\r|done|1|ended",
                                              "%01#WCSR0001122\r|%01$WC14\r|done|1|ended"}));
}

// Silence -------------------------------------------------------------------------------------------------------------

TEST(Exchanger, RepeatsASilentRequestAndThenGivesItUp)
{
    VirtualHost host({}, quickly());
    host.pipe.tamper = nothing;
    EXPECT_EQ(host.read(kDT100), "no reply");
    EXPECT_EQ(host.pipe.sent.size(), 3u) << "once and two repeats";
    EXPECT_EQ(host.count(Count::TimeOuts), 3u);
    EXPECT_EQ(host.count(Count::Abandoned), 1u);
}

TEST(Exchanger, AfterATimeOutALateReplyReachesNobody)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 1);
    host.simulator->setWord("01", Area::DT, 101, 2);
    // The same length, station and command as every later reply.
    host.pipe.tamper = firstReplyLateBy(105);
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.read({KindDT, 101, 1, 1}), "done");
    EXPECT_EQ(host.words({KindDT, 100, 2, 1}), std::vector<int>({1, 2}));
    EXPECT_EQ(host.pipe.attemptsMs.size(), 2u) << "the line was made clean by a fresh connection";
}

TEST(Exchanger, BehindAConverterTheLineIsLeftToGoQuiet)
{
    ExchangeSettings settings = quickly();
    settings.quietMs = 30;
    VirtualHost host({}, settings);
    host.simulator->setWord("01", Area::DT, 100, 1);
    host.simulator->setWord("01", Area::DT, 101, 2);
    host.pipe.tamper = firstReplyLateBy(115); // 15 after the time-out
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.read({KindDT, 101, 1, 1}), "done");
    EXPECT_EQ(host.words({KindDT, 100, 2, 1}), std::vector<int>({1, 2}));
    EXPECT_EQ(host.pipe.attemptsMs.size(), 1u) << "the connection was kept";
}

TEST(Exchanger, BehindAConverterAReplyThatCameWithTheNextOneIsNotTakenForIt)
{
    ExchangeSettings settings = quickly();
    settings.quietMs = 30;
    VirtualHost host({}, settings);
    int asked = 0;
    host.pipe.tamper = [&](const QByteArray &, Deliveries deliveries, qint64) {
        ++asked;
        if (asked == 1) // held back: the reply of 1, while the word becomes 2
            return Deliveries();
        if (asked == 2) {
            deliveries.front().bytes = "%01$RD010017\r" + deliveries.front().bytes;
            host.simulator->setWord("01", Area::DT, 100, 3);
        }
        return deliveries;
    };
    host.simulator->setWord("01", Area::DT, 100, 2);
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(host.words(kDT100), std::vector<int>({3}));
    EXPECT_EQ(host.pipe.attemptsMs.size(), 1u);
}

TEST(Exchanger, AConverterThatStaysSilentIsConnectedAnew)
{
    ExchangeSettings settings = quickly();
    settings.quietMs = 30;
    VirtualHost host({}, settings);
    ASSERT_FALSE(host.session.setPolling({kDT100}).has_value());
    host.pipe.tamper = nothing;
    host.until([&host] { return host.pipe.attemptsMs.size() == 2; });
    EXPECT_EQ(host.pipe.sent.size(), 3u);
}

TEST(Exchanger, AConverterThatIsNeverQuietIsDisconnected)
{
    ExchangeSettings settings = quickly();
    settings.quietMs = 30;
    VirtualHost host({}, settings);
    host.pipe.tamper = [](const QByteArray &, Deliveries, qint64 nowMs) {
        Deliveries chatter;
        for (int i = 1; i < 1000; ++i)
            chatter.push_back(bytesAt(nowMs + 101 + 10 * i, "x"));
        return chatter;
    };
    host.session.read(kDT100, nullptr);
    host.until([&host] { return host.pipe.attemptsMs.size() == 2; });
    EXPECT_EQ(host.pipe.attemptsMs.size(), 2u);
}

TEST(Exchanger, ASlowDripWithinTheTimeIsAReply)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 7);
    host.pipe.tamper = byteEvery(5); // 13 bytes: the last at 65
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({7}));
}

TEST(Exchanger, ASlowDripDoesNotStretchTheTime)
{
    VirtualHost host({}, quickly());
    host.pipe.tamper = byteEvery(10); // the last at 130
    EXPECT_EQ(host.read(kDT100), "no reply");
    EXPECT_EQ(host.count(Count::TimeOuts), 3u);
}

// Replies that are none -----------------------------------------------------------------------------------------------

TEST(Exchanger, AReplyOfAnotherStationIsNotTaken)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 7);
    host.pipe.tamper = [](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
        deliveries.insert(deliveries.begin(), bytesAt(nowMs, "%02$RD090019\r"));
        return deliveries;
    };
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({7}));
    EXPECT_EQ(host.count(Count::StaleReplies), 1u);
    EXPECT_EQ(host.count(Count::Failures), 0u);
}

TEST(Exchanger, OnlyWrongEchoesAreASilence)
{
    VirtualHost host({}, quickly());
    host.pipe.tamper = [](const QByteArray &, Deliveries, qint64 nowMs) {
        return Deliveries{bytesAt(nowMs, "%02$RD090019\r"), bytesAt(nowMs, "%01$WC14\r")};
    };
    EXPECT_EQ(host.read(kDT100), "no reply");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({0}));
    EXPECT_EQ(host.count(Count::StaleReplies), 6u);
}

TEST(Exchanger, TheLineIsLookedAtBeforeARequestUnlessAGoodReplyHasJustBeenRead)
{
    VirtualHost host;
    EXPECT_EQ(host.read(kDT100), "done");
    const auto looksOf = [&host](qint64 pauseUs) {
        const int before = host.pipe.looks;
        host.clock.us += pauseUs;
        EXPECT_EQ(host.read(kDT100), "done");
        return host.pipe.looks - before;
    };
    EXPECT_EQ(looksOf(49), 0);
    EXPECT_EQ(looksOf(50), 1);
    host.pipe.tamper = [](const QByteArray &, Deliveries, qint64 nowMs) {
        return Deliveries{bytesAt(nowMs, "%01!6102\r")}; // an error response
    };
    EXPECT_EQ(host.read(kDT100), "refused by the PLC 61");
    host.pipe.tamper = nullptr;
    EXPECT_EQ(looksOf(0), 1);
}

TEST(Exchanger, BehindASerialConverterTheLineIsLookedAtBeforeEveryRequest)
{
    ExchangeSettings settings;
    settings.quietMs = 20;
    VirtualHost host({}, settings);
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(host.read(kDT100), "done");
        EXPECT_EQ(host.pipe.looks, i);
    }
}

TEST(Exchanger, ASecondCopyOfAReplyIsNotTakenForTheNext)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 1);
    host.simulator->setWord("01", Area::DT, 101, 2);
    for (const bool glued : {true, false}) {
        host.pipe.tamper = [glued](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
            const QByteArray reply = deliveries.front().bytes;
            if (glued)
                return Deliveries{bytesAt(nowMs, reply + reply)};
            return Deliveries{bytesAt(nowMs, reply), bytesAt(nowMs, reply)};
        };
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(host.read(kDT100), "done");
            EXPECT_EQ(host.read({KindDT, 101, 1, 1}), "done");
            EXPECT_EQ(host.words({KindDT, 100, 2, 1}), std::vector<int>({1, 2}));
        }
    }
    EXPECT_GE(host.count(Count::OutOfStep), 19u);
}

TEST(Exchanger, JunkAroundRepliesDoesNoHarm)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 7);
    host.pipe.tamper = [](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
        return Deliveries{bytesAt(nowMs, "\r\n\x7F"), deliveries.front(), bytesAt(nowMs, "\n")};
    };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.pipe.attemptsMs.size(), 1u);
    EXPECT_EQ(host.count(Count::Failures), 0u);
}

TEST(Exchanger, ALineThatNeverStopsIsClosedBeforeARequestGoesOut)
{
    VirtualHost host({}, quickly());
    host.steps(1);
    for (int i = 0; i < 200; ++i)
        host.pipe.deliver(QByteArray(600, 'b'));
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.pipe.attemptsMs.size(), 2u);
    EXPECT_EQ(host.pipe.sent.size(), 1u);
}

TEST(Exchanger, AReplyWithAWrongCheckCodeIsRepeatedOnTheSameConnection)
{
    VirtualHost host({}, quickly());
    host.simulator->setWord("01", Area::DT, 100, 7);
    int asked = 0;
    host.pipe.tamper = [&asked](const QByteArray &, Deliveries deliveries, qint64) {
        if (++asked == 1)
            deliveries.front().bytes[10] = 'F';
        return deliveries;
    };
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({7}));
    EXPECT_EQ(host.count(Count::BadReplies), 1u);
    EXPECT_EQ(host.pipe.attemptsMs.size(), 1u);
}

TEST(Exchanger, RepliesThatAreNeverRightAreToldAsSuch)
{
    VirtualHost host({}, quickly());
    host.pipe.tamper = [](const QByteArray &, Deliveries, qint64 nowMs) {
        return Deliveries{bytesAt(nowMs, "%01$RD070015\r")}; // check code one off
    };
    EXPECT_EQ(host.read(kDT100), "no reply that could be understood");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({0}));
}

TEST(Exchanger, AReplyOfTheWrongLengthStoresNothing)
{
    VirtualHost host({}, quickly());
    for (const char *reply : {"%01$RD13\r", "%01$RD0700080018\r"}) {
        host.pipe.tamper = [reply](const QByteArray &, Deliveries, qint64 nowMs) {
            return Deliveries{bytesAt(nowMs, reply)};
        };
        EXPECT_EQ(host.read(kDT100), "no reply that could be understood") << reply;
        EXPECT_EQ(host.words(kDT100), std::vector<int>({0}));
    }
}

// Error responses -----------------------------------------------------------------------------------------------------

TEST(Exchanger, AReadThatThePlcRefusesIsNotRepeated)
{
    VirtualHost host({}, quickly());
    EXPECT_EQ(host.read({KindDT, 99999, 1, 1}), "refused by the PLC 61"); // beyond the simulated PLC's area
    EXPECT_EQ(host.pipe.sent.size(), 1u);
    EXPECT_EQ(host.count(Count::Refusals), 1u);
}

TEST(Exchanger, AWriteThatThePlcRefusesIsNeverDone)
{
    VirtualHost host({}, quickly());
    plcsim::StationSettings settings = *host.simulator->settings("01");
    settings.writeProtected.push_back({Area::DT, 100, 100});
    host.simulator->setSettings("01", settings);
    EXPECT_EQ(host.write(kDT100, word(1)), "refused by the PLC 65");
    EXPECT_EQ(host.pipe.sent.size(), 1u);
    EXPECT_EQ(host.write({KindDT, 101, 1, 1}, word(1)), "done");
}

TEST(Exchanger, ARefusalDropsNoOtherWrite)
{
    VirtualHost host({}, quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 99990, 16 - 6, 1}}).has_value()); // refused again and again
    int done = 0;
    for (int i = 0; i < 20; ++i)
        host.session.write({KindDT, 10 * i, 1, 1}, word(i + 1),
                           [&done](const Finished &finished) { done += finished.outcome == Outcome::Done; });
    host.until([&done] { return done == 20; }, 200);
    EXPECT_EQ(done, 20);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(host.plcWord("01", Area::DT, 10 * i), i + 1);
}

TEST(Exchanger, ABusyUnitIsAskedAgain)
{
    VirtualHost host({}, quickly());
    for (const char *passing : {"%01!5303\r", "%01!4001\r", "%01!4302\r"}) {
        int asked = 0;
        host.pipe.tamper = [&asked, passing](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
            return ++asked <= 2 ? Deliveries{bytesAt(nowMs, passing)} : deliveries;
        };
        EXPECT_EQ(host.read(kDT100), "done") << passing;
        EXPECT_EQ(asked, 3);
        asked = 0;
        EXPECT_EQ(host.write(kDT100, word(asked + 5)), "done") << passing;
        EXPECT_EQ(asked, 3);
    }
}

TEST(Exchanger, AUnitThatStaysBusyRefusesInTheEnd)
{
    VirtualHost host({}, quickly());
    plcsim::StationSettings settings = *host.simulator->settings("01");
    settings.busy = true;
    host.simulator->setSettings("01", settings);
    int others = 0;
    host.session.write({KindDT, 1, 1, 1}, word(1), nullptr);
    host.session.write({KindDT, 2, 1, 1}, word(1), [&others](const Finished &finished) {
        EXPECT_EQ(VirtualHost::textOf(finished), "refused by the PLC 53");
        ++others;
    });
    host.until([&others] { return others == 1; });
    EXPECT_EQ(host.pipe.sent.size(), 6u) << "three times each, none dropped with the other";
    EXPECT_EQ(host.read(kDT100), "refused by the PLC 53");
}

TEST(Exchanger, ARefusedRegistrationNeverLeadsToValuesOfTheOneBefore)
{
    VirtualHost host({}, quickly());
    for (int i = 0; i < 40; ++i)
        host.simulator->setWord("01", Area::DT, i, static_cast<quint16>(1000 + i));
    // Two groups of scattered words, read in turns by registration.
    std::vector<Span> spans;
    for (int i = 0; i < 40; i += 10)
        spans.push_back({KindDT, i, 4, 1});
    ASSERT_FALSE(host.session.setPolling(spans).has_value());
    ASSERT_TRUE(host.until([&host] { return host.sentBeginning("%01#MG") == 4; }));
    const int before = 4;
    // From now on nothing can be cleared or registered: what stands is the last group.
    host.pipe.tamper = [](const QByteArray &request, Deliveries deliveries, qint64 nowMs) {
        return begins(request, "%01#MD") ? Deliveries{bytesAt(nowMs, "%01!6201\r")} : deliveries;
    };
    for (int i = 0; i < 40; ++i)
        host.simulator->setWord("01", Area::DT, i, static_cast<quint16>(2000 + i));
    host.steps(30);
    EXPECT_EQ(host.sentBeginning("%01#MG"), before) << "no read without its registration";
    for (int i = 0; i < 40; i += 10)
        EXPECT_EQ(host.words({KindDT, i, 1, 1}), std::vector<int>({1000 + i}));
    host.pipe.tamper = nullptr;
    host.steps(20);
    for (int i = 0; i < 40; i += 10)
        EXPECT_EQ(host.words({KindDT, i, 1, 1}), std::vector<int>({2000 + i}));
}

TEST(Exchanger, APlcThatForgetsItsRegistrationIsRegisteredAnew)
{
    VirtualHost host({}, quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 1}, {KindDT, 50, 1, 1}}).has_value());
    host.simulator->setWord("01", Area::DT, 50, 5);
    host.pipe.tamper = [&host](const QByteArray &request, Deliveries deliveries, qint64) {
        if (begins(request, "%01#MDD") && host.sentBeginning("%01#MDD") == 1) { // restarts behind the registration
            host.simulator->setPowered("01", false);
            host.simulator->setPowered("01", true);
        }
        return deliveries;
    };
    host.until([&host] { return host.sentBeginning("%01#MG") == 2; });
    host.steps(1);
    EXPECT_EQ(host.words({KindDT, 50, 1, 1}), std::vector<int>({5}));
    EXPECT_EQ(host.count(Count::Refusals), 1u);
}

// Words that the PLC does not have -----------------------------------------------------------------------------------

TEST(Exchanger, AWordThatThePlcRefusesDoesNotSpoilItsGroup)
{
    VirtualHost host({}, quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 1}, {KindDT, 90000, 1, 1}, {KindLD, 7, 2, 1}}).has_value());
    host.simulator->setWord("01", Area::DT, 0, 11);
    host.simulator->setWord("01", Area::LD, 8, 22);
    host.steps(40);
    EXPECT_EQ(host.words({KindDT, 0, 1, 1}), std::vector<int>({11}));
    EXPECT_EQ(host.words({KindLD, 7, 2, 1}), std::vector<int>({0, 22}));
    EXPECT_EQ(host.count(Count::Refusals), 2u) << "the group, then the word by itself";
    EXPECT_EQ(host.session.pollingLength(), 2);
}

TEST(Exchanger, AWordThatThePlcRefusesDoesNotSpoilItsBlock)
{
    VirtualHost host({}, quickly());
    plcsim::StationSettings settings = *host.simulator->settings("01");
    settings.words.set(Area::DT, 110);
    host.simulator->setSettings("01", settings);
    for (int i = 100; i < 110; ++i)
        host.simulator->setWord("01", Area::DT, i, static_cast<quint16>(i));
    ASSERT_FALSE(host.session.setPolling({{KindDT, 100, 16, 1}, {KindT, 0, 16, 1}}).has_value());
    host.steps(60);
    EXPECT_EQ(host.words({KindDT, 100, 10, 1}), std::vector<int>({100, 101, 102, 103, 104, 105, 106, 107, 108, 109}));
    EXPECT_EQ(host.count(Count::Refusals), 7u) << "the block, and six words";
    EXPECT_GT(host.sentBeginning("%01#RDD0010000109**"), 5) << "what can be read is one block again";
}

TEST(Exchanger, ARefusedWordIsTriedAgainInGrowingPausesAndComesBack)
{
    ExchangeSettings exchange = quickly();
    exchange.repair.firstRetestMs = 1000;
    exchange.repair.longestRetestMs = 3000;
    VirtualHost host({}, exchange);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 1}, {KindDT, 40000, 1, 1}}).has_value());
    Times asked;
    host.pipe.tamper = [&asked](const QByteArray &request, Deliveries deliveries, qint64 nowMs) {
        if (begins(request, "%01#RDD40000"))
            asked.push_back(nowMs);
        return deliveries;
    };
    host.until([&asked] { return asked.size() == 5; }, 20000);
    ASSERT_EQ(asked.size(), 5u);
    const qint64 kPauses[] = {1000, 2000, 3000, 3000};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(static_cast<double>(asked[i + 1] - asked[i]), static_cast<double>(kPauses[i]), 10);
    plcsim::StationSettings settings = *host.simulator->settings("01");
    settings.words.set(Area::DT, 50000);
    host.simulator->setSettings("01", settings);
    host.simulator->setWord("01", Area::DT, 40000, 44);
    EXPECT_TRUE(host.until([&host] { return host.session.pollingLength() == 2; }, 20000));
    host.steps(10);
    EXPECT_EQ(host.words({KindDT, 40000, 1, 1}), std::vector<int>({44}));
}

TEST(Exchanger, ANewPollingListForgetsWhatWasRefused)
{
    VirtualHost host({}, quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 1}, {KindDT, 90000, 1, 1}}).has_value());
    host.steps(4); // refused; its words are being tested
    ASSERT_FALSE(host.session.setPolling({{KindLD, 7, 1, 1}}).has_value());
    host.steps(30);
    EXPECT_EQ(host.session.pollingLength(), 1);
    EXPECT_GT(host.sentBeginning("%01#RDL0000700007"), 10);
}

TEST(Exchanger, SilenceInATestDoesNotLoseAWord)
{
    VirtualHost host({}, quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 1}, {KindDT, 90000, 1, 1}}).has_value());
    host.pipe.tamper = [](const QByteArray &request, Deliveries deliveries, qint64) {
        return begins(request, "%01#RDD00000") ? Deliveries() : deliveries;
    };
    host.until([&host] { return host.count(Count::Abandoned) == 3; });
    host.pipe.tamper = nullptr;
    host.simulator->setWord("01", Area::DT, 0, 11);
    host.steps(20);
    EXPECT_EQ(host.words({KindDT, 0, 1, 1}), std::vector<int>({11}));
}

TEST(Exchanger, RefusedWordsOfAStationThatIsOffWaitForIt)
{
    VirtualHost host(severalStations(), quickly());
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 1, 2}, {KindDT, 90000, 1, 2}}).has_value());
    host.until([&host] { return host.count(Count::Refusals) == 1; });
    host.session.enableStation(2, false);
    host.steps(30);
    EXPECT_EQ(host.session.pollingLength(), 0);
    host.session.enableStation(2, true);
    host.simulator->setWord("02", Area::DT, 0, 11);
    host.steps(40);
    EXPECT_EQ(host.words({KindDT, 0, 1, 2}), std::vector<int>({11}));
}

// All stations --------------------------------------------------------------------------------------------------------

TEST(Exchanger, SendsABroadcastOnceAndDoesNotWait)
{
    SessionSettings settings;
    settings.station = 255;
    VirtualHost host(settings);
    const qint64 startMs = host.clock.ms();
    EXPECT_EQ(host.write({KindDT, 5, 1, 255}, word(7)), "sent");
    EXPECT_EQ(host.write({KindR, 1, 2, 255}, QByteArray("\1\1", 2)), "sent")
        << "single bits, whose frames name a reply";
    EXPECT_LT(host.clock.ms() - startMs, 10);
    EXPECT_EQ(host.pipe.sent.size(), 3u);
    for (const char *station : {"01", "02", "03"}) {
        EXPECT_EQ(host.plcWord(station, Area::DT, 5), 7);
        EXPECT_EQ(host.plcWord(station, Area::R, 0), 6);
    }
    EXPECT_EQ(host.count(Count::Broadcasts), 3u);
    EXPECT_EQ(host.count(Count::Failures), 0u);
    EXPECT_EQ(host.count(Count::Abandoned), 0u);
}

TEST(Exchanger, ABroadcastTakesNoOtherWriteWithIt)
{
    for (const bool several : {true, false}) {
        SessionSettings settings;
        settings.multiStation = several;
        settings.station = 255;
        VirtualHost host(settings);
        std::string outcomes;
        for (int i = 0; i < 8; ++i)
            host.session.write({KindDT, 10 * i, 1, several && i % 2 ? 2 : 255}, word(i + 1),
                               [&outcomes](const Finished &finished) { outcomes += VirtualHost::textOf(finished)[0]; });
        host.until([&outcomes] { return outcomes.size() == 8; });
        EXPECT_EQ(outcomes, several ? "sdsdsdsd" : "ssssssss");
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(host.plcWord("02", Area::DT, 10 * i), i + 1);
        EXPECT_EQ(host.pipe.sent.size(), 8u);
    }
}

TEST(Exchanger, ABroadcastUsesUpNoRepeats)
{
    VirtualHost host(severalStations(), quickly());
    host.session.write({KindDT, 1, 1, 255}, word(7), nullptr);
    host.steps(2);
    host.pipe.tamper = silence("01");
    EXPECT_EQ(host.read(kDT100), "no reply");
    EXPECT_EQ(host.sentBeginning("%01#RD"), 3);
}

// Several stations ----------------------------------------------------------------------------------------------------

TEST(Exchanger, ASilentStationIsLeftAloneAndTheOthersKeepTheirPace)
{
    ExchangeSettings settings = quickly();
    settings.stations.firstProbeMs = 10000;
    VirtualHost host(severalStations(), settings);
    std::vector<std::string> told;
    Observers observers;
    observers.station = [&told](int station, bool present) {
        told.push_back(std::to_string(station) + (present ? " present" : " silent"));
    };
    host.exchanger->setObservers(observers);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 16, 1}, {KindDT, 0, 16, 2}, {KindDT, 0, 16, 3}}).has_value());
    host.pipe.tamper = silence("02");
    const qint64 startMs = host.clock.ms();
    host.until([&host, startMs] { return host.clock.ms() - startMs >= 5000; }, 10000);
    EXPECT_EQ(host.sentBeginning("%02"), 3);
    EXPECT_GT(host.sentBeginning("%01"), 1900);
    EXPECT_GT(host.sentBeginning("%03"), 1900);
    EXPECT_EQ(told, std::vector<std::string>({"2 silent"}));
    EXPECT_EQ(host.session.write({KindDT, 1, 1, 2}, word(1), nullptr).whyNot.toStdString(),
              "DT1: station 2 is switched off");
}

TEST(Exchanger, ASilentStationIsTriedInGrowingPausesAndComesBack)
{
    ExchangeSettings settings = quickly();
    settings.stations.firstProbeMs = 1000;
    settings.stations.longestProbeMs = 3000;
    VirtualHost host(severalStations(), settings);
    std::vector<std::string> told;
    Observers observers;
    observers.station = [&told](int station, bool present) {
        told.push_back(std::to_string(station) + (present ? " present" : " silent"));
    };
    host.exchanger->setObservers(observers);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 16, 1}, {KindDT, 0, 16, 2}}).has_value());
    Times asked;
    host.pipe.tamper = [&asked](const QByteArray &request, Deliveries deliveries, qint64 nowMs) {
        if (!begins(request, "%02"))
            return deliveries;
        asked.push_back(nowMs);
        return Deliveries();
    };
    host.until([&asked] { return asked.size() == 7; }, 100000);
    ASSERT_EQ(asked.size(), 7u) << "three, then one per trial";
    const Times pauses = {asked[3] - asked[2], asked[4] - asked[3], asked[5] - asked[4], asked[6] - asked[5]};
    EXPECT_NEAR(static_cast<double>(pauses[0]), 1100, 20);
    EXPECT_NEAR(static_cast<double>(pauses[1]), 2100, 20);
    EXPECT_NEAR(static_cast<double>(pauses[2]), 3100, 20);
    EXPECT_NEAR(static_cast<double>(pauses[3]), 3100, 20);

    host.simulator->setWord("02", Area::DT, 0, 77);
    host.pipe.tamper = nullptr;
    host.until([&told] { return told.size() >= 6; }, 100000);
    EXPECT_EQ(told.back(), "2 present");
    host.steps(10);
    EXPECT_EQ(host.words({KindDT, 0, 1, 2}), std::vector<int>({77}));
    EXPECT_EQ(host.write({KindDT, 1, 1, 2}, word(1)), "done");
}

TEST(Exchanger, AStationThatIsSilentForGoodIsGivenUpWhateverTheRetryLimit)
{
    SessionSettings session = severalStations();
    session.retryLimit = 100;
    VirtualHost host(session, quickly());
    host.pipe.tamper = silence("02");
    EXPECT_EQ(host.read({KindDT, 0, 1, 2}), "no reply");
    EXPECT_EQ(host.pipe.sent.size(), 3u);
}

TEST(Exchanger, AnErrorResponseIsNoSilence)
{
    VirtualHost host(severalStations(), quickly());
    plcsim::StationSettings settings = *host.simulator->settings("02");
    settings.busy = true;
    host.simulator->setSettings("02", settings);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(host.read({KindDT, 0, 1, 2}), "refused by the PLC 53");
}

TEST(Exchanger, TheOneStationOfAConnectionIsNeverSwitchedOff)
{
    VirtualHost host({}, quickly());
    host.pipe.tamper = nothing;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(host.read(kDT100), "no reply");
    host.pipe.tamper = nullptr;
    EXPECT_EQ(host.read(kDT100), "done");
}

TEST(Exchanger, AStationThatTheUserSwitchedOffIsNotTried)
{
    ExchangeSettings settings = quickly();
    settings.stations.firstProbeMs = 100;
    VirtualHost host(severalStations(), settings);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 16, 1}, {KindDT, 0, 16, 2}}).has_value());
    host.pipe.tamper = silence("02");
    host.until([&host] { return host.sentBeginning("%02") == 3; });
    host.session.enableStation(2, false);
    const qint64 startMs = host.clock.ms();
    host.until([&host, startMs] { return host.clock.ms() - startMs > 5000; }, 10000);
    EXPECT_EQ(host.sentBeginning("%02"), 3);
}

// No connection -------------------------------------------------------------------------------------------------------

TEST(Exchanger, AttemptsToConnectPauseLongerAndLonger)
{
    ExchangeSettings settings;
    settings.reconnect.firstMs = 100;
    settings.reconnect.longestMs = 1000;
    settings.reconnect.jitterPercent = 0;
    VirtualHost host({}, settings);
    host.pipe.reachable = false;
    host.until([&host] { return host.pipe.attemptsMs.size() == 7; });
    const Times &at = host.pipe.attemptsMs;
    ASSERT_EQ(at.size(), 7u);
    const qint64 kPauses[] = {100, 200, 400, 800, 1000, 1000};
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_EQ(at[i + 1] - at[i] - 1, kPauses[i]) << i; // the attempt itself takes 1
    EXPECT_EQ(host.count(Count::ConnectFailures), 7u);
    EXPECT_EQ(host.count(Count::Exchanges), 0u);
}

TEST(Exchanger, StepsBetweenTheAttemptsDoNothing)
{
    VirtualHost host;
    host.pipe.reachable = false;
    host.until([&host] { return host.pipe.attemptsMs.size() == 2; });
    for (int i = 0; i < 100; ++i)
        EXPECT_GT(host.exchanger->step(), 0);
    EXPECT_EQ(host.pipe.attemptsMs.size(), 2u);
}

TEST(Exchanger, WorkForAPlcThatCannotBeReachedEndsAsSuch)
{
    VirtualHost host;
    host.pipe.reachable = false;
    int told = 0;
    Observers observers;
    observers.link = [&told](const LinkReport &report) {
        told += !report.up && report.text == QStringLiteral("cannot connect to the virtual PLC");
    };
    host.exchanger->setObservers(observers);
    EXPECT_EQ(host.write(kDT100, word(1)), "no connection");
    EXPECT_EQ(host.pipe.attemptsMs.size(), 3u) << "an attempt counts as a request without a reply";
    EXPECT_EQ(told, 3);
    EXPECT_EQ(host.read(kDT100), "no connection");
    EXPECT_TRUE(host.pipe.sent.empty());
    host.pipe.reachable = true;
    EXPECT_EQ(host.write(kDT100, word(2)), "done");
}

TEST(Exchanger, WritesThatGoWithARequestThatHadNoConnectionHadNoneEither)
{
    VirtualHost host;
    host.pipe.reachable = false;
    std::vector<std::string> outcomes;
    for (int i = 0; i < 3; ++i)
        host.session.write({KindDT, i, 1, 1}, word(1), [&outcomes](const Finished &finished) {
            outcomes.push_back(VirtualHost::textOf(finished));
        });
    host.until([&outcomes] { return outcomes.size() == 3; });
    EXPECT_EQ(outcomes, std::vector<std::string>(3, "no connection"));
    EXPECT_EQ(host.pipe.attemptsMs.size(), 3u);
}

TEST(Exchanger, AFrameInFlightGoesOutAgainOnTheNextConnection)
{
    VirtualHost host({}, quickly());
    int asked = 0;
    host.pipe.tamper = [&asked](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
        if (++asked > 1)
            return deliveries;
        return Deliveries{{nowMs, QByteArray(), plcsim::Delivery::Kind::Reset}};
    };
    EXPECT_EQ(host.write(kDT100, word(5)), "done");
    EXPECT_EQ(host.pipe.attemptsMs.size(), 2u);
    EXPECT_EQ(host.count(Count::Lost), 1u);
    EXPECT_EQ(host.plcWord("01", Area::DT, 100), 5);
}

TEST(Exchanger, APlcThatAlwaysHangsUpIsNotFlooded)
{
    ExchangeSettings settings;
    settings.reconnect.jitterPercent = 0;
    VirtualHost host({}, settings);
    ASSERT_FALSE(host.session.setPolling({kDT100}).has_value());
    host.pipe.tamper = [](const QByteArray &, Deliveries, qint64 nowMs) {
        return Deliveries{{nowMs, QByteArray(), plcsim::Delivery::Kind::Reset}};
    };
    const qint64 startMs = host.clock.ms();
    host.until([&host, startMs] { return host.clock.ms() - startMs > 60000; }, 10000);
    EXPECT_LE(host.pipe.attemptsMs.size(), 12u) << "0, 200, 400 .. 10,000 ms between them";
}

TEST(Exchanger, APlcThatAcceptsAndStaysSilentIsNotFlooded)
{
    ExchangeSettings settings = quickly();
    VirtualHost host({}, settings);
    ASSERT_FALSE(host.session.setPolling({kDT100}).has_value());
    host.pipe.tamper = nothing;
    const qint64 startMs = host.clock.ms();
    host.until([&host, startMs] { return host.clock.ms() - startMs > 60000; }, 10000);
    EXPECT_LE(host.pipe.attemptsMs.size(), 16u);
    EXPECT_EQ(host.pipe.sent.size(), host.pipe.attemptsMs.size());
}

TEST(Exchanger, NoticesWhileIdleThatTheOtherSideHasGoneAndComesBack)
{
    VirtualHost host;
    std::vector<std::string> told;
    Observers observers;
    observers.link = [&told](const LinkReport &report) {
        told.push_back(report.up ? "up" : "down: " + report.text.toStdString());
    };
    host.exchanger->setObservers(observers);
    EXPECT_EQ(host.read(kDT100), "done");
    host.pipe.hangUp();
    host.until([&told] { return told.size() == 3; }, 20);
    EXPECT_EQ(told, std::vector<std::string>({"up", "down: the other side has closed the connection", "up"}));
}

TEST(Exchanger, APlcThatHungUpBetweenRequestsCostsNoFailure)
{
    VirtualHost host;
    EXPECT_EQ(host.read(kDT100), "done");
    host.clock.passMs(1);
    host.pipe.hangUp();
    EXPECT_EQ(host.write(kDT100, word(5)), "done");
    EXPECT_EQ(host.count(Count::Failures), 0u);
    EXPECT_EQ(host.pipe.sent.size(), 2u);
}

// Binary records ------------------------------------------------------------------------------------------------------

TEST(Exchanger, ExchangesBinaryRecords)
{
    SessionSettings settings;
    settings.remote = true;
    VirtualHost host(settings, quickly(), plcsim::Line::Kind::Binary);
    host.simulator->setWord("01", Area::DT, 100, 0x1234);
    EXPECT_EQ(host.read({KindDT, 100, 2, 1}), "done");
    EXPECT_EQ(host.words({KindDT, 100, 2, 1}), std::vector<int>({0x1234, 0}));
    EXPECT_EQ(host.write({KindDT, 101, 1, 1}, word(0xBEEF)), "done");
    EXPECT_EQ(host.plcWord("01", Area::DT, 101), 0xBEEF);
    EXPECT_EQ(host.write({KindR, 20, 1, 1}, QByteArray("\1", 1)), "done");
    EXPECT_EQ(host.simulator->bit("01", Area::R, 20), true);
    ASSERT_FALSE(host.session.setPolling({{KindDT, 100, 2, 1}, {KindWR, 1, 1, 1}}).has_value());
    host.steps(6);
    EXPECT_EQ(host.words({KindDT, 100, 2, 1}), std::vector<int>({0x1234, 0xBEEF}));
    EXPECT_EQ(host.words({KindWR, 1, 1, 1}), std::vector<int>({16}));
    EXPECT_EQ(host.count(Count::Failures), 0u);
}

TEST(Exchanger, ARefusedRecordIsToldAsSuch)
{
    SessionSettings settings;
    settings.remote = true;
    VirtualHost host(settings, quickly(), plcsim::Line::Kind::Binary);
    EXPECT_EQ(host.read({KindDT, 99999, 1, 1}), "refused by the PLC 61");
    EXPECT_EQ(host.write({KindDT, 99999, 1, 1}, word(1)), "refused by the PLC 45");
}

// Everything at once --------------------------------------------------------------------------------------------------

TEST(Exchanger, ComesThroughRandomFaultsWithEveryWriteAccountedFor)
{
    ExchangeSettings exchange = quickly();
    exchange.stations.firstProbeMs = 500;
    VirtualHost host(severalStations(), exchange);
    std::vector<Span> spans;
    for (int station = 1; station <= 3; ++station) {
        spans.push_back({KindDT, 0, 16, station});
        spans.push_back({KindDT, 500, 2, station});
        spans.push_back({KindLD, 7, 1, station});
        spans.push_back({KindT, 0, 16, station});
    }
    ASSERT_FALSE(host.session.setPolling(spans).has_value());
    // Every word holds its own address and station for ever, so a value from anywhere else shows.
    for (int station = 1; station <= 3; ++station) {
        const QByteArray name = plcsim::destinationOf(station);
        for (int i = 0; i < 16; ++i)
            host.simulator->setWord(name, Area::DT, i, static_cast<quint16>(1000 * station + i));
        for (int i = 0; i < 2; ++i)
            host.simulator->setWord(name, Area::DT, 500 + i, static_cast<quint16>(1000 * station + 500 + i));
        host.simulator->setWord(name, Area::LD, 7, static_cast<quint16>(1000 * station + 900));
    }
    std::mt19937 dice(12345);
    const auto roll = [&dice](int sides) { return static_cast<int>(dice() % static_cast<unsigned>(sides)); };
    host.pipe.tamper = [&roll](const QByteArray &, Deliveries deliveries, qint64 nowMs) {
        if (deliveries.empty() || roll(10) != 0)
            return deliveries;
        QByteArray &reply = deliveries.front().bytes;
        switch (roll(9)) {
        case 0: // lost
            return Deliveries();
        case 1: // after the time-out
            deliveries.front().atMs += 150;
            break;
        case 2: // twice
            reply += reply;
            break;
        case 3: // another station's
            reply[2] = reply[2] == '1' ? '2' : '1';
            break;
        case 4: // changed on the way
            reply[roll(reply.size())] = static_cast<char>('0' + roll(10));
            break;
        case 5: // cut off
            reply.truncate(roll(reply.size()));
            break;
        case 6: // in two pieces
            deliveries.push_back(bytesAt(nowMs + 5, reply.mid(4)));
            deliveries.front().bytes.truncate(4);
            break;
        case 7: // junk around
            reply = "\r\x80" + reply + "\n";
            break;
        default:
            return Deliveries{{nowMs, QByteArray(), plcsim::Delivery::Kind::Reset}};
        }
        return deliveries;
    };
    // Writes go to words of their own; what the PLC shows for each must be the last value that was done, or one of
    // those that failed after it (a lost acknowledgement).
    struct Target {
        int station, number, queued = 0, ended = 0, done = 0;
        std::vector<int> allowed = {0};
    };
    std::vector<Target> targets;
    for (int i = 0; i < 9; ++i)
        targets.push_back({1 + i % 3, 3000 + 10 * i});
    int value = 0;
    int refusedAtOnce = 0;
    for (int step = 0; step < 60000; ++step) {
        host.step();
        Target &target = targets[static_cast<std::size_t>(roll(9))];
        if (step % 7 == 0 && target.queued == target.ended) {
            const int mine = ++value % 65536;
            const Queued queued = host.session.write({KindDT, target.number, 1, target.station}, word(mine),
                                                     [&, mine](const Finished &f) {
                                                         ++target.ended;
                                                         if (f.outcome == Outcome::Done) {
                                                             ++target.done;
                                                             target.allowed.clear();
                                                         }
                                                         target.allowed.push_back(mine);
                                                     });
            target.queued += queued.id != 0;
            refusedAtOnce += queued.id == 0;
        }
        for (int station = 1; step % 100 == 0 && station <= 3; ++station) {
            const auto held = [&](const Span &span, int expected) {
                for (const int word : host.words(span)) {
                    EXPECT_TRUE(word == 0 || word == expected) << station << ": " << word << " for " << expected;
                    ++expected;
                }
            };
            held({KindDT, 0, 16, station}, 1000 * station);
            held({KindDT, 500, 2, station}, 1000 * station + 500);
            held({KindLD, 7, 1, station}, 1000 * station + 900);
        }
    }
    host.pipe.tamper = nullptr;
    EXPECT_TRUE(host.until([&host] { return !host.session.hasWaiting(); }));
    int done = 0;
    for (const Target &target : targets) {
        EXPECT_EQ(target.ended, target.queued);
        EXPECT_GT(target.done, 10);
        done += target.done;
        const int held = host.plcWord(plcsim::destinationOf(target.station), Area::DT, target.number);
        EXPECT_NE(std::count(target.allowed.begin(), target.allowed.end(), held), 0) << held;
    }
    EXPECT_GT(done, 1000);
    EXPECT_GT(host.count(Count::Failures), 1000u);
    EXPECT_GT(host.count(Count::TimeOuts), 100u);
    EXPECT_GT(host.count(Count::BadReplies), 10u);
    EXPECT_GT(host.count(Count::Lost), 100u);
    EXPECT_GT(host.count(Count::OutOfStep), 50u);
    EXPECT_GT(host.count(Count::StaleReplies), 50u);
}
