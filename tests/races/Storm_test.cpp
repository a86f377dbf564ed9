// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Random.h"
#include "tests/support/Wait.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>

#include <malloc.h>

namespace {

using namespace std::chrono_literals;

constexpr int CLIENTS = 8;
constexpr int LONGEST_MS = 60;

/** How long the storm lasts: CORVANE_STORM_SECONDS, or 8. */
std::chrono::seconds Length()
{
    char const* const wanted = std::getenv("CORVANE_STORM_SECONDS");
    return std::chrono::seconds(wanted == nullptr ? 8 : std::atoi(wanted));
}

std::ptrdiff_t OpenFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/** What is allocated, where the C library says so and no sanitizer stands in for it. */
std::size_t Allocated()
{
#if defined(__GLIBC__)
    return mallinfo2().uordblks;
#else
    return 0;
#endif
}

/** Remembers which threads are bound according to the lines that the binder's node took. */
class Bindings {
public:
    void Take(std::string const& line)
    {
        std::lock_guard<std::mutex> const lock(mutex);
        auto const bar = line.find('|');
        bound[line.substr(bar + 1)] = line.compare(0, bar, "FF") != 0;
    }
    bool AreOver()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return std::none_of(bound.begin(), bound.end(), [](auto const& thread) { return thread.second; });
    }

private:
    std::mutex mutex;
    std::map<std::string, bool> bound;
};

class Storm : public RealTimePlatformTest {
protected:
    Storm()
    {
        AddDdr({1000, 9000, 1000, 9000}, 500000.0f);
        AddIpaPower({1000, 6000, 2000, 6000}, 3000, 2500);
        AddLevelMap(20, "map", 1, {{0, {"a", "b"}}, {1, {"c", "d"}}, {2, {"e", "f"}}});
        AddEas();
        AddEvent(0, CPU_M, {{20, 1500}, {LONGEST_MS, 1600}});
        AddEvent(0, GPU, {{LONGEST_MS, 60}});
        AddEvent(1, CPU_B, {{25, 2000}});
        for (PerfScenarioId id = 0; id < PERF_SCENARIO_ID_COUNT; ++id) {
            AddScenario(id, {Boost(CPU_M, 1000 + static_cast<int>(id)), Limit(CPU_B, 3000)});
        }
        for (int group = 0; group < 8; ++group) {
            bases["eas/" + std::to_string(group)] = "0";
        }
        probe = {1700, 2500, 70, 5, LONGEST_MS, "0F"};
        options.commandLimits.maxProcessNum = 12;
        options.commandLimits.maxHandleNumPerProcess = 64;
        options.commandLimits.maxTotalHandleNum = 400;
        sandbox.OnWrite([this](NodeWrite const& write) {
            if (write.node == "binder") {
                bindings.Take(write.bytes);
            }
        });
    }

    /** Lets every client call whatever comes to its mind. */
    void Blow(std::chrono::milliseconds length, std::uint64_t seed)
    {
        std::atomic<bool> over{false};
        std::vector<std::thread> clients;
        for (int client = 0; client < CLIENTS; ++client) {
            clients.emplace_back([&, client] {
                Client me{Random(seed + static_cast<std::uint64_t>(client)), PID + client};
                while (!over) {
                    Call(me);
                    ++calls;
                }
            });
        }
        auto const end = std::chrono::steady_clock::now() + length;
        while (std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(10ms);
            writes += sandbox.TakeWrites().size();
        }
        over = true;
        for (std::thread& client : clients) {
            client.join();
        }
    }

    static PerfRequestInfo AnyValue(Random& random)
    {
        PerfRequestInfo const values[] = {
            Ask(CPU_M, {{PERF_OPERATION_BOOST, 300 + random.Below(1000)}, {PERF_OPERATION_LIMIT, 2000}}),
            Boost(CPU_B, random.Below(5000)),
            Limit(CPU_B, 3000 + random.Below(1000)),
            Boost(GPU, random.Below(101), static_cast<unsigned int>(random.Below(2))),
            Boost(PERF_QOS_DDR, 1000 + random.Below(8000)),
            Boost(PERF_QOS_IPA_SUSTAINABLE_POWER, 1000 + random.Below(5000)),
            Boost(20, random.Below(3)),
            Boost(PERF_QOS_EAS, random.Below(5), static_cast<unsigned int>(random.Below(8)))};
        return random.Pick(values);
    }

    struct Client {
        unsigned int Below(int limit) { return static_cast<unsigned int>(random.Below(limit)); }
        int Thread() { return 1000 + random.Below(6); }
        unsigned long long& Handle() { return random.Pick(held); }

        Random random;
        int pid;
        std::vector<unsigned long long> held = std::vector<unsigned long long>(16);
    };

    void Request(Client& by)
    {
        static constexpr unsigned int DURATIONS[] = {LONG, LONG, PERF_DURATION_MIN_MS, LONGEST_MS};
        std::vector<PerfRequestInfo> infos;
        for (int i = by.random.Below(4); i >= 0; --i) {
            infos.push_back(AnyValue(by.random));
        }
        std::ignore = manager->PerfRequest(by.pid, by.random.Pick(DURATIONS), infos, by.Handle());
    }

    static void CallTheConsole(ConfigManager& library, Random& random)
    {
        static std::string const MODES[] = {"game_mode", "benchmark_mode", "power_saving_mode"};
        static std::string const DUMPS[] = {"--event",    "--scenario", "--base_info",
                                            "--workMode", "--task",     "--limit_history"};
        std::ostringstream out;
        std::ignore = library.DebugSet(out, "--" + random.Pick(MODES) + (random.Chance(2) ? "_enable" : "_disable"));
        library.DumpCoreVersion(out);
        EXPECT_EQ(library.Dump(out, {random.Pick(DUMPS)}), 0);
    }

    /** The steps of the calls change nothing. */
    static void CallTheSteps(ConfigManager& library, Random& random)
    {
        std::vector<PerfRequestInfo> const infos{AnyValue(random), AnyValue(random)};
        library.AddSysTraceName(infos);
        auto request = library.RequestFilter(infos);
        PerfQosId invalid = PERF_QOS_ID_COUNT;
        std::ignore = library.RequestValidate(PERF_COMMAND_LONG_START, request, invalid);
        library.MergeGroupInfo(library.BuildGroupInfo(infos[0].groupInfos), {});
    }

    /** Any public operation, requests and releases as often as all others together. */
    void Call(Client& client)
    {
        static constexpr void (*OTHERS[])(ConfigManager&, Client&) = {
            [](auto& on, auto& by) { // a process has died
                std::ignore = on.PerfReleaseAll(PID + by.random.Below(CLIENTS));
            },
            [](auto& on, auto& by) { std::ignore = on.PerfSetScenario(by.pid, by.Below(7), by.Handle()); },
            [](auto& on, auto& by) { std::ignore = on.PerfSetMode(by.pid, by.Below(4), by.Handle()); },
            [](auto& on, auto& by) {
                std::ignore = on.PerfSetSuspend({by.Below(2), AnyValue(by.random).qosId, CPU_M});
            },
            [](auto& on, auto& by) { std::ignore = on.PerfEvent(by.Below(3), {by.Below(3)}, "storm"); },
            [](auto& on, auto& by) {
                std::ignore = on.StartEvent(by.Below(3), by.random.Chance(2) ? 0 : PERF_DURATION_MIN_MS);
            },
            [](auto& on, auto& by) { on.StopEvent(by.Below(3)); },
            [](auto& on, auto& by) { std::ignore = on.StartProbe(by.Thread()); },
            [](auto& on, auto& by) { on.StopProbe(by.Thread()); },
            [](auto& on, auto& by) { CallTheConsole(on, by.random); },
            [](auto& on, auto& by) { CallTheSteps(on, by.random); },
            [](auto& on, auto& by) {
                std::vector<PerfRequestInfo> const base{{PERF_QOS_EAS_BASE, Boost(PERF_QOS_EAS, 2).groupInfos}};
                std::ignore = on.PerfRequest(by.pid, LONG, base, by.Handle());
            },
            [](auto& on, auto& by) {
                if (by.random.Chance(16)) {
                    on.Reset();
                }
            },
        };
        if (client.random.Chance(2)) {
            client.random.Pick(OTHERS)(*manager, client);
        } else if (client.random.Chance(3)) {
            std::ignore = manager->PerfRelease(client.pid, client.Handle());
        } else {
            Request(client);
        }
    }

    /** Gives everything back and expects that nothing is left of it. */
    void ExpectTheCalmAfterIt()
    {
        manager->Reset();
        std::vector<unsigned int> resume{0};
        for (auto const& entry : qosConfigs) {
            resume.push_back(entry.first);
        }
        EXPECT_EQ(manager->PerfSetSuspend(resume), 0);
        TryRequest(LONG, {{PERF_QOS_EAS_BASE, Boost(PERF_QOS_EAS, 0).groupInfos}});
        EXPECT_TRUE(WaitUntil([this] { return Dump("--task") == idle; }, 60s)) << Dump("--task");
        EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
        EXPECT_TRUE(WaitUntil([this] { return bindings.AreOver(); })) << "a reset leaves bindings to their end";
        for (auto const& [node, base] : bases) {
            EXPECT_EQ(sandbox.Read(node), base) << node;
        }
        for (unsigned int i = 0; i < options.commandLimits.maxTotalHandleNum; ++i) {
            unsigned long long handle = 0;
            ASSERT_EQ(manager->PerfSetMode(1 + static_cast<int>(i % 8), 0, handle), 0) << "handle " << i;
        }
        EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 50)}), -1) << "more handles than there are";
        manager->Reset();
        EXPECT_LE(sandbox.OpenDescriptors(), static_cast<int>(bases.size()) + 1);
        writes += sandbox.TakeWrites().size();
    }

    std::map<std::string, std::string> bases{{"cpu_m/min", "300"},
                                             {"cpu_m/max", "2500"},
                                             {"cpu_b/min", "400"},
                                             {"cpu_b/max", "4000"},
                                             {"gpu/floor", "10"},
                                             {"gpu/power", "20"},
                                             {"map/0", "c"},
                                             {"map/1", "d"},
                                             {"ipa/soc", "enabled"},
                                             {"eas/global", "0"},
                                             {"ddr/bandwidth", std::string("\xf4\x01\0\0", 4)}};
    Bindings bindings;
    std::string idle;
    std::atomic<unsigned long> calls{0};
    std::size_t writes = 0;
};

TEST_F(Storm, LeavesNothingBehind)
{
    for (auto const& [node, base] : bases) {
        sandbox.AddNode(node, base);
    }
    std::ptrdiff_t const files = OpenFiles();
    Start();
    idle = Dump("--task");
    Blow(Length() / 8, 1); // what is allocated once is there now
    ExpectTheCalmAfterIt();
    std::size_t const allocated = Allocated();
    Blow(Length() - Length() / 8, 2);
    ExpectTheCalmAfterIt();
    EXPECT_LT(Allocated(), allocated + 512 * 1024);
    manager.reset();
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    EXPECT_EQ(OpenFiles(), files);
    std::cout << calls << " calls, " << writes << " writes" << std::endl;
}

} // namespace
