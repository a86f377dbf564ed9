#include "tests/frontend/PlatformFixture.h"

#include <regex>

namespace {

std::string const STARS = std::string(30, '*') + "\n";
std::string const NO_LISTS = "boostBaseList(0) limitBaseList(0) boostList(0) limitList(0) ";

class ConfigManagerConsoleTest : public PlatformTest {
protected:
    std::string Path(std::string const& node) const { return sandbox.Path(node); }
};

TEST_F(ConfigManagerConsoleTest, TaskDumpShowsEveryResource)
{
    options.commandLimits.firstHandle = 1025; // shown by its low ten bits
    Start();
    Request(MINUTE, {Boost(CPU_M, 1500)});
    Request(MINUTE, {Boost(CPU_M, 1200)});
    Request(MINUTE, {Limit(CPU_M, 1200)});
    Request(LONG, {Limit(CPU_M, 1000), Boost(GPU, 30, 1)});
    Request(LONG, {Boost(CPU_M, 500)});
    EXPECT_EQ(Dump("--task"),
              STARS +
                  "res[cpu_m] grpNum(1) (value, handle):\n"
                  "-->grp[0]:cpu_m: boostBase(500, 5)limitBase(1000, 4)effectiveBase: 500~1000 "
                  "boost(1500, 1)limit(1200, 3)effective: 1500~1200\n"
                  "boostBaseList(1) 300:* limitBaseList(1) 2500:* boostList(1) 1200:2 limitList(0) "
                  "final: 1500~1500\n" +
                  STARS +
                  "res[cpu_b] grpNum(1) (value, handle):\n"
                  "-->grp[0]:cpu_b: boostBase(400, *)limitBase(4000, *)effectiveBase: 400~4000 "
                  "effective: 400~4000\n" +
                  NO_LISTS + "final: 400~4000\n" + STARS +
                  "res[gpu] grpNum(2) (value, handle):\n"
                  "-->grp[0]:gpu_floor: boostBase(10, *)limitBase(100, *)effectiveBase: 10~100 effective: 10~100\n" +
                  NO_LISTS +
                  "final: 10~100\n"
                  "-->grp[1]:gpu_power: boostBase(30, 4)limitBase(100, *)effectiveBase: 30~100 effective: 30~100\n"
                  "boostBaseList(1) 20:* limitBaseList(0) boostList(0) limitList(0) final: 30~100\n");
}

TEST_F(ConfigManagerConsoleTest, BaseInfoShowsWhatTheBasesMeanOnTheNodes)
{
    AddMemoryLatency(MEM_LAT);
    Start();
    Request(MINUTE, {Boost(CPU_M, 1500)}); // no base
    Request(LONG, {Boost(CPU_M, 500), Boost(MEM_LAT, 1)});
    EXPECT_EQ(Dump("--base_info"),
              "1,cpu_m,0,cpu_m,500,2500,500,2500," + Path("cpu_m/min") + "," + Path("cpu_m/max") + "\n" +
                  "2,cpu_b,0,cpu_b,400,4000,400,4000," + Path("cpu_b/min") + "," + Path("cpu_b/max") + "\n" +
                  "3,gpu,0,gpu_floor,10,100,10,," + Path("gpu/floor") + ",\n" + "3,gpu,1,gpu_power,20,100,20,," +
                  Path("gpu/power") + ",\n" + "15,mem_lat,0,ratio,1,2,400,," + Path("mem_lat/ratio") +
                  ",\n"); // the monitor has no base
}

TEST_F(ConfigManagerConsoleTest, LimitHistoryShowsClosedAndOpenPeriods)
{
    AddFrequency(0, "cpu_l", {100, 900, 100, 900});
    AddFrequency(10, "other", {100, 900, 100, 800});
    Start();
    auto const limit = Request(LONG, {Limit(CPU_M, 2000), Boost(10, 500)});
    time.AdvanceBy(std::chrono::milliseconds(65'007));
    Request(MINUTE, {Boost(CPU_M, 1500)});
    manager->PerfRelease(PID, limit);
    time.AdvanceBy(std::chrono::minutes(1));
    EXPECT_EQ(Dump("--limit_history"), "*****cpu_l: limit history cmd log is empty\n\n"
                                       "*****cpu_m: \n"
                                       "freq=2000 0-1 0:0:0.0  0-1 0:1:5.7\n"
                                       "freq=2500 0-1 0:2:5.7\n"
                                       "*****cpu_b: limit history cmd log is empty\n\n");
}

TEST_F(ConfigManagerConsoleTest, CataloguesAndModesAreDumpedAsTheyStand)
{
    AddEvent(2, CPU_M, {{100, 1500}, {300, 1200}});
    events.push_back(
        {0,
         {{GPU,
           {{50,
             {{1, {{PERF_OPERATION_LIMIT, 90}, {PERF_OPERATION_BOOST, 30}}}, {0, {{PERF_OPERATION_BOOST, 20}}}}}}}}});
    AddScenario(4, {Limit(CPU_B, 5000)});
    scenarios.push_back({1, {{GPU, {{1, {}}, {0, {{PERF_OPERATION_BOOST, 20}, {PERF_OPERATION_LIMIT, 90}}}}}}});
    options.commandLimits.firstHandle = 1025;
    Start();
    std::string const head = "  qos:";
    std::string const columns = "   startTime   endTime  group  boost/limit          value\n     0: ";
    EXPECT_EQ(Dump("--event"), "event(0)\n" + head + " 3" + columns +
                                   "           0        50      0            0             20\n"
                                   "                   0        50      1            0             30\n"
                                   "           0        50      1            1             90\n"
                                   "event(2)\n" +
                                   head + " 1" + columns +
                                   "           0       100      0            0           1500\n" + head + " 1" +
                                   columns + "         100       400      0            0           1200\n");
    EXPECT_EQ(Dump("--scenario"), "\nscenarioId[1] qosNum: 1\n"
                                  "  qosId[3] groupNum(2) <type, value>:\n"
                                  "    grpId[0] valueNum(2): <0, 20> <1, 90> \n"
                                  "    grpId[1] valueNum(0): \n"
                                  "\nscenarioId[4] qosNum: 1\n"
                                  "  qosId[2] groupNum(1) <type, value>:\n"
                                  "    grpId[0] valueNum(1): <1, 4000> \n");
    unsigned long long handle = 0;
    manager->PerfSetMode(PID, PERF_WORK_MODE_BOOST_FIRST, handle);
    EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 1, modeNum(2) <value, handle>:\n<1025, 1> <0,*>\n");

    std::ostringstream version;
    manager->DumpCoreVersion(version);
    EXPECT_EQ(version.str(), "core version: 5.1.0\n");
}

TEST_F(ConfigManagerConsoleTest, DumpsSayWhenTheyBeginAndEnd)
{
    std::string const info = "D PF_CFG_MGR DumpInfo: ";
    Strings const finished{"D PF_CFG_MGR TaskDump: [TaskDump:N] res 1 log finish",
                           "D PF_CFG_MGR TaskDump: [TaskDump:N] res 2 log finish",
                           "D PF_CFG_MGR TaskDump: [TaskDump:N] res 3 log finish"};
    struct Row {
        std::string option;
        Strings lines;
    };
    Row const rows[] = {
        {"--event", {}},
        {"--scenario", {}},
        {"--workMode", {}},
        {"--base_info", Join({{info + "before base_info Dump"}, finished, {info + "before base_info Dump"}})},
        {"--task", Join({{info + "before task Dump"}, finished, {info + "after task Dump"}})},
        {"--limit_history", {info + "Dump limit_history success"}},
    };
    LogCapture log;
    StartVerbose(log);
    std::regex const line(R"(\[TaskDump:\d+\])");
    for (Row const& row : rows) {
        log.Clear();
        std::string const text = Dump(row.option);
        Strings lines = log.Lines("PF_CFG_MGR");
        for (std::string& one : lines) {
            one = std::regex_replace(one, line, "[TaskDump:N]");
        }
        EXPECT_EQ(lines, Join({row.lines, {"D PF_CFG_MGR Dump: Dump info success"}})) << row.option;
        if (row.option == "--base_info") {
            auto const first = text.substr(0, text.find('\n'));
            EXPECT_TRUE(log.Has(ANDROID_LOG_DEBUG, "PF_RES", "PrintBaseInfo", first));
        }
    }
}

TEST_F(ConfigManagerConsoleTest, OnlyTheFirstArgumentCountsAndOnlyToTheLetter)
{
    Start();
    LogCapture log;
    std::ostringstream out;
    EXPECT_EQ(manager->Dump(out, {"--workMode", "--task"}), 0);
    EXPECT_EQ(out.str(), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
    EXPECT_EQ(manager->Dump(out, {}), -1);
    EXPECT_EQ(log.Lines(), Strings{"E PF_CFG_MGR Dump: args is empty."});
    for (std::string const other : {"--Task", "task", "--tasks", "--game_mode_enable"}) {
        out.str("");
        log.Clear();
        EXPECT_EQ(manager->Dump(out, {other, "--task"}), -1);
        EXPECT_EQ(out.str(), "invalid type " + other + "\n");
        EXPECT_EQ(log.Lines(), Strings{"E PF_CFG_MGR Dump: invalid type " + other});
    }
}

TEST_F(ConfigManagerConsoleTest, DumpsAfterAFailedInitReturn)
{
    AddScenario(0, {Boost(5, 1)});
    AddFrequency(12, "last", {100, 900, 500, 400}); // a resource that cannot be built: no worker is started
    LogCapture log;
    EXPECT_EQ(Init(), -1);
    log.Clear();
    EXPECT_EQ(Dump("--task") + Dump("--base_info"), "");
    Strings once;
    for (std::string const name : {"cpu_m", "cpu_b", "gpu"}) {
        once.push_back("E PF_RES WaitLogFinish: fail to get log for res " + name);
    }
    EXPECT_EQ(log.Lines(), Join({once, once}));
    EXPECT_EQ(Dump("--event") + Dump("--scenario"), "");
}

} // namespace
