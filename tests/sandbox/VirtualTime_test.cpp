// SPDX-License-Identifier: Apache-2.0

#include "sandbox/VirtualTime.h"

#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <future>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>

namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

/** Threads that say what they do and when, in milliseconds since the start. */
class VirtualTimeTest : public testing::Test {
protected:
    void TearDown() override { JoinAll(); }

    void Say(std::string const& what)
    {
        auto const since = time.Now() - start;
        said.push_back(std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(since).count()) + what);
    }
    Strings Said() { return std::exchange(said, {}); }

    void Spawn(std::function<void()> body)
    {
        threads.emplace_back();
        threads.back().Start("spawned", std::move(body));
    }
    /** A thread that waits once, so long at the most. */
    void SpawnWaiter(std::string const& name, PerfTimePoint::duration patience)
    {
        Spawn([=] {
            PerfMutexLock lock(mutex);
            condition.WaitUntil(lock, time.Now() + patience);
            Say(name);
        });
    }
    void JoinAll()
    {
        for (PerfThread& thread : threads) {
            thread.Join();
        }
        threads.clear();
    }

    VirtualTime time;
    PerfTimePoint const start = time.Now();
    PerfMutex mutex;
    PerfCondition condition;
    std::deque<PerfThread> threads;
    Strings said;
};

} // namespace

TEST_F(VirtualTimeTest, ThreadsAreWokenInTheOrderOfTheirDeadlinesAndNotBeforeTimeReachesThem)
{
    EXPECT_EQ(start, PerfTimePoint{1h});
    EXPECT_EQ(PerfTime::Now(), start);
    auto const wall = PerfTime::WallNow();
    for (auto const& [name, patience] :
         {std::pair{" c", 30ms}, {" a", 10ms}, {" d", 30ms}, {" b", 20ms}, {" e", 0ms}}) {
        SpawnWaiter(name, patience);
    }
    EXPECT_EQ(Said(), Strings{}) << "nobody runs while the owner does";
    time.Settle();
    EXPECT_EQ(Said(), Strings{"0 e"});
    time.AdvanceBy(20ms - 1ns);
    EXPECT_EQ(Said(), Strings{"10 a"});
    time.AdvanceTo(start + 20ms);
    EXPECT_EQ(Said(), Strings{"20 b"});
    time.AdvanceTo(start);
    EXPECT_EQ(time.Now(), start + 20ms) << "time never goes back";
    time.AdvanceBy(1h);
    EXPECT_EQ(Said(), (Strings{"30 c", "30 d"})) << "equal ones in the order in which they came to wait";
    EXPECT_EQ(PerfTime::WallNow() - wall, 1h + 20ms);
    JoinAll();
    EXPECT_EQ(time.Now(), start + 1h + 20ms);
}

TEST_F(VirtualTimeTest, ANotificationWakesTheFirstWhoWaitsForItWhenItIsGiven)
{
    SpawnWaiter(" a", 1h);
    SpawnWaiter(" b", 5ms);
    SpawnWaiter(" c", 1h);
    PerfCondition other;
    other.NotifyOne();
    condition.NotifyOne(); // nobody waits yet: it is lost
    time.Settle();
    other.NotifyOne();
    condition.NotifyOne();
    EXPECT_EQ(Said(), Strings{});
    time.AdvanceBy(7ms);
    EXPECT_EQ(Said(), (Strings{"0 a", "5 b"}));
    Spawn([&] {
        Say(" notifies");
        condition.NotifyOne();
        condition.NotifyOne(); // lost again
        Say(" goes on");
    });
    SpawnWaiter(" d", 1ms);
    time.Settle();
    EXPECT_EQ(Said(), (Strings{"7 notifies", "7 goes on", "7 c"})) << "a turn lasts until its thread waits";
    JoinAll();
    EXPECT_EQ(Said(), Strings{"8 d"}) << "a join lets time go on until the thread has ended";
}

TEST_F(VirtualTimeTest, ThreadsStartAndJoinOthersAndCarryTheirNames)
{
    Spawn([&] {
        PerfThread child;
        child.Start("a_name_of_twenty_one", [&] {
            char name[32];
            pthread_getname_np(pthread_self(), name, sizeof(name));
            PerfMutexLock lock(mutex);
            condition.WaitUntil(lock, time.Now() + 5ms);
            Say(std::string(" ") + name);
        });
        EXPECT_TRUE(child.IsStarted());
        Say(" joins");
        child.Join();
        child.Join();
        EXPECT_FALSE(child.IsStarted());
        Say(" joined");
    });
    Spawn([&] { Say(" beside"); });
    JoinAll();
    EXPECT_EQ(Said(), (Strings{"0 joins", "0 beside", "5 a_name_of_twent", "5 joined"}));
}

TEST(VirtualTime, TheDevicesTimeHoldsBeforeAndAfter)
{
    auto const runsBy = [](PerfTimePoint const& limit) {
        PerfMutex mutex;
        PerfCondition condition;
        PerfTimePoint woken{};
        PerfThread thread;
        thread.Start("device", [&] {
            PerfMutexLock lock(mutex);
            while (PerfTime::Now() < limit) {
                condition.WaitUntil(lock, limit);
            }
            woken = PerfTime::Now();
        });
        thread.Join();
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
