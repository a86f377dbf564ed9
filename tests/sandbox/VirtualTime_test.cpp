// SPDX-License-Identifier: Apache-2.0

#include "sandbox/VirtualTime.h"

#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <gtest/gtest.h>

#include <future>
#include <set>
#include <string>

#include <pthread.h>

using namespace std::chrono_literals;

TEST(VirtualTime, TheDevicesTimeHoldsBeforeAndAfter)
{
    auto const runsBy = [](PerfTimePoint const& limit) {
        PerfMutex mutex;
        PerfCondition condition;
        PerfTimePoint woken{};
        PerfThread thread;
        thread.Start("a_name_of_twenty_one", [&] {
            char name[32];
            pthread_getname_np(pthread_self(), name, sizeof(name));
            EXPECT_STREQ(name, "a_name_of_twent");
            PerfMutexLock lock(mutex);
            while (PerfTime::Now() < limit) {
                condition.WaitUntil(lock, limit);
            }
            woken = PerfTime::Now();
        });
        EXPECT_TRUE(thread.IsStarted());
        thread.Join();
        thread.Join();
        EXPECT_FALSE(thread.IsStarted());
        return woken;
    };
    auto const before = std::chrono::steady_clock::now();
    EXPECT_GE(runsBy(before + 3ms), before + 3ms);
    {
        VirtualTime const time;
        EXPECT_THROW(VirtualTime{}, std::logic_error);
        EXPECT_EQ(runsBy(time.Now() + 3h), PerfTimePoint{4h});
        EXPECT_GE(std::async(std::launch::async, PerfTime::Now).get(), before) << "who takes no turns stays there";
    }
    EXPECT_GE(runsBy(before + 6ms), before + 6ms);
    EXPECT_GE(PerfTime::WallNow(), std::chrono::system_clock::now() - 1min);
}

TEST(VirtualTime, ASeedDrawsTheOrderAndAlwaysTheSame)
{
    auto const order = [](std::uint64_t seed) {
        VirtualTime time(seed);
        std::string said;
        for (char name = 'a'; name < 'k'; ++name) {
            time.Start("draws", [&said, name] {
                said += name;
                PerfMutex mutex;
                PerfMutexLock lock(mutex);
                PerfCondition().WaitUntil(lock, PerfTime::Now() + 1ms);
                said += name;
            });
        }
        time.AdvanceBy(1ms);
        time.Play();
        return said;
    };
    EXPECT_EQ(order(0), "abcdefghijabcdefghij");
    std::set<std::string> orders;
    for (std::uint64_t const seed : {1U, 2U, 3U}) {
        EXPECT_EQ(order(seed), order(seed)) << seed;
        orders.insert(order(seed));
    }
    EXPECT_EQ(orders.size(), 3U);
}

TEST(VirtualTimeDeathTest, WhereTheOwnerWaitsForWhatNobodyBringsAboutIsTheEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const wait = [] {
        VirtualTime const time;
        PerfMutex mutex;
        PerfMutexLock lock(mutex);
        PerfCondition().Wait(lock);
    };
    EXPECT_DEATH(wait(), "nobody can go on");
}
