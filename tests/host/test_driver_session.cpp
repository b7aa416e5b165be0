// Typed calls to the driver, and the outcome of every request that was queued.

#include "virtual_link.h"

using namespace fphost;
using plcsim::Area;

namespace
{

const Span kDT100 = {KindDT, 100, 1, 1};

/// Notes how requests ended, in order: "1 done". Declared before the host, which still tells how the rest ended when it
/// goes.
struct Notes {
    std::vector<std::string> all;
    RequestLedger::Done note()
    {
        return [this](const Finished &finished) {
            all.push_back(std::to_string(finished.id) + " " + VirtualHost::textOf(finished));
        };
    }
};

using Texts = std::vector<std::string>;

} // namespace

TEST(DriverSession, OnlyOneCanBeOpen)
{
    VirtualHost host;
    DriverSession second;
    EXPECT_EQ(second.open(host.library.api(), {}).value_or(QString()).toStdString(),
              "this process already runs a session with the driver, and there can be only one");
    host.session.close();
    EXPECT_FALSE(second.open(host.library.api(), {}).has_value());
}

TEST(DriverSession, RefusesADriverThatSomebodyElseUses)
{
    DriverLibrary library;
    ASSERT_FALSE(library.open(QStringLiteral(DRIVER_LIBRARY)).has_value());
    ComInfo theirs;
    library.api().SetComInfo(&theirs);
    DriverSession session;
    EXPECT_EQ(session.open(library.api(), {}).value_or(QString()).toStdString(),
              "the driver library is already in use in this process");
}

TEST(DriverSession, LeavesTheDriverEmpty)
{
    Notes notes;
    VirtualHost host;
    ASSERT_FALSE(host.session.setPolling({kDT100}).has_value());
    ASSERT_EQ(host.session.write(kDT100, word(1), notes.note()).id, 1);
    ASSERT_EQ(host.session.read(kDT100, notes.note()).id, 2);
    host.session.enableStation(9, false);
    ASSERT_NE(host.session.next(), nullptr);
    host.session.close();
    EXPECT_EQ(notes.all, Texts({"1 stopped", "2 stopped"}));
    const Matsushita_TCPIP_net &driver = *host.library.api().PLC_driver;
    EXPECT_TRUE(driver.lst_PollingReadVar.isEmpty());
    EXPECT_TRUE(driver.lst_WriteVar.isEmpty());
    EXPECT_TRUE(driver.lst_OnceReadVar.isEmpty());
    EXPECT_TRUE(driver.lst_Protocol.isEmpty());
    EXPECT_TRUE(driver.map_Station.isEmpty());
    EXPECT_EQ(driver.comInfo, nullptr);
}

TEST(DriverSession, ReadsOnceAndHoldsTheValues)
{
    VirtualHost host;
    host.simulator->setWord("01", Area::DT, 100, 0x1234);
    EXPECT_EQ(host.words(kDT100), std::vector<int>({0}));
    EXPECT_EQ(host.read(kDT100), "done");
    EXPECT_EQ(host.words(kDT100), std::vector<int>({0x1234}));
}

TEST(DriverSession, ReadsBitsContactsAndLongRuns)
{
    VirtualHost host;
    host.simulator->setBit("01", Area::R, 175, true);
    host.simulator->setBit("01", Area::T, 17, true);
    for (int i = 0; i < 40; ++i)
        host.simulator->setWord("01", Area::FL, 1000 + i, static_cast<quint16>(7 * i));
    EXPECT_EQ(host.read({KindR, 174, 3, 1}), "done");
    EXPECT_EQ(host.session.values({KindR, 174, 3, 1}), QByteArray("\0\1\0", 3));
    EXPECT_EQ(host.read({KindT, 16, 2, 1}), "done");
    EXPECT_EQ(host.session.values({KindT, 16, 2, 1}), QByteArray("\0\1", 2));
    EXPECT_EQ(host.read({KindFL, 1000, 40, 1}), "done");
    EXPECT_EQ(host.words({KindFL, 1039, 1, 1}), std::vector<int>({273}));
    EXPECT_EQ(host.sentBeginning("%01#RDF"), 3) << "16, 16 and 8 words";
}

TEST(DriverSession, WritesWordsAndBits)
{
    VirtualHost host;
    EXPECT_EQ(host.write({KindDT, 100, 2, 1}, word(0x1234) + word(0xFFFF)), "done");
    EXPECT_EQ(host.plcWord("01", Area::DT, 100), 0x1234);
    EXPECT_EQ(host.plcWord("01", Area::DT, 101), 0xFFFF);
    EXPECT_EQ(host.write({KindR, 175, 2, 1}, QByteArray("\1\1", 2)), "done");
    EXPECT_EQ(host.plcWord("01", Area::R, 10), 0x8000);
    EXPECT_EQ(host.plcWord("01", Area::R, 11), 0x0001);
    EXPECT_EQ(host.pipe.sent.front(), "%01#WDD00100001013412FFFF55\r");
}

TEST(DriverSession, RefusesWhatCannotBeQueued)
{
    VirtualHost host;
    const auto refusal = [&host](const Span &span, const QByteArray &values) {
        return host.session.write(span, values, nullptr).whyNot.toStdString();
    };
    EXPECT_EQ(refusal({KindWX, 3, 1, 1}, word(1)), "WX3: the area WX is read-only");
    EXPECT_EQ(refusal({KindDT, 5, 2, 1}, word(1)), "DT5: 2 value bytes were given for 2 elements");
    EXPECT_EQ(refusal({KindDT, 5, 1, 2}, word(1)), "DT5: station 2 is not the one station of this connection, 1");
    EXPECT_EQ(host.session.read({KindDT, 5, 0, 1}, nullptr).whyNot.toStdString(),
              "DT5: the count is 0, it must be 1 or more");
    EXPECT_EQ(host.session.setPolling({kDT100, {KindDT, 5, 1, 2}}).value_or(QString()).toStdString(),
              "DT5: station 2 is not the one station of this connection, 1");
    EXPECT_EQ(host.session.pollingLength(), 0);
    EXPECT_FALSE(host.session.hasWaiting());
}

TEST(DriverSession, AClosedSessionRefusesEverything)
{
    DriverSession session;
    EXPECT_EQ(session.read(kDT100, nullptr).whyNot.toStdString(), "the driver is not open");
    EXPECT_TRUE(session.values(kDT100).isEmpty());
}

TEST(DriverSession, AQueueWithoutRoomRefusesTheWholeRequest)
{
    Notes notes;
    VirtualHost host;
    EXPECT_GT(host.session.write({KindR, 0, 1024, 1}, QByteArray(1024, '\1'), notes.note()).id, 0);
    EXPECT_EQ(host.session.write({KindY, 0, 1, 1}, QByteArray(1, '\1'), notes.note()).whyNot.toStdString(),
              "Y0: the driver's list of writes has no room for 1 more entries");
    EXPECT_GT(host.session.read({KindDT, 0, 16 * 1023, 1}, notes.note()).id, 0);
    EXPECT_EQ(host.session.read({KindDT, 20000, 17, 1}, notes.note()).whyNot.toStdString(),
              "DT20000: the driver's list of reads has no room for 2 more entries");
    EXPECT_GT(host.session.read({KindDT, 20000, 16, 1}, notes.note()).id, 0);
    EXPECT_EQ(notes.all, Texts());
}

TEST(DriverSession, ANewerWriteToTheSameElementsTakesThePlaceOfTheOneThatWaits)
{
    Notes notes;
    VirtualHost host;
    host.session.write({KindDT, 1, 1, 1}, word(1), notes.note()); // the head of the queue is never replaced
    host.session.write({KindDT, 5, 1, 1}, word(2), notes.note());
    host.session.write({KindDT, 5, 1, 1}, word(3), notes.note());
    EXPECT_EQ(notes.all, Texts({"2 replaced by a newer write"}));
    EXPECT_TRUE(host.until([&notes] { return notes.all.size() == 3; }));
    EXPECT_EQ(notes.all, Texts({"2 replaced by a newer write", "1 done", "3 done"}));
    EXPECT_EQ(host.plcWord("01", Area::DT, 5), 3);
}

TEST(DriverSession, QueuedWorkForAStationThatIsSwitchedOffEndsAsSuch)
{
    Notes notes;
    VirtualHost host(severalStations());
    host.session.write({KindDT, 1, 1, 2}, word(1), notes.note());
    host.session.read({KindDT, 1, 1, 2}, notes.note());
    host.session.write({KindDT, 1, 1, 3}, word(9), notes.note());
    host.session.enableStation(2, false);
    EXPECT_TRUE(host.until([&notes] { return notes.all.size() == 3; }));
    EXPECT_EQ(host.plcWord("02", Area::DT, 1), 0);
    EXPECT_EQ(host.plcWord("03", Area::DT, 1), 9);
    std::sort(notes.all.begin(), notes.all.end());
    EXPECT_EQ(notes.all, Texts({"1 the station is switched off", "2 the station is switched off", "3 done"}));
    EXPECT_EQ(host.session.write({KindDT, 1, 1, 2}, word(1), nullptr).whyNot.toStdString(),
              "DT1: station 2 is switched off");
    host.session.enableStation(2, true);
    EXPECT_EQ(host.write({KindDT, 1, 1, 2}, word(1)), "done");
}

TEST(DriverSession, AStationThatIsOffIsNotPolledWhateverItsEntriesAre)
{
    VirtualHost host(severalStations());
    // A long entry, contacts and short entries of station 2 between those of station 1 and 3.
    ASSERT_FALSE(host.session
                     .setPolling({{KindDT, 0, 2, 1},
                                  {KindDT, 0, 2, 2},
                                  {KindDT, 0, 2, 3},
                                  {KindDT, 100, 16, 2},
                                  {KindT, 0, 16, 2},
                                  {KindDT, 100, 16, 3}})
                     .has_value());
    host.session.enableStation(2, false);
    host.simulator->setWord("01", Area::DT, 0, 11);
    host.simulator->setWord("02", Area::DT, 0, 22);
    host.simulator->setWord("03", Area::DT, 0, 33);
    host.steps(60);
    EXPECT_EQ(host.sentBeginning("%02"), 0);
    EXPECT_EQ(host.words({KindDT, 0, 1, 1}), std::vector<int>({11}));
    EXPECT_EQ(host.words({KindDT, 0, 1, 2}), std::vector<int>({0}));
    EXPECT_EQ(host.words({KindDT, 0, 1, 3}), std::vector<int>({33}));
    ASSERT_FALSE(host.session.setPolling({{KindDT, 0, 2, 1}, {KindDT, 0, 2, 2}}).has_value());
    host.steps(20);
    EXPECT_EQ(host.sentBeginning("%02"), 0) << "off stays off when the list is replaced";
    host.session.enableStation(2, true);
    host.steps(20);
    EXPECT_EQ(host.words({KindDT, 0, 1, 2}), std::vector<int>({22}));
}

TEST(DriverSession, ALostRequestTakesOthersWithItAndSaysSo)
{
    SessionSettings settings;
    settings.retryLimit = 0;
    Notes notes;
    VirtualHost host(settings);
    host.pipe.tamper = [](const QByteArray &, VirtualPipe::Deliveries, qint64) { return VirtualPipe::Deliveries(); };
    for (int i = 1; i <= 3; ++i)
        host.session.write({KindDT, i, 1, 1}, word(i), notes.note());
    EXPECT_TRUE(host.until([&notes] { return notes.all.size() == 3; }));
    EXPECT_EQ(notes.all,
              Texts({"1 no reply", "2 dropped with a request that failed", "3 dropped with a request that failed"}));
    EXPECT_FALSE(host.session.hasWaiting());
}

TEST(DriverSession, TheLimitOfRepeatsIsPerRequest)
{
    SessionSettings settings;
    settings.retryLimit = 2;
    VirtualHost host(settings);
    // Every second reply is lost; more than two in all, never two in a row.
    int asked = 0;
    host.pipe.tamper = [&asked](const QByteArray &, VirtualPipe::Deliveries deliveries, qint64) {
        return ++asked % 2 ? VirtualPipe::Deliveries() : deliveries;
    };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(host.write({KindDT, i, 1, 1}, word(i)), "done");
    EXPECT_EQ(asked, 10);
}

TEST(DriverSession, NamesTheElementsThatAReadServes)
{
    VirtualHost host;
    ASSERT_FALSE(host.session.setPolling({{KindDT, 7, 1, 1}, {KindWR, 3, 1, 1}, {KindT, 20, 3, 1}}).has_value());
    std::vector<Span> served;
    Observers observers;
    observers.exchange = [&served](const ExchangeReport &report) {
        if (report.ended && report.outcome == Outcome::Done)
            served.insert(served.end(), report.spans.begin(), report.spans.end());
    };
    host.exchanger->setObservers(observers);
    host.steps(8);
    const auto has = [&served](const Span &span) {
        return std::find(served.begin(), served.end(), span) != served.end();
    };
    EXPECT_TRUE(has({KindDT, 7, 1, 1}));
    EXPECT_TRUE(has({KindWR, 3, 1, 1}));
    EXPECT_TRUE(has({KindT, 16, 16, 1})) << "contacts travel in words of sixteen";
}

TEST(DriverSession, TheTellerMayQueueTheNextRequest)
{
    VirtualHost host;
    std::string second;
    host.session.write({KindDT, 1, 1, 1}, word(1), [&](const Finished &) {
        host.session.write({KindDT, 2, 1, 1}, word(2),
                           [&second](const Finished &finished) { second = VirtualHost::textOf(finished); });
    });
    EXPECT_TRUE(host.until([&second] { return !second.empty(); }));
    EXPECT_EQ(second, "done");
}
