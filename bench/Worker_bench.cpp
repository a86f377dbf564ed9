// What happens behind the call: from the request to the node, and how often a worker wakes up for it.

#include "bench/BenchPlatform.h"
#include "group/PerfGroup.h"
#include "sandbox/Sandbox.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

/** A group that writes nowhere: the arbitration alone. */
class NullGroup : public PerfGroup {
public:
    using PerfGroup::PerfGroup;
    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>&) const override {}
    void DoConfig(int boost, int limit) override { benchmark::DoNotOptimize(boost + limit); }
};

/** Start and stop of a boost among range(0) others: above them all, or (range(1)) equal to them all. */
void BM_GroupStartStop(benchmark::State& state)
{
    std::string const name = "bench";
    PerfGroupConfig const config(0u, name, 300, 3000, 300, 2500, {"/dev/null"}, CHIP_TYPE_ANY);
    NullGroup group(config, PERF_WORK_MODE_DEFAULT);
    PerfTimePoint const now = std::chrono::steady_clock::now();
    group.UpdateCurrTimePoint(now);
    PerfGroupCommand command{1, {}, now + std::chrono::hours(1), {{PERF_OPERATION_BOOST, 1000}}};
    for (; command.handle <= static_cast<unsigned long long>(state.range(0)); ++command.handle) {
        group.ShortTermStart(command);
    }
    command.operationValueMap = {{PERF_OPERATION_BOOST, state.range(1) != 0 ? 1000 : 2000}};
    for (auto _ : state) {
        group.ShortTermStart(command);
        group.ShortTermStop(command);
    }
}
BENCHMARK(BM_GroupStartStop)->ArgsProduct({{0, 1, 100, 10000}, {0, 1}});

/** From the call of PerfRequest to the last of its three node writes. */
void BM_RequestToNode(benchmark::State& state)
{
    Sandbox sandbox;
    std::string const minNode = sandbox.AddNode("min");
    std::string const maxNode = sandbox.AddNode("max");
    BenchPlatform platform(1, minNode, maxNode);
    auto const infos = BenchPlatform::Boost(1, 1500);
    for (auto _ : state) {
        sandbox.TakeWrites();
        unsigned long long handle = 0;
        auto const begin = std::chrono::steady_clock::now();
        platform.Manager().PerfRequest(100, 0, infos, handle);
        platform.Settle();
        auto const writes = sandbox.TakeWrites();
        if (writes.empty()) {
            state.SkipWithError("nothing was written");
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(writes.back().time - begin).count());
        platform.Manager().PerfRelease(100, handle);
        platform.Settle();
    }
}
BENCHMARK(BM_RequestToNode)->UseManualTime();

/** @return how often the thread of that name went to sleep so far. */
long SleepsOfThread(std::string const& name)
{
    for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string text;
        std::getline(comm, text);
        if (text != name) {
            continue;
        }
        std::ifstream status(task.path() / "status");
        for (std::string key; status >> key;) {
            if (key == "voluntary_ctxt_switches:") {
                long count = 0;
                status >> count;
                return count;
            }
        }
    }
    return -1;
}

/** Commands far enough apart for the worker to sleep in between: it must wake once for each. */
void BM_WakeUpsPerCommand(benchmark::State& state)
{
    BenchPlatform platform(1);
    auto const infos = BenchPlatform::Boost(1, 1500);
    platform.Settle();
    long const before = SleepsOfThread("pf_bench");
    long commands = 0;
    for (auto _ : state) {
        unsigned long long handle = 0;
        platform.Manager().PerfRequest(100, 0, infos, handle);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        platform.Manager().PerfRelease(100, handle);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        commands += 2;
    }
    long const after = SleepsOfThread("pf_bench");
    if (before < 0 || after < 0) {
        state.SkipWithError("the worker was not found");
        return;
    }
    state.counters["wake-ups/command"] = static_cast<double>(after - before) / static_cast<double>(commands);
}
BENCHMARK(BM_WakeUpsPerCommand)->Iterations(200);

} // namespace
