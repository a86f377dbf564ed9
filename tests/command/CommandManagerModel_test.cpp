#include "command/CommandManager.h"

#include "sys/PerfTime.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using namespace std::chrono_literals;
using Handles = std::vector<unsigned long long>;

CommandLimits const LIMITS{3, 3, 8, 0, 1};

/** What CommandManager keeps of its clients, without any index. */
struct NaiveManager {
    struct Held {
        int pid;
        PerfTimePoint end;
        PerfEventId event;
    };

    /** @return the new handle or INVALID_HANDLE. */
    unsigned long long Start(Held const& entry, PerfTimePoint const& now)
    {
        Take([&](auto, Held const& it) { return it.end != PerfTimePoint{} && it.end <= now; });
        std::map<int, std::size_t> perProcess;
        for (auto const& other : held) {
            ++perProcess[other.second.pid];
        }
        std::size_t const processes = perProcess.size();
        std::size_t const mine = perProcess[entry.pid];
        if (held.size() >= LIMITS.maxTotalHandleNum || mine >= LIMITS.maxHandleNumPerProcess ||
            (mine == 0 && processes >= LIMITS.maxProcessNum)) {
            return INVALID_HANDLE;
        }
        held[next] = entry;
        return next++;
    }

    template <typename Predicate> Handles Take(Predicate wanted)
    {
        Handles taken;
        for (auto const& [handle, entry] : std::map<unsigned long long, Held>(held)) {
            if (wanted(handle, entry)) {
                taken.push_back(handle);
                held.erase(handle);
            }
        }
        return taken;
    }

    std::map<unsigned long long, Held> held;
    unsigned long long next = 1;
};

/** Does the same to a manager and to its model. */
class CommandManagerModel : public testing::Test {
protected:
    int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    void Start(int pid, PerfEventId event)
    {
        bool const isEvent = Pick(0, 2) == 0;
        bool const isTimed = isEvent || Pick(0, 1) == 0;
        CommandWrapper wrapper(isTimed ? PERF_COMMAND_SHORT_START : PERF_COMMAND_LONG_START, now,
                               isTimed ? now + Pick(1, 30) * 1min : PerfTimePoint{}, 0);
        auto const expected = isEvent ? naive.Start({LIMITS.eventPid, wrapper.endTime, event}, now)
                                      : naive.Start({pid, wrapper.endTime, REQUEST_EVENT_ID}, now);
        unsigned long long handle = 0;
        EXPECT_EQ(isEvent ? manager.RequestEventHandle(event, now, wrapper)
                          : manager.RequestHandle(pid, now, wrapper, handle),
                  expected == INVALID_HANDLE ? -1 : 0);
        EXPECT_EQ(wrapper.handle, expected == INVALID_HANDLE ? NO_HANDLE : expected);
    }

    /** Releases one handle (most often), an event or a process. @return what was taken. */
    Handles Release(int pid, PerfEventId event, unsigned long long handle)
    {
        Handles expected;
        Handles released;
        int result = 0;
        int const move = Pick(0, 19);
        if (move == 0) {
            expected = naive.Take([&](auto, auto const& it) { return it.event == event; });
            std::vector<CommandWrapper> all(1); // is appended to
            result = manager.BuildEventReleaseCommand(event, all);
            std::for_each(all.begin() + 1, all.end(), [&](auto const& it) { released.push_back(it.handle); });
        } else if (move == 1) {
            expected = naive.Take([&](auto, auto const& it) { return it.pid == pid; });
            result = manager.BuildReleaseAllCommand(pid, ofProcess);
            std::for_each(ofProcess.begin(), ofProcess.end(), [&](auto const& it) { released.push_back(it.first); });
            std::sort(released.begin(), released.end());
        } else {
            expected = naive.Take([&](auto held, auto const& it) { return held == handle && it.pid == pid; });
            CommandWrapper out;
            result = manager.BuildReleaseCommand(pid, handle, out);
            released.push_back(out.handle);
        }
        EXPECT_EQ(result, expected.empty() ? -1 : 0);
        EXPECT_TRUE(expected.empty() || released == expected) << testing::PrintToString(released);
        return expected;
    }

    std::mt19937 random{20};
    LogCapture const log;
    CommandManager manager{LIMITS};
    NaiveManager naive;
    CommandManager::HandleWrapperMap ofProcess; ///< replaced by each release
    // Far in the future: a release reads the clock, and must find nothing ended that the model still holds.
    PerfTimePoint now = PerfTime::Now() + 1h;
};

} // namespace

TEST_F(CommandManagerModel, RandomStartsAndReleasesMatchANaiveManager)
{
    for (int step = 0; step < 8000 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        now += Pick(0, 5) * 1min;
        int const pid = Pick(1, 4);
        auto const event = static_cast<PerfEventId>(Pick(0, 2));
        auto const handle = naive.next - std::min(naive.next, static_cast<unsigned long long>(Pick(0, 12)));
        auto const ticket = manager.TakeTicket();
        Handles taken;
        if (Pick(0, 1) == 0) {
            Start(pid, event);
        } else {
            taken = Release(pid, event, handle);
        }
        EXPECT_EQ(manager.TotalHandleNum(), naive.held.size());
        bool const isHeld = naive.held.count(handle) != 0 && naive.held[handle].pid == pid;
        EXPECT_EQ(manager.IsReleasedSince(ticket, pid, handle), !taken.empty() && !isHeld);
    }
    EXPECT_GT(naive.next, 1000u) << "the limits have left nothing to play with";
}
