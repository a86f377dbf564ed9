// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

namespace {

using ConfigManagerTest = PlatformTest;

TEST_F(ConfigManagerTest, InitStopsAtTheFirstFailure)
{
    LogCapture log;
    auto const failsWith = [&](Strings const& lines) {
        manager.reset();
        log.Clear();
        EXPECT_EQ(Init(), -1);
        EXPECT_EQ(log.Lines(), lines);
    };
    std::string const cfg = "E PF_CFG_MGR Init: ";
    Strings const value{"E PF_GROUP GroupValueValidate: [cpu_m] invalid operation value: 3001",
                        "E PF_RES GroupValidate: [cpu_m] GroupValueValidate failed for group 0",
                        "E PF_RES RequestValidate: [cpu_m] GroupValidate failed!"};
    // Each spoils an earlier step than those before it, whose faults stay.
    AddScenario(1, {Boost(GPU, 30), Boost(CPU_M, 3001)});
    failsWith(Join(
        {value,
         {"E PF_CFG_MGR ScenarioValidate: RequestValidate failed for qos id 1", cfg + "ScenarioValidate failed"}}));
    AddScenario(0, {Boost(CPU_M, 1500), Boost(5, 1)});
    failsWith({"E PF_CFG_MGR ScenarioValidate: resource ptr is NULL for qos id 5", cfg + "ScenarioValidate failed"});
    AddScenario(6, {Boost(CPU_M, 1500)});
    failsWith({"E PF_SCEN_MGR Init: invalid scenario id: 6", cfg + "scenario manager Init failed"});
    AddEvent(16, CPU_M, {{100, 3001}});
    failsWith(Join(
        {value, {"E PF_CFG_MGR EventValidate: RequestValidate failed for qos id 1", cfg + "EventValidate failed"}}));
    AddEvent(17, CPU_M, {{100, 1500}});
    failsWith({"E PF_EVENT_MGR Init: invalid event id: 17", cfg + "event manager Init failed"});
    AddResource(10, "odd", {Group(0, "odd", {0, 1, 0, 1}, {"odd/a", "odd/b", "odd/c"})});
    failsWith({"I PF_RES_MGR BuildSharedResource: invalid resource config: odd",
               "E PF_RES_MGR Init: fail to Init resource for qos = 10 name = odd",
               cfg + "resource manager Init failed"});
    control.workMode = static_cast<PerfWorkMode>(3);
    failsWith({"E PF_WM_MGR InitWorkMode: Init invalid workMode 3", cfg + "workMode invalid 3"});
    // The work mode comes first: nothing has been built.
    log.Clear();
    EXPECT_EQ(Dump("--task"), "");
    EXPECT_EQ(log.Lines(), (Strings{"E PF_RES_MGR SendCmdToResources: empty command wrapper",
                                    "E PF_CFG_MGR TaskDump: TaskDump SendCmdToResources failed"}));
}

} // namespace
