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
                Random random(seed + static_cast<std::uint64_t>(client));
                std::vector<unsigned long long> held(16);
                while (!over) {
                    Call(random, PID + client, held);
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

    PerfRequestInfo AnyValue(Random& random)
    {
        switch (random.Below(8)) {
        case 0:
            return Ask(CPU_M, {{PERF_OPERATION_BOOST, 300 + random.Below(1000)}, {PERF_OPERATION_LIMIT, 2000}});
        case 1:
            return Boost(CPU_B, random.Below(5000));
        case 2:
            return Limit(CPU_B, 3000 + random.Below(1000));
        case 3:
            return Boost(GPU, random.Below(101), static_cast<unsigned int>(random.Below(2)));
        case 4:
            return Boost(PERF_QOS_DDR, 1000 + random.Below(8000));
        case 5:
            return Boost(PERF_QOS_IPA_SUSTAINABLE_POWER, 1000 + random.Below(5000));
        case 6:
            return Boost(20, random.Below(3));
        default:
            return Boost(PERF_QOS_EAS, random.Below(5), static_cast<unsigned int>(random.Below(8)));
        }
    }

    void Request(Random& random, int pid, unsigned long long& handle)
    {
        static constexpr unsigned int DURATIONS[] = {LONG, LONG, PERF_DURATION_MIN_MS, LONGEST_MS};
        std::vector<PerfRequestInfo> infos;
        for (int i = random.Below(4); i >= 0; --i) {
            infos.push_back(AnyValue(random));
        }
        static_cast<void>(manager->PerfRequest(pid, random.Pick(DURATIONS), infos, handle));
    }

    /** Any public operation, at random, for one process. */
    void Call(Random& random, int pid, std::vector<unsigned long long>& held)
    {
        unsigned long long& handle = random.Pick(held);
        int const thread = 1000 + random.Below(6);
        auto const event = static_cast<PerfEventId>(random.Below(3));
        auto const any = AnyValue(random);
        switch (random.Below(24)) {
        case 0:
            static_cast<void>(manager->PerfReleaseAll(PID + random.Below(CLIENTS))); // a process has died
            break;
        case 1:
            static_cast<void>(manager->PerfSetScenario(pid, static_cast<unsigned int>(random.Below(7)), handle));
            break;
        case 2:
            static_cast<void>(manager->PerfSetMode(pid, static_cast<unsigned int>(random.Below(4)), handle));
            break;
        case 3:
            static_cast<void>(manager->PerfSetSuspend({static_cast<unsigned int>(random.Below(2)), any.qosId, CPU_M}));
            break;
        case 4:
            static_cast<void>(manager->PerfEvent(event, {static_cast<unsigned int>(random.Below(3))}, "storm"));
            break;
        case 5:
            static_cast<void>(manager->StartEvent(event, random.Chance(2) ? 0 : PERF_DURATION_MIN_MS));
            break;
        case 6:
            manager->StopEvent(event);
            break;
        case 7:
            static_cast<void>(manager->StartProbe(thread));
            break;
        case 8:
            manager->StopProbe(thread);
            break;
        case 9:
            CallTheConsole(random);
            break;
        case 10:
            CallAStep(random, any);
            break;
        case 11:
            static_cast<void>(
                manager->PerfRequest(pid, LONG, {{PERF_QOS_EAS_BASE, Boost(PERF_QOS_EAS, 2).groupInfos}}, handle));
            break;
        case 12:
            if (random.Chance(16)) {
                manager->Reset();
            }
            break;
        case 13:
        case 14:
        case 15:
        case 16:
            static_cast<void>(manager->PerfRelease(pid, handle));
            break;
        default:
            Request(random, pid, handle);
            break;
        }
    }

    void CallTheConsole(Random& random)
    {
        static std::string const MODES[] = {"game_mode", "benchmark_mode", "power_saving_mode"};
        static std::string const DUMPS[] = {"--event",    "--scenario", "--base_info",
                                            "--workMode", "--task",     "--limit_history"};
        std::ostringstream out;
        static_cast<void>(
            manager->DebugSet(out, "--" + random.Pick(MODES) + (random.Chance(2) ? "_enable" : "_disable")));
        manager->DumpCoreVersion(out);
        EXPECT_EQ(manager->Dump(out, {random.Pick(DUMPS)}), 0);
    }

    /** The steps of the calls change nothing. */
    void CallAStep(Random& random, PerfRequestInfo const& any)
    {
        std::vector<PerfRequestInfo> const infos{any, AnyValue(random)};
        manager->AddSysTraceName(infos);
        auto request = manager->RequestFilter(infos);
        PerfQosId invalid = PERF_QOS_ID_COUNT;
        static_cast<void>(manager->RequestValidate(PERF_COMMAND_LONG_START, request, invalid));
        manager->MergeGroupInfo(manager->BuildGroupInfo(any.groupInfos), {});
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
