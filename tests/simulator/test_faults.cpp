// Every kind of fault, on a line whose clock the test owns.

#include "wire.h"

#include "plcsim/line.h"

#include <algorithm>
#include <set>
#include <vector>

using namespace plcsim;

namespace
{

const char kRead[] = "%01#RDD0000000001**\r";
const char kReply[] = "%01$RD05000A0062\r";
const char kWrite[] = "%01#WDD00009000090700**\r"; // DT9 = 7
const char kWritten[] = "%01$WD13\r";
const QByteArray kRecord("\x16\0\0\x01\x01\0\x0A\0\0\0\0\0\x02\0\0\0\0\0\0\0\0\x24", 22); // reads DT0 and DT1

struct Faulty {
    explicit Faulty(const char *plan, Line::Kind kind = Line::Kind::Text) : line(plc, kind) { set(plan); }

    void set(const char *plan)
    {
        QString fault;
        const std::optional<FaultPlan> parsed = FaultPlan::parse(plan, &fault);
        ASSERT_TRUE(parsed.has_value()) << fault.toStdString();
        plc->setFaultPlan("01", *parsed);
    }

    static std::shared_ptr<Simulator> onePlc()
    {
        auto plc = std::make_shared<Simulator>();
        plc->addStation("01", 1);
        plc->setWord("01", Area::DT, 0, 5);
        plc->setWord("01", Area::DT, 1, 10);
        return plc;
    }

    /// Deliveries as text: "100 %01$WD13" for bytes, "100 reset", "100 half-open"; CR is left out at the end.
    std::vector<std::string> ask(const QByteArray &request, qint64 nowMs = 0)
    {
        std::vector<std::string> seen;
        for (const Delivery &delivery : line.take(request, nowMs)) {
            const char *ends[] = {"", "reset", "half-open"};
            QByteArray text = delivery.bytes + ends[static_cast<int>(delivery.kind)];
            if (text.size() > 1 && text.endsWith('\r'))
                text.chop(1);
            seen.push_back(std::to_string(delivery.atMs) + " " + text.toStdString());
        }
        return seen;
    }

    bool written() const { return plc->word("01", Area::DT, 9) == 7; }

    std::shared_ptr<Simulator> plc = onePlc();
    Line line;
};

using Seen = std::vector<std::string>;

} // namespace

TEST(Fault, NoneWithoutAPlan)
{
    Faulty host("");
    EXPECT_EQ(host.ask(kRead, 50), Seen{"50 %01$RD05000A0062"});
    EXPECT_EQ(host.plc->counters().faults, 0U);
}

TEST(Fault, DroppedRequestIsNotExecuted)
{
    Faulty host("drop-request");
    EXPECT_EQ(host.ask(kWrite), Seen{});
    EXPECT_FALSE(host.written());
    EXPECT_EQ(host.plc->counters().faults, 1U);
    EXPECT_EQ(host.plc->counters().unanswered, 1U);
}

TEST(Fault, DroppedReplyIsOfAnExecutedRequest)
{
    Faulty host("drop");
    EXPECT_EQ(host.ask(kWrite), Seen{});
    EXPECT_TRUE(host.written());
    EXPECT_EQ(host.plc->counters().faults, 1U);
}

TEST(Fault, ErrorResponseIsGivenWithoutExecuting)
{
    Faulty host("error 53");
    EXPECT_EQ(host.ask(kWrite), Seen{"0 %01!5303"});
    EXPECT_FALSE(host.written());
    EXPECT_EQ(host.plc->counters().errors, 1U);
}

TEST(Fault, AnyErrorTakesAllCodes)
{
    Faulty host("error any");
    std::set<std::string> codes;
    for (int i = 0; i < 5000; ++i) {
        const Seen seen = host.ask(kRead);
        ASSERT_EQ(seen.size(), 1U);
        ASSERT_EQ(seen[0].size(), 10U);
        ASSERT_EQ(seen[0].substr(0, 6), "0 %01!");
        codes.insert(seen[0].substr(6, 2));
    }
    EXPECT_EQ(codes.size(), 256U);
    EXPECT_EQ(*codes.begin(), "00");
    EXPECT_EQ(*codes.rbegin(), "FF");
}

TEST(Fault, RestartLosesTheRequestForgetsTheRegistrationAndIsSilentForAWhile)
{
    Faulty host("");
    EXPECT_EQ(host.ask("%01#MDD00000**\r"), Seen{"0 %01$MD09"});
    EXPECT_EQ(host.ask("%01#MG**\r").size(), 1U);
    host.set("restart 500");
    EXPECT_EQ(host.ask(kWrite, 1000), Seen{});
    EXPECT_EQ(host.ask(kWrite, 1499), Seen{});
    EXPECT_FALSE(host.written());
    host.set("");
    EXPECT_EQ(host.ask("%01#MG**\r", 1500), Seen{"1500 %01!6201"});
    EXPECT_EQ(host.ask(kRead, 1500), Seen{"1500 %01$RD05000A0062"});
}

TEST(Fault, SilenceAfterARestartEndsAtItsMoment)
{
    Faulty host("restart 50% 500; seed 2");
    qint64 restartedMs = -1;
    for (qint64 nowMs = 0; nowMs < 100000; nowMs += 100) {
        const bool answered = !host.ask(kRead, nowMs).empty();
        const bool stillSilent = restartedMs >= 0 && nowMs < restartedMs + 500;
        if (stillSilent)
            EXPECT_FALSE(answered) << nowMs;
        else if (!answered)
            restartedMs = nowMs;
    }
    EXPECT_GT(host.plc->counters().replies, 50U);
    EXPECT_GT(host.plc->counters().unanswered, 250U);
}

TEST(Fault, UnreadableWordsAreRefusedOnEveryRoad)
{
    Faulty host("unreadable DT1..5; unreadable R2..2 53");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01!6102"});
    EXPECT_EQ(host.ask("%01#RDD0000000000**\r"), Seen{"0 %01$RD050013"});
    EXPECT_EQ(host.ask("%01#RDD0000500005**\r"), Seen{"0 %01!6102"});
    EXPECT_EQ(host.ask("%01#RDD0000600006**\r"), Seen{"0 %01$RD000016"});
    EXPECT_EQ(host.ask("%01#RCSR0020**\r"), Seen{"0 %01!5303"});
    EXPECT_EQ(host.ask("%01#RCSR0030**\r"), Seen{"0 %01$RC021"});
    EXPECT_EQ(host.ask("%01#MDD00001**\r"), Seen{"0 %01!6102"});
    EXPECT_EQ(host.plc->answer(kRead), "%01!6102\r");
    EXPECT_EQ(host.plc->answerRemote(kRecord), "%01!6102\r");
    EXPECT_EQ(host.ask("%01#WDD00001000010B00**\r"), Seen{"0 %01$WD13"});
    EXPECT_EQ(host.plc->counters().faults, 0U);
    host.set("");
    EXPECT_EQ(host.ask("%01#RDD0000100001**\r"), Seen{"0 %01$RD0B0064"});
}

TEST(Fault, MonitorOfAWordThatBecomesUnreadableIsRefused)
{
    Faulty host("");
    EXPECT_EQ(host.ask("%01#MDD00001**\r"), Seen{"0 %01$MD09"});
    EXPECT_EQ(host.ask("%01#MCR0020**\r"), Seen{"0 %01$MC0E"});
    host.set("unreadable DT1..1");
    EXPECT_EQ(host.ask("%01#MG**\r"), Seen{"0 %01!6102"});
    host.set("unreadable R2..2 45");
    EXPECT_EQ(host.ask("%01#MG**\r"), Seen{"0 %01!4504"});
    host.set("");
    EXPECT_EQ(host.ask("%01#MG**\r")[0].substr(0, 8), "0 %01$MG");
}

TEST(Fault, FrameLimitHoldsForRequestAndResponse)
{
    Faulty host("frame-limit 25");
    EXPECT_EQ(host.ask("%01#RDD0000000003**\r")[0].size(), 2U + 24);
    EXPECT_EQ(host.ask("%01#RDD0000000004**\r"), Seen{"0 %01!2700"});
    EXPECT_EQ(host.ask("%01#WDD00009000090700**\r"), Seen{"0 %01$WD13"});
    EXPECT_EQ(host.ask("%01#WDD000090001007000000**\r"), Seen{"0 %01!2700"});
    EXPECT_EQ(host.ask("<01#RDD0000000004**\r"), Seen{"0 <01!2719"});
    EXPECT_EQ(host.plc->answerRemote(kRecord), "%01$RD05000A0062\r");
    host.set("frame-limit 16");
    EXPECT_EQ(host.plc->answerRemote(kRecord), "%01!2700\r");
    host.set("frame-limit 200000");
    EXPECT_EQ(host.ask("%01#RDD0000000027**\r"), Seen{"0 %01!2700"});
}

TEST(Fault, FrameLimitHoldsForRecordsThatWrite)
{
    const QByteArray write("\x18\0\0\x01\x01\0\x0A\0\0\0\x64\0\x01\0\0\0\0\0\0\0\0\x34\x12\xCF", 24);
    Faulty host("frame-limit 24");
    EXPECT_EQ(host.plc->answerRemote(write), kWritten);
    host.plc->setWord("01", Area::DT, 100, 0);
    host.set("frame-limit 23");
    EXPECT_EQ(host.plc->answerRemote(write), "%01!2700\r");
    EXPECT_EQ(host.plc->word("01", Area::DT, 100), 0);
}

TEST(Fault, WrongStationIsEchoedWithAFittingCheck)
{
    Faulty host("wrong-station");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %02$RD05000A0061"});
    EXPECT_EQ(host.ask("%01#RDD9999999999**\r"), Seen{"0 %02!6101"});
}

TEST(Fault, WrongCommandIsEchoedWithAFittingCheck)
{
    Faulty host("wrong-command");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RS05000A0075"});
    EXPECT_EQ(host.ask(kWrite), Seen{"0 %01$WS04"});
    EXPECT_EQ(host.ask("%01#MDFFFFFF**\r"), Seen{"0 %01$MC0E"});
    EXPECT_EQ(host.ask("%01#RDD9999999999**\r"), Seen{"0 %01!6102"});
    for (const char *request :
         {"%01#RCSX0000**\r", "%01#RS00000000**\r", "%01#RK00000000**\r", "%01#RT**\r", "%01#WCSR00001**\r",
          "%01#WS000000000000**\r", "%01#WK000000000000**\r", "%01#MCX0000**\r", "%01#MG**\r"}) {
        const Seen seen = host.ask(request);
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(seen[0].substr(5, 1), "$");
        EXPECT_NE(seen[0].substr(6, 2), std::string(request).substr(4, 2)) << request;
    }
}

TEST(Fault, ShortDataLacksCharactersAtTheEnd)
{
    Faulty host("short-data 4");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD050013"});
    EXPECT_EQ(host.ask(kWrite), Seen{"0 %01$WD13"});
    host.set("short-data 1000");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD16"});
    EXPECT_EQ(host.ask("%01#RDD9999999999**\r"), Seen{"0 %01!6102"});
}

TEST(Fault, LongDataHasZerosBehindIt)
{
    Faulty host("long-data 3");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD05000A0000052"});
    EXPECT_EQ(host.ask(kWrite), Seen{"0 %01$WD00023"});
    EXPECT_EQ(host.ask("%01#RDD9999999999**\r"), Seen{"0 %01!6102"});
}

TEST(Fault, BadCheckIsAnotherCheck)
{
    Faulty host("bad-check");
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD05000A0063"});
    EXPECT_EQ(host.ask("%01#MCFFFFF**\r"), Seen{"0 %01$MC0F"});
    host.plc->setWord("01", Area::DT, 0, 0x0090);
    EXPECT_EQ(host.ask("%01#RDD0000000000**\r"), Seen{"0 %01$RD900010"}); // from 1F
}

TEST(Fault, LowerCaseCheckHasTheSameValue)
{
    Faulty host("lower-case-check");
    EXPECT_EQ(host.ask("%01#MCFFFFF**\r"), Seen{"0 %01$MC0e"});
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD05000A0062"});
}

TEST(Fault, JunkComesBeforeAndAfterTheResponse)
{
    Faulty host("junk-before 3");
    Seen seen = host.ask(kRead);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].size(), 2U + 3 + 16);
    EXPECT_EQ(seen[0].substr(2 + 3), "%01$RD05000A0062");
    host.set("junk-after 5");
    const std::vector<Delivery> deliveries = host.line.take(kRead, 0);
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].bytes.size(), 17 + 5);
    EXPECT_EQ(deliveries[0].bytes.left(17), kReply);
}

TEST(Fault, JunkTakesAllBytes)
{
    Faulty host("junk-before 1000");
    std::set<char> bytes;
    for (int i = 0; i < 10; ++i) {
        const QByteArray junk = host.line.take(kRead, 0)[0].bytes.left(1000);
        bytes.insert(junk.begin(), junk.end());
    }
    EXPECT_EQ(bytes.size(), 256U);
}

TEST(Fault, DelayedAnswerKeepsTheUnitBusyUntilItIsOut)
{
    Faulty host("delay 30");
    EXPECT_EQ(host.ask(kRead, 100), Seen{"130 %01$RD05000A0062"});
    EXPECT_EQ(host.ask(kWrite, 129), Seen{"130 %01!4302"});
    EXPECT_FALSE(host.written());
    EXPECT_EQ(host.ask(kWrite, 130), Seen{"160 %01$WD13"});
    EXPECT_TRUE(host.written());
}

TEST(Fault, JitterDelaysByEveryTimeOfItsRange)
{
    Faulty host("jitter 10..13");
    std::set<std::string> times;
    for (int i = 0; i < 200; ++i)
        times.insert(host.ask(kRead, 100000 + 100 * i)[0].substr(4, 2));
    EXPECT_EQ(times, (std::set<std::string>{"10", "11", "12", "13"}));
}

TEST(Fault, LateAnswerHoldsUpThoseThatFollowButNotTheUnit)
{
    Faulty host("late 500");
    EXPECT_EQ(host.ask(kRead, 100), Seen{"600 %01$RD05000A0062"});
    host.set("");
    EXPECT_EQ(host.ask(kWrite, 300), Seen{"600 %01$WD13"});
    EXPECT_TRUE(host.written());
    EXPECT_EQ(host.ask(kRead, 700), Seen{"700 %01$RD05000A0062"});
}

TEST(Fault, DuplicateComesTwice)
{
    Faulty host("duplicate");
    EXPECT_EQ(host.ask(kWrite, 7), (Seen{"7 %01$WD13", "7 %01$WD13"}));
    EXPECT_EQ(host.plc->counters().writes, 1U);
}

TEST(Fault, SplitAnswerComesByteByByteAtOnce)
{
    Faulty host("split");
    EXPECT_EQ(host.ask(kWrite, 7), (Seen{"7 %", "7 0", "7 1", "7 $", "7 W", "7 D", "7 1", "7 3", "7 \r"}));
    EXPECT_EQ(host.ask(kRead, 7).size(), 17U);
}

TEST(Fault, DrippingAnswerTakesItsTimeAndKeepsTheUnitBusy)
{
    Faulty host("drip 5");
    EXPECT_EQ(host.ask(kWrite, 100),
              (Seen{"100 %", "105 0", "110 1", "115 $", "120 W", "125 D", "130 1", "135 3", "140 \r"}));
    EXPECT_EQ(host.ask(kRead, 139), Seen{"140 %01!4302"});
    EXPECT_EQ(host.ask(kRead, 140).size(), 17U);
}

TEST(Fault, GluedAnswerComesInOnePieceWithTheNext)
{
    Faulty host("glue");
    EXPECT_EQ(host.ask(kWrite, 100), Seen{});
    EXPECT_TRUE(host.written());
    EXPECT_EQ(host.ask(kRead, 200), Seen{"200 %01$WD13\r%01$RD05000A0062"});
    EXPECT_EQ(host.ask(kWrite, 300), Seen{});
    host.set("");
    EXPECT_EQ(host.ask(kRead, 400), Seen{"400 %01$WD13\r%01$RD05000A0062"});
    EXPECT_EQ(host.ask(kRead, 500), Seen{"500 %01$RD05000A0062"});
}

TEST(Fault, HeldAnswerIsForgottenOnAFreshConnection)
{
    Faulty host("glue");
    EXPECT_EQ(host.ask(kWrite), Seen{});
    host.set("");
    host.line.reconnect();
    EXPECT_EQ(host.ask(kRead), Seen{"0 %01$RD05000A0062"});
}

TEST(Fault, ResetTakesTheAnswersPlaceAndEndsTheLine)
{
    Faulty host("reset");
    EXPECT_EQ(host.ask(kWrite, 50), Seen{"50 reset"});
    EXPECT_TRUE(host.written());
    host.set("");
    EXPECT_EQ(host.ask(kRead, 60), Seen{});
    host.line.reconnect();
    EXPECT_EQ(host.ask(kRead, 70), Seen{"70 %01$RD05000A0062"});
}

TEST(Fault, HalfOpenLineTakesEverythingAndGivesNothing)
{
    Faulty host("half-open");
    EXPECT_EQ(host.ask(kWrite, 50), Seen{"50 half-open"});
    host.set("");
    EXPECT_EQ(host.ask("%01#WDD00009000090800**\r", 60), Seen{});
    EXPECT_TRUE(host.written());
    host.line.reconnect();
    EXPECT_EQ(host.ask(kRead, 70), Seen{"70 %01$RD05000A0062"});
}

TEST(Fault, RequestsGluedBehindOneThatEndsTheLineAreNotExecuted)
{
    Faulty host("reset");
    EXPECT_EQ(host.ask(QByteArray(kRead) + kWrite), Seen{"0 reset"});
    EXPECT_FALSE(host.written());
}

TEST(Fault, SeveralMeetInOneAnswer)
{
    Faulty host("delay 10; late 20; drip 1; duplicate; wrong-station; bad-check; long-data 1");
    const Seen seen = host.ask(kWrite, 100);
    std::string text;
    for (const std::string &piece : seen)
        text += piece.substr(4);
    EXPECT_EQ(text, "%02$WD021\r%02$WD021\r");
    EXPECT_EQ(seen.front(), "130 %");
    EXPECT_EQ(seen[9], "139 \r");
    EXPECT_EQ(seen[10], "139 %");
    EXPECT_EQ(seen.back(), "148 \r");
    EXPECT_EQ(host.ask(kWrite, 127), Seen{"148 %01!4302"});
    EXPECT_EQ(host.plc->counters().faults, 1U);
    host.set("");
    EXPECT_EQ(host.ask(kWrite, 128), Seen{"148 %01$WD13"}); // out of the unit, though still on the way
}

TEST(Fault, ChanceIsKeptOverManyRequests)
{
    Faulty host("seed 5; drop 10%");
    int answered = 0;
    for (int i = 0; i < 10000; ++i)
        answered += host.ask(kRead).empty() ? 0 : 1;
    EXPECT_GT(answered, 8850);
    EXPECT_LT(answered, 9150);
    EXPECT_EQ(host.plc->counters().faults, 10000U - static_cast<unsigned>(answered));
}

TEST(Fault, ChanceOfNothingNeverHappens)
{
    Faulty host("drop 0%");
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(host.ask(kRead).size(), 1U);
}

TEST(Fault, SameSeedGivesTheSameFaults)
{
    const auto run = [](const char *plan) {
        Faulty host(plan);
        Seen all;
        for (int i = 0; i < 300; ++i) {
            const Seen seen = host.ask(kRead, 100 * i);
            all.insert(all.end(), seen.begin(), seen.end());
        }
        return all;
    };
    const char *plan = "seed 5; drop 10%; jitter 50% 0..99; junk-before 10% 4; error 10% any";
    EXPECT_EQ(run(plan), run(plan));
    EXPECT_NE(run(plan), run("seed 6; drop 10%; jitter 50% 0..99; junk-before 10% 4; error 10% any"));
}

TEST(Fault, SettingAPlanStartsItsNumbersAgain)
{
    Faulty host("seed 5; drop 50%");
    const auto twenty = [&host] {
        std::string drops;
        for (int i = 0; i < 20; ++i)
            drops += host.ask(kRead).empty() ? '-' : '+';
        return drops;
    };
    const std::string first = twenty();
    EXPECT_NE(twenty(), first);
    host.set("seed 5; drop 50%");
    EXPECT_EQ(twenty(), first);
}

TEST(Fault, StationsHaveTheirOwnPlans)
{
    Faulty host("drop");
    host.plc->addStation("02", 2);
    EXPECT_EQ(host.ask(kRead), Seen{});
    EXPECT_EQ(host.ask("%02#RDD0000000000**\r"), Seen{"0 %02$RD000015"});
}

TEST(Fault, BroadcastsMeetNone)
{
    Faulty host("drop-request");
    EXPECT_EQ(host.ask("%FF#WDD00009000090700**\r"), Seen{});
    EXPECT_TRUE(host.written());
    EXPECT_EQ(host.plc->counters().faults, 0U);
}

TEST(Fault, AnswersWithoutALineMeetOnlyThoseOfTheUnit)
{
    Faulty host("drop; drop-request; error 53; wrong-station");
    EXPECT_EQ(host.plc->answer(kRead), kReply);
}

TEST(Fault, RecordsMeetThemToo)
{
    Faulty host("wrong-command; delay 5", Line::Kind::Binary);
    EXPECT_EQ(host.ask(kRecord, 100), Seen{"105 %01$RS05000A0075"});
    EXPECT_EQ(host.ask(kRecord, 101), Seen{"105 %01!4302"});
    host.set("error 45");
    EXPECT_EQ(host.ask(kRecord, 200), Seen{"200 %01!4504"});
}

TEST(Fault, ExtendedFramesKeepTheirHeader)
{
    Faulty host("error 53");
    EXPECT_EQ(host.ask("<01#RDD0000000000**\r"), Seen{"0 <01!531A"});
    host.set("wrong-station");
    EXPECT_EQ(host.ask("<01#RDD0000000000**\r"), Seen{"0 <02$RD050009"});
}
