// SPDX-License-Identifier: Apache-2.0

#include "sys/PerfThreadBinder.h"

#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

class PerfThreadBinderTest : public testing::Test {
protected:
    /** Lets time go on. @return what was written meanwhile, with the milliseconds since the start. */
    Strings Course(std::chrono::milliseconds duration = 0ms)
    {
        time.AdvanceBy(duration);
        Strings lines;
        for (NodeWrite const& write : sandbox.TakeWrites()) {
            lines.push_back(std::to_string((write.time - now) / 1ms) + " " + write.Text());
        }
        return lines;
    }

    VirtualTime time;
    PerfTimePoint const now = time.Now();
    Sandbox sandbox;
    LogCapture log;
    std::unique_ptr<PerfThreadBinder> owned = std::make_unique<PerfThreadBinder>(sandbox.AddNode("bind"));
    PerfThreadBinder& binder = *owned;
};

} // namespace

TEST_F(PerfThreadBinderTest, AStopUndoesABindingAtOnceBeforeTheNextOneAndDestructionUndoesNone)
{
    binder.Init("0F");
    for (int const tid : {6, 7, 10}) {
        binder.AddThreadInfo({tid, now + 1h, now + 2h}); // have not begun
    }
    binder.AddThreadInfo({8, now - 2s, now - 1s}); // is over
    binder.AddThreadInfo({9, now - 1s, now + 1h});
    EXPECT_EQ(Course(), Strings{"0 0F|9"});
    for (int const tid : {7, 8, 11, 9}) {
        binder.DeleteThreadInfo(tid);
    }
    EXPECT_EQ(Course(), Strings{"0 FF|9"});
    binder.AddThreadInfo({7, now, now + 1h});
    EXPECT_EQ(Course(), Strings{"0 0F|7"});
    binder.DeleteThreadInfo(7);
    binder.AddThreadInfo({7, now, now + 1h});
    EXPECT_EQ(Course(), (Strings{"0 FF|7", "0 0F|7"})) << "both in one pass";
    EXPECT_EQ(sandbox.OpenDescriptors(), 1);
    owned.reset(); // closes the node and leaves the binding in force
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    EXPECT_EQ(Course(3h), Strings{});
}
