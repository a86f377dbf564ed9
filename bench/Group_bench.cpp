// SPDX-License-Identifier: Apache-2.0

// Arbitration alone: what a worker computes between a command and the write.

#include "group/PerfGroup.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace {

/** A group that writes nowhere: the arbitration alone. */
class NullGroup : public PerfGroup {
public:
    using PerfGroup::PerfGroup;
    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>&) const override {}
    void DoConfig(int boost, int limit) override { benchmark::DoNotOptimize(boost + limit); }
};

enum Crowd : long { EQUAL, DISTINCT };

/** The value of the i-th of n; that of the one which comes and goes is n. */
int ValueOf(long i, long n, long crowd)
{
    return static_cast<int>(crowd == EQUAL || i == n ? 100 + n : 100 + 2 * i);
}

/** Start and stop of a boost among range(0) others: all equal to it, or (range(1)) half of them below and half above.
 */
void BM_GroupStartStop(benchmark::State& state)
{
    std::string const name = "bench";
    PerfGroupConfig const config(0u, name, 0, 100000, 0, 100000, {"/dev/null"}, CHIP_TYPE_ANY);
    NullGroup group(config, PERF_WORK_MODE_DEFAULT);
    PerfTimePoint const now = std::chrono::steady_clock::now();
    group.UpdateCurrTimePoint(now);
    PerfGroupCommand command{0, {}, now + std::chrono::hours(1), {{PERF_OPERATION_BOOST, 0}}};
    for (; command.handle < static_cast<unsigned long long>(state.range(0)); ++command.handle) {
        command.operationValueMap[PERF_OPERATION_BOOST] =
            ValueOf(static_cast<long>(command.handle), state.range(0), state.range(1));
        group.ShortTermStart(command);
    }
    command.operationValueMap[PERF_OPERATION_BOOST] = ValueOf(state.range(0), state.range(0), state.range(1));
    for (auto _ : state) {
        group.ShortTermStart(command);
        group.ShortTermStop(command);
    }
}
BENCHMARK(BM_GroupStartStop)->ArgNames({"n", "distinct"})->ArgsProduct({{1, 100, 10000}, {EQUAL, DISTINCT}});

/** The floor of that: coming and going in a multiset of numbers. */
void BM_MultisetStartStop(benchmark::State& state)
{
    std::multiset<int> values;
    for (long i = 0; i < state.range(0); ++i) {
        values.insert(ValueOf(i, state.range(0), state.range(1)));
    }
    int const value = ValueOf(state.range(0), state.range(0), state.range(1));
    for (auto _ : state) {
        values.erase(values.insert(value));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MultisetStartStop)->ArgNames({"n", "distinct"})->ArgsProduct({{1, 100, 10000}, {EQUAL, DISTINCT}});

} // namespace
