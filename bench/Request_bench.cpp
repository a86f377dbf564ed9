// SPDX-License-Identifier: Apache-2.0

// The request path as a client sees it: what a touch or a scroll pays in the calling thread.

#include "bench/BenchPlatform.h"
#include "command/CommandManager.h"
#include "sys/PerfTime.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>

namespace {

/** A long-term request and its release, range(0) resources each. */
void BM_RequestAndRelease(benchmark::State& state)
{
    auto const resources = static_cast<unsigned int>(state.range(0));
    BenchPlatform platform(resources);
    auto const infos = BenchPlatform::Boost(resources, 1500);
    if (!platform.IsReady()) {
        state.SkipWithError("Init failed");
        return;
    }
    for (auto _ : state) {
        unsigned long long handle = 0;
        benchmark::DoNotOptimize(platform.Manager().PerfRequest(100, 0, infos, handle));
        static_cast<void>(platform.Manager().PerfRelease(100, handle));
    }
    platform.Settle();
}
BENCHMARK(BM_RequestAndRelease)->Arg(1)->Arg(3)->Arg(8);

/** The same with range(0) outstanding long-term handles of other processes in the tables. */
void BM_RequestAmongOutstanding(benchmark::State& state)
{
    BenchPlatform platform(1);
    auto const infos = BenchPlatform::Boost(1, 1500);
    unsigned long long handle = 0;
    for (int i = 0; i < state.range(0); ++i) {
        static_cast<void>(platform.Manager().PerfRequest(1000 + i % 500, 0, infos, handle));
    }
    platform.Settle();
    for (auto _ : state) {
        benchmark::DoNotOptimize(platform.Manager().PerfRequest(100, 0, infos, handle));
        static_cast<void>(platform.Manager().PerfRelease(100, handle));
    }
    platform.Settle();
}
BENCHMARK(BM_RequestAmongOutstanding)->Arg(0)->Arg(100)->Arg(4000);

/** A long-term request and its release when range(0) handles have just expired. */
void BM_RequestAmongExpired(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        CommandManager manager;
        PerfTimePoint const now = PerfTime::Now();
        unsigned long long handle = 0;
        for (int i = 0; i < state.range(0); ++i) {
            CommandWrapper timed;
            timed.cmdType = PERF_COMMAND_SHORT_START;
            timed.endTime = now;
            static_cast<void>(manager.RequestHandle(1000 + i % 16, now - std::chrono::seconds(1), timed, handle));
        }
        CommandWrapper unlimited;
        unlimited.cmdType = PERF_COMMAND_LONG_START;
        state.ResumeTiming();
        benchmark::DoNotOptimize(manager.RequestHandle(100, PerfTime::Now(), unlimited, handle));
        benchmark::DoNotOptimize(manager.BuildReleaseCommand(100, handle, unlimited));
        state.PauseTiming();
        benchmark::DoNotOptimize(manager.TotalHandleNum());
        state.ResumeTiming();
    }
}
BENCHMARK(BM_RequestAmongExpired)->Arg(8000)->Iterations(20)->Unit(benchmark::kMicrosecond);

/** A release that finds nothing, as after an expiry. */
void BM_UnknownHandleRelease(benchmark::State& state)
{
    BenchPlatform platform(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(platform.Manager().PerfRelease(100, 123456789));
    }
}
BENCHMARK(BM_UnknownHandleRelease);

std::unique_ptr<BenchPlatform> g_shared;

/** Several client threads on one library. */
void BM_ConcurrentClients(benchmark::State& state)
{
    if (state.thread_index() == 0) {
        g_shared = std::make_unique<BenchPlatform>(3);
    }
    auto const infos = BenchPlatform::Boost(3, 1500);
    int const pid = 100 + state.thread_index();
    for (auto _ : state) {
        unsigned long long handle = 0;
        benchmark::DoNotOptimize(g_shared->Manager().PerfRequest(pid, 0, infos, handle));
        static_cast<void>(g_shared->Manager().PerfRelease(pid, handle));
    }
    if (state.thread_index() == 0) {
        g_shared.reset();
    }
}
BENCHMARK(BM_ConcurrentClients)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

} // namespace
