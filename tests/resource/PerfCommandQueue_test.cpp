// SPDX-License-Identifier: Apache-2.0

#include "resource/PerfCommandQueue.h"

#include "tests/group/GroupFixture.h"
#include "tests/support/Random.h"

#include <optional>

namespace {

/**
 * Two groups with one node each: one applies every command that waits, the other what a compaction leaves of them.
 * In the default mode a short-term limit counts according to the long-term ones that stood when something last changed,
 * so that its values hang on what came to nothing, too: there no long-term limits are played.
 */
class Compacted {
public:
    explicit Compacted(unsigned int seed) : random(seed), defaultMode(seed % 2 == 0)
    {
        Fill(Below(30));
        for (; !queue.IsEmpty();) { // what was applied before the flood
            PerfCommand const command = queue.Pop();
            Apply(whole, command);
            Apply(compacted, command);
        }
        Fill(5 + Below(120));
    }

    /** Applies both; now a few commands may have ended. */
    void Drain()
    {
        now = At(Below(30));
        PerfCommandQueue copy = queue;
        left = queue.Compact(now).size();
        size = queue.Size();
        while (!copy.IsEmpty()) {
            Apply(whole, copy.Pop());
        }
        while (!queue.IsEmpty()) {
            Apply(compacted, queue.Pop());
        }
    }

    void TimeOut(PerfTimePoint const& time)
    {
        whole.ShortTermTimeOut(time);
        compacted.ShortTermTimeOut(time);
    }

    static std::string Node(RecordingGroup const& group)
    {
        auto const isWrite = [](std::string const& action) { return action != "close"; };
        auto const last = std::find_if(group.actions.rbegin(), group.actions.rend(), isWrite);
        return last == group.actions.rend() ? "3~7" : *last; // the base, before anybody asked
    }

    RecordingGroup whole{Range(0, 10, 3, 7), PERF_WORK_MODE_LIMIT_FIRST};
    RecordingGroup compacted{Range(0, 10, 3, 7), PERF_WORK_MODE_LIMIT_FIRST};
    std::size_t left = 0;
    std::size_t size = 0;
    std::vector<std::shared_ptr<PerfCommandItem>> outstanding;

private:
    int Below(int bound) { return random.Below(bound); }

    void Fill(int count)
    {
        for (int i = 0; i < count; ++i) {
            queue.Push(AnyCommand());
        }
    }

    PerfCommand AnyCommand()
    {
        int const dice = Below(20);
        auto item = std::make_shared<PerfCommandItem>();
        if (dice < 8) {
            bool const isLong = Below(2) == 0;
            item->handle = ++handle;
            item->startTime = At(0);
            item->endTime = isLong ? PerfTimePoint{} : At(1 + Below(40));
            item->groupInfo[0] = Below(2) == 0 || (isLong && defaultMode) ? Boost(Below(11)) : Limit(Below(11));
            if (!outstanding.empty() && Below(6) == 0) { // started once more, and to be stopped once more
                item = random.Pick(outstanding);
            }
            outstanding.push_back(item);
            return {item->endTime == PerfTimePoint{} ? PERF_COMMAND_LONG_START : PERF_COMMAND_SHORT_START, item};
        }
        if (dice < 14 && !outstanding.empty()) {
            auto const at = outstanding.begin() + Below(static_cast<int>(outstanding.size()));
            item = *at;
            outstanding.erase(at);
            return {item->endTime == PerfTimePoint{} ? PERF_COMMAND_LONG_STOP : PERF_COMMAND_SHORT_STOP, item};
        }
        if (dice < 16) {
            return {Below(2) == 0 ? PERF_COMMAND_SUSPEND_ON : PERF_COMMAND_SUSPEND_OFF, item};
        }
        if (dice < 18) {
            item->workMode = static_cast<PerfWorkMode>(defaultMode ? Below(3) : 1 + Below(2));
            return {PERF_COMMAND_MODE_START, item};
        }
        item->handle = NO_HANDLE;
        item->groupInfo[0] = Boost(Below(11));
        return {PERF_COMMAND_BASE_SET, item};
    }

    void Apply(RecordingGroup& group, PerfCommand const& command)
    {
        PerfCommandItem const& item = *command.cmdItem;
        auto const values = item.groupInfo.find(0);
        PerfGroupCommand const given{item.handle, item.startTime, item.endTime,
                                     values == item.groupInfo.end() ? Values{} : values->second};
        group.UpdateCurrTimePoint(now);
        switch (command.cmdType) {
        case PERF_COMMAND_SHORT_START:
            group.ShortTermStart(given);
            break;
        case PERF_COMMAND_SHORT_STOP:
            group.ShortTermStop(given);
            break;
        case PERF_COMMAND_LONG_START:
            group.LongTermStart(given);
            break;
        case PERF_COMMAND_LONG_STOP:
            group.LongTermStop(given);
            break;
        case PERF_COMMAND_MODE_START:
            group.SetWorkMode(item.workMode);
            break;
        case PERF_COMMAND_BASE_SET:
            group.BaseSet(given);
            break;
        default:
            SetSuspend(group, command.cmdType == PERF_COMMAND_SUSPEND_ON);
        }
    }

    /** A resource passes on only what changes. */
    void SetSuspend(RecordingGroup& group, bool suspended)
    {
        bool& present = &group == &whole ? wholeSuspended : compactedSuspended;
        if (present != suspended) {
            present = suspended;
            group.SetSuspend(suspended);
        }
    }

    Random random;
    bool const defaultMode;
    PerfCommandQueue queue;
    PerfTimePoint now = At(0);
    unsigned long long handle = 0;
    bool wholeSuspended = false;
    bool compactedSuspended = false;
};

TEST(PerfCommandQueue, ACompactedQueueLeavesTheNodeWithWhatTheWholeOneWouldHaveLeft)
{
    std::size_t left = 0;
    for (unsigned int seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE(seed);
        Compacted flood(seed);
        flood.Drain();
        left += flood.left;
        ASSERT_EQ(Compacted::Node(flood.whole), Compacted::Node(flood.compacted));
        for (int ms = 0; ms < 50; ms += 3) {
            flood.TimeOut(At(ms));
            ASSERT_EQ(Compacted::Node(flood.whole), Compacted::Node(flood.compacted)) << "at " << ms;
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
