// test_model.cpp - the driver does what the reference driver does, whatever the order of operations.
//
//  - --walk-seed=N and --walk-factor=N on the command line (both 1 when left out)
//    start other walks and more of them.
//  - A failure names the seed, the field and the operations that are left after those that do not matter were dropped.

#include "walk.h"

#include <gtest/gtest.h>

#include <cstdlib>

static std::uint64_t option(const char *name, std::uint64_t otherwise)
{
    const std::string start = std::string("--") + name + "=";
    for (const std::string &argument : ::testing::internal::GetArgvs())
        if (argument.compare(0, start.size(), start) == 0)
            return std::strtoull(argument.c_str() + start.size(), nullptr, 10);
    return otherwise;
}

static void walkMany(int part, int walks, int length, bool large)
{
    const std::uint64_t seed = option("walk-seed", 1), factor = option("walk-factor", 1);
    for (std::uint64_t i = 0; i < std::uint64_t(walks) * factor; ++i) {
        const std::string report = reportOfWalk((seed * 100 + std::uint64_t(part)) * 1000000 + i, length, large);
        ASSERT_EQ(report, "");
    }
}

/// Eight parts of 25,000 operations each, so that they can run beside each other; under an emulator a fifth of that.
class Walks : public ::testing::TestWithParam<int>
{
};

TEST_P(Walks, DriverAndReferenceStayTheSame)
{
    walkMany(GetParam(), WALKS_OF_A_PART, 200, false);
}

TEST_P(Walks, DriverAndReferenceStayTheSameWithLongListsAndManyCells)
{
    walkMany(GetParam(), 3, 150, true);
}

INSTANTIATE_TEST_SUITE_P(Model, Walks, ::testing::Range(0, 8));

/// Performs one operation with its own choices; fails the test where the two drivers differ.
static void perform(Walk &walk, const char *operation, std::uint64_t seed)
{
    SeededDice dice(seed);
    const int code = Walk::operationNamed(operation);
    ASSERT_GE(code, 0) << operation;
    ASSERT_EQ(walk.perform(code, dice), "") << walk.told();
}

/// Both lists far beyond the limit for checked entries, then ordinary traffic over them.
TEST(Model, ListsFilledStraightBeyondTheirLimitBehaveAsTheReference)
{
    Walk walk;
    for (std::uint64_t seed = 1; walk.model.writes.size() < 1200 || walk.model.onceReads.size() < 1200; ++seed)
        ASSERT_NO_FATAL_FAILURE(perform(walk, "fillList", seed));
    SeededDice dice(3);
    for (int i = 0; i < 300; ++i) {
        const char *const operations[] = {"addWrite", "addOnceRead", "setRegister", "exchange", "changeList"};
        ASSERT_NO_FATAL_FAILURE(perform(walk, operations[dice.below(5)], dice.next()));
    }
}

TEST(Model, ThousandsOfPollingItemsArePlannedAsByTheReferenceInBothStationModes)
{
    for (const qint32 multiStation : {0, 1}) {
        Walk walk;
        walk.model.info.multiStation = walk.settings.multiStation = multiStation;
        for (std::uint64_t seed = 1; seed <= 4; ++seed)
            ASSERT_NO_FATAL_FAILURE(perform(walk, "rebuildWithMany", seed));
        EXPECT_GT(walk.model.polling.size(), 400u);
        for (std::uint64_t seed = 1; seed <= 300; ++seed)
            ASSERT_NO_FATAL_FAILURE(perform(walk, "exchange", seed));
    }
}

TEST(Model, ThousandsOfCellsAreFoundAndMadeAsByTheReference)
{
    Walk walk;
    walk.model.info.multiStation = walk.settings.multiStation = 1;
    for (std::uint64_t seed = 1; walk.model.cells.size() < 6000; ++seed)
        ASSERT_NO_FATAL_FAILURE(perform(walk, "makeManyCells", seed));
    SeededDice dice(5);
    for (int i = 0; i < 400; ++i) {
        const char *const operations[] = {"getRegister", "findCell",   "changeCells", "addOnceRead",
                                          "setRegister", "holdCopies", "exchange",    "exchange"};
        ASSERT_NO_FATAL_FAILURE(perform(walk, operations[dice.below(8)], dice.next()));
    }
}
