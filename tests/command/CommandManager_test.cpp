// SPDX-License-Identifier: Apache-2.0

#include "command/CommandManager.h"

#include "sandbox/VirtualTime.h"
#include "tests/support/LogCapture.h"

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
