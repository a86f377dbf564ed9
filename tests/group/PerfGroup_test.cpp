// SPDX-License-Identifier: Apache-2.0

#include "group/PerfGroupQue.h"
#include "tests/group/GroupFixture.h"

// What a group makes of sound commands, the naive library of tests/world knows.

TEST(PerfGroup, CommandsThatLackSomethingAreRefusedAndChangeNothing)
{
    int (PerfGroup::*const steps[])(PerfGroupCommand const&) = {&PerfGroup::ShortTermStart, &PerfGroup::ShortTermStop,
                                                                &PerfGroup::LongTermStart, &PerfGroup::LongTermStop,
                                                                &PerfGroup::BaseSet};
    auto const unknown = static_cast<PerfOperationType>(2);
    // What comes of each step: "-" is refused, "." changes nothing, "+" something.
    std::pair<PerfGroupCommand, std::string> const rows[] = {
        {{1, At(0), At(3), Boost(8)}, "+.+.+"},
        {{1, At(0), At(3), Limit(8)}, "+.+.-"}, // a base is a boost
        {{INVALID_HANDLE, At(0), At(3), Boost(8)}, "----+"},
        {{1, At(0), {}, Boost(8)}, "..+.+"}, // it is over
        {{1, At(3), At(1), Boost(8)}, "--+.+"},
        {{1, At(0), At(3), {}}, "-----"},
        {{1, At(0), At(3), {{PERF_OPERATION_BOOST, 8}, {PERF_OPERATION_LIMIT, 9}, {unknown, 8}}}, "-----"},
    };
    for (auto const& [command, expected] : rows) {
        std::string outcome;
        for (auto const step : steps) {
            RecordingGroup group(Range(0, 10, 3, 7), PERF_WORK_MODE_DEFAULT);
            std::string const before = group.Dumped();
            bool const isRefused = (group.*step)(command) != 0;
            bool const isSame = group.Dumped() == before && group.actions.empty();
            EXPECT_TRUE(isSame || !isRefused);
            outcome += isRefused ? "-" : isSame ? "." : "+";
        }
        EXPECT_EQ(outcome, expected) << "handle " << command.handle << ", " << command.operationValueMap.size();
    }
}

namespace {

struct SmallestValue {
    static long long Rank(PerfGroupQueItem const& item) { return item.value; }
};

} // namespace

TEST(PerfGroupQue, DropsWhatHasEndedOnceItHasDoubled)
{
    PerfGroupQue<SmallestValue> queue;
    auto const fill = [&](int first, int last) {
        for (int ms = first; ms <= last; ++ms) {
            PerfGroupQueItem item;
            item.value = -ms;
            item.endTime = At(ms);
            queue.Insert(item);
        }
    };
    fill(1, 256);
    queue.DropEndedIfDoubled(At(100));
    EXPECT_EQ(std::distance(queue.begin(), queue.end()), 256) << "that few may stay";
    fill(257, 257);
    queue.DropEndedIfDoubled(At(100));
    EXPECT_EQ(std::distance(queue.begin(), queue.end()), 157);
    EXPECT_EQ(std::prev(queue.end())->endTime, At(101));
}
