#include "command/CommandManager.h"

#include "sys/PerfTime.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>

namespace {

using namespace std::chrono_literals;

/** Releases read the clock themselves: every time below is far enough from it to be past or future beyond doubt. */
class CommandManagerTest : public testing::Test {
protected:
    CommandWrapper Request(PerfCommandType type, PerfTimePoint const& end = {}, int result = 0)
    {
        CommandWrapper wrapper(type, start, end, 0);
        wrapper.InsertWorkModeCommand();
        EXPECT_EQ(manager.RequestHandle(7, start, wrapper, handle), result);
        return wrapper;
    }

    PerfTimePoint const start = PerfTime::Now();
    LogCapture const log;
    CommandManager manager{{8, 8, 99, 0, INVALID_HANDLE - 20}};
    unsigned long long handle = 0; ///< the last one that Request got
    CommandManager::HandleWrapperMap ofProcess;
    CommandManager::PidHandleMap everything;
    CommandWrapper out;
};

} // namespace

TEST_F(CommandManagerTest, EveryReleaseHandsTheStoredCommandBackWithItsStopType)
{
    struct Row {
        PerfCommandType start, stop;
        PerfTimePoint end;
    };
    Row const rows[] = {{PERF_COMMAND_SHORT_START, PERF_COMMAND_SHORT_STOP, start + 1h},
                        {PERF_COMMAND_LONG_START, PERF_COMMAND_LONG_STOP, {}},
                        {PERF_COMMAND_MODE_START, PERF_COMMAND_MODE_START, {}}};
    for (Row const& row : rows) {
        for (int way = 0; way < 3; ++way) {
            CommandWrapper const wrapper = Request(row.start, row.end);
            EXPECT_EQ(way == 0   ? manager.BuildReleaseCommand(7, handle, out)
                      : way == 1 ? manager.BuildReleaseAllCommand(7, ofProcess)
                                 : manager.BuildReleaseAllCommand(everything),
                      0);
            CommandWrapper const released = way == 0 ? out : way == 1 ? ofProcess[handle] : everything[7][handle];
            EXPECT_EQ(released.cmdType, row.stop);
            EXPECT_EQ(released.handle, handle);
            EXPECT_EQ(released.commands, wrapper.commands) << "the items are the same objects";
            EXPECT_EQ(released.commands[0]->handle, handle);
        }
    }
}

TEST_F(CommandManagerTest, ABaseSetNeedsNoHandleAndAWrongTypeLeaksOneUntilEverythingIsReleased)
{
    Request(PERF_COMMAND_BASE_SET);
    EXPECT_EQ(handle, NO_HANDLE);
    Request(PERF_COMMAND_LONG_START);
    Request(PERF_COMMAND_SUSPEND_ON, {}, -1);
    EXPECT_EQ(manager.TotalHandleNum(), 2u);
    EXPECT_EQ(manager.BuildReleaseAllCommand(7, ofProcess), 0);
    EXPECT_EQ(manager.TotalHandleNum(), 1u) << "the leaked count is not the process's to repair";
    EXPECT_EQ(manager.BuildReleaseAllCommand(everything), 0);
    EXPECT_EQ(manager.TotalHandleNum(), 0u);
}

TEST_F(CommandManagerTest, EveryCallForgetsWhatIsOverAndFreesItWithTheMutexGivenUp)
{
    std::vector<CommandWrapper> ofEvent;
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
            others = std::async(std::launch::async, [this] { return manager.TotalHandleNum(); });
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

TEST_F(CommandManagerTest, HandlesEndBelowTheInvalidOneAlsoWhenTheyAreOver)
{
    for (int i = 0; i < 20; ++i) {
        Request(PERF_COMMAND_SHORT_START, start - 1s);
        EXPECT_EQ(manager.BuildReleaseCommand(7, handle, out), -1) << "the release looks at the clock";
        EXPECT_EQ(manager.TotalHandleNum(), 0u);
    }
    EXPECT_EQ(handle, INVALID_HANDLE - 1);
    Request(PERF_COMMAND_SHORT_START, start - 1s, -1);
    EXPECT_EQ(handle, INVALID_HANDLE);
}
