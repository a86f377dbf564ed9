// SPDX-License-Identifier: Apache-2.0

#include "resource/PerfCommandQueue.h"
#include "sandbox/Exploration.h"
#include "sys/PerfMutex.h"
#include "tests/frontend/PlatformFixture.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace {

using namespace std::chrono_literals;
using Call = std::function<void()>;

constexpr int THREAD = 7;
constexpr PerfQosId OTHER = 21;
constexpr unsigned int SHORT = 50;

/** Two or three clients of the whole library under every order of turns with at most two preemptions. */
class Plays : public RealTimePlatformTest {
protected:
    Plays()
    {
        qosConfigs.clear(); // each worker multiplies the orders
        AddResource(GPU, "gpu", {Group(0, "gpu", {0, 100, 10, 100}, {"node"})});
        AddScenario(0, {Boost(GPU, 60)});
        AddEvent(0, GPU, {{SHORT, 70}});
        probe = {0, 0, 30, 0, SHORT, "0F"};
        options.commandLimits.maxTotalHandleNum = 4;
    }

    /** Plays act, which starts clients and ends with Play or Settle, on a library of its own each time. */
    void Try(Call const& act, unsigned int preemptions = 2) { Judge(Explore(Played(act), preemptions)); }
    /** For what has too many orders. */
    void TrySome(Call const& act) { Judge(ExploreAtRandom(Played(act), 1000, 1, 3, 100)); }

    Performance Played(Call const& act)
    {
        return [this, act](VirtualTime& now) {
            Perform(now, act);
            return !HasFailure();
        };
    }
    void Judge(Exploration const& found)
    {
        EXPECT_FALSE(found.failed) << "CORVANE_SCHEDULE='" << found.line << "'";
        schedules += found.schedules;
    }
    void TearDown() override { std::cout << schedules << " schedules" << std::endl; }

    void Perform(VirtualTime& now, Call const& act)
    {
        time = &now;
        sandbox.AddNode("node", "");
        sandbox.AddNode("binder", "");
        sandbox.TakeWrites();
        RealTimePlatformTest::Start();
        now.Settle();
        idle = Dump();
        act();
        manager.reset();
        EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    }

    void Start(std::string const& name, Call const& body) { time->Start(name, body); }
    /** Plays these clients, called a, b and so on. */
    void Together(std::vector<Call> const& clients)
    {
        char name = 'a';
        for (Call const& client : clients) {
            Start(std::string(1, name++), client);
        }
        time->Play();
    }

    void Hold(int value, unsigned int ms = LONG, int pid = PID)
    {
        EXPECT_EQ(TryRequest(ms, {Boost(GPU, value)}, pid), 0);
    }
    /** Whatever comes of it: it may find something that could not be sent. */
    void ReleaseAll(int pid = PID) { static_cast<void>(manager->PerfReleaseAll(pid)); }
    void StartProbe(int thread = THREAD) { EXPECT_EQ(manager->StartProbe(thread), 0); }
    void SetMode(int pid, PerfWorkMode mode)
    {
        unsigned long long handle = 0;
        EXPECT_EQ(manager->PerfSetMode(pid, mode, handle), 0);
    }
    void Suspend(bool on) { EXPECT_EQ(manager->PerfSetSuspend({on ? 1U : 0U, GPU}), 0); }
    void AddOther() { AddResource(OTHER, "other", {Group(0, "other", {0, 100, 10, 100}, {"other"})}); }
    Call TimeGoesOn(std::chrono::milliseconds by)
    {
        return [this, by] { time->AdvanceBy(by); };
    }

    /** Nothing is in force and nothing is held: no value, mode or handle, and nothing that only time would take away.
     */
    void ExpectNothingLeft()
    {
        EXPECT_EQ(Dump(), idle);
        EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
        EXPECT_TRUE(sandbox.Read("node") == "10" || sandbox.Writes().empty() || sandbox.Read("node").empty());
        for (unsigned int i = 0; i < options.commandLimits.maxTotalHandleNum; ++i) {
            EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 50)}), 0) << "handle " << i;
        }
        EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
    }
    /** No thread stays bound, once every binding has come to its end. */
    void ExpectNothingBound()
    {
        time->AdvanceBy(1min);
        EXPECT_NE(sandbox.Read("binder").substr(0, 2), "0F");
    }

    Call const reset = [this] { manager->Reset(); };
    Call const releaseAll = [this] { ReleaseAll(); };
    /** By a handle that can be guessed. */
    Call const releaseFirst = [this] { static_cast<void>(manager->PerfRelease(PID, 1)); };

    VirtualTime* time = nullptr;
    std::string idle;
    unsigned long schedules = 0;
};

/** A start that is on its way while it is released, in any of the ways that it can be. */
class Releases : public Plays {
protected:
    void TryEach(Call const& start, std::vector<Call> const& releases)
    {
        for (Call const& release : releases) {
            Try([&] {
                Together({start, release});
                release(); // if it came before
                time->Settle();
                ExpectNothingLeft();
                ExpectNothingBound();
            });
        }
    }
};

TEST_F(Releases, LeaveNothingOfWhatIsOnItsWay)
{
    TryEach([this] { Hold(40); }, {releaseAll, releaseFirst, reset});
    TryEach([this] { Hold(50, SHORT); }, {releaseAll, releaseFirst, reset});
    // recorded, but never sent
    TryEach([this] { EXPECT_EQ(TryRequest(LONG, {Boost(40, 1)}), -1); }, {releaseAll, reset});
    auto const startScenario = [this] {
        unsigned long long handle = 0;
        EXPECT_EQ(manager->PerfSetScenario(PID, 0, handle), 0);
    };
    TryEach(startScenario, {releaseAll, reset});
    TryEach([this] { EXPECT_EQ(manager->StartEvent(0, 0), 0); }, {[this] { manager->StopEvent(0); }, reset});
    TryEach([this] { StartProbe(); }, {[this] { manager->StopProbe(THREAD); }, [this] { ReleaseAll(THREAD); }, reset});
}

TEST_F(Plays, AnEndAndAReleaseAtOnceTakeTheValueAwayOnce)
{
    for (Call const& release : {releaseAll, reset, releaseFirst}) {
        Try([&] {
            Hold(50, SHORT);
            time->Settle();
            Together({TimeGoesOn(50ms), release, [this] { TryRequest(SHORT, {Boost(GPU, 40)}, PID + 1); }});
            EXPECT_EQ(manager->PerfReleaseAll(PID + 1), 0);
            time->AdvanceBy(50ms); // what has expired is left to its worker
            ExpectNothingLeft();
        });
    }
}

TEST_F(Plays, AProcessThatHoldsWhatCannotBeSentIsReleasedAllTheSame)
{
    Try([this] {
        EXPECT_EQ(TryRequest(LONG, {Boost(40, 1)}), -1) << "recorded, but nobody takes it";
        Hold(40);
        time->Settle();
        Together({releaseAll, [this] { TryRequest(LONG, {Boost(GPU, 60)}); }});
        ReleaseAll();
        time->Settle();
        ExpectNothingLeft();
    });
}

TEST_F(Plays, AModeIsSetOnlyWhileItIsHeld)
{
    Try([this] {
        Together({[this] { SetMode(PID, PERF_WORK_MODE_LIMIT_FIRST); }, releaseAll,
                  [this] { SetMode(PID + 1, PERF_WORK_MODE_BOOST_FIRST); }});
        ReleaseAll();
        ReleaseAll(PID + 1);
        ExpectNothingLeft();
    });
}

TEST_F(Plays, AModeReachesItsResourceAsItWasSent)
{
    Try([this] {
        Hold(60);
        EXPECT_EQ(TryRequest(LONG, {Limit(GPU, 40)}), 0);
        time->Settle();
        sandbox.TakeWrites();
        Together({[this] { SetMode(PID + 1, PERF_WORK_MODE_BOOST_FIRST); }, [this] { ReleaseAll(PID + 1); }});
        ReleaseAll(PID + 1);
        time->Settle();
        EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"node <- 60", "node <- 40"}));
        ReleaseAll();
        ExpectNothingLeft();
    });
}

TEST_F(Plays, ASuspendedResourceFollowsOnceItIsResumed)
{
    Try([this] {
        Together({[this] {
                      Suspend(true);
                      Suspend(false);
                  },
                  [this] { Hold(40, SHORT); }, TimeGoesOn(60ms)});
        time->AdvanceBy(60ms);
        ExpectNothingLeft();
    });
}

TEST_F(Plays, WhatIsWrittenAnewStaysAwayFromASuspendedResource)
{
    options.rewriteDelay = 20;
    Try([this] {
        Hold(40);
        time->Settle();
        sandbox.FailNode("node", Fault::Error(EBUSY, 1));
        EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
        time->Settle();
        Together({[this] { Suspend(true); }, TimeGoesOn(20ms)});
        EXPECT_EQ(sandbox.OpenDescriptors("node"), 0);
        std::size_t const writes = sandbox.Writes().size();
        time->AdvanceBy(1min);
        EXPECT_EQ(sandbox.Writes().size(), writes);
        Suspend(false);
        time->Settle();
        EXPECT_EQ(sandbox.Read("node"), "10");
        ExpectNothingLeft();
    });
}

TEST_F(Plays, ABacklogIsCompactedBesideAWorkerThatTakesFromIt)
{
    Try([this] {
        LogCapture const log;
        NodeGate gate(sandbox, "node");
        Hold(40);
        time->Settle();
        auto const release = [this] { EXPECT_EQ(manager->PerfReleaseAll(PID + 1), 0); };
        for (std::size_t waiting = 2; waiting < 2 * PerfCommandQueue::LATE_BOUND; waiting += 2) {
            Hold(50, LONG, PID + 1);
            release();
        }
        Hold(50, SHORT, PID + 1);
        Hold(60, LONG, PID + 1); // the next sender looks at the queue's age
        time->AdvanceBy(2 * PerfCommandQueue::LATE);
        Together({[&gate] { gate.Release(); }, release});
        EXPECT_EQ(sandbox.Read("node"), "40");
        EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 0U);
        EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
        time->Settle();
        ExpectNothingLeft();
    });
}

TEST_F(Plays, ADumpIsOneStateThatWas)
{
    Try([this] {
        std::string seen[2];
        Together({[&] { seen[0] = Dump(); }, [&] { seen[1] = Dump(); }, [this] { Hold(40); }});
        std::string const boosted = Dump();
        EXPECT_TRUE(seen[0] == idle || seen[0] == boosted) << seen[0];
        EXPECT_TRUE(seen[1] == idle || seen[1] == boosted) << seen[1];
    });
    Try([this] {
        std::string const expected = Dump("--base_info");
        std::string base;
        std::string task;
        Together({[&] { base = Dump("--base_info"); }, [&] { task = Dump(); }});
        EXPECT_EQ(base, expected);
        EXPECT_EQ(task, idle);
    });
}

TEST_F(Plays, TheEndWaitsForADumpThatSomebodyWaitsFor)
{
    Try([this] {
        NodeGate gate(sandbox, "node");
        Hold(40);
        std::string seen;
        Start("dump", [&] { seen = Dump(); });
        time->Settle();
        Start("end", [this] { manager.reset(); });
        Start("gate", [&gate] { gate.Release(); });
        time->Play();
        EXPECT_NE(seen, "");
    });
}

TEST_F(Plays, EveryWorkerIsToldToEndBeforeOneIsWaitedForAndWhatIsQueuedIsDropped)
{
    AddOther();
    Try([this] {
        LogCapture const log;
        NodeGate binder(sandbox, "binder");
        NodeGate gate(sandbox, "node");
        StartProbe();
        time->Settle();
        Hold(40);
        Start("end", [this] { manager.reset(); });
        time->Settle();
        EXPECT_TRUE(log.Has("I PF_RES WorkThread: [other] work thread exit"));
        binder.Release();
        gate.Release();
        time->Play();
        EXPECT_EQ(sandbox.Read("node"), "30") << "the write that was on its way";
    });
}

TEST_F(Plays, AWriteThatHangsHoldsUpTheDumpsAndForTheBinderTheProbeCallsAndNobodyElse)
{
    AddOther();
    AddScenario(1, {Boost(GPU, 60), Boost(OTHER, 60)});
    AddEvent(1, GPU, {{SHORT, 70}});
    AddEvent(1, OTHER, {{SHORT, 70}});
    options.commandLimits.maxTotalHandleNum = 8;
    VirtualTime now;
    Perform(now, [this] {
        NodeGate gpu(sandbox, "node");
        NodeGate binder(sandbox, "binder");
        StartProbe();
        time->Settle();
        int over = 0;
        for (Call const& call :
             std::vector<Call>{[this] { Dump(); }, [this] { Dump("--base_info"); }, [this] { StartProbe(THREAD + 1); },
                               [this] { manager->StopProbe(THREAD); }}) {
            Start("waits", [&over, call] {
                call();
                ++over;
            });
        }
        // Each of these returns, whatever it asks of the GPU, and its other half reaches the other resource.
        auto const onOther = [this] {
            time->Settle();
            return sandbox.Read("other");
        };
        unsigned long long handle = 0;
        EXPECT_EQ(TryRequest(SHORT, {Boost(GPU, 50), Boost(OTHER, 50)}), 0);
        EXPECT_EQ(onOther(), "50");
        EXPECT_EQ(manager->PerfSetScenario(PID, 1, handle), 0);
        EXPECT_EQ(onOther(), "60");
        EXPECT_EQ(manager->PerfEvent(1, {1}, ""), 0);
        EXPECT_EQ(onOther(), "70");
        Suspend(true);
        SetMode(PID, PERF_WORK_MODE_LIMIT_FIRST);
        EXPECT_EQ(manager->PerfRelease(PID, handle), 0);
        manager->StopEvent(1);
        EXPECT_EQ(onOther(), "50");
        std::ostringstream out;
        EXPECT_EQ(manager->DebugSet(out, "--game_mode_enable"), 1);
        for (std::string const option : {"--event", "--scenario", "--workMode", "--limit_history"}) {
            Dump(option);
        }
        EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
        manager->Reset();
        EXPECT_EQ(onOther(), "10");
        Suspend(false);
        time->Settle();
        EXPECT_EQ(over, 0) << "those wait, and say so";
        gpu.Release();
        binder.Release();
        time->Play();
        manager->StopProbe(THREAD + 1); // which has bound its thread behind the reset
        time->Settle();
        ExpectNothingLeft();
        ExpectNothingBound();
    });
}

TEST_F(Plays, TheEndComesAfterTheLastCallWhateverTheWorkersDo)
{
    Try([this] {
        PerfMutex mutex;
        PerfCondition over;
        bool isOver = false;
        Together({[&] {
                      Hold(40);
                      PerfMutexLock const lock(mutex);
                      isOver = true;
                      over.NotifyOne();
                  },
                  [&] {
                      {
                          PerfMutexLock lock(mutex);
                          while (!isOver) {
                              over.Wait(lock);
                          }
                      }
                      manager.reset();
                  }});
    });
}

TEST_F(Plays, AThreadIsBoundAsItsProbeWasStartedOrStoppedLast)
{
    auto const restart = [this] {
        StartProbe();
        manager->StopProbe(THREAD);
        StartProbe();
    };
    Try([&] {
        Together({[this] {
            StartProbe();
            manager->StopProbe(THREAD);
        }});
        EXPECT_NE(sandbox.Read("binder"), "0F|7");
    });
    Try([&] {
        Together({restart});
        EXPECT_EQ(sandbox.Read("binder"), "0F|7");
        manager->StopProbe(THREAD);
        time->Settle();
        EXPECT_EQ(sandbox.Read("binder"), "FF|7");
        ExpectNothingLeft();
    });
    auto const bindTwice = [&] {
        Together({restart, [this] { StartProbe(); }});
        EXPECT_EQ(sandbox.Read("binder"), "0F|7");
    };
    Try(bindTwice, 1);
    TrySome(bindTwice);
    Try([&] {
        StartProbe();
        time->Settle();
        Together({[this] { manager->StopProbe(THREAD); }, TimeGoesOn(50ms)});
        time->Settle();
        EXPECT_EQ(sandbox.Read("binder"), "FF|7");
        ExpectNothingLeft();
    });
}

TEST_F(Plays, AResetAndTheConsoleAgreeOnWhatIsSwitchedOn)
{
    Try([this] {
        auto const console = [this](std::string const& option) {
            std::ostringstream out;
            EXPECT_EQ(manager->DebugSet(out, option), 1);
        };
        Together({[&] { console("--game_mode_enable"); }, reset});
        console("--game_mode_disable");
        time->Settle();
        ExpectNothingLeft();
    });
}

} // namespace
