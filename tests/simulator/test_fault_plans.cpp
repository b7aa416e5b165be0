// Fault plans as text.

#include "wire.h"

#include <stdexcept>

using namespace plcsim;

namespace
{

FaultPlan planOf(const char *text)
{
    QString fault;
    const std::optional<FaultPlan> plan = FaultPlan::parse(text, &fault);
    EXPECT_TRUE(plan.has_value()) << text << ": " << fault.toStdString();
    return plan.value_or(FaultPlan());
}

std::string faultOf(const char *text)
{
    QString fault = "no fault";
    EXPECT_FALSE(FaultPlan::parse(text, &fault).has_value()) << text;
    EXPECT_FALSE(FaultPlan::parse(text).has_value()) << text;
    return fault.toStdString();
}

} // namespace

TEST(FaultPlanText, NamesSeedAndFaultsWithTheirChanceAndNumbers)
{
    const FaultPlan plan =
        planOf("seed 7; drop 5%; delay 2.5% 30; jitter 0..20; error 1% any; unreadable DT100..199 53");
    EXPECT_EQ(plan.seed, 7U);
    ASSERT_EQ(plan.faults.size(), 5U);
    EXPECT_EQ(plan.faults[0].kind, FaultKind::DropReply);
    EXPECT_EQ(plan.faults[0].chance, 500);
    EXPECT_EQ(plan.faults[1].kind, FaultKind::Delay);
    EXPECT_EQ(plan.faults[1].chance, 250);
    EXPECT_EQ(plan.faults[1].number, 30);
    EXPECT_EQ(plan.faults[2].kind, FaultKind::Jitter);
    EXPECT_EQ(plan.faults[2].chance, 10000);
    EXPECT_EQ(plan.faults[2].number, 0);
    EXPECT_EQ(plan.faults[2].last, 20);
    EXPECT_EQ(plan.faults[3].kind, FaultKind::ErrorResponse);
    EXPECT_EQ(plan.faults[3].number, kAnyError);
    EXPECT_EQ(plan.faults[4].kind, FaultKind::Unreadable);
    EXPECT_EQ(plan.faults[4].area, Area::DT);
    EXPECT_EQ(plan.faults[4].number, 100);
    EXPECT_EQ(plan.faults[4].last, 199);
    EXPECT_EQ(plan.faults[4].errorCode, 0x53);
}

TEST(FaultPlanText, EveryKindHasAName)
{
    const std::pair<const char *, FaultKind> kinds[] = {
        {"drop-request", FaultKind::DropRequest},
        {"error 53", FaultKind::ErrorResponse},
        {"restart 500", FaultKind::Restart},
        {"unreadable R5..5", FaultKind::Unreadable},
        {"frame-limit 60", FaultKind::FrameLimit},
        {"wrong-station", FaultKind::WrongStation},
        {"wrong-command", FaultKind::WrongCommand},
        {"short-data 4", FaultKind::ShortData},
        {"long-data 4", FaultKind::LongData},
        {"bad-check", FaultKind::BadCheck},
        {"lower-case-check", FaultKind::LowerCaseCheck},
        {"junk-before 3", FaultKind::JunkBefore},
        {"junk-after 3", FaultKind::JunkAfter},
        {"drop", FaultKind::DropReply},
        {"delay 30", FaultKind::Delay},
        {"jitter 10..20", FaultKind::Jitter},
        {"late 900", FaultKind::Late},
        {"duplicate", FaultKind::Duplicate},
        {"split", FaultKind::Split},
        {"drip 5", FaultKind::Drip},
        {"glue", FaultKind::Glue},
        {"reset", FaultKind::Reset},
        {"half-open", FaultKind::HalfOpen},
    };
    for (const auto &kind : kinds) {
        const FaultPlan plan = planOf(kind.first);
        ASSERT_EQ(plan.faults.size(), 1U) << kind.first;
        EXPECT_EQ(plan.faults[0].kind, kind.second) << kind.first;
        EXPECT_EQ(plan.faults[0].chance, 10000) << kind.first;
    }
}

TEST(FaultPlanText, DescriptionIsReadAgain)
{
    const char *text = "seed 7; drop 5%; delay 2.50% 30; jitter 0.05% 0..20; error 1% any; error 53; glue 0%; "
                       "unreadable DT100..199 53; unreadable X0..0 61; frame-limit 60";
    EXPECT_EQ(planOf(text).describe(), text);
    EXPECT_EQ(FaultPlan().describe(), "seed 1");
}

TEST(FaultPlanText, SpacesLineEndsAndEmptyEntriesDoNotMatter)
{
    EXPECT_EQ(planOf("\n  seed   9;;drop\t 5% \n\n half-open 0.01% ;").describe(), "seed 9; drop 5%; half-open 0.01%");
    EXPECT_EQ(planOf("").describe(), "seed 1");
    EXPECT_EQ(planOf("error 6a").describe(), "seed 1; error 6A");
}

TEST(FaultPlanText, BothEndsOfEachRangeAreTaken)
{
    for (const char *good : {"delay 0",
                             "delay 3600000",
                             "late 3600000",
                             "drip 0",
                             "drip 3600000",
                             "restart 0",
                             "jitter 3600000..3600000",
                             "junk-before 1",
                             "junk-after 1000",
                             "short-data 1",
                             "long-data 1000",
                             "error 00",
                             "error FF",
                             "frame-limit 9",
                             "frame-limit 500000",
                             "unreadable FL0..99999",
                             "drop 0%",
                             "drop 100%",
                             "drop 100.00%",
                             "seed 0",
                             "seed 4294967295"})
        planOf(good);
}

TEST(FaultPlanText, NumbersBeyondTheirRangeAreTold)
{
    EXPECT_EQ(faultOf("delay 3600001"), "fault 'delay': its number must be 0 to 3600000");
    EXPECT_EQ(faultOf("junk-before 0"), "fault 'junk-before': its number must be 1 to 1000");
    EXPECT_EQ(faultOf("long-data 1001"), "fault 'long-data': its number must be 1 to 1000");
    EXPECT_EQ(faultOf("frame-limit 8"), "fault 'frame-limit': its number must be 9 to 500000");
    EXPECT_EQ(faultOf("jitter 20..10"), "fault 'jitter': its last number must not be below the first");
    EXPECT_EQ(faultOf("jitter 0..3600001"), "fault 'jitter': its last number must be 0 to 3600000");
    EXPECT_EQ(faultOf("unreadable DT5..4"), "fault 'unreadable': its last number must not be below the first");
    EXPECT_EQ(faultOf("unreadable DT0..100000"), "fault 'unreadable': its last number must be 0 to 99999");
    EXPECT_EQ(faultOf("delay 99999999999"), "'delay 99999999999': the number 99999999999 is too large");
    EXPECT_EQ(faultOf("drop 100.01%"), "'drop 100.01%': more than 100%");
    EXPECT_EQ(faultOf("seed 4294967296"), "'seed 4294967296': needs a number from 0 to 4294967295");
}

TEST(FaultPlanText, WhatCannotBeReadIsTold)
{
    EXPECT_EQ(faultOf("drop; explode 5%"), "'explode 5%': there is no such fault");
    EXPECT_EQ(faultOf("5%"), "'5%': there is no such fault");
    EXPECT_EQ(faultOf("drop 5"), "'drop 5': '5' is too much");
    EXPECT_EQ(faultOf("drop 5% 6"), "'drop 5% 6': '6' is too much");
    EXPECT_EQ(faultOf("drop -5%"), "'drop -5%': '-5%' is no percentage with at most two decimals");
    EXPECT_EQ(faultOf("drop 1.234%"), "'drop 1.234%': '1.234%' is no percentage with at most two decimals");
    EXPECT_EQ(faultOf("delay"), "'delay': needs a number");
    EXPECT_EQ(faultOf("delay 5%"), "'delay 5%': needs a number");
    EXPECT_EQ(faultOf("delay -1"), "'delay -1': needs a number");
    EXPECT_EQ(faultOf("jitter 5"), "'jitter 5': needs two numbers like 0..20");
    EXPECT_EQ(faultOf("error"), "'error': '' is no error code of two hexadecimal digits");
    EXPECT_EQ(faultOf("error 5"), "'error 5': '5' is no error code of two hexadecimal digits");
    EXPECT_EQ(faultOf("unreadable"), "'unreadable': needs words like DT100..199");
    EXPECT_EQ(faultOf("unreadable DX1..2"), "'unreadable DX1..2': needs words like DT100..199");
    EXPECT_EQ(faultOf("unreadable DT1..2 6G"),
              "'unreadable DT1..2 6G': '6G' is no error code of two hexadecimal digits");
    EXPECT_EQ(faultOf("unreadable 5% DT1..2"), "'unreadable 5% DT1..2': holds always and takes no percentage");
    EXPECT_EQ(faultOf("frame-limit 5% 60"), "'frame-limit 5% 60': holds always and takes no percentage");
    EXPECT_EQ(faultOf("seed"), "'seed': needs a number from 0 to 4294967295");
    EXPECT_EQ(faultOf("seed x"), "'seed x': needs a number from 0 to 4294967295");
}

TEST(FaultPlan, BadOneIsRefusedAndTheOldOneStays)
{
    wire::OneStation one;
    EXPECT_TRUE(one.plc.setFaultPlan("01", planOf("seed 3; drop")));
    FaultPlan bad;
    bad.faults.push_back({FaultKind::Delay, 10001, 5});
    EXPECT_THROW(one.plc.setFaultPlan("01", bad), std::invalid_argument);
    bad.faults[0] = {FaultKind::Delay, -1, 5};
    EXPECT_THROW(one.plc.setFaultPlan("01", bad), std::invalid_argument);
    bad.faults[0] = {FaultKind::FrameLimit, 9999, 60};
    EXPECT_THROW(one.plc.setFaultPlan("01", bad), std::invalid_argument);
    bad.faults[0] = {FaultKind::Unreadable, 10000, 0, 0, Area::DT, 256};
    EXPECT_THROW(one.plc.setFaultPlan("01", bad), std::invalid_argument);
    EXPECT_EQ(one.plc.faultPlan("01")->describe(), "seed 3; drop");
}

TEST(FaultPlan, OfAStationThatIsNotThereIsNothing)
{
    Simulator plc;
    EXPECT_FALSE(plc.setFaultPlan("01", FaultPlan()));
    EXPECT_FALSE(plc.faultPlan("01").has_value());
}
