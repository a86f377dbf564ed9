// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include <functional>

namespace {

using ConfigManagerTest = PlatformTest;

TEST_F(ConfigManagerTest, InitStopsAtTheFirstFailure)
{
    struct Row {
        std::function<void()> spoil;
        Strings lines;
    };
    std::string const cfg = "E PF_CFG_MGR Init: ";
    Strings const value{"E PF_GROUP GroupValueValidate: [cpu_m] invalid operation value: 3001",
                        "E PF_RES GroupValidate: [cpu_m] GroupValueValidate failed for group 0",
                        "E PF_RES RequestValidate: [cpu_m] GroupValidate failed!"};
    // Each row spoils an earlier step than the rows before it, whose faults stay.
    Row const rows[] = {
        {[this] {
             AddScenario(1, {Boost(GPU, 30), Boost(CPU_M, 3001)});
         },
         Join({value,
               {"E PF_CFG_MGR ScenarioValidate: RequestValidate failed for qos id 1",
                cfg + "ScenarioValidate failed"}})},
        {[this] {
             AddScenario(0, {Boost(CPU_M, 1500), Boost(5, 1)});
         },
         {"E PF_CFG_MGR ScenarioValidate: resource ptr is NULL for qos id 5", cfg + "ScenarioValidate failed"}},
        {[this] { AddScenario(6, {Boost(CPU_M, 1500)}); },
         {"E PF_SCEN_MGR Init: invalid scenario id: 6", cfg + "scenario manager Init failed"}},
        {[this] {
             AddEvent(16, CPU_M, {{100, 3001}});
         },
         Join({value,
               {"E PF_CFG_MGR EventValidate: RequestValidate failed for qos id 1", cfg + "EventValidate failed"}})},
        {[this] {
             AddEvent(17, CPU_M, {{100, 1500}});
         },
         {"E PF_EVENT_MGR Init: invalid event id: 17", cfg + "event manager Init failed"}},
        {[this] {
             AddResource(10, "odd", {Group(0, "odd", {0, 1, 0, 1}, {"odd/a", "odd/b", "odd/c"})});
         },
         {"I PF_RES_MGR BuildSharedResource: invalid resource config: odd",
          "E PF_RES_MGR Init: fail to Init resource for qos = 10 name = odd", cfg + "resource manager Init failed"}},
        {[this] { control.workMode = static_cast<PerfWorkMode>(3); },
         {"E PF_WM_MGR InitWorkMode: Init invalid workMode 3", cfg + "workMode invalid 3"}},
    };
    LogCapture log;
    for (Row const& row : rows) {
        row.spoil();
        manager.reset();
        log.Clear();
        EXPECT_EQ(Init(), -1);
        EXPECT_EQ(log.Lines(), row.lines);
    }
    // The work mode comes first: nothing has been built.
    log.Clear();
    EXPECT_EQ(Dump("--task"), "");
    EXPECT_EQ(log.Lines(), (Strings{"E PF_RES_MGR SendCmdToResources: empty command wrapper",
                                    "E PF_CFG_MGR TaskDump: TaskDump SendCmdToResources failed"}));
}

} // namespace
