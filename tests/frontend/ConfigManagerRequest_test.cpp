#include "tests/frontend/PlatformFixture.h"

#include "tests/support/TraceCapture.h"

#include <ctime>

namespace {

using std::chrono::milliseconds;
using ConfigManagerRequestTest = PlatformTest;

std::string const REFUSED = "D PF_CFG_MGR PerfRequest: RequestValidate failed, pid=100, invalidQosId=";

TEST_F(ConfigManagerRequestTest, TimedBoostReachesTheNodesAndEndsByItself)
{
    Start();
    Request(150, {Boost(CPU_M, 1500)});
    EXPECT_EQ(Course(milliseconds(200)), Join({At(0, Pair("cpu_m", 1500, 3000)), At(150, Pair("cpu_m", 300, 2500))}));
}

TEST_F(ConfigManagerRequestTest, LowerBoostTakesOverWhenTheHigherIsReleased)
{
    Start();
    Request(MINUTE, {Boost(CPU_M, 1500)});
    EXPECT_EQ(Wrote(), Pair("cpu_m", 1500, 3000));
    auto const low = Request(MINUTE, {Boost(CPU_M, 1200)}, PID + 1);
    EXPECT_EQ(Wrote(), Strings{});
    EXPECT_EQ(manager->PerfReleaseAll(PID), 0) << "of this process only";
    EXPECT_EQ(Wrote(), Pair("cpu_m", 1200, 3000));
    EXPECT_EQ(manager->PerfRelease(PID + 1, low), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 2500));
}

TEST_F(ConfigManagerRequestTest, TimedLimitCountsOnlyAboveALongOneInTheDefaultMode)
{
    Start();
    auto const timed = Request(MINUTE, {Limit(CPU_M, 1200)});
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 3000));
    auto const base = Request(LONG, {Limit(CPU_M, 1000)});
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 1200));
    manager->PerfRelease(PID, timed);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 1000));
    manager->PerfRelease(PID, base);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 2500));
}

TEST_F(ConfigManagerRequestTest, InfosOfOneResourceFoldIntoOneCommand)
{
    Start();
    Operations const twice{{PERF_OPERATION_BOOST, 999}, {PERF_OPERATION_BOOST, 1000}, {PERF_OPERATION_LIMIT, 2000}};
    Request(LONG, {Ask(CPU_M, twice),
                   Boost(CPU_M, 1500),
                   Limit(CPU_M, 1800),
                   Boost(GPU, 30),
                   Boost(GPU, 40, 1),
                   {GPU, {{1, {}}}},
                   {CPU_B, {}}});
    EXPECT_EQ(Wrote(), Join({Pair("cpu_m", 1000, 2000), {"gpu/floor <- 30", "gpu/power <- 40"}}));

    // Groups named twice within one info: the last one stands alone.
    Request(LONG, {{CPU_B, {{0, {{PERF_OPERATION_LIMIT, 3000}}}, {0, {{PERF_OPERATION_BOOST, 2000}}}}}});
    EXPECT_EQ(Wrote(), Pair("cpu_b", 2000, 4000));
}

TEST_F(ConfigManagerRequestTest, ResourcesThatThePlatformLacksAreLeftOut)
{
    LogCapture log;
    StartVerbose(log);
    Request(LONG, {Boost(0, 1500), Boost(GPU, 30)});
    EXPECT_EQ(log.Lines("PF_CFG_MGR"), Strings{"D PF_CFG_MGR RequestValidate: resource ptr is NULL for qos id 0"});
    EXPECT_EQ(Wrote(), Strings{"gpu/floor <- 30"});

    // With none left the handle stays recorded all the same.
    EXPECT_EQ(TryRequest(LONG, {Boost(48, 1500)}, 7), -1);
    EXPECT_EQ(manager->PerfReleaseAll(7), -1) << "there is nothing to send";
    EXPECT_EQ(manager->PerfReleaseAll(7), 0);
}

TEST_F(ConfigManagerRequestTest, ReleasingAProcessSendsAllThatCanBeSent)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {1700, 1700, 0, 0, MINUTE, ""}; // of its two items the platform has the first only
    qosConfigs.erase(CPU_B);
    Start();
    std::string const idle = Dump("--task");
    for (int position = 0; position < 10; ++position) {
        for (bool const probed : {false, true}) {
            for (int i = 0; i < 10; ++i) {
                EXPECT_EQ(TryRequest(LONG, {Boost(i == position ? CPU_B
                                                  : i % 2 == 0  ? GPU
                                                                : CPU_M,
                                                  20 + 280 * (i % 2))}),
                          i == position ? -1 : 0);
            }
            unsigned long long mode = 0;
            EXPECT_EQ(manager->PerfSetMode(PID, PERF_WORK_MODE_BOOST_FIRST, mode), 0);
            EXPECT_TRUE(!probed || manager->StartProbe(PID) == -1);
            LogCapture const log;
            EXPECT_EQ(manager->PerfReleaseAll(PID), -1) << position;
            std::string const handle = std::to_string(probed ? mode + 1 : mode - 10 + position);
            EXPECT_EQ(log.Lines("PF_CFG_MGR"),
                      (Strings{"E PF_CFG_MGR ReleaseCommand: SendCmdToResources failed for handle " + handle,
                               "E PF_CFG_MGR PerfReleaseAll: ReleaseCommand failed for pid 100, handle " + handle}));
            EXPECT_EQ(Dump("--task"), idle) << position;
            EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
            EXPECT_EQ(manager->PerfReleaseAll(PID), 0) << "the process has no record any more";
            manager->StopProbe(PID);
        }
    }
}

TEST_F(ConfigManagerRequestTest, InfosInFallingOrderFoldAsFastAsInAnyOther)
{
    constexpr unsigned int IDS = 50'000;
    std::vector<PerfRequestInfo> infos;
    for (unsigned int i = 0; i < 2 * IDS; ++i) {
        infos.push_back(Boost(PERF_QOS_ID_COUNT + IDS - 1 - i % IDS, static_cast<int>(i)));
    }
    std::clock_t const before = std::clock();
    auto const request = ConfigManager().RequestFilter(infos);
    EXPECT_LT((std::clock() - before) / CLOCKS_PER_SEC, 5);
    ASSERT_EQ(request.size(), IDS);
    for (unsigned int id = 0; id < IDS; ++id) {
        ASSERT_EQ(request[id].qosId, PERF_QOS_ID_COUNT + id);
        ASSERT_EQ(request[id].groupInfo.at(0).at(PERF_OPERATION_BOOST), static_cast<int>(IDS - 1 - id));
    }
}

TEST_F(ConfigManagerRequestTest, RefusedRequestsSayWhyAndLeaveNothingBehind)
{
    struct Row {
        unsigned int ms;
        std::vector<PerfRequestInfo> infos;
        int pid;
        Strings lines;
    };
    std::string const cfg = "E PF_CFG_MGR RequestValidate: RequestValidate failed for qos id ";
    std::string const res = "E PF_RES RequestValidate: [cpu_m] GroupValidate failed!";
    std::string const group = "E PF_RES GroupValidate: [cpu_m] GroupValueValidate failed for group 0";
    std::string const value = "E PF_GROUP GroupValueValidate: [cpu_m] ";
    std::string const range = "D PF_GROUP OperationValueValidate: [cpu_m] operation value";
    Strings const invalid{cfg + "1", REFUSED + "48"};
    Strings const base{"E PF_CFG_MGR PreHandleEasBaseCommand: invalid set base command!",
                       "E PF_CFG_MGR PerfRequest: PreHandleEasBaseCommand failed"};
    std::vector<PerfRequestInfo> const good{Boost(CPU_M, 1500)};
    PerfRequestInfo const easBase = Boost(PERF_QOS_EAS_BASE, 1);
    Row const rows[] = {
        {19, good, PID, {"E PF_CFG_MGR PerfRequest: duration(19) out of range(20, 60000)"}},
        {60001, good, PID, {"E PF_CFG_MGR PerfRequest: duration(60001) out of range(20, 60000)"}},
        {LONG, {}, PID, {REFUSED + "48"}},
        {100, {{CPU_M, {{0, {}}}}, {GPU, {}}}, PID, {REFUSED + "48"}},
        {100,
         {Boost(CPU_M, 1500, 1)},
         PID,
         Join({{"E PF_RES GroupValidate: [cpu_m] invalid group id: 1", res}, invalid})},
        {100,
         {Boost(CPU_M, 1500), Boost(CPU_M, 1500, 1)},
         PID,
         Join({{"E PF_RES RequestValidate: [cpu_m] invalid group num: 2"}, invalid})},
        {100,
         {Boost(CPU_M, 299)},
         PID,
         Join({{range + "(299) less than avl min(300)", value + "invalid operation value: 299", group, res}, invalid})},
        {LONG,
         {Limit(CPU_M, 3001)},
         PID,
         Join({{range + "(3001) larger than avl max(3000)", value + "invalid operation value: 3001", group, res},
               invalid})},
        {LONG,
         {Ask(CPU_M, {{PERF_OPERATION_BOOST, 1500}, {PERF_OPERATION_LIMIT, 1499}})},
         PID,
         Join({{value + "boost value 1500 larger than limit value 1499", group, res}, invalid})},
        {LONG,
         {Ask(CPU_M, {{static_cast<PerfOperationType>(2), 1500}})},
         PID,
         Join({{"E PF_GROUP CheckOperationType: [cpu_m] invalid operation type: 2", value + "CheckOperationType failed",
                group, res},
               invalid})},
        // A bad part refuses the whole, and the last resource that the platform lacks is named.
        {LONG,
         {Boost(GPU, 30), Boost(CPU_M, 1500, 1), Boost(0, 1)},
         PID,
         {"D PF_CFG_MGR RequestValidate: resource ptr is NULL for qos id 0",
          "E PF_RES GroupValidate: [cpu_m] invalid group id: 1", res, cfg + "1", REFUSED + "0"}},
        {100, {easBase}, PID, base},
        {LONG, {easBase, Boost(CPU_M, 1500)}, PID, base},
        {LONG,
         good,
         0,
         {"E PF_CMD_MGR RequestHandle: invalid pid: 0", "E PF_CFG_MGR PerfRequest: RequestHandle failed for pid 0"}},
        {100,
         good,
         -5,
         {"E PF_CMD_MGR RequestHandle: invalid pid: -5", "E PF_CFG_MGR PerfRequest: RequestHandle failed for pid -5"}},
    };
    options.commandLimits.maxTotalHandleNum = 3;
    LogCapture log;
    StartVerbose(log);
    for (Row const& row : rows) {
        log.Clear();
        EXPECT_EQ(TryRequest(row.ms, row.infos, row.pid), -1);
        EXPECT_EQ(log.Lines(), row.lines);
    }
    EXPECT_EQ(Wrote(), Strings{});

    for (unsigned int const accepted : {20u, 60000u, 0u}) {
        log.Clear();
        EXPECT_EQ(manager->PerfRelease(PID, Request(accepted, good)), 0) << accepted;
        EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 0u);
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(TryRequest(LONG, good), 0) << "no refused request may hold a handle";
    }
    EXPECT_EQ(TryRequest(LONG, good), -1);
}

TEST_F(ConfigManagerRequestTest, ValuesOutOfRangeAreClampedWhereConfigured)
{
    Start();
    Request(LONG, {Ask(CPU_B, {{PERF_OPERATION_BOOST, -1}, {PERF_OPERATION_LIMIT, 399}})});
    EXPECT_EQ(Wrote(), Pair("cpu_b", 400, 400));
    manager->PerfReleaseAll(PID);
    Request(MINUTE, {Boost(CPU_B, 5000)});
    EXPECT_EQ(Wrote(), Join({Pair("cpu_b", 400, 4000), Pair("cpu_b", 4000, 4000)}));
}

TEST_F(ConfigManagerRequestTest, ExhaustedQuotasRefuseUntilSomethingIsReleased)
{
    struct Row {
        CommandLimits limits;
        std::vector<int> held; ///< processes, one handle each
        int refused;
        std::string line;
    };
    std::string const alloc = "E PF_CMD_MGR AllocHandleByPid: ";
    Row const rows[] = {
        {{8, 2, 8, 0, 1}, {6, 5, 5}, 5, alloc + "handle num in one process reach maximum: 2"},
        {{2, 8, 8, 0, 1}, {6, 5}, 7, alloc + "process num reach maximum: 2"},
        {{8, 8, 2, 0, 1}, {6, 5}, 5, alloc + "total handle num reach maximum: 2"},
    };
    LogCapture log;
    for (Row const& row : rows) {
        options.commandLimits = row.limits;
        Start();
        unsigned long long handle = 0;
        for (int const pid : row.held) {
            handle = Request(LONG, {Boost(GPU, 30)}, pid);
        }
        log.Clear();
        EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 90)}, row.refused), -1);
        std::string const pid = std::to_string(row.refused);
        EXPECT_EQ(log.Lines(), (Strings{row.line, "E PF_CMD_MGR RequestHandle: alloc new handle failed for pid " + pid,
                                        "E PF_CFG_MGR PerfRequest: RequestHandle failed for pid " + pid}));
        EXPECT_EQ(manager->PerfRelease(row.held.back(), handle), 0);
        EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 30)}, row.refused), 0);
        EXPECT_EQ(Wrote(), Strings{"gpu/floor <- 30"});
        manager.reset();
    }
}

TEST_F(ConfigManagerRequestTest, ReleasesOfWhatIsNotHeldAreQuiet)
{
    LogCapture log;
    StartVerbose(log);
    auto const handle = Request(LONG, {Boost(CPU_M, 1500)});
    EXPECT_EQ(Wrote(), Pair("cpu_m", 1500, 2500));
    log.Clear();
    EXPECT_EQ(manager->PerfRelease(PID, handle + 1), 0);
    EXPECT_EQ(manager->PerfRelease(PID + 1, handle), 0) << "somebody else's handle";
    EXPECT_EQ(manager->PerfRelease(-1, handle), 0);
    EXPECT_EQ(manager->PerfReleaseAll(PID + 1), 0);
    EXPECT_EQ(manager->PerfReleaseAll(-1), 0);
    EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 2u) << "only for a process that there cannot be";
    EXPECT_EQ(Wrote(), Strings{});
    EXPECT_EQ(manager->PerfRelease(PID, handle), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 2500));
}

TEST_F(ConfigManagerRequestTest, EasBaseValuesReplaceTheDefaultsAndAreNotReleased)
{
    AddEas();
    Start();
    EXPECT_EQ(Request(LONG, {Boost(PERF_QOS_EAS_BASE, 2), Boost(PERF_QOS_EAS_BASE, 1, 1)}), NO_HANDLE);
    EXPECT_EQ(Wrote(), (Strings{"eas/0 <- 40", "eas/1 <- 20", "eas/global <- 1"}));
    EXPECT_EQ(manager->PerfRelease(PID, NO_HANDLE), 0);
    EXPECT_EQ(manager->PerfReleaseAll(PID), 0);
    EXPECT_EQ(Wrote(), Strings{});

    LogCapture log;
    EXPECT_EQ(TryRequest(LONG, {Limit(PERF_QOS_EAS_BASE, 1)}), -1);
    EXPECT_EQ(log.Lines(),
              (Strings{"E PF_GROUP CheckOperationType: [eas0] PERF_COMMAND_BASE_SET long term limit not allowed",
                       "E PF_GROUP GroupValueValidate: [eas0] CheckOperationType failed",
                       "E PF_RES GroupValidate: [eas] GroupValueValidate failed for group 0",
                       "E PF_EAS_RES RequestValidate: [eas] GroupValidate failed",
                       "E PF_CFG_MGR RequestValidate: RequestValidate failed for qos id 9"}));
    Request(LONG, {Boost(PERF_QOS_EAS_BASE, 0)});
    EXPECT_EQ(Wrote(), (Strings{"eas/0 <- 0", "eas/global <- 0"}));
}

TEST_F(ConfigManagerRequestTest, SuspendedResourceWritesItsPairOnceWhenResumed)
{
    Start();
    EXPECT_EQ(manager->PerfSetSuspend({1, CPU_M}), 0);
    Request(LONG, {Boost(CPU_M, 1500)});
    Request(LONG, {Limit(CPU_M, 2000)});
    EXPECT_EQ(Wrote(), Strings{});
    EXPECT_EQ(sandbox.OpenDescriptors("cpu_m/max"), 0);
    EXPECT_EQ(manager->PerfSetSuspend({0, CPU_M}), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 1500, 2000));
}

TEST_F(ConfigManagerRequestTest, EveryRequestIsTracedAsItWasAsked)
{
    TraceCapture trace;
    Start();
    Request(LONG, {Ask(CPU_M, {{PERF_OPERATION_LIMIT, 1200}, {PERF_OPERATION_BOOST, 800}}),
                   Boost(CPU_M, 900),
                   {GPU, {{0, {{PERF_OPERATION_BOOST, 30}}}, {1, {}}}}});
    Settle();
    EXPECT_EQ(TryRequest(19, {Ask(PERF_QOS_EAS_BASE, {{static_cast<PerfOperationType>(7), -2}}), {5, {}}}), -1);
    EXPECT_EQ(TryRequest(LONG, {}), -1);
    EXPECT_EQ(trace.Labels(), (Strings{
                                  "velquist_log:request {1 [0 1:1200 0:800]} {1 [0 0:900]} {3 [0 0:30] [1]}",
                                  "velquist_log:cpu_m write freq: 800~1200, mode=0, suspend=0",
                                  "velquist_log:request {45 [0 7:-2]} {5}",
                                  "velquist_log:request",
                              }));
    EXPECT_EQ(trace.OpenSlices(), 0);
}

} // namespace
