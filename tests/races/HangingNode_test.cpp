// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Wait.h"

#include <atomic>
#include <fstream>
#include <future>
#include <iterator>
#include <tuple>

#include <unistd.h>

namespace {

using std::chrono::milliseconds;

/** A write on a node of cpu_m that does not return, and another on the thread binder's. */
class HangingNode : public RealTimePlatformTest {
protected:
    HangingNode()
    {
        AddScenario(0, {Boost(CPU_M, 1400), Boost(GPU, 60)});
        AddEvent(1, CPU_M, {{MINUTE, 1500}});
        AddEvent(1, GPU, {{MINUTE, 70}});
        probe = {1600, 0, 0, 0, MINUTE, "0F"};
    }

    void StartHanging()
    {
        Start();
        cpu = std::make_unique<NodeGate>(sandbox, "cpu_m/max");
        binder = std::make_unique<NodeGate>(sandbox, "binder");
        Request(LONG, {Boost(CPU_M, 1000)});
        EXPECT_EQ(manager->StartProbe(7), 0);
        ASSERT_TRUE(cpu->WaitBlocked() && binder->WaitBlocked());
    }

    template <typename Call> std::future<void> InBackground(Call call)
    {
        return std::async(std::launch::async, [this, call] {
            caller = gettid();
            call();
        });
    }

    /** Whether the thread that was put into the background last waits for something. */
    bool CallerSleeps() const
    {
        std::ifstream stat("/proc/self/task/" + std::to_string(caller) + "/stat");
        std::string const text{std::istreambuf_iterator<char>(stat), {}};
        auto const name = text.rfind(") ");
        return name != std::string::npos && text[name + 2] == 'S';
    }

    static bool IsOver(std::future<void> const& call)
    {
        return call.wait_for(milliseconds(0)) == std::future_status::ready;
    }

    std::atomic<int> caller{0};
    std::vector<std::future<void>> calls; ///< ended after the gates are open
    std::unique_ptr<NodeGate> cpu;
    std::unique_ptr<NodeGate> binder;
};

TEST_F(HangingNode, HoldsUpNobodyButTheDumpsAndForTheBinderTheProbeCalls)
{
    StartHanging();
    for (std::string const option : {"--task", "--base_info"}) {
        calls.push_back(InBackground([this, option] { Dump(option); }));
    }
    calls.push_back(InBackground([this] { static_cast<void>(manager->StartProbe(8)); }));
    calls.push_back(InBackground([this] { manager->StopProbe(7); }));

    // Each of these returns, whatever it asks of cpu_m, and its other half reaches the GPU.
    auto const onGpu = [this](int value) { return sandbox.WaitForContent("gpu/floor", std::to_string(value)); };
    unsigned long long handle = 0;
    EXPECT_EQ(manager->PerfRequest(PID, MINUTE, {Boost(CPU_M, 1100), Boost(GPU, 50)}, handle), 0);
    EXPECT_TRUE(onGpu(50));
    EXPECT_EQ(manager->PerfSetScenario(PID, 0, handle), 0);
    EXPECT_TRUE(onGpu(60));
    EXPECT_EQ(manager->PerfEvent(1, {1}, ""), 0);
    EXPECT_TRUE(onGpu(70));
    EXPECT_EQ(manager->PerfSetSuspend({1, CPU_M, CPU_B}), 0);
    EXPECT_EQ(manager->PerfSetMode(PID, PERF_WORK_MODE_LIMIT_FIRST, handle), 0);
    EXPECT_EQ(manager->PerfRelease(PID, handle), 0);
    manager->StopEvent(1);
    EXPECT_TRUE(onGpu(60));
    std::ostringstream out;
    EXPECT_EQ(manager->DebugSet(out, "--game_mode_enable"), 1);
    for (std::string const option : {"--event", "--scenario", "--workMode", "--limit_history"}) {
        Dump(option);
    }
    EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
    manager->Reset();
    EXPECT_TRUE(onGpu(10));
    EXPECT_EQ(manager->PerfSetSuspend({0, CPU_M, CPU_B}), 0);
    for (auto const& call : calls) {
        EXPECT_FALSE(IsOver(call)) << "those wait, and say so";
    }

    cpu->Release();
    binder->Release();
    for (auto& call : calls) {
        call.get();
    }
    manager->StopProbe(8); // which may have started behind the reset
    Settle();
    EXPECT_EQ((std::tuple{sandbox.Read("cpu_m/min"), sandbox.Read("cpu_m/max")}), (std::tuple{"300", "2500"}));
}

TEST_F(HangingNode, AtTheEndTheWriteAndADumpAreWaitedForAndTheQueueIsDropped)
{
    StartHanging();
    for (int i = 0; i < 10'000; ++i) {
        ASSERT_EQ(manager->PerfSetSuspend({static_cast<unsigned int>(i % 2), CPU_M}), 0);
    }
    LogSwitch const verbose(PfLogonNamespace::DEBUG_BIT);
    LogCapture const log;
    calls.push_back(InBackground([this] { Dump("--task"); }));
    auto const begins = [&] { return log.Has(ANDROID_LOG_DEBUG, "PF_CFG_MGR", "DumpInfo", "before task Dump"); };
    ASSERT_TRUE(WaitUntil([&] { return begins() && CallerSleeps(); }));
    calls.push_back(InBackground([this] { manager.reset(); }));
    ASSERT_TRUE(WaitUntil([&] { return CallerSleeps(); }));
    EXPECT_FALSE(IsOver(calls[0]) || IsOver(calls[1]));

    cpu->Release();
    binder->Release();
    for (auto& call : calls) {
        call.get();
    }
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

} // namespace
