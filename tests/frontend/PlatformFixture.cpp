// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

Strings Join(std::vector<Strings> const& parts)
{
    Strings all;
    for (Strings const& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

RealTimePlatformTest::RealTimePlatformTest()
    : PlatformBuilder([this](std::string const& name) { return sandbox.AddNode(name); })
{
    AddFrequency(CPU_M, "cpu_m", {300, 3000, 300, 2500});
    AddFrequency(CPU_B, "cpu_b", {400, 4000, 400, 4000}, true);
    AddResource(GPU, "gpu",
                {Group(0, "gpu_floor", {0, 100, 10, 100}, {"gpu/floor"}),
                 Group(1, "gpu_power", {0, 100, 20, 100}, {"gpu/power"})});
    options.threadBinderNode = sandbox.AddNode("binder");
    probe.threadBinderPath = "0F";
}

int RealTimePlatformTest::Init()
{
    manager = std::make_unique<ConfigManager>(options);
    return PlatformBuilder::Init(*manager);
}

int RealTimePlatformTest::TryRequest(unsigned int ms, std::vector<PerfRequestInfo> const& infos, int pid)
{
    unsigned long long handle = 0;
    return manager->PerfRequest(pid, ms, infos, handle);
}

unsigned long long RealTimePlatformTest::Request(unsigned int ms, std::vector<PerfRequestInfo> const& infos, int pid)
{
    unsigned long long handle = 0;
    EXPECT_EQ(manager->PerfRequest(pid, ms, infos, handle), 0);
    return handle;
}

std::string RealTimePlatformTest::Dump(std::string const& option)
{
    std::ostringstream out;
    EXPECT_EQ(manager->Dump(out, {option}), 0);
    return out.str();
}

Strings RealTimePlatformTest::Wrote()
{
    Settle();
    return Lines(sandbox.TakeWrites());
}
