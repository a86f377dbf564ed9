#include "sys/PerfThreadBinder.h"

#include "sandbox/Sandbox.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

PerfTimePoint const T0{1h};

class PerfThreadBinderTest : public testing::Test {
protected:
    Strings NodeTexts() const { return Texts(sandbox.Writes("bind")); }

    Sandbox sandbox;
    LogCapture log;
    std::unique_ptr<PerfThreadBinder> owned = std::make_unique<PerfThreadBinder>(sandbox.AddNode("bind"));
    PerfThreadBinder& binder = *owned;
    PerfTimePoint const now = std::chrono::steady_clock::now();
};

} // namespace

TEST_F(PerfThreadBinderTest, RequestsMoveFromWaitingToEffectiveToExpired)
{
    // A request is announced, with the mutex held, before it is taken in: up to then there is nothing to forget.
    LogSwitch const debug(PfLogonNamespace::DEBUG_BIT);
    auto const forget = &PerfThreadBinder::DeleteFromQue;
    log.OnLine([&](LogLine const& line) { EXPECT_TRUE(line.text != "add probe tid = 7" || !(binder.*forget)(7)); });
    binder.AddThreadInfo({7, T0 + 20ms, T0 + 100ms});
    binder.AddThreadInfo({8, T0 + 10ms, T0 + 15ms});
    binder.AddThreadInfo({9, T0 + 20ms, T0 + 90ms});
    binder.AddThreadInfo({6, T0 + 20ms, T0 + 25ms});
    binder.AddThreadInfo({7, T0, T0 + 1ms});
    PerfMutexLock lock(binder.mutex);
    EXPECT_TRUE(binder.DeleteFromQue(6)) << "it alone, of those with the same start";
    EXPECT_EQ(binder.FindMinTime(), T0 + 10ms) << "the second request for a known thread is ignored";
    EXPECT_FALSE(binder.TakeInEffectWaitingThread(T0 + 10ms - 1ns));
    EXPECT_FALSE(binder.TakeInEffectWaitingThread(T0 + 15ms)) << "what has ended meanwhile never takes effect";
    EXPECT_EQ(binder.FindMinTime(), T0 + 20ms);
    EXPECT_TRUE(binder.TakeInEffectWaitingThread(T0 + 20ms));
    EXPECT_EQ(binder.FindMinTime(), T0 + 90ms);

    binder.BuildExpiredList(T0 + 90ms);
    EXPECT_EQ(binder.FindMinTime(), T0 + 100ms);
    EXPECT_FALSE(binder.DeleteFromQue(9)) << "an expired thread is no longer known";
    EXPECT_TRUE(binder.DeleteFromQue(7));
    EXPECT_FALSE(binder.DeleteFromQue(7));
    EXPECT_EQ(binder.FindMinTime(), PerfTimePoint{});
    EXPECT_FALSE(binder.DeleteFromQue(8)) << "a dropped thread stays known, but there is nothing to undo";
}

TEST_F(PerfThreadBinderTest, AStopUndoesABindingAtOnceAndDestructionUndoesNone)
{
    binder.Init("0F");
    for (int const tid : {6, 7, 10}) {
        binder.AddThreadInfo({tid, now + 1h, now + 2h}); // have not begun
    }
    binder.AddThreadInfo({8, now - 2s, now - 1s}); // is over
    binder.AddThreadInfo({9, now - 1s, now + 1h});
    ASSERT_TRUE(sandbox.WaitForContent("bind", "0F|9"));
    for (int const tid : {7, 8, 11, 9}) {
        binder.DeleteThreadInfo(tid);
    }
    EXPECT_TRUE(sandbox.WaitForContent("bind", "FF|9"));
    binder.AddThreadInfo({7, now, now + 1h});
    EXPECT_TRUE(sandbox.WaitForContent("bind", "0F|7"));
    EXPECT_EQ(sandbox.OpenDescriptors(), 1);
    owned.reset(); // closes the node and leaves the binding in force
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    EXPECT_EQ(NodeTexts(), (Strings{"0F|9", "FF|9", "0F|7"}));
}

TEST_F(PerfThreadBinderTest, AStopThatFallsBetweenTwoPassesIsNotLostAndUndoesNothingThatFollows)
{
    binder.AddThreadInfo({7, now, now + 1h});
    {
        PerfMutexLock lock(binder.mutex);
        EXPECT_TRUE(binder.TakeInEffectWaitingThread(now));
    }
    binder.DeleteThreadInfo(7);
    binder.Init("0F"); // the worker comes to its wait with the stop in the list and no notification to follow
    EXPECT_TRUE(sandbox.WaitForWrites(2));
    EXPECT_EQ(NodeTexts(), (Strings{"FF|7", "0F|7"})) << "the pass that was broken off has its binding still to write";
    for (int round = 0; round < 5; ++round) {
        binder.AddThreadInfo({8, now, now + 1h});
        EXPECT_TRUE(sandbox.WaitForContent("bind", "0F|8"));
        binder.DeleteThreadInfo(8);
        binder.AddThreadInfo({8, now, now + 1h}); // most often within the same pass
        EXPECT_TRUE(sandbox.WaitForWrites(5 + 4 * static_cast<std::size_t>(round)));
        EXPECT_EQ(sandbox.Read("bind"), "0F|8");
        binder.DeleteThreadInfo(8);
        EXPECT_TRUE(sandbox.WaitForContent("bind", "FF|8"));
    }
}
