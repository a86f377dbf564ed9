// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/TraceCapture.h"

#include <corvane/PfLogon.h>

#include <functional>
#include <tuple>

namespace {

constexpr int TID = 1234;
constexpr PerfEventId LAUNCH = 3;

/** The lines of one tag that a call printed. */
Strings Said(LogCapture& log, std::string const& tag = "PF_CFG_MGR")
{
    Strings lines = log.Lines(tag);
    log.Clear();
    return lines;
}

class ConfigManagerEntryTest : public PlatformTest {
protected:
    ConfigManagerEntryTest()
    {
        AddEvent(LAUNCH, CPU_M, {{MINUTE, 1500}});
        probe = {0, 0, 0, 0, MINUTE, "0F"}; // asks for nothing
    }
};

TEST_F(ConfigManagerEntryTest, WhatComesToNothingSaysWhy)
{
    AddEvent(2, 0, {{20, 1}, {20, 2}});
    AddMemoryLatency(MEM_LAT);
    LogCapture log;
    Start();
    EXPECT_EQ(log.Lines(), (Strings{"W PF_CFG_MGR EventValidate: resource ptr is NULL for qos id 0",
                                    "W PF_CFG_MGR EventValidate: resource ptr is NULL for qos id 0"}));
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    unsigned long long handle = 0;
    unsigned long long held = 0;
    EXPECT_EQ(manager->PerfSetMode(PID, 1, held), 0);
    std::tuple<std::function<int()>, int, Strings> const rows[] = {
        {[&] {
             return manager->Init(PerfDefaultConfig{0, qosConfigs, control}, {}, {}, {});
         },
         -1,
         {"E PF_CFG_MGR Init: Init called again"}},
        {[&] { return manager->PerfSetScenario(PID, 2, handle); },
         -1,
         {"E PF_CFG_MGR PerfSetScenario: invalid scenario id: 2"}},
        {[&] { return manager->PerfSetMode(PID, 3, handle); },
         -1,
         {"E PF_CFG_MGR PerfSetMode: invalid work mode id: 3"}},
        {[&] { return manager->PerfSetMode(0, 1, handle); },
         -1,
         {"E PF_CFG_MGR PerfSetMode: RequestHandle failed for pid 0"}},
        {[&] { return manager->PerfSetMode(PID, 0, handle); }, 0, {"D PF_CFG_MGR PerfSetMode: work mode not change"}},
        {[&] { return manager->PerfRelease(PID, handle); },
         0,
         {"D PF_CFG_MGR ReleaseCommand: ReleaseCommand for pid: 100",
          "E PF_CFG_MGR ReleaseCommand: work mode not change"}},
        {[&] { return manager->PerfRelease(PID, handle); },
         0,
         {"D PF_CFG_MGR PerfRelease: BuildReleaseCommand failed for pid 100"}},
        {[&] { return TryRequest(LONG, {Boost(0, 1)}, 7); },
         -1,
         {"D PF_CFG_MGR RequestValidate: resource ptr is NULL for qos id 0",
          "E PF_CFG_MGR PerfRequest: SendCmdToResources failed for pid 7"}},
        {[&] { return manager->PerfReleaseAll(7); },
         -1,
         {"D PF_CFG_MGR ReleaseCommand: ReleaseCommand for pid: 7",
          "E PF_CFG_MGR ReleaseCommand: SendCmdToResources failed for handle 3",
          "E PF_CFG_MGR PerfReleaseAll: ReleaseCommand failed for pid 7, handle 3"}},
        {[&] { return manager->PerfReleaseAll(7); }, 0, {"D PF_CFG_MGR PerfReleaseAll: no command need to release"}},
        {[&] { return manager->StartEvent(2, 0); }, 0, {"W PF_CFG_MGR StartEvent: invalid event id: 2"}},
        {[&] { return manager->StopEvent(LAUNCH), 0; }, 0, {"D PF_CFG_MGR StopEvent: BuildEventReleaseCommand failed"}},
        {[&] { return manager->StartProbe(TID); }, -1, {"E PF_CFG_MGR StartProbe: SendCmdToResources failed"}},
        {[&] { return manager->StartProbe(TID); }, 0, {"D PF_CFG_MGR StartProbe: duplicate probe for tid 1234"}},
        {[&] { return manager->StartProbe(-1); },
         -1,
         {"E PF_CFG_MGR StartProbe: RequestEventHandle failed for probe tid: -1"}},
        {[&] { return manager->StopProbe(TID), 0; }, 0, {"E PF_CFG_MGR StopProbe: SendCmdToResources failed."}},
        {[&] { return manager->StopProbe(TID), 0; }, 0, {"D PF_CFG_MGR StopProbe: BuildEventReleaseCommand failed"}},
        {[&] { return manager->PerfEvent(LAUNCH, {2}, "silent"); },
         -1,
         {"E PF_CFG_MGR PerfEvent: invalid parameter for PerfEvent"}},
        {[&] {
             return manager->PerfEvent(4097, {2, 0, TID}, "");
         },
         -1,
         {"E PF_CFG_MGR PerfEvent: invalid start notion"}},
        {[&] {
             return manager->PerfEvent(4097, {1, TID}, "");
         },
         -1,
         {"E PF_CFG_MGR PerfEvent: invalid probe event request format. size = 2"}},
        {[&] { return manager->PerfEvent(8192, {1}, ""); },
         -1,
         {"E PF_CFG_MGR PerfSetSuspend: invalid Set Suspend param size 1"}},
        {[&] {
             LogSwitch const info(PfLogonNamespace::INFO_BIT);
             return manager->PerfEvent(2, {0}, "tap");
         },
         0,
         {"I PF_CFG_MGR PerfEvent: user message: tap"}},
        {[&] {
             return manager->PerfSetSuspend({1, 14, MEM_LAT, 16});
         },
         -1,
         {"D PF_CFG_MGR PerfSetSuspend: suspend not support memlat !",
          "D PF_CFG_MGR PerfSetSuspend: suspend not support memlat !",
          "D PF_CFG_MGR PerfSetSuspend: suspend not support memlat !",
          "E PF_CFG_MGR PerfSetSuspend: sendSuspendCmd failed"}},
    };
    for (auto const& [call, result, lines] : rows) {
        log.Clear();
        EXPECT_EQ(call(), result);
        EXPECT_EQ(Said(log), lines);
    }
}

} // namespace
