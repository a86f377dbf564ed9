#include "tests/frontend/PlatformFixture.h"

#include "tests/support/TraceCapture.h"

#include <corvane/PfLogon.h>

#include <functional>
#include <tuple>

namespace {

using std::chrono::milliseconds;

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
    /** The launch event: three phases on cpu_m, the first two of one value, and a single one on the GPU. */
    void AddLaunch(unsigned int phaseMs)
    {
        AddEvent(LAUNCH, CPU_M, {{phaseMs, 1500}, {phaseMs, 1500}, {phaseMs, 1800}});
        AddEvent(LAUNCH, GPU, {{phaseMs, 30}});
    }
    void AddProbe(unsigned int startDelay, unsigned int duration)
    {
        AddEvent(0, CPU_M, {{20, 400}}); // without events there is no probe
        probe = {1500, 0, 30, startDelay, duration, "0F"};
    }
    int Mode(unsigned int mode, unsigned long long& handle, int pid = PID)
    {
        return manager->PerfSetMode(pid, mode, handle);
    }
    std::string Modes() { return Dump("--workMode"); }
};

TEST_F(ConfigManagerEntryTest, PhasesFollowEachOtherWithoutADip)
{
    AddLaunch(300);
    Start();
    EXPECT_EQ(manager->PerfEvent(LAUNCH, {1, 500, 7}, ""), 0) << "a third number: the event's own timing";
    EXPECT_EQ(Course(milliseconds(1000)), Join({At(0, Pair("cpu_m", 1500, 3000)),
                                                At(600, Pair("cpu_m", 1800, 3000)),
                                                At(900, Pair("cpu_m", 300, 2500)),
                                                {"0 gpu/floor <- 30", "300 gpu/floor <- 10"}}));
}

TEST_F(ConfigManagerEntryTest, WithADurationOnlyTheFirstPhasesRun)
{
    AddLaunch(100);
    Start();
    EXPECT_EQ(manager->PerfEvent(LAUNCH, {1, 500}, ""), 0);
    EXPECT_EQ(Course(milliseconds(1000)), Join({At(0, Pair("cpu_m", 1500, 3000)),
                                                At(500, Pair("cpu_m", 300, 2500)),
                                                {"0 gpu/floor <- 30", "500 gpu/floor <- 10"}}));
}

TEST_F(ConfigManagerEntryTest, StoppingAnEventEndsItsPhasesBegunOrNot)
{
    AddLaunch(300);
    Start();
    Request(800, {Boost(CPU_M, 700)}); // ends in the middle of what would be the last phase
    EXPECT_EQ(manager->StartEvent(LAUNCH, 0), 0);
    EXPECT_EQ(manager->StartEvent(LAUNCH, MINUTE), 0);
    manager->StopEvent(LAUNCH);
    EXPECT_EQ(Course(milliseconds(1000)), Join({At(0, Pair("cpu_m", 700, 3000)),
                                                At(0, Pair("cpu_m", 1500, 3000)),
                                                At(0, Pair("cpu_m", 700, 3000)),
                                                At(800, Pair("cpu_m", 300, 2500)),
                                                {"0 gpu/floor <- 30", "0 gpu/floor <- 10"}}));
    LogCapture log;
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    manager->StopEvent(LAUNCH);
    EXPECT_EQ(Said(log), Strings{"D PF_CFG_MGR StopEvent: BuildEventReleaseCommand failed"});
}

TEST_F(ConfigManagerEntryTest, ScenariosAreHeldUntilReleased)
{
    AddScenario(5, {Boost(CPU_M, 1500), Limit(CPU_B, 9999)});
    AddScenario(2, {});
    Start();
    unsigned long long handle = 0;
    EXPECT_EQ(manager->PerfSetScenario(PID, 5, handle), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 1500, 2500)) << "the ceiling was clamped to what is in force already";
    EXPECT_EQ(manager->PerfRelease(PID, handle), 0);
    EXPECT_EQ(Wrote(), Pair("cpu_m", 300, 2500));

    for (unsigned int const unknown : {0u, 2u, 6u}) {
        EXPECT_EQ(manager->PerfSetScenario(PID, unknown, handle), -1);
    }
    EXPECT_EQ(Wrote(), Strings{});
}

TEST_F(ConfigManagerEntryTest, HighestModeAskedForIsInForce)
{
    Start();
    Request(LONG, {Boost(CPU_M, 1500), Limit(CPU_M, 1500)});
    Request(LONG, {Limit(CPU_M, 1000)});
    Wrote();
    Strings const rest = {"gpu/floor <- 10", "gpu/power <- 20"};
    auto const everywhere = [&](int frequency) {
        return Join({Pair("cpu_b", 400, 4000), Pair("cpu_m", frequency, frequency), rest});
    };
    LogCapture log;
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    unsigned long long low = 0;
    unsigned long long first = 0;
    unsigned long long second = 0;
    EXPECT_EQ(Mode(PERF_WORK_MODE_DEFAULT, low), 0);
    EXPECT_EQ(Said(log), Strings{"D PF_CFG_MGR PerfSetMode: work mode not change"});
    EXPECT_EQ(Wrote(), Strings{});
    EXPECT_EQ(Mode(PERF_WORK_MODE_BOOST_FIRST, first), 0);
    EXPECT_EQ(Wrote(), everywhere(1500));
    EXPECT_EQ(Mode(PERF_WORK_MODE_LIMIT_FIRST, second, PID + 1), 0);
    EXPECT_EQ(Wrote(), everywhere(1000));
    EXPECT_EQ(Modes(), "\ncurrent mode = 2, modeNum(4) <value, handle>:\n<5, 2> <4, 1> <0,*><3, 0> \n");

    log.Clear();
    EXPECT_EQ(manager->PerfRelease(PID, low), 0);
    EXPECT_EQ(Said(log), (Strings{"D PF_CFG_MGR ReleaseCommand: ReleaseCommand for pid: 100",
                                  "E PF_CFG_MGR ReleaseCommand: work mode not change"}));
    EXPECT_EQ(Wrote(), Strings{});
    EXPECT_EQ(manager->PerfReleaseAll(PID + 1), 0);
    EXPECT_EQ(Wrote(), everywhere(1500));
    EXPECT_EQ(manager->PerfRelease(PID, first), 0);
    EXPECT_EQ(Wrote(), everywhere(1000));

    log.Clear();
    EXPECT_EQ(Mode(3, first), -1);
    EXPECT_EQ(Mode(1, first, 0), -1);
    EXPECT_EQ(Said(log), (Strings{"E PF_CFG_MGR PerfSetMode: invalid work mode id: 3",
                                  "E PF_CFG_MGR PerfSetMode: RequestHandle failed for pid 0"}));
    EXPECT_EQ(Wrote(), Strings{});
}

TEST_F(ConfigManagerEntryTest, ProbeBoostsAndBindsForItsTime)
{
    AddProbe(150, 300);
    LogCapture log;
    StartVerbose(log);
    Strings const course = Join({{"150 binder <- 0F|1234", "450 binder <- FF|1234"},
                                 At(150, Pair("cpu_m", 1500, 3000)),
                                 At(450, Pair("cpu_m", 300, 2500)),
                                 {"150 gpu/floor <- 30", "450 gpu/floor <- 10"}});
    for (int round = 0; round < 2; ++round) { // once it has ended, the thread can be probed again
        EXPECT_EQ(manager->StartProbe(TID), 0);
        EXPECT_EQ(manager->StartProbe(TID), 0);
        EXPECT_EQ(Said(log), Strings{"D PF_CFG_MGR StartProbe: duplicate probe for tid 1234"});
        EXPECT_EQ(Course(milliseconds(450)), course);
        log.Clear();
    }
}

TEST_F(ConfigManagerEntryTest, ProbeStoppedBeforeItsStartWritesNothing)
{
    AddProbe(MINUTE, MINUTE);
    Start();
    EXPECT_EQ(manager->StartProbe(TID), 0);
    manager->StopProbe(TID);
    EXPECT_EQ(manager->StartProbe(TID), 0) << "the thread is free for another one";
    manager->StopProbe(TID);
    LogCapture log;
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    manager->StopProbe(TID);
    EXPECT_EQ(Said(log), Strings{"D PF_CFG_MGR StopProbe: BuildEventReleaseCommand failed"});
    EXPECT_EQ(Course(std::chrono::minutes(3)), Strings{});
}

TEST_F(ConfigManagerEntryTest, ProbeStoppedWhileBoundIsUnboundAtOnce)
{
    AddProbe(0, MINUTE);
    Start();
    EXPECT_EQ(manager->StartProbe(TID), 0);
    EXPECT_EQ(Wrote(), Join({{"binder <- 0F|1234"}, Pair("cpu_m", 1500, 3000), {"gpu/floor <- 30"}}));
    manager->StopProbe(TID);
    EXPECT_EQ(Wrote(), Join({{"binder <- FF|1234"}, Pair("cpu_m", 300, 2500), {"gpu/floor <- 10"}}));

    // After a release of all of its process a probe has nothing left to stop.
    EXPECT_EQ(manager->StartProbe(TID), 0);
    EXPECT_EQ(manager->PerfReleaseAll(TID), 0);
    Settle();
    LogCapture log;
    manager->StopProbe(TID);
    EXPECT_EQ(log.Lines(), (Strings{"E PF_RES_MGR SendCmdToResources: empty command wrapper",
                                    "E PF_CFG_MGR StopProbe: SendCmdToResources failed."}));
}

TEST_F(ConfigManagerEntryTest, AStartThatCannotBeSentSaysSoAndThenLooksWhetherItWasReleasedMeanwhile)
{
    std::string const empty = "E PF_RES_MGR SendCmdToResources: empty command wrapper";
    std::tuple<std::function<int()>, std::function<void()>, std::string> const rows[] = {
        {[this] { return TryRequest(LONG, {Boost(0, 1)}); }, [this] { manager->PerfReleaseAll(PID); },
         "E PF_CFG_MGR PerfRequest: SendCmdToResources failed for pid 100"},
        {[this] { return manager->StartProbe(TID); }, [this] { manager->PerfReleaseAll(TID); },
         "E PF_CFG_MGR StartProbe: SendCmdToResources failed"},
    };
    AddProbe(0, MINUTE);
    probe.cpuM = probe.gpu = 0; // asks for nothing, as the request asks for what the platform lacks
    Start();
    for (auto const& [start, release, failed] : rows) {
        LogCapture log;
        log.OnLine([&, release = release](LogLine const&) {
            log.OnLine(nullptr);
            release(); // the handle is recorded, and its command is just being sent
        });
        EXPECT_EQ(start(), -1);
        Strings const lines = log.Lines();
        ASSERT_GT(lines.size(), 2u) << failed;
        EXPECT_EQ(Strings(lines.end() - 2, lines.end()), (Strings{failed, empty}));
    }
}

TEST_F(ConfigManagerEntryTest, SuspendSkipsMemoryLatencyAndRepeatsOnlyOneResource)
{
    AddMemoryLatency(MEM_LAT);
    AddFrequency(PERF_QOS_ALWAYS_SUSPEND, "always", {0, 10, 1, 9});
    Start();
    LogCapture log;
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    EXPECT_EQ(manager->PerfSetSuspend({7, MEM_LAT, 33, CPU_M, PERF_QOS_ALWAYS_SUSPEND}), 0);
    EXPECT_EQ(Said(log), Strings{"D PF_CFG_MGR PerfSetSuspend: suspend not support memlat !"});
    Request(LONG, {Boost(MEM_LAT, 1), Boost(CPU_M, 1500), Boost(PERF_QOS_ALWAYS_SUSPEND, 5)});
    EXPECT_EQ(Wrote(), (Strings{"mem_lat/monitor <- off", "mem_lat/ratio <- 400"}));
    log.Clear();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(manager->PerfSetSuspend({0, CPU_M, PERF_QOS_ALWAYS_SUSPEND}), 0);
    }
    EXPECT_EQ(Wrote(), Join({Pair("always", 5, 9), Pair("always", 5, 9), Pair("cpu_m", 1500, 2500)}));
    EXPECT_EQ(log.Count(ANDROID_LOG_DEBUG, "PF_RES", "SetSuspend", "[cpu_m] same suspend 0"), 1u);
    EXPECT_EQ(log.Count(ANDROID_LOG_DEBUG, "PF_RES", "SetSuspend", "[always] same suspend 0"), 0u);

    EXPECT_EQ(manager->PerfSetSuspend({}), -1);
    EXPECT_EQ(manager->PerfSetSuspend({1, 14, 16}), -1) << "nobody is left to be suspended";
}

TEST_F(ConfigManagerEntryTest, EveryFormOfTheEventDoor)
{
    struct Row {
        unsigned int id;
        std::vector<unsigned int> params;
        int result;
        bool boosts;
        Strings lines; ///< after that of the message
    };
    std::string const door = "E PF_CFG_MGR PerfEvent: ";
    std::string const suspend = "E PF_CFG_MGR PerfSetSuspend: ";
    Row const rows[] = {
        {LAUNCH, {}, 0, true, {}},
        {LAUNCH, {1}, 0, true, {}},
        {LAUNCH, {1, 60000}, 0, true, {}},
        {LAUNCH, {1, 60000, 7}, 0, true, {}},
        {LAUNCH, {0, 5}, -1, true, {door + "invalid parameter for PerfEvent"}},
        {LAUNCH, {2}, -1, true, {door + "invalid parameter for PerfEvent"}},
        {5, {}, 0, true, {"W PF_CFG_MGR StartEvent: invalid event id: 5"}},
        {LAUNCH, {0}, 0, false, {}},
        {4097, {1, 0, TID}, 0, true, {}},
        {4097, {2, 0, TID}, -1, true, {door + "invalid start notion"}},
        {4097, {0, 0, TID + 1}, 0, true, {}},
        {4097, {0, 0, TID}, 0, false, {}},
        {4097, {1, TID}, -1, false, {door + "invalid probe event request format. size = 2"}},
        {4097, {}, -1, false, {door + "invalid probe event request format. size = 0"}},
        {8192, {0, CPU_M}, 0, false, {}},
        {8192, {1}, -1, false, {suspend + "invalid Set Suspend param size 1"}},
    };
    AddLaunch(60000);
    AddProbe(0, 60000);
    Start();
    LogCapture log;
    for (Row const& row : rows) {
        std::string const call = std::to_string(row.id) + " " + testing::PrintToString(row.params);
        {
            LogSwitch const info(PfLogonNamespace::INFO_BIT);
            EXPECT_EQ(manager->PerfEvent(row.id, row.params, "tap"), row.result) << call;
        }
        EXPECT_EQ(Said(log), Join({{"I PF_CFG_MGR PerfEvent: user message: tap"}, row.lines})) << call;
        std::string const pair = row.boosts ? "final: 1500~3000" : "final: 300~2500";
        EXPECT_NE(Dump("--task").find(pair), std::string::npos) << call;
    }
    log.Clear();
    EXPECT_EQ(manager->PerfEvent(LAUNCH, {2}, "tap"), -1);
    EXPECT_EQ(log.Lines(), Strings{door + "invalid parameter for PerfEvent"}) << "the message only with its switch";
}

TEST_F(ConfigManagerEntryTest, EveryEntryIsTraced)
{
    AddScenario(1, {Boost(GPU, 30)});
    TraceCapture trace;
    Start();
    unsigned long long handle = 0;
    manager->PerfSetScenario(PID, 1, handle);
    manager->PerfSetScenario(PID, 2, handle); // unknown: refused before it is traced
    manager->PerfSetMode(PID, 0, handle);
    manager->PerfSetMode(PID, 9, handle);
    manager->PerfSetSuspend({1, GPU, 44});
    manager->PerfSetSuspend({1});
    manager->PerfEvent(8192, {0, GPU}, "");
    manager->PerfEvent(5, {}, "");
    manager->PerfEvent(4097, {2, 4294967295, 3}, "");
    manager->StartEvent(5, 0);
    manager->StopProbe(3);
    Settle();
    EXPECT_EQ(trace.Labels(), (Strings{
                                  "velquist_log:scenario id=1",
                                  "velquist_log:workMode id=0",
                                  "velquist_log:workMode id=9",
                                  "velquist_log:suspend= 1 3 44",
                                  "velquist_log:eventId=8192 0 3",
                                  "velquist_log:suspend= 0 3",
                                  "velquist_log:eventId=5",
                                  "velquist_log:eventId=4097 2 4294967295 3",
                              }));
}

} // namespace
