// Pauses between attempts to connect.

#include "host/reconnect_policy.h"

#include <gtest/gtest.h>

#include <set>

using fphost::ReconnectPolicy;

namespace
{

ReconnectPolicy::Settings withoutJitter()
{
    ReconnectPolicy::Settings settings;
    settings.firstMs = 200;
    settings.longestMs = 1000;
    settings.growthPercent = 200;
    settings.jitterPercent = 0;
    return settings;
}

} // namespace

TEST(ReconnectPolicy, TheFirstAttemptFollowsAtOnceAndPausesGrowUpToTheLongest)
{
    ReconnectPolicy policy(withoutJitter(), 1);
    for (const int pause : {0, 200, 400, 800, 1000, 1000, 1000})
        EXPECT_EQ(policy.nextPauseMs(), pause);
}

TEST(ReconnectPolicy, AReplyStartsThePausesAnew)
{
    ReconnectPolicy policy(withoutJitter(), 1);
    policy.nextPauseMs();
    policy.nextPauseMs();
    policy.worked();
    EXPECT_EQ(policy.nextPauseMs(), 0);
    EXPECT_EQ(policy.nextPauseMs(), 200);
}

TEST(ReconnectPolicy, PausesKeepWithinTheirRandomPartAndTheLongest)
{
    ReconnectPolicy::Settings settings = withoutJitter();
    settings.jitterPercent = 25;
    std::set<int> second;
    for (unsigned seed = 1; seed <= 200; ++seed) {
        ReconnectPolicy policy(settings, seed);
        EXPECT_EQ(policy.nextPauseMs(), 0);
        const int pause = policy.nextPauseMs();
        EXPECT_GE(pause, 150);
        EXPECT_LE(pause, 250);
        second.insert(pause);
        for (int i = 0; i < 5; ++i)
            policy.nextPauseMs();
        const int late = policy.nextPauseMs();
        EXPECT_GE(late, 750);
        EXPECT_LE(late, 1000);
    }
    EXPECT_GT(second.size(), 20u) << "the pauses of different panels must differ";
}

TEST(ReconnectPolicy, TheSameSeedGivesTheSamePauses)
{
    ReconnectPolicy::Settings settings;
    ReconnectPolicy one(settings, 42);
    ReconnectPolicy other(settings, 42);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(one.nextPauseMs(), other.nextPauseMs());
}

TEST(ReconnectPolicy, TheDefaultPausesReachTenSecondsAndStayThere)
{
    ReconnectPolicy policy(ReconnectPolicy::Settings(), 7);
    int longest = 0;
    for (int i = 0; i < 1000; ++i)
        longest = std::max(longest, policy.nextPauseMs());
    EXPECT_EQ(longest, 10000);
}

TEST(ReconnectPolicy, APauseIsNeverZeroAfterAFailure)
{
    ReconnectPolicy::Settings settings;
    settings.firstMs = 1;
    settings.longestMs = 1;
    settings.jitterPercent = 99;
    ReconnectPolicy policy(settings, 3);
    policy.nextPauseMs();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(policy.nextPauseMs(), 1);
}
