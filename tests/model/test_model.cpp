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

static void walkMany(int walks, int length, bool large)
{
    const std::uint64_t seed = option("walk-seed", 1), factor = option("walk-factor", 1);
    for (std::uint64_t i = 0; i < std::uint64_t(walks) * factor; ++i) {
        const std::string report = reportOfWalk(seed * 1000000 + i, length, large);
        ASSERT_EQ(report, "");
    }
}

TEST(Model, DriverAndReferenceStayTheSameOverTwoHundredThousandOperations)
{
    walkMany(1000, 200, false);
}

TEST(Model, DriverAndReferenceStayTheSameWithLongListsAndManyCells)
{
    walkMany(20, 150, true);
}
