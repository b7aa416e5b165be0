// Several stations behind one line: addressing, broadcast, power, counters, concurrent use.

#include "wire.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace plcsim;

namespace
{
struct ThreeStations {
    ThreeStations()
    {
        plc.addStation("01", 1);
        plc.addStation("15", 5);
        plc.addStation("1A", 10);
    }
    std::string ask(const char *request) { return plc.answer(request).toStdString(); }
    Simulator plc;
};
} // namespace

TEST(Stations, AreKeyedByTheTwoCharactersAsTheyCome)
{
    ThreeStations three;
    three.plc.setWord("15", Area::DT, 0, 0x1234);
    EXPECT_EQ(three.ask("%15#RDD0000000000**\r"), "%15$RD341217\r");
    EXPECT_EQ(three.ask("%1A#RDD0000000000**\r"), "%1A$RD000067\r");
    EXPECT_EQ(three.ask("%05#RDD0000000000**\r"), "");
    EXPECT_EQ(three.ask("%1a#RDD0000000000**\r"), "");
}

TEST(Stations, HaveTheirOwnMemoryAndRegistration)
{
    ThreeStations three;
    EXPECT_EQ(three.ask("%01#WDD00000000000100**\r"), "%01$WD13\r");
    EXPECT_EQ(three.plc.word("01", Area::DT, 0), 1);
    EXPECT_EQ(three.plc.word("15", Area::DT, 0), 0);
    EXPECT_EQ(three.ask("%01#MDD00000**\r"), "%01$MD09\r");
    EXPECT_EQ(three.ask("%15#MG**\r"), "%15!6204\r");
    EXPECT_EQ(three.ask("%15#MDD00000**\r"), "%15$MD0C\r");
    EXPECT_EQ(three.ask("%01#MG**\r"), "%01$MG1000401003E\r");
    EXPECT_EQ(three.ask("%15#MG**\r"), "%15$MG1000400003A\r");
}

TEST(Stations, HaveTheirOwnSettings)
{
    ThreeStations three;
    StationSettings settings;
    settings.busy = true;
    three.plc.setSettings("15", settings);
    EXPECT_EQ(three.ask("%15#RT**\r"), "%15!5306\r");
    EXPECT_EQ(three.ask("%01#RT**\r").size(), 25U);
}

TEST(Stations, BothBroadcastsAreExecutedByAllAndAnsweredByNone)
{
    ThreeStations three;
    EXPECT_EQ(three.ask("%FF#WDD00000000000100**\r"), "");
    EXPECT_EQ(three.ask("%1F#WDD00001000010200**\r"), "");
    for (const char *station : {"01", "15", "1A"}) {
        EXPECT_EQ(three.plc.word(station, Area::DT, 0), 1) << station;
        EXPECT_EQ(three.plc.word(station, Area::DT, 1), 2) << station;
    }
    EXPECT_EQ(three.plc.counters().broadcasts, 2U);
    EXPECT_EQ(three.plc.counters().writes, 6U);
}

TEST(Stations, BroadcastOfARegistrationHoldsForEachStation)
{
    ThreeStations three;
    EXPECT_EQ(three.ask("%FF#MDD00000**\r"), "");
    EXPECT_EQ(three.ask("%1A#MG**\r"), "%1A$MG1000400004E\r");
}

TEST(Stations, WrongBroadcastIsNotAnsweredEither)
{
    ThreeStations three;
    EXPECT_EQ(three.ask("%FF#WDD00000000000100AA\r"), "");
    EXPECT_EQ(three.ask("%FF#XX**\r"), "");
    EXPECT_EQ(three.plc.word("01", Area::DT, 0), 0);
}

TEST(Stations, BadOnesAreNotAdded)
{
    ThreeStations three;
    for (const char *bad : {"", "1", "011", "FF", "1F", "0a", "%1", "1 ", "0\r"})
        EXPECT_THROW(three.plc.addStation(bad, 77), std::invalid_argument) << bad;
    EXPECT_THROW(three.plc.addStation("01", 77), std::invalid_argument);
    EXPECT_THROW(three.plc.addStation("02", 5), std::invalid_argument);
    EXPECT_THROW(three.plc.addStation("02", -1), std::invalid_argument);
    EXPECT_THROW(three.plc.addStation("02", 255), std::invalid_argument);
    EXPECT_NO_THROW(three.plc.addStation("00", 0));
    EXPECT_NO_THROW(three.plc.addStation("EE", 254));
    EXPECT_EQ(three.plc.stations().size(), 5U);
    EXPECT_EQ(three.plc.stations()[0].destination, "00");
    EXPECT_EQ(three.plc.stations()[4].number, 254);
}

TEST(Stations, DestinationsFollowTheRuleOfTheHosts)
{
    const std::pair<int, const char *> rule[] = {{0, "00"},  {1, "01"},  {4, "04"},  {5, "15"},  {9, "19"},
                                                 {10, "1A"}, {15, "1F"}, {16, "10"}, {17, "11"}, {255, "1F"}};
    for (const auto &station : rule)
        EXPECT_EQ(destinationOf(station.first), station.second) << station.first;
}

TEST(Stations, OneThatIsOffSaysNothingAndForgetsItsRegistrationOnly)
{
    ThreeStations three;
    EXPECT_EQ(three.ask("%01#MDD00000**\r"), "%01$MD09\r");
    three.plc.setWord("01", Area::DT, 0, 7);
    EXPECT_TRUE(three.plc.setPowered("01", false));
    EXPECT_EQ(three.ask("%01#RDD0000000000**\r"), "");
    EXPECT_EQ(three.ask("%FF#WDD00000000000900**\r"), "");
    EXPECT_TRUE(three.plc.setPowered("01", true));
    EXPECT_EQ(three.ask("%01#RDD0000000000**\r"), "%01$RD070011\r");
    EXPECT_EQ(three.plc.word("15", Area::DT, 0), 9);
    EXPECT_EQ(three.ask("%01#MG**\r"), "%01!6201\r");
    EXPECT_FALSE(three.plc.setPowered("02", true));
}

TEST(Stations, WordsAndBitsAreReachedFromInside)
{
    ThreeStations three;
    EXPECT_TRUE(three.plc.setWord("01", Area::X, 127, 0x8001));
    EXPECT_EQ(three.plc.bit("01", Area::X, 127 * 16), true);
    EXPECT_EQ(three.plc.bit("01", Area::X, 127 * 16 + 1), false);
    EXPECT_EQ(three.plc.bit("01", Area::X, 127 * 16 + 15), true);
    EXPECT_TRUE(three.plc.setBit("01", Area::X, 127 * 16, false));
    EXPECT_EQ(three.plc.word("01", Area::X, 127), 0x8000);
    EXPECT_TRUE(three.plc.setBit("01", Area::DT, 16 * 3 + 4, true));
    EXPECT_EQ(three.plc.word("01", Area::DT, 3), 0x0010);

    EXPECT_FALSE(three.plc.setWord("01", Area::X, 128, 1));
    EXPECT_FALSE(three.plc.setWord("01", Area::X, -1, 1));
    EXPECT_FALSE(three.plc.setWord("02", Area::X, 0, 1));
    EXPECT_FALSE(three.plc.setBit("01", Area::X, 128 * 16, true));
    EXPECT_FALSE(three.plc.setBit("01", Area::X, -1, true));
    EXPECT_FALSE(three.plc.setBit("02", Area::X, 0, true));
    EXPECT_EQ(three.plc.word("01", Area::X, 128), std::nullopt);
    EXPECT_EQ(three.plc.word("01", Area::X, -1), std::nullopt);
    EXPECT_EQ(three.plc.word("02", Area::X, 0), std::nullopt);
    EXPECT_EQ(three.plc.bit("01", Area::X, 128 * 16), std::nullopt);
    EXPECT_EQ(three.plc.bit("01", Area::X, -1), std::nullopt);
    EXPECT_EQ(three.plc.bit("02", Area::X, 0), std::nullopt);
}

TEST(Stations, CountersTellWhatHappened)
{
    ThreeStations three;
    three.ask("%01#RDD0000000000**\r");     // reply
    three.ask("%01#WDD00000000000100**\r"); // reply, write
    three.ask("%01#WDD99999999990100**\r"); // error, no write
    three.ask("%02#RT**\r");                // nobody
    three.ask("noise");                     // nothing
    three.ask("%FF#WCSR00001**\r");         // three writes
    const Simulator::Counters counted = three.plc.counters();
    EXPECT_EQ(counted.requests, 6U);
    EXPECT_EQ(counted.replies, 2U);
    EXPECT_EQ(counted.errors, 1U);
    EXPECT_EQ(counted.writes, 4U);
    EXPECT_EQ(counted.broadcasts, 1U);
    EXPECT_EQ(counted.unanswered, 2U);
}

TEST(Stations, TraceSeesEveryRequestWithItsAnswer)
{
    ThreeStations three;
    std::vector<std::pair<QByteArray, QByteArray>> seen;
    three.plc.setTrace([&](const QByteArray &request, const QByteArray &reply) {
        seen.emplace_back(request, reply);
        three.plc.word("01", Area::DT, 0); // no lock is held
    });
    three.ask("%01#WCSR00001**\r");
    three.ask("%02#RT**\r");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].first, "%01#WCSR00001**\r");
    EXPECT_EQ(seen[0].second, "%01$WC14\r");
    EXPECT_EQ(seen[1].second, "");
    three.plc.setTrace({});
    three.ask("%01#WCSR00001**\r");
    EXPECT_EQ(seen.size(), 2U);
}

TEST(Stations, ManyThreadsMayAskAtOnce)
{
    ThreeStations three;
    std::atomic<int> good{0};
    const auto ask = [&](const char *write, const char *expected) {
        for (int i = 0; i < 2000; ++i) {
            good += three.plc.answer(write) == expected ? 1 : 0;
            three.plc.advance(1);
            three.plc.setBit("01", Area::R, i % 1000, (i & 1) != 0);
        }
    };
    std::thread first(ask, "%01#WDD00000000000100**\r", "%01$WD13\r");
    std::thread second(ask, "%15#WDD00000000000200**\r", "%15$WD16\r");
    std::thread third(ask, "%1A#WDD00000000000300**\r", "%1A$WD62\r");
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(good, 6000);
    EXPECT_EQ(three.plc.counters().writes, 6000U);
    EXPECT_EQ(three.plc.word("1A", Area::DT, 0), 3);
}
