// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

namespace {

using ConfigManagerConsoleTest = PlatformTest;

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
    static_cast<void>(manager->PerfSetMode(PID, PERF_WORK_MODE_BOOST_FIRST, handle));
    EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 1, modeNum(2) <value, handle>:\n<1025, 1> <0,*>\n");

    auto const path = [this](std::string const& node) { return sandbox.Path(node); };
    EXPECT_EQ(Dump("--base_info"), "1,cpu_m,0,cpu_m,300,2500,300,2500," + path("cpu_m/min") + "," + path("cpu_m/max") +
                                       "\n2,cpu_b,0,cpu_b,400,4000,400,4000," + path("cpu_b/min") + "," +
                                       path("cpu_b/max") + "\n3,gpu,0,gpu_floor,10,100,10,," + path("gpu/floor") +
                                       ",\n3,gpu,1,gpu_power,20,100,20,," + path("gpu/power") + ",\n");

    std::ostringstream version;
    manager->DumpCoreVersion(version);
    EXPECT_EQ(version.str(), "core version: 5.1.0\n");
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
