// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

/** What a node refuses, with a rewrite delay; which nodes each kind writes then, the world model knows. */
namespace {

using std::chrono::milliseconds;

class RewriteTest : public PlatformTest {
protected:
    RewriteTest() { options.rewriteDelay = 100; }

    /** The times, in ms since the last look, at which the node was offered something within that time. */
    std::vector<long> Offers(milliseconds duration)
    {
        PerfTimePoint const start = time.Now();
        time.AdvanceBy(duration);
        std::vector<long> times;
        for (NodeWrite const& write : sandbox.TakeWrites()) {
            if (write.node == "gpu/floor") {
                times.push_back((write.time - start) / milliseconds(1));
            }
        }
        return times;
    }

    LogCapture log;
};

using Times = std::vector<long>;

TEST_F(RewriteTest, OffersAValueAgainAtGrowingDistancesUntilItIsTaken)
{
    EXPECT_EQ(ConfigManagerOptions().rewriteDelay, 0U) << "off by default";
    Start();
    sandbox.FailNode("gpu/floor", Fault::Error(EBUSY));
    Request(LONG, {Boost(GPU, 50)});
    EXPECT_EQ(Offers(milliseconds(20'000)), (Times{0, 100, 300, 700, 1500, 3100, 6300, 12300, 18300}));
    EXPECT_EQ(log.Count(ANDROID_LOG_WARN), 9U) << "a line for each";
    Request(LONG, {Boost(GPU, 60)});
    EXPECT_EQ(Offers(milliseconds(350)), (Times{0, 100, 300})) << "a change starts over";
    Request(LONG, {Boost(GPU, 30, 1)});
    EXPECT_EQ(Offers(milliseconds(400)), Times{350}) << "one of another group does not";
    sandbox.ClearFaults("gpu/floor");
    log.Clear();
    sandbox.TakeWrites();
    time.AdvanceBy(milliseconds(750));
    EXPECT_EQ(Wrote(), (Strings{"gpu/floor <- 60", "gpu/power <- 30"})) << "the whole resource";
    EXPECT_EQ(log.Lines(),
              Strings{"W PF_RES NoteFailedWrites: [gpu] nodes take their values again, after 13 failed tries"});
    EXPECT_EQ(Offers(milliseconds(100'000)), Times{}) << "once";
}

} // namespace
