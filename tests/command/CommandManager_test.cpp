// SPDX-License-Identifier: Apache-2.0

#include "command/CommandManager.h"

#include "sandbox/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(CommandManager, AReleaseOfEverythingLeavesNeitherACountNorAnEnd)
{
    VirtualTime const time;
    PerfTimePoint const now = time.Now();
    CommandManager manager({9, 9, 3, 0, 1});
    unsigned long long handle = 0;
    CommandWrapper timed(PERF_COMMAND_SHORT_START, now, now + 1min, 5);
    CommandWrapper wrong(PERF_COMMAND_SUSPEND_ON, now, {}, 0);
    LogCapture log;
    EXPECT_EQ(manager.RequestHandle(7, now, timed, handle), 0);
    EXPECT_EQ(manager.RequestHandle(7, now, wrong, handle), -1);
    EXPECT_EQ(log.Lines(), std::vector<std::string>{"E PF_CMD_MGR RequestHandle: invalid command type: 7"});
    CommandManager::HandleWrapperMap ofProcess;
    EXPECT_EQ(manager.BuildReleaseAllCommand(7, ofProcess), 0);
    EXPECT_EQ(manager.TotalHandleNum(), 1U) << "a wrapper of a wrong type is counted, and kept nowhere";
    EXPECT_EQ(manager.RequestHandle(7, now, timed, handle), 0);
    CommandManager::PidHandleMap everything{{9, {{9, {}}}}}; // is replaced
    EXPECT_EQ(manager.BuildReleaseAllCommand(everything), 0);
    EXPECT_EQ(everything.count(9), 0U);
    EXPECT_EQ(manager.TotalHandleNum(), 0U);
    log.Clear();
    EXPECT_EQ(manager.RequestHandle(8, now + 2min, timed, handle), 0);
    EXPECT_EQ(log.Lines().size(), 0U) << "an end of what is released has been left";
}

TEST(CommandManager, HandlesEndBelowTheInvalidOne)
{
    LogCapture log;
    CommandManager manager({8, 8, 99, 0, INVALID_HANDLE - 2});
    CommandWrapper wrapper(PERF_COMMAND_LONG_START, {}, {}, 0);
    unsigned long long handle = 0;
    EXPECT_EQ(manager.RequestHandle(7, {}, wrapper, handle), 0);
    EXPECT_EQ(manager.RequestHandle(7, {}, wrapper, handle), 0);
    EXPECT_EQ(handle, INVALID_HANDLE - 1);
    EXPECT_EQ(manager.RequestHandle(7, {}, wrapper, handle), -1);
    EXPECT_EQ(handle, INVALID_HANDLE);
    EXPECT_EQ(log.Lines().at(0), "E PF_CMD_MGR AllocHandleByPid: not enough handle");
}

namespace {

/** What the manager holds, told again: every operation first forgets each end up to its own time. */
struct NaiveHandles {
    struct End {
        PerfTimePoint end;
        unsigned long long handle;
    };

    void Look(PerfTimePoint const& now)
    {
        for (auto it = ends.begin(); it != ends.end();) {
            bool const expired = it->end <= now;
            if (expired) {
                records.erase(it->handle);
            }
            it = expired ? ends.erase(it) : std::next(it);
        }
    }
    std::size_t Of(int pid) const
    {
        return static_cast<std::size_t>(
            std::count_if(records.begin(), records.end(), [pid](auto const& one) { return one.second == pid; }));
    }

    std::map<unsigned long long, int> records; ///< whose each handle is
    std::vector<End> ends;
};

} // namespace

TEST(CommandManager, ForgetsWhatHasEndedInWhateverOrderTimesAreGiven)
{
    LogCapture log;
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        VirtualTime time;
        Random random(seed);
        CommandManager manager({99, 5, 99, 0, 1});
        NaiveHandles naive;
        PerfTimePoint const begin = time.Now();
        auto const any = [&] { return begin + std::chrono::milliseconds(random.Below(100)); };
        unsigned long long next = 1;
        for (int step = 0; step < 300; ++step) {
            int const pid = 1 + random.Below(3);
            PerfTimePoint const now = random.Chance(3) ? any() : time.Now();
            bool const isProbe = random.Chance(4);
            PerfCommandType const type = random.Chance(3) ? PERF_COMMAND_LONG_START : PERF_COMMAND_SHORT_START;
            if (random.Chance(2)) {
                CommandWrapper wrapper(type, begin, any(), 0);
                CommandManager::StartTicket const ticket = manager.TakeTicket();
                unsigned long long handle = 0;
                int const told = isProbe ? manager.RequestProbeHandle(90 + pid, now, wrapper)
                                         : manager.RequestHandle(pid, now, wrapper, handle);
                naive.Look(now);
                int const owner = isProbe ? 90 + pid : pid;
                bool const taken = isProbe ? naive.Of(owner) != 0 : naive.Of(owner) >= 5;
                ASSERT_EQ(told, isProbe ? (taken ? 0 : 1) : (taken ? -1 : 0)) << "seed " << seed << " step " << step;
                if (taken) {
                    continue;
                }
                naive.records[next] = owner;
                if (isProbe || type == PERF_COMMAND_SHORT_START) {
                    naive.ends.push_back({wrapper.endTime, next});
                }
                ASSERT_FALSE(manager.IsReleasedSince(ticket, owner, next));
                ++next;
            } else if (!naive.records.empty() && random.Chance(2)) {
                auto const [handle, owner] = random.Pick(naive.records);
                CommandManager::StartTicket const ticket = manager.TakeTicket();
                CommandWrapper out;
                naive.Look(time.Now());
                bool const known = naive.records.count(handle) != 0;
                auto const isIt = [&, one = handle](auto const& end) { return end.handle == one; };
                auto const filed = std::find_if(naive.ends.begin(), naive.ends.end(), isIt);
                int const told = owner > 90 ? manager.BuildProbeReleaseCommand(owner, out)
                                            : manager.BuildReleaseCommand(owner, handle, out);
                ASSERT_EQ(told, known && filed != naive.ends.end() ? 0 : -1) << "seed " << seed << " step " << step;
                if (known) {
                    ASSERT_TRUE(manager.IsReleasedSince(ticket, owner, handle)) << "a single release is noted";
                    naive.records.erase(handle);
                    naive.ends.erase(std::remove_if(naive.ends.begin(), naive.ends.end(), isIt), naive.ends.end());
                }
            } else if (random.Chance(4)) {
                ASSERT_EQ(manager.TotalHandleNum(), naive.records.size()) << "seed " << seed << " step " << step;
            } else {
                time.AdvanceBy(std::chrono::milliseconds(random.Below(3)));
            }
        }
    }
}
