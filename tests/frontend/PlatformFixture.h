// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PlatformBuilder.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

constexpr PerfQosId CPU_M = PERF_QOS_CPU_M;
constexpr PerfQosId CPU_B = PERF_QOS_CPU_B;
constexpr PerfQosId GPU = PERF_QOS_GPU;
constexpr PerfQosId MEM_LAT = 15;

/** All of them, one after the other. */
inline Strings Join(std::vector<Strings> const& parts)
{
    Strings all;
    for (Strings const& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/**
 * The whole library on a small platform in a sandbox, with real workers. Resources, each with one group unless said
 * otherwise:
 *   1 cpu_m  frequencies 300~3000, base 300~2500
 *   2 cpu_b  frequencies 400~4000, base 400~4000, values out of range are clamped
 *   3 gpu    two single nodes 0~100: gpu/floor with base 10, gpu/power with base 20
 * Tests change the platform, the catalogues and the options before Start.
 */
class RealTimePlatformTest : public testing::Test, protected PlatformBuilder {
protected:
    static constexpr int PID = 100;
    static constexpr unsigned int LONG = 0;
    static constexpr unsigned int MINUTE = 60000;

    RealTimePlatformTest() : PlatformBuilder([this](std::string const& name) { return sandbox.AddNode(name); })
    {
        AddFrequency(CPU_M, "cpu_m", {300, 3000, 300, 2500});
        AddFrequency(CPU_B, "cpu_b", {400, 4000, 400, 4000}, true);
        AddResource(GPU, "gpu",
                    {Group(0, "gpu_floor", {0, 100, 10, 100}, {"gpu/floor"}),
                     Group(1, "gpu_power", {0, 100, 20, 100}, {"gpu/power"})});
        options.threadBinderNode = sandbox.AddNode("binder");
        probe.threadBinderPath = "0F";
    }
    void TearDown() override { manager.reset(); }

    /** Makes the facade and initialises it. */
    int Init()
    {
        manager = std::make_unique<ConfigManager>(options);
        return PlatformBuilder::Init(*manager);
    }
    void Start() { ASSERT_EQ(Init(), 0); }

    /** @return the handle of a request that must succeed. */
    unsigned long long Request(unsigned int ms, std::vector<PerfRequestInfo> const& infos)
    {
        unsigned long long handle = 0;
        EXPECT_EQ(manager->PerfRequest(PID, ms, infos, handle), 0);
        return handle;
    }
    int TryRequest(unsigned int ms, std::vector<PerfRequestInfo> const& infos, int pid = PID)
    {
        unsigned long long handle = 0;
        return manager->PerfRequest(pid, ms, infos, handle);
    }

    std::string Dump(std::string const& option = "--task")
    {
        std::ostringstream out;
        EXPECT_EQ(manager->Dump(out, {option}), 0);
        return out.str();
    }
    /** Waits until every worker has done what was queued so far. */
    virtual void Settle() { Dump(); }
    /** What has been written since the last look once everything queued is done. */
    Strings Wrote()
    {
        Settle();
        return Lines(sandbox.TakeWrites());
    }

    Sandbox sandbox;
    std::unique_ptr<ConfigManager> manager;
};

/** Before everything that runs in it, and after it. */
struct InVirtualTime {
    VirtualTime time;
};

/**
 * The same in virtual time: nobody waits for anything, and what happens when is exact. All of it stands here, so that
 * tests in the device's time have nothing of it to link.
 */
class PlatformTest : protected InVirtualTime, public RealTimePlatformTest {
protected:
    /** Starts with debug lines switched on and lets those of the start pass, so that the log holds what follows. */
    void StartVerbose(LogCapture& log)
    {
        verbose = std::make_unique<LogSwitch>(PfLogonNamespace::DEBUG_BIT);
        Start();
        Settle();
        log.Clear();
    }
    /** Lets everybody, the binder too, do what is due. */
    void Settle() override { time.Settle(); }

private:
    std::unique_ptr<LogSwitch> verbose;
};
