// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Wait.h"
#include "tests/world/RandomCalls.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <thread>
#include <tuple>

#include <malloc.h>

namespace {

using namespace std::chrono_literals;

constexpr int CLIENTS = 8;

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

class Storm : public RealTimePlatformTest {
protected:
    static constexpr std::uint64_t SEED = 36; ///< of a platform on which everything can be asked for

    Storm()
    {
        Furnish(*this, SEED);
        control.workMode = PERF_WORK_MODE_DEFAULT; // which a reset leads to
        options.commandLimits = {12, 64, 400, 0, 1};
    }

    /** Lets every client call whatever comes to its mind. */
    void Blow(std::chrono::milliseconds length, std::uint64_t seed)
    {
        std::atomic<bool> over{false};
        std::vector<std::thread> clients;
        for (std::uint64_t client = 0; client < CLIENTS; ++client) {
            clients.emplace_back([&, client] {
                Random random(seed + client);
                RandomCalls<ConfigManager> any(seed + client, *this, {1, 2, 3, 4, 6, 7, 9, 15, 20, 44, 40});
                any.dumps = {"--event", "--scenario", "--base_info", "--workMode", "--task", "--limit_history"};
                any.durations = {LONG, LONG, PERF_DURATION_MIN_MS, 60};
                std::pair<int, unsigned long long> held[16] = {};
                while (!over) {
                    auto& [owner, handle] = random.Pick(held);
                    auto const call = any.Any(owner, handle);
                    Outcome const outcome = call.onReal(*manager);
                    if (outcome.result == 0 && outcome.handle != NO_HANDLE) {
                        owner = call.pid;
                        handle = outcome.handle;
                    }
                    if (random.Chance(25)) {
                        CallTheSteps({any.Info(CPU_M), any.Info(PERF_QOS_EAS)});
                    }
                    ++calls;
                }
            });
        }
        auto const end = std::chrono::steady_clock::now() + length;
        while (std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(10ms);
            TakeWrites();
        }
        over = true;
        for (std::thread& client : clients) {
            client.join();
        }
    }

    /** The steps of the calls change nothing. */
    void CallTheSteps(std::vector<PerfRequestInfo> const& infos)
    {
        std::ostringstream out;
        manager->DumpCoreVersion(out);
        manager->AddSysTraceName(infos);
        auto request = manager->RequestFilter(infos);
        PerfQosId invalid = PERF_QOS_ID_COUNT;
        std::ignore = manager->RequestValidate(PERF_COMMAND_LONG_START, request, invalid);
        manager->MergeGroupInfo(manager->BuildGroupInfo(infos[0].groupInfos), {});
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
        PerfRequestInfo easBases{PERF_QOS_EAS_BASE, {}};
        for (PerfGroupConfig const& group : qosConfigs[PERF_QOS_EAS]->groupConfigs) {
            easBases.groupInfos.push_back({group.groupId, {{PERF_OPERATION_BOOST, group.boostBase}}});
        }
        EXPECT_EQ(TryRequest(LONG, {easBases}), 0);
        EXPECT_TRUE(WaitUntil([this] { return Dump() == idle; }, 60s)) << Dump();
        EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
        EXPECT_TRUE(WaitUntil([this] { return IsNobodyBound() && !bound.empty(); }))
            << "a reset leaves bindings to their end";
        for (auto const& [node, base] : bases) {
            EXPECT_EQ(sandbox.Read(node), base) << node;
            EXPECT_LE(sandbox.OpenDescriptors(node), 1) << node;
        }
        for (unsigned int i = 0; i < options.commandLimits.maxTotalHandleNum; ++i) {
            unsigned long long handle = 0;
            ASSERT_EQ(manager->PerfSetMode(1 + static_cast<int>(i % 8), 0, handle), 0) << "handle " << i;
        }
        EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 50)}), -1) << "more handles than there are";
        manager->Reset();
    }

    void TakeWrites()
    {
        for (NodeWrite const& write : sandbox.TakeWrites()) {
            ++writes;
            if (write.node == "binder") {
                auto const bar = write.bytes.find('|');
                bound[write.bytes.substr(bar + 1)] = write.bytes.compare(0, bar, "FF") != 0;
            }
        }
    }

    bool IsNobodyBound()
    {
        TakeWrites();
        return std::none_of(bound.begin(), bound.end(), [](auto const& thread) { return thread.second; });
    }

    std::map<std::string, std::string> bases; ///< what the nodes hold while nobody asks for anything
    std::map<std::string, bool> bound;        ///< whether a thread is, by the lines that the binder's node took
    std::string idle;
    std::atomic<unsigned long> calls{0};
    std::size_t writes = 0;
};

TEST_F(Storm, LeavesNothingBehind)
{
    std::ptrdiff_t const files = OpenFiles();
    ASSERT_TRUE(probe.cpuB != 0 && probe.gpu != 0 && probe.duration != 0 && !events.empty()) << "take another seed";
    Start();
    unsigned long long handle = NO_HANDLE;
    ASSERT_EQ(manager->PerfSetMode(PID, PERF_WORK_MODE_BOOST_FIRST, handle), 0); // so that everything is written
    manager->Reset();
    idle = Dump();
    for (NodeWrite const& write : sandbox.TakeWrites()) {
        bases[write.node] = write.bytes;
    }
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
