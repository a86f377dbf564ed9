#include "command/CommandManager.h"

#include "sandbox/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>

namespace {

using namespace std::chrono_literals;

using Wrappers = std::map<unsigned long long, CommandWrapper>;

constexpr CommandLimits LIMITS{3, 3, 8, 0, 1};
enum Kind { REQUEST, EVENT, PROBE };

/** Does the same to a manager and to a list of what it should hold, without any index. */
class CommandManagerModel : public testing::Test {
protected:
    struct Held {
        int pid;
        PerfEventId event;
        CommandWrapper wrapper;
    };

    void Start(Kind kind, int pid, PerfEventId event)
    {
        PerfCommandType const types[] = {PERF_COMMAND_SHORT_START, PERF_COMMAND_SHORT_START, PERF_COMMAND_LONG_START,
                                         PERF_COMMAND_MODE_START,  PERF_COMMAND_BASE_SET,    PERF_COMMAND_SUSPEND_ON};
        auto const type = kind == REQUEST ? random.Pick(types) : PERF_COMMAND_SHORT_START;
        PerfTimePoint const end = now + (1 + random.Below(30)) * 1min;
        CommandWrapper wrapper(type, now, type == PERF_COMMAND_SHORT_START ? end : PerfTimePoint{}, 5);
        wrapper.InsertWorkModeCommand();
        unsigned long long handle = 0;
        int const result = kind == REQUEST ? manager.RequestHandle(pid, now, wrapper, handle)
                           : kind == EVENT ? manager.RequestEventHandle(event, now, wrapper)
                                           : manager.RequestProbeHandle(pid, now, wrapper);
        Held const entry{kind == EVENT ? 0 : pid,
                         kind == EVENT   ? event
                         : kind == PROBE ? PROBE_EVENT_ID
                                         : REQUEST_EVENT_ID,
                         wrapper};
        EXPECT_EQ(result, kind == REQUEST && pid <= 0     ? Say("RequestHandle", "invalid pid: " + std::to_string(pid))
                          : type == PERF_COMMAND_BASE_SET ? 0
                                                          : Hold(kind, entry));
        if (kind == REQUEST && pid > 0) {
            EXPECT_TRUE(type == PERF_COMMAND_BASE_SET ? handle == NO_HANDLE
                        : result == 0                 ? handle == wrapper.handle
                                                      : wrapper.handle == NO_HANDLE);
        }
    }

    /** @return what the start comes to. */
    int Hold(Kind kind, Held const& entry)
    {
        char const* const methods[] = {"RequestHandle", "RequestEventHandle", "RequestProbeHandle"};
        Expire();
        if (kind == PROBE && probes.count(entry.pid) != 0) {
            return CommandManager::PROBE_DUPLICATE;
        }
        std::string const refusal = Refusal(entry.pid);
        if (!refusal.empty()) {
            Say("AllocHandleByPid", refusal);
            Say(methods[kind], std::string("alloc new handle failed for ") + (kind == PROBE ? "tid " : "pid ") +
                                   std::to_string(entry.pid));
            return kind == PROBE ? static_cast<int>(CommandManager::PROBE_NO_HANDLE) : -1;
        }
        unsigned long long const handle = next++;
        if (entry.wrapper.cmdType == PERF_COMMAND_SUSPEND_ON) {
            ++leaked;
            return Say("RequestHandle", "invalid command type: 7");
        }
        EXPECT_EQ(entry.wrapper.handle, handle);
        EXPECT_EQ(entry.wrapper.commands.at(0)->handle, handle);
        held[handle] = entry;
        if (kind == PROBE) {
            probes[entry.pid] = handle;
        }
        return kind == PROBE ? static_cast<int>(CommandManager::PROBE_MADE) : 0;
    }

    std::string Refusal(int pid) const
    {
        std::map<int, int> handles;
        for (auto const& other : held) {
            ++handles[other.second.pid];
        }
        return held.size() + leaked >= 8                        ? "total handle num reach maximum: 8"
               : pid < 0                                        ? "invalid pid: " + std::to_string(pid)
               : handles.count(pid) == 0 && handles.size() >= 3 ? "process num reach maximum: 3"
               : handles[pid] >= 3                              ? "handle num in one process reach maximum: 3"
                                                                : "";
    }

    void Expire()
    {
        for (auto const& gone : Take([this](auto, Held const& it) {
                 return it.wrapper.endTime != PerfTimePoint{} && it.wrapper.endTime <= now;
             })) {
            auto const probe =
                std::find_if(probes.begin(), probes.end(), [&](auto const& it) { return it.second == gone.first; });
            if (probe != probes.end()) {
                probes.erase(probe);
            }
        }
    }

    /** Lets go what fits. @return it, as a release should hand it back. */
    template <typename Predicate> Wrappers Take(Predicate fits)
    {
        Wrappers taken;
        for (auto const& [handle, entry] : std::map<unsigned long long, Held>(held)) {
            if (fits(handle, entry)) {
                auto const type = entry.wrapper.cmdType;
                taken[handle] = entry.wrapper;
                taken[handle].cmdType = type == PERF_COMMAND_SHORT_START  ? PERF_COMMAND_SHORT_STOP
                                        : type == PERF_COMMAND_LONG_START ? PERF_COMMAND_LONG_STOP
                                                                          : type;
                held.erase(handle);
            }
        }
        return taken;
    }

    /** Releases one handle (most often), or more. @return whether anything is let go. */
    bool Release(int pid, PerfEventId event, unsigned long long handle)
    {
        int const dice = random.Below(20);
        Wrappers expected;
        Wrappers released;
        CommandWrapper out;
        int result = 0;
        bool found = false; ///< also with nothing left to send
        bool const valid = pid > 0 || dice < 3 || (dice >= 5 && dice < 8);
        if (valid) {
            Expire();
        } else {
            Say(dice < 5 ? "BuildReleaseAllCommand" : "BuildReleaseCommand", "invalid pid: " + std::to_string(pid));
        }
        if (dice == 0) {
            CommandManager::PidHandleMap all{{9, {{9, {}}}}}; // is replaced
            expected = Take([](auto, auto const&) { return true; });
            leaked = 0;
            probes.clear();
            found = true;
            result = manager.BuildReleaseAllCommand(all);
            for (auto const& process : all) {
                released.insert(process.second.begin(), process.second.end());
            }
        } else if (dice < 3) {
            std::vector<CommandWrapper> all(1); // is appended to
            expected = Take([&](auto, auto const& it) { return it.event == event; });
            result = manager.BuildEventReleaseCommand(event, all);
            std::for_each(all.begin() + 1, all.end(), [&](auto const& it) { released[it.handle] = it; });
        } else if (dice < 5) {
            CommandManager::HandleWrapperMap all;
            expected = Take([&](auto, auto const& it) { return valid && it.pid == pid; });
            result = manager.BuildReleaseAllCommand(pid, all);
            released.insert(all.begin(), all.end());
        } else if (dice < 8) { // of a process that has nothing left, nothing is handed back
            auto const isHis = [pid](auto const& it) { return it.second.pid == pid; };
            found = probes.count(pid) != 0 && std::none_of(held.begin(), held.end(), isHis);
            expected = Take([&](auto one, auto const&) { return probes.count(pid) != 0 && probes[pid] == one; });
            probes.erase(pid);
            result = manager.BuildProbeReleaseCommand(pid, out);
        } else {
            expected = Take([&](auto one, auto const& it) { return valid && one == handle && it.pid == pid; });
            result = manager.BuildReleaseCommand(pid, handle, out);
        }
        if (out.handle != NO_HANDLE) {
            released[out.handle] = out;
        }
        EXPECT_EQ(result, found || !expected.empty() ? 0 : -1);
        EXPECT_EQ(Shown(released), Shown(expected));
        return dice == 0 || !expected.empty();
    }

    /** Type, handle, end and the item, which is the very object of the start. */
    static std::string Shown(Wrappers const& wrappers)
    {
        std::ostringstream out;
        for (auto const& [handle, wrapper] : wrappers) {
            out << handle << " " << wrapper.handle << " " << wrapper.GetCmdTypeString() << " "
                << wrapper.endTime.time_since_epoch().count() << " " << wrapper.commands.at(0) << "\n";
        }
        return out.str();
    }

    int Say(std::string const& method, std::string const& text)
    {
        said.push_back("E PF_CMD_MGR " + method + ": " + text);
        return -1;
    }

    VirtualTime time;
    PerfTimePoint now = time.Now();
    Random random{20};
    LogCapture log;
    CommandManager manager{LIMITS};
    std::map<unsigned long long, Held> held;
    std::map<int, unsigned long long> probes; ///< known by thread; not only the running ones
    std::size_t leaked = 0;                   ///< counted for wrappers of a wrong type
    unsigned long long next = 1;
    std::vector<std::string> said;
};

} // namespace

TEST_F(CommandManagerModel, RandomStartsAndReleasesMatchANaiveManager)
{
    for (int step = 0; step < 8000 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        time.AdvanceBy(random.Below(6) * 1min);
        now = time.Now();
        int const pid = random.Below(6) - 1;
        auto const event = static_cast<PerfEventId>(random.Below(3));
        auto const handle = next - std::min(next, static_cast<unsigned long long>(random.Below(13)));
        auto const ticket = manager.TakeTicket();
        bool released = false;
        if (random.Chance(2)) {
            Start(static_cast<Kind>(random.Below(3)), pid, event);
        } else {
            released = Release(pid, event, handle);
        }
        EXPECT_EQ(manager.TotalHandleNum(), held.size() + leaked);
        bool const isHeld = held.count(handle) != 0 && held[handle].pid == pid;
        EXPECT_EQ(manager.IsReleasedSince(ticket, pid, handle), released && !isHeld);
        EXPECT_EQ(log.Lines(), said);
        log.Clear();
        said.clear();
    }
    EXPECT_GT(next, 1000U) << "the limits have left nothing to play with";
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

TEST(CommandManager, EveryCallForgetsWhatIsOverAndFreesItWithTheMutexGivenUp)
{
    VirtualTime const time;
    PerfTimePoint const start = time.Now();
    LogCapture const log;
    CommandManager manager;
    unsigned long long handle = 0;
    std::vector<CommandWrapper> ofEvent;
    CommandManager::HandleWrapperMap ofProcess;
    CommandManager::PidHandleMap everything;
    CommandWrapper out;
    CommandWrapper next(PERF_COMMAND_LONG_START, {}, {}, 0);
    std::function<void()> const calls[] = {
        [&] { manager.RequestHandle(8, start, next, handle); }, [&] { manager.RequestEventHandle(3, start, next); },
        [&] { manager.RequestProbeHandle(9, start, next); },    [&] { manager.BuildReleaseCommand(8, handle, out); },
        [&] { manager.BuildEventReleaseCommand(3, ofEvent); },  [&] { manager.BuildProbeReleaseCommand(9, out); },
        [&] { manager.BuildReleaseAllCommand(8, ofProcess); },  [&] { manager.BuildReleaseAllCommand(everything); },
    };
    for (auto const& call : calls) {
        std::future<unsigned int> others;
        int freed = 0;
        auto const free = [&](PerfCommandItem* item) {
            delete item;
            others = std::async(std::launch::async, [&manager] { return manager.TotalHandleNum(); });
            freed += others.wait_for(10s) == std::future_status::ready ? 1 : 0;
        };
        CommandWrapper over(PERF_COMMAND_SHORT_START, start, start - 1s, 0);
        over.commands.push_back(std::shared_ptr<PerfCommandItem>(new PerfCommandItem, free));
        EXPECT_EQ(manager.RequestHandle(7, start - 1h, over, handle), 0);
        over.commands.clear();
        call();
        EXPECT_EQ(freed, 1) << "call " << &call - calls;
    }
}
