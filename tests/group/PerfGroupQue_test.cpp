// SPDX-License-Identifier: Apache-2.0

#include "group/PerfGroupQue.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

struct SmallestValue {
    static long long Rank(PerfGroupQueItem const& item) { return item.value; }
};

bool AreSame(PerfGroupQueItem const& left, PerfGroupQueItem const& right)
{
    return left.handle == right.handle && left.value == right.value && left.endTime == right.endTime;
}

/** The queue beside a list that is searched from its beginning; items are told apart by their ends. */
TEST(PerfGroupQue, DoesAsASortedListWhateverIsQueued)
{
    for (unsigned int seed = 1; seed <= 40; ++seed) {
        Random random(seed);
        int const handles = 1 + random.Below(seed % 4 == 0 ? 3000 : 4);
        int const values = 1 + random.Below(seed % 3 == 0 ? 3000 : 3);
        PerfGroupQue<SmallestValue> queue;
        std::vector<PerfGroupQueItem> list;
        std::size_t shortest = 0;
        for (int step = 0; step < 3000; ++step) {
            PerfGroupQueItem item;
            item.handle = static_cast<unsigned long long>(random.Below(handles));
            item.value = random.Below(values);
            item.endTime = PerfTimePoint(std::chrono::nanoseconds(step));
            auto const isRemoved = [&](PerfGroupQueItem const& queued) {
                return queued.handle == item.handle && queued.value == item.value;
            };
            auto const isEnded = [&](PerfGroupQueItem const& queued) { return queued.endTime <= item.endTime; };
            int const dice = random.Below(step / 500 % 2 == 0 ? 8 : 30); // it grows, and shrinks less often
            if (dice == 0 && !list.empty()) {
                ASSERT_TRUE(AreSame(queue.TakeFirst(), list.front())) << "seed " << seed;
                list.erase(list.begin());
            } else if (dice < 4) {
                auto const found = std::find_if(list.begin(), list.end(), isRemoved);
                ASSERT_EQ(queue.Remove(item), found != list.end()) << "seed " << seed;
                if (found != list.end()) {
                    list.erase(found);
                }
            } else if (dice == 4 && random.Chance(20)) {
                queue.DropEndedIfDoubled(item.endTime);
                if (list.size() > std::max<std::size_t>(256, 2 * shortest)) {
                    list.erase(std::remove_if(list.begin(), list.end(), isEnded), list.end());
                    shortest = list.size();
                }
            } else {
                item.endTime += std::chrono::nanoseconds(random.Below(1000));
                queue.Insert(item);
                auto const isAbove = [&](PerfGroupQueItem const& queued) { return queued.value > item.value; };
                list.insert(std::find_if(list.begin(), list.end(), isAbove), item);
            }
            shortest = std::min(shortest, list.size());
            if (step % 50 == 0) {
                ASSERT_TRUE(std::equal(queue.begin(), queue.end(), list.begin(), list.end(), AreSame)) << seed;
            }
        }
    }
}

} // namespace
