// The whole host over real TCP, against the simulated PLCs: set-up, polling, reads, writes, stations, stopping.

#include "host/runtime.h"

#include "plcsim/server.h"

#include "value_bytes.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

using namespace fphost;
using plcsim::Area;

namespace
{

constexpr auto kLong = std::chrono::seconds(20); // nothing waits so long unless it hangs

/// Simulated PLCs of stations 1 to 3 behind free ports.
struct Plcs {
    Plcs() : simulator(std::make_shared<plcsim::Simulator>()), server(simulator)
    {
        simulator->addStation("01", 1);
        simulator->addStation("02", 2);
        simulator->addStation("03", 3);
        listen(0);
    }
    void listen(quint16 port)
    {
        const std::optional<QString> error = server.listen(QHostAddress::LocalHost, port, 0);
        EXPECT_FALSE(error.has_value()) << error->toStdString();
    }

    std::shared_ptr<plcsim::Simulator> simulator;
    plcsim::Server server;
};

RuntimeSettings settingsFor(const Plcs &plcs)
{
    RuntimeSettings settings;
    settings.library = QStringLiteral(DRIVER_LIBRARY);
    settings.link.port = plcs.server.port();
    settings.exchange.replyTimeoutMs = 5000;
    settings.exchange.reconnect.firstMs = 5;
    settings.exchange.reconnect.longestMs = 20;
    return settings;
}

std::string openText(Runtime &runtime)
{
    return runtime.open().value_or(QString()).toStdString();
}

/// Queues a request and waits for its end: "done", or why it was not queued.
template <typename Queue> std::string outcomeOf(Queue queue)
{
    const auto promise = std::make_shared<std::promise<std::string>>();
    std::future<std::string> outcome = promise->get_future();
    const Queued queued =
        queue([promise](const Finished &finished) { promise->set_value(outcomeText(finished.outcome)); });
    if (queued.id == 0)
        return queued.whyNot.toStdString();
    return outcome.wait_for(kLong) == std::future_status::ready ? outcome.get() : "nothing was told";
}
std::string write(Runtime &runtime, const Span &span, const QByteArray &values)
{
    return outcomeOf([&](auto done) { return runtime.write(span, values, done); });
}
std::string read(Runtime &runtime, const Span &span)
{
    return outcomeOf([&](auto done) { return runtime.read(span, done); });
}

/// Waits until \a condition holds; false when it never does.
template <typename Condition> bool comes(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + kLong;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace

TEST(Runtime, ReadsAndWritesOverTcp)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 100, 0x1234);
    Runtime runtime(settingsFor(plcs));
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    EXPECT_EQ(read(runtime, {KindDT, 100, 1, 1}), "done");
    EXPECT_EQ(runtime.values({KindDT, 100, 1, 1}), QByteArray("\x34\x12", 2));
    EXPECT_EQ(write(runtime, {KindDT, 200, 2, 1}, word(7) + word(8)), "done");
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 201), 8);
    EXPECT_EQ(write(runtime, {KindY, 31, 1, 1}, QByteArray("\1", 1)), "done");
    EXPECT_EQ(plcs.simulator->bit("01", Area::Y, 31), true);
    EXPECT_EQ(runtime.counters()[Count::Failures], 0u);
}

TEST(Runtime, PollsWhileOthersReadAndWrite)
{
    Plcs plcs;
    Runtime runtime(settingsFor(plcs));
    ASSERT_EQ(openText(runtime), "");
    ASSERT_FALSE(runtime.setPolling({{KindDT, 0, 64, 1}, {KindWR, 3, 1, 1}, {KindR, 500, 2, 1}}).has_value());
    runtime.start();
    std::vector<std::thread> users;
    std::atomic<int> good{0};
    for (int user = 0; user < 4; ++user) {
        users.emplace_back([&runtime, &good, user] {
            for (int i = 0; i < 25; ++i) {
                const Span own = {KindDT, 1000 + 100 * user + i, 1, 1};
                good += write(runtime, own, word(1 + i)) == "done";
                good += read(runtime, own) == "done";
                good += runtime.values(own) == word(1 + i);
            }
        });
    }
    for (std::thread &user : users)
        user.join();
    EXPECT_EQ(good, 300);
    plcs.simulator->setWord("01", Area::DT, 63, 63);
    plcs.simulator->setWord("01", Area::R, 3, 0x8001);
    EXPECT_TRUE(comes([&] { return runtime.values({KindDT, 63, 1, 1}) == word(63); }));
    EXPECT_TRUE(comes([&] { return runtime.values({KindWR, 3, 1, 1}) == word(0x8001); }));
    EXPECT_EQ(runtime.counters()[Count::Failures], 0u);
}

TEST(Runtime, ServesSeveralStationsAndAllOfThemAtOnce)
{
    Plcs plcs;
    RuntimeSettings settings = settingsFor(plcs);
    settings.session.multiStation = true;
    Runtime runtime(settings);
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    for (int station = 1; station <= 3; ++station)
        EXPECT_EQ(write(runtime, {KindDT, 5, 1, station}, word(10 * station)), "done");
    EXPECT_EQ(plcs.simulator->word("03", Area::DT, 5), 30);
    EXPECT_EQ(read(runtime, {KindDT, 5, 1, 2}), "done");
    EXPECT_EQ(runtime.values({KindDT, 5, 1, 2}), word(20));
    EXPECT_EQ(write(runtime, {KindDT, 6, 1, kBroadcast}, word(99)), "sent");
    EXPECT_TRUE(comes([&] { return plcs.simulator->word("03", Area::DT, 6) == 99; }));
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 6), 99);
}

TEST(Runtime, ExchangesBinaryRecords)
{
    Plcs plcs;
    RuntimeSettings settings = settingsFor(plcs);
    settings.session.remote = true;
    settings.link.port = plcs.server.remotePort();
    Runtime runtime(settings);
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    EXPECT_EQ(write(runtime, {KindDT, 5, 3, 1}, word(1) + word(2) + word(3)), "done");
    EXPECT_EQ(plcs.simulator->word("01", Area::DT, 7), 3);
    EXPECT_EQ(read(runtime, {KindDT, 5, 3, 1}), "done");
    EXPECT_EQ(runtime.values({KindDT, 5, 3, 1}), word(1) + word(2) + word(3));
}

TEST(Runtime, ComesBackWhenThePlcDoes)
{
    Plcs plcs;
    const quint16 port = plcs.server.port();
    Runtime runtime(settingsFor(plcs));
    std::atomic<int> ups{0};
    std::atomic<int> downs{0};
    Observers observers;
    observers.link = [&](const LinkReport &report) { ++(report.up ? ups : downs); };
    runtime.setObservers(observers);
    ASSERT_EQ(openText(runtime), "");
    ASSERT_FALSE(runtime.setPolling({{KindDT, 0, 1, 1}}).has_value());
    runtime.start();
    EXPECT_TRUE(comes([&] { return runtime.counters()[Count::Good] > 3; }));
    plcs.server.close();
    EXPECT_TRUE(comes([&] { return downs > 1; }));
    EXPECT_EQ(write(runtime, {KindDT, 5, 1, 1}, word(1)), "no connection");
    plcs.listen(port);
    EXPECT_TRUE(comes([&] { return ups == 2; }));
    EXPECT_EQ(write(runtime, {KindDT, 5, 1, 1}, word(1)), "done");
}

TEST(Runtime, TellsThatThePlcCannotBeReached)
{
    RuntimeSettings settings;
    {
        Plcs gone;
        settings = settingsFor(gone);
    }
    Runtime runtime(settings);
    std::promise<std::string> told;
    std::atomic<bool> first{true};
    Observers observers;
    observers.link = [&](const LinkReport &report) {
        if (first.exchange(false))
            told.set_value(report.text.toStdString());
    };
    runtime.setObservers(observers);
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    EXPECT_EQ(told.get_future().get(),
              "cannot connect to 127.0.0.1:" + std::to_string(settings.link.port) + ": Connection refused");
}

TEST(Runtime, ASilentStationEndsWithNoReply)
{
    Plcs plcs;
    RuntimeSettings settings = settingsFor(plcs);
    settings.session.station = 9;
    settings.exchange.replyTimeoutMs = 20;
    Runtime runtime(settings);
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    EXPECT_EQ(read(runtime, {KindDT, 5, 1, 9}), "no reply");
    EXPECT_TRUE(comes([&] { return runtime.counters()[Count::TimeOuts] == 3; })); // counted after it was told
}

TEST(Runtime, StopsInTheMiddleOfAWait)
{
    Plcs plcs;
    RuntimeSettings settings = settingsFor(plcs);
    settings.session.station = 9;
    settings.exchange.replyTimeoutMs = 60000;
    std::string ended;
    {
        Runtime runtime(settings);
        ASSERT_EQ(openText(runtime), "");
        runtime.read({KindDT, 5, 1, 9}, [&ended](const Finished &finished) { ended = outcomeText(finished.outcome); });
        runtime.start();
        EXPECT_TRUE(comes([&] { return runtime.counters()[Count::Exchanges] == 1; }));
        const auto start = std::chrono::steady_clock::now();
        runtime.stop();
        EXPECT_LT(std::chrono::steady_clock::now() - start, kLong);
    }
    EXPECT_EQ(ended, "stopped");
}

TEST(Runtime, OnlyOneIsOpenAtATime)
{
    Plcs plcs;
    Runtime first(settingsFor(plcs));
    Runtime second(settingsFor(plcs));
    EXPECT_EQ(openText(first), "");
    EXPECT_EQ(openText(second), "this process already runs a session with the driver, and there can be only one");
}

TEST(Runtime, TheNextOneBeginsFresh)
{
    Plcs plcs;
    plcs.simulator->setWord("01", Area::DT, 100, 0x1234);
    for (int i = 0; i < 3; ++i) {
        Runtime runtime(settingsFor(plcs));
        ASSERT_EQ(openText(runtime), "");
        EXPECT_EQ(runtime.values({KindDT, 100, 1, 1}), word(0));
        runtime.start();
        EXPECT_EQ(read(runtime, {KindDT, 100, 1, 1}), "done");
        EXPECT_EQ(runtime.values({KindDT, 100, 1, 1}), word(0x1234));
    }
}

TEST(Runtime, SaysThatTheLibraryIsMissing)
{
    RuntimeSettings settings;
    settings.library = QStringLiteral("/nowhere/libdriver.so");
    Runtime runtime(settings);
    EXPECT_EQ(openText(runtime), "cannot load the driver library /nowhere/libdriver.so: there is no such file");
    EXPECT_EQ(runtime.read({KindDT, 0, 1, 1}, nullptr).whyNot.toStdString(), "the driver is not open");
    EXPECT_FALSE(runtime.setPolling({{KindDT, 0, 1, 1}}) == std::nullopt);
    runtime.enableStation(1, false);
}

TEST(Runtime, AStationSwitchedOffByTheUserIsLeftAlone)
{
    Plcs plcs;
    RuntimeSettings settings = settingsFor(plcs);
    settings.session.multiStation = true;
    Runtime runtime(settings);
    ASSERT_EQ(openText(runtime), "");
    ASSERT_FALSE(runtime.setPolling({{KindDT, 0, 1, 1}, {KindDT, 0, 1, 2}}).has_value());
    runtime.enableStation(2, false);
    plcs.simulator->setWord("01", Area::DT, 0, 1);
    plcs.simulator->setWord("02", Area::DT, 0, 2);
    runtime.start();
    EXPECT_TRUE(comes([&] { return runtime.values({KindDT, 0, 1, 1}) == word(1); }));
    EXPECT_TRUE(comes([&] { return runtime.counters()[Count::Good] > 10; }));
    EXPECT_EQ(runtime.values({KindDT, 0, 1, 2}), word(0));
    runtime.enableStation(2, true);
    EXPECT_TRUE(comes([&] { return runtime.values({KindDT, 0, 1, 2}) == word(2); }));
}

TEST(Runtime, DoesNotSpinWithoutWork)
{
    Plcs plcs;
    Runtime runtime(settingsFor(plcs));
    ASSERT_EQ(openText(runtime), "");
    runtime.start();
    EXPECT_EQ(read(runtime, {KindDT, 0, 1, 1}), "done");
    const clock_t before = clock(); // processor time of the whole process
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(static_cast<double>(clock() - before) / CLOCKS_PER_SEC, 0.15);
}
