// Which stations are left alone, and when they are tried again.

#include "host/station_policy.h"

#include <gtest/gtest.h>

using fphost::StationPolicy;

namespace
{

StationPolicy::Settings settings()
{
    StationPolicy::Settings settings;
    settings.silentLimit = 3;
    settings.firstProbeMs = 1000;
    settings.longestProbeMs = 3000;
    return settings;
}

void silence(StationPolicy &policy, int station, long long nowMs)
{
    EXPECT_FALSE(policy.silent(station, nowMs));
    EXPECT_FALSE(policy.silent(station, nowMs));
    EXPECT_TRUE(policy.silent(station, nowMs));
}

using Stations = std::vector<int>;

} // namespace

TEST(StationPolicy, SwitchesAStationOffAtTheThirdSilenceInARow)
{
    StationPolicy policy(settings());
    EXPECT_FALSE(policy.silent(2, 0));
    EXPECT_FALSE(policy.silent(2, 10));
    EXPECT_FALSE(policy.isOff(2));
    EXPECT_TRUE(policy.silent(2, 20));
    EXPECT_TRUE(policy.isOff(2));
}

TEST(StationPolicy, AReplyStartsTheCountAnew)
{
    StationPolicy policy(settings());
    policy.silent(2, 0);
    policy.silent(2, 0);
    EXPECT_FALSE(policy.replied(2));
    EXPECT_FALSE(policy.silent(2, 0));
    EXPECT_FALSE(policy.silent(2, 0));
    EXPECT_TRUE(policy.silent(2, 0));
}

TEST(StationPolicy, CountsEveryStationByItself)
{
    StationPolicy policy(settings());
    policy.silent(2, 0);
    policy.silent(2, 0);
    EXPECT_FALSE(policy.silent(3, 0));
    EXPECT_FALSE(policy.isOff(3));
    EXPECT_TRUE(policy.silent(2, 0));
}

TEST(StationPolicy, TriesAStationAgainWhenItsPauseIsOverAndNotBefore)
{
    StationPolicy policy(settings());
    silence(policy, 2, 5000);
    EXPECT_EQ(policy.startTrials(5999), Stations());
    EXPECT_EQ(policy.startTrials(6000), Stations({2}));
    EXPECT_EQ(policy.startTrials(6000), Stations()) << "on trial already";
}

TEST(StationPolicy, OneSilenceEndsATrialAndDoublesThePauseUpToTheLongest)
{
    StationPolicy policy(settings());
    silence(policy, 2, 0);
    EXPECT_EQ(policy.startTrials(1000), Stations({2}));
    EXPECT_TRUE(policy.silent(2, 1500));
    EXPECT_EQ(policy.startTrials(3499), Stations());
    EXPECT_EQ(policy.startTrials(3500), Stations({2})); // 2,000 later
    EXPECT_TRUE(policy.silent(2, 3500));
    EXPECT_EQ(policy.startTrials(6499), Stations());
    EXPECT_EQ(policy.startTrials(6500), Stations({2})); // 3,000, the longest
    EXPECT_TRUE(policy.silent(2, 6500));
    EXPECT_EQ(policy.startTrials(9499), Stations());
    EXPECT_EQ(policy.startTrials(9500), Stations({2}));
}

TEST(StationPolicy, AReplyInATrialBringsTheStationBackAndForgetsItsPauses)
{
    StationPolicy policy(settings());
    silence(policy, 2, 0);
    policy.startTrials(1000);
    policy.silent(2, 1000);
    policy.startTrials(3000);
    EXPECT_TRUE(policy.replied(2));
    EXPECT_FALSE(policy.replied(2)) << "it is back already";
    silence(policy, 2, 10000);
    EXPECT_EQ(policy.startTrials(11000), Stations({2}));
}

TEST(StationPolicy, AReplyToAFrameBuiltBeforeBringsAStationBackToo)
{
    StationPolicy policy(settings());
    silence(policy, 2, 0);
    EXPECT_TRUE(policy.replied(2));
    EXPECT_FALSE(policy.isOff(2));
}

TEST(StationPolicy, SilenceOfAStationThatIsOffChangesNothing)
{
    StationPolicy policy(settings());
    silence(policy, 2, 0);
    EXPECT_FALSE(policy.silent(2, 900));
    EXPECT_EQ(policy.startTrials(1000), Stations({2}));
}

TEST(StationPolicy, TriesSeveralStationsAtOnce)
{
    StationPolicy policy(settings());
    silence(policy, 9, 0);
    silence(policy, 2, 0);
    silence(policy, 5, 500);
    EXPECT_EQ(policy.startTrials(1000), Stations({2, 9}));
    EXPECT_EQ(policy.startTrials(1500), Stations({5}));
}

TEST(StationPolicy, ALimitOfOneSwitchesOffAtOnce)
{
    StationPolicy::Settings one = settings();
    one.silentLimit = 1;
    StationPolicy policy(one);
    EXPECT_TRUE(policy.silent(2, 0));
}

TEST(StationPolicy, ForgetsAStation)
{
    StationPolicy policy(settings());
    silence(policy, 2, 0);
    EXPECT_TRUE(policy.anySilent());
    policy.forget(2);
    EXPECT_FALSE(policy.anySilent());
    EXPECT_EQ(policy.startTrials(100000), Stations());
}
