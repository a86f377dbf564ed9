// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Exploration.h"

#include "sys/PerfCounter.h"
#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <set>
#include <vector>

namespace {

using namespace std::chrono_literals;

/** Two clients that each add one, and could come in between the other's reading and writing. */
bool AddsBoth(VirtualTime& time)
{
    PerfMutex mutex;
    int sum = 0;
    auto const add = [&] {
        int read = 0;
        {
            PerfMutexLock const lock(mutex);
            read = sum;
        }
        PerfMutexLock const lock(mutex);
        sum = read + 1;
    };
    time.Start("a", add);
    time.Start("b", add);
    time.Play();
    return sum == 2;
}

TEST(Exploration, EveryOrderIsPlayedOnceAndOnlyWhatComesToTheSameIsLeftOut)
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
    EXPECT_EQ(Explore(perform, 100, true).schedules, 20U) << "3 steps of 6 are the one's";
    EXPECT_EQ(std::set(orders.begin(), orders.end()).size(), orders.size());
    for (bool const everySwitch : {true, false}) {
        orders.clear();
        EXPECT_EQ(Explore(perform, everySwitch ? 0 : 100, everySwitch).schedules, 2U);
        EXPECT_EQ(orders, (std::multiset<std::string>{"aaabbb", "bbbaaa"})) << "what clocks read is the same";
    }
}

/** A small program of three clients, drawn from a seed, that share locks, a condition, a count and the time. */
class Program {
public:
    explicit Program(std::uint64_t seed) : random(seed)
    {
        for (auto& client : clients) {
            for (int length = random.Below(3) + 1; length > 0; --length) {
                client.push_back(random.Below(7));
            }
        }
    }

    /** @return what each client has seen. */
    std::string Run(VirtualTime& time) const
    {
        State state;
        std::string seen[3];
        for (std::size_t i = 0; i < 3; ++i) {
            time.Start(std::string(1, static_cast<char>('a' + i)), [&, i] {
                for (int const step : clients[i]) {
                    seen[i] += Do(step, state, time) + " ";
                }
            });
        }
        time.AdvanceBy(1s); // so that every wait ends
        time.Play();
        return seen[0] + "| " + seen[1] + "| " + seen[2];
    }

private:
    struct State {
        PerfMutex outer, inner;
        PerfCondition condition;
        PerfCounter count;
        int byOuter = 0, byInner = 0, notified = 0;
    };

    static std::string Do(int step, State& state, VirtualTime& time)
    {
        switch (step) {
        case 0:
            state.count.Increment();
            return "";
        case 1:
            return std::to_string(state.count.Read());
        case 2: {
            PerfMutexLock const lock(state.inner);
            return std::to_string(++state.byInner);
        }
        case 3: {
            PerfMutexLock const lock(state.outer);
            int const before = ++state.byOuter;
            PerfMutexLock const nested(state.inner);
            return std::to_string(before) + std::to_string(++state.byInner);
        }
        case 4: {
            PerfMutexLock lock(state.outer);
            state.condition.WaitUntil(lock, PerfTime::Now() + 2ms);
            return std::to_string(state.notified) + "@" + std::to_string(PerfTime::Now().time_since_epoch().count());
        }
        case 5: {
            {
                PerfMutexLock const lock(state.outer);
                ++state.notified;
            }
            state.condition.NotifyOne();
            return "";
        }
        default:
            time.AdvanceBy(1ms);
            return std::to_string(PerfTime::Now().time_since_epoch().count());
        }
    }

    Random random;
    std::vector<int> clients[3];
};

TEST(Exploration, NothingThatCanBeSeenIsLostWithWhatIsLeftOut)
{
    unsigned long all = 0;
    unsigned long tried = 0;
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        Program const program(seed);
        for (unsigned int const preemptions : {0U, 1U, 2U}) {
            std::set<std::string> seen[2];
            for (bool const everySwitch : {false, true}) {
                auto const perform = [&](VirtualTime& time) {
                    seen[everySwitch ? 1 : 0].insert(program.Run(time));
                    return true;
                };
                (everySwitch ? all : tried) += Explore(perform, preemptions, everySwitch).schedules;
            }
            EXPECT_EQ(seen[0], seen[1]) << "seed " << seed << ", " << preemptions << " preemptions";
        }
    }
    EXPECT_LT(tried, all / 2);
    std::cout << tried << " of " << all << " schedules" << std::endl;
}

TEST(Exploration, WhatTakesOnePreemptionIsFoundAndPlayedAgainByItsLine)
{
    EXPECT_FALSE(Explore(AddsBoth, 0).failed);
    Exploration const found = Explore(AddsBoth, 1);
    EXPECT_TRUE(found.failed);
    Exploration const drawn = ExploreAtRandom(AddsBoth, 100, 1, 2, 8);
    EXPECT_TRUE(drawn.failed);
    EXPECT_LT(drawn.schedules, 100U);
    for (std::string const& line : {found.line, drawn.line}) {
        setenv("CORVANE_SCHEDULE", line.c_str(), 1);
        testing::internal::CaptureStderr();
        Exploration const again = Explore(AddsBoth, 1);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("b goes on, not a"), std::string::npos);
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

} // namespace
