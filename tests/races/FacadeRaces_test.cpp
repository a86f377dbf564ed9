#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Wait.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <regex>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Action = std::function<void(int)>;

constexpr int ROUNDS = 300;

/** Runs every action so often, each on a thread of its own, and what is done meanwhile until the last has ended. */
void AtOnce(std::vector<Action> const& actions, std::vector<Action> const& meanwhile = {}, int rounds = ROUNDS)
{
    std::atomic<std::size_t> running{actions.size()};
    std::vector<std::thread> threads;
    for (Action const& action : actions) {
        threads.emplace_back([&, action] {
            for (int round = 0; round < rounds; ++round) {
                action(round);
            }
            --running;
        });
    }
    for (Action const& action : meanwhile) {
        threads.emplace_back([&, action] {
            for (int round = 0; running != 0; ++round) {
                action(round);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class FacadeRaces : public RealTimePlatformTest {
protected:
    void StartIdle()
    {
        Start();
        idle = Dump("--task");
    }

    /** Everything is as it was at the start once what is timed has ended: queues, modes, handles and nodes. */
    void ExpectIdle()
    {
        EXPECT_TRUE(WaitUntil([this] { return Dump("--task") == idle; })) << Dump("--task");
        EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
        for (auto const& [node, base] : std::map<std::string, std::string>{{"cpu_m/min", "300"},
                                                                           {"cpu_m/max", "2500"},
                                                                           {"cpu_b/min", "400"},
                                                                           {"cpu_b/max", "4000"},
                                                                           {"gpu/floor", "10"},
                                                                           {"gpu/power", "20"}}) {
            std::string const content = sandbox.Read(node);
            EXPECT_TRUE(content == base || sandbox.Writes(node).empty()) << node << " holds " << content;
        }
    }

    /** No handle has been lost: as many as there are can be had. */
    void ExpectAllHandlesFree()
    {
        for (unsigned int i = 0; i < options.commandLimits.maxTotalHandleNum; ++i) {
            ASSERT_EQ(TryRequest(LONG, {Boost(GPU, 50)}, 1000 + static_cast<int>(i % 100)), 0) << i;
        }
        EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 50)}), -1);
    }

    void HoldAndRelease(int pid, std::function<int(unsigned long long&)> const& start)
    {
        unsigned long long handle = 0;
        EXPECT_EQ(start(handle), 0);
        EXPECT_EQ(manager->PerfRelease(pid, handle), 0);
    }

    std::string idle;
};

TEST_F(FacadeRaces, RequestsAgainstReleasesOfTheirProcessLeaveNoBoostBehind)
{
    options.commandLimits.maxTotalHandleNum = 4 * ROUNDS;
    options.commandLimits.maxHandleNumPerProcess = 4 * ROUNDS;
    StartIdle();
    auto const request = [this](int round) {
        Request(LONG, {Boost(CPU_M, 1000 + round), Boost(CPU_B, 2000 - round), Boost(GPU, 50, 1)});
    };
    auto const releaseAll = [this](int) { EXPECT_EQ(manager->PerfReleaseAll(PID), 0); };
    AtOnce({request, request}, {releaseAll}, 2 * ROUNDS);
    releaseAll(0);
    ExpectIdle();
    ExpectAllHandlesFree();
}

TEST_F(FacadeRaces, ResetAgainstEveryKindOfStartLeavesNothingBehind)
{
    AddScenario(0, {Boost(CPU_M, 1400), Limit(CPU_B, 3000)});
    // So long that nothing is over by itself before the end.
    AddEvent(1, CPU_M, {{MINUTE, 1500}, {MINUTE, 1600}});
    AddEvent(1, GPU, {{MINUTE, 60}});
    probe = {1700, 2500, 70, 0, MINUTE, "0F"};
    options.commandLimits.maxHandleNumPerProcess = 4 * ROUNDS;
    StartIdle();
    AtOnce({[this](int round) {
                Request(LONG, {Boost(CPU_M, 1000 + round), Limit(CPU_B, 3900 - round)});
            },
            [this](int round) { Request(round % 2 == 0 ? 20 : MINUTE, {Boost(GPU, round % 50 + 20)}, PID + 1); },
            [this](int) {
                HoldAndRelease(PID + 2, [this](auto& handle) { return manager->PerfSetScenario(PID + 2, 0, handle); });
            },
            [this](int round) {
                unsigned int const mode = static_cast<unsigned int>(round) % PERF_WORK_MODE_COUNT;
                unsigned long long handle = 0;
                EXPECT_EQ(manager->PerfSetMode(PID, mode, handle), 0);
            },
            [this](int round) {
                EXPECT_EQ(manager->StartEvent(1, 0), 0);
                if (round % 3 == 0) {
                    manager->StopEvent(1);
                }
            },
            [this](int round) {
                manager->StartProbe(500 + round % 4);
                if (round % 3 == 0) {
                    manager->StopProbe(500 + round % 4);
                }
            }},
           {[this](int) { manager->Reset(); }, [this](int) { manager->PerfReleaseAll(PID + 1); }});
    manager->Reset();
    ExpectIdle();
}

TEST_F(FacadeRaces, ModesOfFourProcessesEndInTheDefaultOne)
{
    StartIdle();
    // With these two bases every mode has another outcome, on each resource that has them.
    std::vector<PerfRequestInfo> const bases{Limit(CPU_M, 1000), Limit(CPU_B, 1000)};
    auto const limit = Request(LONG, bases);
    auto const boost = Request(LONG, {Boost(CPU_M, 1500), Boost(CPU_B, 1500)});
    std::string const held = Dump("--task");
    std::vector<Action> threads;
    for (int pid = 1; pid <= 4; ++pid) {
        threads.push_back([this, pid](int round) {
            auto const mode = static_cast<unsigned int>(round + pid) % PERF_WORK_MODE_COUNT;
            HoldAndRelease(pid, [&](auto& handle) { return manager->PerfSetMode(pid, mode, handle); });
        });
    }
    AtOnce(threads);
    EXPECT_EQ(Dump("--task"), held);
    Wrote();
    auto const timed = Request(MINUTE, {Boost(CPU_M, 1600), Boost(CPU_B, 1600)});
    EXPECT_EQ(Wrote(), Join({Pair("cpu_b", 1600, 4000), Pair("cpu_m", 1600, 3000)})) << "not so with limits first";
    for (auto const handle : {limit, boost, timed}) {
        manager->PerfRelease(PID, handle);
    }
    ExpectIdle();
}

TEST_F(FacadeRaces, ProbesStoppedWhileTheyEndLeaveNoThreadBound)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {1500, 0, 0, 1, 3, "0F"};
    StartIdle();
    sandbox.FailNode("binder", Fault::Delay(milliseconds(1))); // stops come while the binder writes
    auto const startAndStop = [this](int round) {
        int const tid = 500 + round % 3;
        EXPECT_EQ(manager->StartProbe(tid), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(round % 5 * 1000));
        manager->StopProbe(tid);
    };
    AtOnce({startAndStop, startAndStop, startAndStop});

    auto const noneBound = [this] {
        std::map<std::string, std::string> last; // by thread
        for (NodeWrite const& write : sandbox.Writes("binder")) {
            auto const bar = write.bytes.find('|');
            last[write.bytes.substr(bar + 1)] = write.bytes.substr(0, bar);
        }
        return std::all_of(last.begin(), last.end(), [](auto const& line) { return line.second == "FF"; });
    };
    EXPECT_TRUE(WaitUntil(noneBound)) << "nothing may have to wake the binder for it";

    // The binder works in the order of times: once it has undone a later binding, it is through with the earlier ones.
    int later = 1000;
    EXPECT_TRUE(WaitUntil([&] {
        EXPECT_EQ(manager->StartProbe(++later), 0);
        std::this_thread::sleep_for(milliseconds(5));
        std::string const line = sandbox.Read("binder");
        return line.rfind("FF|", 0) == 0 && std::stoi(line.substr(3)) > 1000;
    }));
    EXPECT_TRUE(WaitUntil(noneBound));
    ExpectIdle();
}

TEST_F(FacadeRaces, ConsoleAgainstReset)
{
    AddScenario(0, {Boost(CPU_M, 1500)});
    AddScenario(1, {Boost(CPU_M, 1800)});
    StartIdle();
    auto const say = [this](std::string const& option) {
        std::ostringstream out;
        EXPECT_EQ(manager->DebugSet(out, option), 1);
        return out.str();
    };
    auto const toggle = [&say](std::string const& mode) {
        return [&say, mode](int) {
            say("--" + mode + "_enable");
            say("--" + mode + "_disable");
        };
    };
    AtOnce({toggle("game_mode"), toggle("benchmark_mode"), [&say](int) { say("--game_mode_enable"); }},
           {[this](int) { manager->Reset(); }});
    // Without a reset at the end: what is still held must stand in a slot.
    say("--game_mode_disable");
    say("--benchmark_mode_disable");
    ExpectIdle();
}

TEST_F(FacadeRaces, StoppedAndStartedAtOnceAThreadIsBoundInTheEnd)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {1500, 0, 0, 0, MINUTE, "0F"};
    StartIdle();
    sandbox.FailNode("binder", Fault::Delay(milliseconds(1))); // calls gather while the binder writes
    auto const restart = [this](int) {
        EXPECT_EQ(manager->StartProbe(7), 0);
        manager->StopProbe(7);
        EXPECT_EQ(manager->StartProbe(7), 0);
    };
    for (std::size_t const threads : {1u, 3u}) {
        for (int round = 0; round < ROUNDS / 3; ++round) {
            AtOnce(std::vector<Action>(threads, restart), {}, 1);
            ASSERT_TRUE(sandbox.WaitForContent("binder", "0F|7")) << threads << " threads, round " << round;
        }
    }
    manager->StopProbe(7);
    EXPECT_TRUE(sandbox.WaitForContent("binder", "FF|7"));
    ExpectIdle();
}

TEST_F(FacadeRaces, DestructionTellsEveryThreadToEndBeforeItWaitsForOne)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {0, 0, 30, 0, MINUTE, "0F"};
    Start();
    LogCapture const log;
    std::future<void> destruction;
    NodeGate binder(sandbox, "binder");
    NodeGate cpu(sandbox, "cpu_m/max");
    EXPECT_EQ(manager->StartProbe(7), 0);
    for (int i = 0; i < 500; ++i) {
        Request(LONG, {Boost(CPU_M, 1000 + i)});
    }
    ASSERT_TRUE(binder.WaitBlocked() && cpu.WaitBlocked());
    destruction = std::async(std::launch::async, [this] { manager.reset(); });
    auto const hasEnded = [&log](std::string const& name) {
        return log.Has(ANDROID_LOG_INFO, "PF_RES", "WorkThread", "[" + name + "] work thread exit");
    };
    EXPECT_TRUE(WaitUntil([&] { return hasEnded("cpu_b") && hasEnded("gpu"); })) << "they have nothing to do";
    EXPECT_FALSE(hasEnded("cpu_m"));
    binder.Release();
    cpu.Release();
    destruction.get();
    EXPECT_EQ(Lines(sandbox.Writes("cpu_m/max")), (Strings{"cpu_m/max <- 2500", "cpu_m/max <- 2500"}))
        << "the command in progress came to its end, and no other began";
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

TEST_F(FacadeRaces, DumpsDoNotMixWhileRequestsRun)
{
    StartIdle();
    std::string const bases = Dump("--base_info");
    // What changes with the requests: the current items and the lists behind them, and every number.
    auto const shape = [](std::string text) {
        static std::regex const items(R"((boost|limit)\(-?\d+, \d+\)|-?\d+:\d+ )");
        static std::regex const numbers(R"(\d+)");
        return std::regex_replace(std::regex_replace(text, items, ""), numbers, "N");
    };
    std::vector<Action> dumpers;
    for (int i = 0; i < 8; ++i) {
        dumpers.push_back([&](int) { EXPECT_EQ(Dump("--base_info"), bases); });
        dumpers.push_back([&](int) { EXPECT_EQ(shape(Dump("--task")), shape(idle)); });
    }
    AtOnce(dumpers, {[this](int round) {
               Request(20, {Boost(CPU_M, 1000 + round % 1000), Boost(GPU, 30)});
               manager->PerfRelease(PID, Request(MINUTE, {Limit(CPU_B, 2000)}));
               Dump("--limit_history");
               std::this_thread::sleep_for(milliseconds(1)); // the dumps wait for what is queued before them
           }},
           ROUNDS / 10);
    manager->PerfReleaseAll(PID);
    ExpectIdle();
}

TEST_F(FacadeRaces, DumpWaitsForAWorkerThatIsHeldBackByItsNode)
{
    Start();
    std::future<std::string> dump;
    NodeGate gate(sandbox, "cpu_m/min");
    Request(LONG, {Boost(CPU_M, 1500)});
    ASSERT_TRUE(gate.WaitBlocked());
    dump = std::async(std::launch::async, [this] { return Dump("--task"); });
    EXPECT_EQ(dump.wait_for(milliseconds(100)), std::future_status::timeout);
    Request(LONG, {Boost(GPU, 30)}); // nobody else is held up
    EXPECT_TRUE(sandbox.WaitForContent("gpu/floor", "30"));
    gate.Release();
    EXPECT_NE(dump.get().find("final: 1500~2500"), std::string::npos);
    EXPECT_EQ(Wrote(), Join({Pair("cpu_m", 1500, 2500), {"gpu/floor <- 30"}}));
}

} // namespace
