// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Exploration.h"

#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

namespace {

using namespace std::chrono_literals;

/** Two clients that each add one without a lock, and could come in between the other's reading and writing. */
bool AddsBoth(VirtualTime& time)
{
    int sum = 0;
    auto const add = [&sum] {
        int const read = sum;
        PerfTime::Now();
        sum = read + 1;
    };
    time.Start("a", add);
    time.Start("b", add);
    time.Play();
    return sum == 2;
}

TEST(Exploration, EveryOrderIsPlayedOnceAndThoseWithFewPreemptionsFirstOfAll)
{
    std::multiset<std::string> orders;
    auto const perform = [&orders](VirtualTime& time) {
        std::string said;
        for (std::string const name : {"a", "b"}) {
            time.Start(name, [&said, name] {
                said += name;
                PerfTime::Now();
                said += name;
                PerfTime::Now();
                said += name;
            });
        }
        time.Play();
        orders.insert(said);
        return true;
    };
    EXPECT_EQ(Explore(perform, 100).schedules, 20U) << "3 steps of 6 are the one's";
    EXPECT_EQ(std::set(orders.begin(), orders.end()).size(), orders.size());
    orders.clear();
    EXPECT_EQ(Explore(perform, 0).schedules, 2U);
    EXPECT_EQ(orders, (std::multiset<std::string>{"aaabbb", "bbbaaa"}));
}

TEST(Exploration, WhatTakesOnePreemptionIsFoundAndPlayedAgainByItsLine)
{
    EXPECT_FALSE(Explore(AddsBoth, 0).failed);
    Exploration const found = Explore(AddsBoth, 1);
    EXPECT_TRUE(found.failed);
    Exploration const drawn = ExploreAtRandom(AddsBoth, 100, 1, 2, 4);
    EXPECT_TRUE(drawn.failed);
    EXPECT_LT(drawn.schedules, 100U);
    for (std::string const& line : {found.line, drawn.line}) {
        setenv("CORVANE_SCHEDULE", line.c_str(), 1);
        testing::internal::CaptureStderr();
        Exploration const again = Explore(AddsBoth, 1);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("clock: b goes on, not a"), std::string::npos);
        unsetenv("CORVANE_SCHEDULE");
        EXPECT_TRUE(again.failed);
        EXPECT_EQ(again.schedules, 1U);
        EXPECT_EQ(again.line, line);
    }
}

TEST(ExplorationDeathTest, WhereNobodyCanGoOnIsTheEndWithTheSchedule)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const perform = [](VirtualTime& time) {
        PerfMutex first;
        PerfMutex second;
        auto const lockBoth = [](PerfMutex& one, PerfMutex& other) {
            PerfMutexLock const lock(one);
            PerfMutexLock const inner(other);
        };
        time.Start("a", [&] { lockBoth(first, second); });
        time.Start("b", [&] { lockBoth(second, first); });
        time.Play();
        return true;
    };
    EXPECT_EQ(Explore(perform, 0).schedules, 2U);
    EXPECT_DEATH(Explore(perform, 1), "nobody can go on:( a b| b a); CORVANE_SCHEDULE='[0-9]+:1");
}

TEST(Exploration, AClientMovesTimeAndWhoIsDueGoesOn)
{
    Exploration const found = Explore(
        [](VirtualTime& time) {
            PerfTimePoint const end = time.Now() + 50ms;
            PerfTimePoint woken{};
            time.Start("waits", [&] {
                PerfMutex mutex;
                PerfCondition condition;
                PerfMutexLock lock(mutex);
                while (PerfTime::Now() < end) {
                    condition.WaitUntil(lock, end);
                }
                woken = PerfTime::Now();
            });
            time.Start("time", [&] { time.AdvanceBy(50ms); });
            time.Play();
            return woken == end;
        },
        2);
    EXPECT_FALSE(found.failed) << found.line;
    EXPECT_GT(found.schedules, 2U);
}

} // namespace
