// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include <cutils/trace.h>

namespace {

using ConfigManagerRequestTest = PlatformTest;

/** What is traced, in place of the system's trace. In virtual time one thread goes on at a time. */
Strings traced;

std::string const REFUSED = "D PF_CFG_MGR PerfRequest: RequestValidate failed, pid=100, invalidQosId=";

TEST_F(ConfigManagerRequestTest, RefusedRequestsSayWhyAndLeaveNothingBehind)
{
    std::string const cfg = "E PF_CFG_MGR RequestValidate: RequestValidate failed for qos id ";
    std::string const res = "E PF_RES RequestValidate: [cpu_m] GroupValidate failed!";
    std::string const group = "E PF_RES GroupValidate: [cpu_m] GroupValueValidate failed for group 0";
    std::string const value = "E PF_GROUP GroupValueValidate: [cpu_m] ";
    std::string const range = "D PF_GROUP OperationValueValidate: [cpu_m] operation value";
    Strings const invalid{cfg + "1", REFUSED + "48"};
    std::vector<PerfRequestInfo> const good{Boost(CPU_M, 1500)};
    PerfRequestInfo const easBase = Boost(PERF_QOS_EAS_BASE, 1);
    options.commandLimits.maxTotalHandleNum = 3;
    LogCapture log;
    StartVerbose(log);
    auto const refuses = [&](unsigned int ms, std::vector<PerfRequestInfo> const& infos, Strings const& lines,
                             int pid = PID) {
        log.Clear();
        EXPECT_EQ(TryRequest(ms, infos, pid), -1);
        EXPECT_EQ(log.Lines(), lines);
    };
    refuses(19, good, {"E PF_CFG_MGR PerfRequest: duration(19) out of range(20, 60000)"});
    refuses(60001, good, {"E PF_CFG_MGR PerfRequest: duration(60001) out of range(20, 60000)"});
    refuses(LONG, {}, {REFUSED + "48"});
    refuses(100, {{CPU_M, {{0, {}}}}, {GPU, {}}}, {REFUSED + "48"});
    refuses(100, {Boost(CPU_M, 1500, 1)},
            Join({{"E PF_RES GroupValidate: [cpu_m] invalid group id: 1", res}, invalid}));
    refuses(100, {Boost(CPU_M, 1500), Boost(CPU_M, 1500, 1)},
            Join({{"E PF_RES RequestValidate: [cpu_m] invalid group num: 2"}, invalid}));
    refuses(
        100, {Boost(CPU_M, 299)},
        Join({{range + "(299) less than avl min(300)", value + "invalid operation value: 299", group, res}, invalid}));
    refuses(LONG, {Limit(CPU_M, 3001)},
            Join({{range + "(3001) larger than avl max(3000)", value + "invalid operation value: 3001", group, res},
                  invalid}));
    refuses(LONG, {Ask(CPU_M, {{PERF_OPERATION_BOOST, 1500}, {PERF_OPERATION_LIMIT, 1499}})},
            Join({{value + "boost value 1500 larger than limit value 1499", group, res}, invalid}));
    refuses(LONG, {Ask(CPU_M, {{static_cast<PerfOperationType>(2), 1500}})},
            Join({{"E PF_GROUP CheckOperationType: [cpu_m] invalid operation type: 2",
                   value + "CheckOperationType failed", group, res},
                  invalid}));
    // A bad part refuses the whole, and the last resource that the platform lacks is named.
    refuses(LONG, {Boost(GPU, 30), Boost(CPU_M, 1500, 1), Boost(0, 1)},
            {"D PF_CFG_MGR RequestValidate: resource ptr is NULL for qos id 0",
             "E PF_RES GroupValidate: [cpu_m] invalid group id: 1", res, cfg + "1", REFUSED + "0"});
    Strings const base{"E PF_CFG_MGR PreHandleEasBaseCommand: invalid set base command!",
                       "E PF_CFG_MGR PerfRequest: PreHandleEasBaseCommand failed"};
    refuses(100, {easBase}, base);
    refuses(LONG, {easBase, Boost(CPU_M, 1500)}, base);
    for (int const pid : {0, -5}) {
        std::string const shown = std::to_string(pid);
        refuses(100, good,
                {"E PF_CMD_MGR RequestHandle: invalid pid: " + shown,
                 "E PF_CFG_MGR PerfRequest: RequestHandle failed for pid " + shown},
                pid);
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

} // namespace

// In an executable these stand before the platform library's own.
extern "C" {
__attribute__((visibility("default"))) void atrace_begin_body(char const* name)
{
    traced.emplace_back(name);
}
__attribute__((visibility("default"))) void atrace_end_body()
{
    traced.emplace_back("end");
}
}

TEST_F(ConfigManagerRequestTest, EveryRequestIsTracedAsItWasAsked)
{
    traced.clear();
    Start();
    Settle();
    auto const tags = std::exchange(atrace_enabled_tags, ATRACE_TAG_GRAPHICS);
    Request(LONG, {Ask(CPU_M, {{PERF_OPERATION_LIMIT, 1200}, {PERF_OPERATION_BOOST, 800}}),
                   Boost(CPU_M, 900),
                   {GPU, {{0, {{PERF_OPERATION_BOOST, 30}}}, {1, {}}}}});
    Settle();
    EXPECT_EQ(TryRequest(19, {Ask(PERF_QOS_EAS_BASE, {{static_cast<PerfOperationType>(7), -2}}), {5, {}}}), -1);
    EXPECT_EQ(TryRequest(LONG, {}), -1);
    atrace_enabled_tags = tags;
    EXPECT_EQ(traced, (Strings{
                          "velquist_log:request {1 [0 1:1200 0:800]} {1 [0 0:900]} {3 [0 0:30] [1]}",
                          "end",
                          "velquist_log:cpu_m write freq: 800~1200, mode=0, suspend=0",
                          "end",
                          "velquist_log:request {45 [0 7:-2]} {5}",
                          "end",
                          "velquist_log:request",
                          "end",
                      }));
}
