// SPDX-License-Identifier: Apache-2.0

// Arbitration alone: what a worker computes between a command and the write.

#include "group/PerfGroup.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include <malloc.h>

namespace {

/** A group that writes nowhere: the arbitration alone. */
class NullGroup : public PerfGroup {
public:
    NullGroup() : PerfGroup({0U, "bench", 0, 100000, 0, 100000, {"/dev/null"}, CHIP_TYPE_ANY}, PERF_WORK_MODE_DEFAULT)
    {
        UpdateCurrTimePoint(PerfTimePoint(std::chrono::hours(1)));
    }
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
    NullGroup group;
    PerfGroupCommand command{0, {}, PerfTimePoint(std::chrono::hours(2)), {{PERF_OPERATION_BOOST, 0}}};
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

/** Touches of 80 ms, ten a second, below a boost that is renewed every half minute: the bytes that they leave. */
void BM_Touches(benchmark::State& state)
{
    NullGroup group;
    PerfTimePoint now(std::chrono::hours(1));
    unsigned long long touch = 0;
    std::size_t const before = mallinfo2().uordblks;
    for (auto _ : state) {
        now += std::chrono::milliseconds(100);
        group.UpdateCurrTimePoint(now);
        group.ShortTermTimeOut(now);
        if (touch % 300 == 0) {
            group.ShortTermStart(
                {2000000 + touch, now, now + std::chrono::seconds(31), {{PERF_OPERATION_BOOST, 2000}}});
        }
        group.ShortTermStart({++touch, now, now + std::chrono::milliseconds(80), {{PERF_OPERATION_BOOST, 1000}}});
    }
    state.counters["bytes"] = static_cast<double>(mallinfo2().uordblks - before);
}
BENCHMARK(BM_Touches)->Iterations(1000000);

/** All phases of an event carry its handle: range(0) of them start, one after the other, and are stopped by one. */
void BM_Phases(benchmark::State& state)
{
    for (auto _ : state) {
        NullGroup group;
        for (auto const operation : {&PerfGroup::ShortTermStart, &PerfGroup::ShortTermStop}) {
            PerfTimePoint begin(std::chrono::hours(1));
            for (long i = 0; i < state.range(0); ++i, begin += std::chrono::milliseconds(20)) {
                (group.*operation)({1, begin, begin + std::chrono::milliseconds(20), {{PERF_OPERATION_BOOST, 1000}}});
            }
        }
    }
}
BENCHMARK(BM_Phases)->Arg(64000)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
