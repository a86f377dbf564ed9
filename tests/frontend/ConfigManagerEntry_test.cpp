// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

namespace {

constexpr int TID = 1234;
constexpr PerfEventId LAUNCH = 3;

class ConfigManagerEntryTest : public PlatformTest {
protected:
    ConfigManagerEntryTest()
    {
        AddEvent(LAUNCH, CPU_M, {{MINUTE, 1500}});
        probe = {0, 0, 0, 0, MINUTE, "0F"}; // asks for nothing
    }

    /** @param lines that the facade has said about the call, without its tag. */
    void Expect(int result, Strings lines, int told)
    {
        for (std::string& line : lines) {
            line.insert(2, "PF_CFG_MGR ");
        }
        EXPECT_EQ(told, result) << lines.at(0);
        EXPECT_EQ(log.Lines("PF_CFG_MGR"), lines);
        log.Clear();
    }

    LogCapture log;
};

TEST_F(ConfigManagerEntryTest, WhatComesToNothingSaysWhy)
{
    AddEvent(2, 0, {{20, 1}, {20, 2}});
    AddMemoryLatency(MEM_LAT);
    Start();
    EXPECT_EQ(log.Lines(), Strings(2, "W PF_CFG_MGR EventValidate: resource ptr is NULL for qos id 0"));
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    unsigned long long handle = 0;
    unsigned long long held = 0;
    EXPECT_EQ(manager->PerfSetMode(PID, 1, held), 0);
    log.Clear();
    Expect(-1, {"E Init: Init called again"}, PlatformBuilder::Init(*manager));
    Expect(-1, {"E PerfSetScenario: invalid scenario id: 2"}, manager->PerfSetScenario(PID, 2, handle));
    Expect(-1, {"E PerfSetMode: invalid work mode id: 3"}, manager->PerfSetMode(PID, 3, handle));
    Expect(-1, {"E PerfSetMode: RequestHandle failed for pid 0"}, manager->PerfSetMode(0, 1, handle));
    Expect(0, {"D PerfSetMode: work mode not change"}, manager->PerfSetMode(PID, 0, handle));
    Expect(0, {"D ReleaseCommand: ReleaseCommand for pid: 100", "E ReleaseCommand: work mode not change"},
           manager->PerfRelease(PID, handle));
    Expect(0, {"D PerfRelease: BuildReleaseCommand failed for pid 100"}, manager->PerfRelease(PID, handle));
    Expect(
        -1,
        {"D RequestValidate: resource ptr is NULL for qos id 0", "E PerfRequest: SendCmdToResources failed for pid 7"},
        TryRequest(LONG, {Boost(0, 1)}, 7));
    Expect(-1,
           {"D ReleaseCommand: ReleaseCommand for pid: 7", "E ReleaseCommand: SendCmdToResources failed for handle 3",
            "E PerfReleaseAll: ReleaseCommand failed for pid 7, handle 3"},
           manager->PerfReleaseAll(7));
    Expect(0, {"D PerfReleaseAll: no command need to release"}, manager->PerfReleaseAll(7));
    Expect(0, {"W StartEvent: invalid event id: 2"}, manager->StartEvent(2, 0));
    Expect(0, {"D StopEvent: BuildEventReleaseCommand failed"}, (manager->StopEvent(LAUNCH), 0));
    Expect(-1, {"E StartProbe: SendCmdToResources failed"}, manager->StartProbe(TID));
    Expect(0, {"D StartProbe: duplicate probe for tid 1234"}, manager->StartProbe(TID));
    Expect(-1, {"E StartProbe: RequestEventHandle failed for probe tid: -1"}, manager->StartProbe(-1));
    Expect(0, {"E StopProbe: SendCmdToResources failed."}, (manager->StopProbe(TID), 0));
    Expect(0, {"D StopProbe: BuildEventReleaseCommand failed"}, (manager->StopProbe(TID), 0));
    Expect(-1, {"E PerfEvent: invalid parameter for PerfEvent"}, manager->PerfEvent(LAUNCH, {2}, "silent"));
    Expect(-1, {"E PerfEvent: invalid start notion"}, manager->PerfEvent(4097, {2, 0, TID}, ""));
    Expect(-1, {"E PerfEvent: invalid probe event request format. size = 2"}, manager->PerfEvent(4097, {1, TID}, ""));
    Expect(-1, {"E PerfSetSuspend: invalid Set Suspend param size 1"}, manager->PerfEvent(8192, {1}, ""));
    Strings memoryLatency(3, "D PerfSetSuspend: suspend not support memlat !");
    memoryLatency.emplace_back("E PerfSetSuspend: sendSuspendCmd failed");
    Expect(-1, memoryLatency, manager->PerfSetSuspend({1, 14, MEM_LAT, 16}));
    LogSwitch const info(PfLogonNamespace::INFO_BIT);
    Expect(0, {"I PerfEvent: user message: tap"}, manager->PerfEvent(2, {0}, "tap"));
}

} // namespace
