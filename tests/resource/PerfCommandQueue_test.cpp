// SPDX-License-Identifier: Apache-2.0

#include "resource/PerfCommandQueue.h"

#include "resource/PerfResource.h"
#include "sandbox/VirtualTime.h"
#include "tests/group/GroupFixture.h"
#include "tests/support/Random.h"

namespace {

/** Without a worker; its node stands in a list. */
class RecordingResource : public PerfResource {
public:
    RecordingResource() : PerfResource({5, "res", PERF_WORK_MODE_LIMIT_FIRST})
    {
        PerfQosConfig config(name, {Range(0, 10, 3, 7)});
        EXPECT_EQ(InitResource(config), 0);
    }
    int InitGroups(PerfQosConfig& config) override { return BuildGroups<RecordingGroup>(config) == nullptr ? 0 : -1; }

    void Apply(PerfCommandQueue commands)
    {
        while (!commands.IsEmpty()) {
            CommandDispath(commands.Pop());
        }
    }
    std::string Node() const
    {
        Strings const& actions = static_cast<RecordingGroup const&>(*groups[0]).actions;
        auto const isWrite = [](std::string const& action) { return action != "close"; };
        auto const last = std::find_if(actions.rbegin(), actions.rend(), isWrite);
        return last == actions.rend() ? "3~7" : *last; // the base, before anybody asked
    }
};

/** Draws commands that begin now. */
class Flood {
public:
    /**
     * @param limits whether there are long-term limits. In the default mode a short-term limit counts according to
     * those that stood when something last changed, so that its values hang on what came to nothing, too.
     */
    Flood(Random& its, bool limits, PerfTimePoint const& time) : random(its), hasLongLimits(limits), now(time) {}

    PerfCommandQueue Draw(int count)
    {
        PerfCommandQueue queue;
        for (int i = 0; i < count; ++i) {
            queue.Push(AnyCommand());
        }
        return queue;
    }

private:
    PerfCommand AnyCommand()
    {
        int const dice = random.Below(20);
        if (dice < 14 && (dice < 8 || !outstanding.empty())) {
            return dice < 8 ? Start() : Stop();
        }
        auto item = std::make_shared<PerfCommandItem>();
        if (dice < 16) {
            return {random.Chance(2) ? PERF_COMMAND_SUSPEND_ON : PERF_COMMAND_SUSPEND_OFF, item};
        }
        if (dice < 18) {
            item->workMode = static_cast<PerfWorkMode>(hasLongLimits ? 1 + random.Below(2) : random.Below(3));
            return {PERF_COMMAND_MODE_START, item};
        }
        item->handle = NO_HANDLE;
        item->groupInfo[0] = Boost(random.Below(11));
        return {PERF_COMMAND_BASE_SET, item};
    }

    PerfCommand Start()
    {
        auto item = std::make_shared<PerfCommandItem>();
        bool const isLong = random.Chance(2);
        item->handle = ++handle;
        item->startTime = now;
        item->endTime = isLong ? PerfTimePoint{} : now + std::chrono::milliseconds(1 + random.Below(40));
        bool const isBoost = random.Chance(2) || (isLong && !hasLongLimits);
        item->groupInfo[0] = isBoost ? Boost(random.Below(11)) : Limit(random.Below(11));
        if (!outstanding.empty() && random.Chance(6)) { // started once more, and to be stopped once more
            item = random.Pick(outstanding);
        }
        outstanding.push_back(item);
        return {item->endTime == PerfTimePoint{} ? PERF_COMMAND_LONG_START : PERF_COMMAND_SHORT_START, item};
    }

    PerfCommand Stop()
    {
        std::swap(random.Pick(outstanding), outstanding.back());
        auto const item = outstanding.back();
        outstanding.pop_back();
        return {item->endTime == PerfTimePoint{} ? PERF_COMMAND_LONG_STOP : PERF_COMMAND_SHORT_STOP, item};
    }

    Random& random;
    bool const hasLongLimits;
    PerfTimePoint const now;
    unsigned long long handle = 0;
    std::vector<std::shared_ptr<PerfCommandItem>> outstanding;
};

TEST(PerfCommandQueue, ACompactedQueueLeavesTheNodeWithWhatTheWholeOneWouldHaveLeft)
{
    VirtualTime time;
    std::size_t left = 0;
    for (unsigned int seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Flood flood(random, seed % 2 != 0, time.Now());
        RecordingResource whole;
        RecordingResource compacted;
        PerfCommandQueue const before = flood.Draw(random.Below(30));
        PerfCommandQueue queue = flood.Draw(5 + random.Below(120));
        whole.Apply(before);
        compacted.Apply(before);
        time.AdvanceBy(std::chrono::milliseconds(random.Below(30))); // now a few commands may have ended
        whole.Apply(queue);
        left += queue.Compact(time.Now()).size();
        compacted.Apply(queue);
        for (int ms = 0; ms < 50; ms += 3) {
            ASSERT_EQ(whole.Node(), compacted.Node()) << "after " << ms;
            time.AdvanceBy(std::chrono::milliseconds(3));
            whole.HandleCommandTimeOut();
            compacted.HandleCommandTimeOut();
        }
    }
    EXPECT_GT(left, 3000u * 20);
}

TEST(PerfCommandQueue, OnlyWhatIsOutstandingIsKept)
{
    PerfCommandQueue queue;
    std::size_t compactions = 0;
    auto const push = [&](PerfCommandType type, std::shared_ptr<PerfCommandItem> const& item) {
        queue.Push({type, item});
        if (queue.NeedsTime() && queue.IsCompactionDue(At(1))) {
            ++compactions;
            queue.Compact(At(1));
        }
        ASSERT_LE(queue.Size(), PerfCommandQueue::BOUND);
    };
    auto const kept = std::make_shared<PerfCommandItem>();
    push(PERF_COMMAND_LONG_START, kept);
    push(PERF_COMMAND_GET_LOG, std::make_shared<PerfCommandItem>());
    constexpr unsigned int ROUNDS = 100'000;
    for (unsigned int i = 0; i < ROUNDS; ++i) {
        auto const item = std::make_shared<PerfCommandItem>();
        item->groupInfo[i % 8] = Boost(1);
        push(PERF_COMMAND_LONG_START, item);
        push(PERF_COMMAND_BASE_SET, item);
        push(PERF_COMMAND_MODE_START, item);
        push(PERF_COMMAND_SUSPEND_ON, item);
        push(PERF_COMMAND_SHORT_START, item);
        push(PERF_COMMAND_SUSPEND_OFF, item);
        push(PERF_COMMAND_LONG_STOP, item);
    }
    EXPECT_LE(compactions, 7 * ROUNDS / (PerfCommandQueue::BOUND - 100));
    queue.Compact(At(1));
    EXPECT_EQ(queue.Size(), 2u + 8 + 1 + 2);
    EXPECT_EQ(queue.Pop().cmdItem, kept);
    EXPECT_EQ(queue.Pop().cmdType, PERF_COMMAND_GET_LOG);
}

TEST(PerfCommandQueue, IsHeldToALowerBoundOnceTheOldestHasWaitedForASecond)
{
    PerfCommandQueue queue;
    std::size_t noted = 0;
    auto const push = [&](std::size_t size, PerfTimePoint const& now) {
        while (queue.Size() < size) {
            queue.Push({PERF_COMMAND_GET_LOG, std::make_shared<PerfCommandItem>()});
            if (queue.NeedsTime()) {
                ++noted;
                queue.NoteTime(now);
            }
        }
    };
    push(PerfCommandQueue::LATE_BOUND, At(0));
    push(PerfCommandQueue::LATE_BOUND + 1, At(100));
    EXPECT_FALSE(queue.IsCompactionDue(At(1100)));
    EXPECT_TRUE(queue.IsCompactionDue(At(1101)));
    EXPECT_EQ(queue.Compact(At(1101)).size(), 0U) << "dumps stay";
    push(130, At(1200));
    EXPECT_FALSE(queue.IsCompactionDue(At(9999))) << "it has not doubled";
    push(131, At(1200));
    EXPECT_TRUE(queue.IsCompactionDue(At(9999)));
    while (queue.Size() > 10) {
        queue.Pop();
    }
    push(PerfCommandQueue::LATE_BOUND + 1, At(10'000));
    EXPECT_FALSE(queue.IsCompactionDue(At(11'000))) << "those that were seen to wait have gone";
    EXPECT_TRUE(queue.IsCompactionDue(At(11'001))) << "it has doubled since the fewest waited";
    while (!queue.IsEmpty()) {
        queue.Pop();
    }
    noted = 0;
    push(PerfCommandQueue::BOUND, At(20'000));
    EXPECT_EQ(noted, PerfCommandQueue::BOUND / PerfCommandQueue::LATE_BOUND - 1) << "not for each command";
    EXPECT_FALSE(queue.IsCompactionDue(At(20'000))) << "a worker that keeps up is left nothing out";
    push(PerfCommandQueue::BOUND + 1, At(20'000));
    EXPECT_TRUE(queue.IsCompactionDue(At(20'000)));
}

} // namespace
