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

TEST_F(ConfigManagerTest, EventsLoseTheItemsOfResourcesThatThePlatformLacks)
{
    AddEvent(2, 0, {{20, 1}, {20, 2}});
    AddEvent(2, CPU_B, {{60000, 9999}});
    AddEvent(4, 0, {{20, 1}});
    LogCapture log;
    Start();
    std::string const missing = "W PF_CFG_MGR EventValidate: resource ptr is NULL for qos id 0";
    EXPECT_EQ(log.Lines(), (Strings{missing, missing, missing}));

    log.Clear();
    EXPECT_EQ(manager->StartEvent(2, 0), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_b", 4000, 4000)) << "the rest of the event, its value corrected";
    EXPECT_EQ(manager->StartEvent(4, 0), 0);
    EXPECT_EQ(log.Lines(), Strings{"W PF_CFG_MGR StartEvent: invalid event id: 4"});
}

TEST_F(ConfigManagerTest, WithoutEventsThereIsNoProbe)
{
    probe.cpuM = 1500;
    probe.duration = MINUTE;
    Start();
    LogCapture log;
    EXPECT_EQ(manager->StartProbe(7), -1);
    EXPECT_EQ(log.Lines(), (Strings{"E PF_RES_MGR SendCmdToResources: empty command wrapper",
                                    "E PF_CFG_MGR StartProbe: SendCmdToResources failed"}));
    EXPECT_EQ(Wrote(), Strings{});
}

TEST_F(ConfigManagerTest, SecondInitIsRefusedAndChangesNothing)
{
    AddScenario(0, {Boost(CPU_M, 1500)});
    Start();
    unsigned long long handle = 0;
    EXPECT_EQ(manager->PerfSetScenario(PID, 0, handle), 0);
    Settle();
    LogCapture log;
    EXPECT_EQ(manager->Init(PerfDefaultConfig{0, qosConfigs, control}, {}, {}, {}), -1);
    EXPECT_EQ(log.Lines(), Strings{"E PF_CFG_MGR Init: Init called again"});
    EXPECT_EQ(manager->PerfRelease(PID, handle), 0);
    EXPECT_EQ(Wrote(), Join({Pair("cpu_m", 1500, 2500), Pair("cpu_m", 300, 2500)}));
}

TEST_F(ConfigManagerTest, ResetReleasesWhatAnybodyHolds)
{
    AddScenario(0, {Boost(GPU, 30)});
    AddScenario(1, {Boost(GPU, 50, 1)});
    AddEvent(0, CPU_B, {{60000, 2000}, {60000, 3000}});
    probe.cpuM = 1800;
    probe.duration = MINUTE;
    Start();
    std::string const idle = Dump("--task");
    unsigned long long handle = 0;
    std::ostringstream out;
    Request(LONG, {Boost(CPU_M, 1500)});
    Request(MINUTE, {Boost(CPU_M, 1600), Limit(CPU_B, 3500)}, PID + 1);
    EXPECT_EQ(manager->PerfSetScenario(PID, 0, handle), 0);
    EXPECT_EQ(manager->PerfSetMode(PID, PERF_WORK_MODE_BOOST_FIRST, handle), 0);
    EXPECT_EQ(manager->StartEvent(0, 0), 0);
    EXPECT_EQ(manager->StartProbe(7), 0);
    EXPECT_EQ(manager->DebugSet(out, "--benchmark_mode_enable"), 1);
    EXPECT_NE(Dump("--task"), idle);

    LogCapture log;
    manager->Reset();
    EXPECT_EQ(Dump("--task"), idle);
    EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 0u);
    EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
    EXPECT_EQ(sandbox.Read("cpu_m/min") + " " + sandbox.Read("cpu_b/min") + " " + sandbox.Read("gpu/floor") + " " +
                  sandbox.Read("gpu/power"),
              "300 400 10 20");

    // The console's slot is free again, the catalogues are as they were.
    Wrote();
    EXPECT_EQ(manager->DebugSet(out, "--benchmark_mode_enable"), 1);
    EXPECT_EQ(out.str(), "");
    manager->Reset();
    EXPECT_EQ(Wrote(), (Strings{"gpu/power <- 50", "gpu/power <- 20"}));
    manager->Reset();
    EXPECT_EQ(Wrote(), Strings{});
}

} // namespace
