#include "tests/group/GroupFixture.h"

namespace {

TEST_F(GroupTest, AStartIsReachedAtItsTimeAndAnEndHasPassedAtIts)
{
    EXPECT_EQ(WakeUp(), 0);
    EXPECT_EQ(Start(1, Both(1500, 1800), 100, 200), "0:");
    EXPECT_EQ(WakeUp(), 100);
    EXPECT_EQ(TimeOut(99), "0:");
    EXPECT_EQ(TimeOut(100), "0: 1500~1800");
    EXPECT_EQ(WakeUp(), 200);
    EXPECT_EQ(TimeOut(199), "0:");
    group->UpdateCurrTimePoint(At(200));
    EXPECT_EQ(Start(2, Boost(1900), 0, 200), "0:");
    EXPECT_EQ(Stop(1, Both(1500, 1800), 100, 200), "0:");
    EXPECT_EQ(TimeOut(200), "0: 300~1000") << "the time-out, not the late stop, removes it: both sides in one write";
    EXPECT_EQ(WakeUp(), 0);
}

TEST_F(GroupTest, OnlyTheFrontExpiresAndOnlySlotsWake)
{
    Start(1, Boost(1000), 0, 100);
    Start(2, Boost(1500), 0, 300);
    Start(3, Boost(1200), 0, 200);
    EXPECT_EQ(Start(4, Boost(900), 0, 400), "0:");
    EXPECT_EQ(WakeUp(), 300);
    EXPECT_EQ(TimeOut(250), "0:");
    EXPECT_NE(group->Dumped().find("boostList(3) 1200:3 1000:1 900:4 "), std::string::npos);
    EXPECT_EQ(TimeOut(300), "0: 900~2000");
    EXPECT_NE(group->Dumped().find("boostList(0) "), std::string::npos);
}

TEST_F(GroupTest, AStopWithdrawsWhatWaitsFromItsStartTime)
{
    Start(1, Boost(1500), 100, 900);
    Start(2, Both(1700, 1800), 200, 900);
    Start(3, Both(1600, 1900), 300, 900);
    Stop(2, Both(1700, 1800), 201, 900); // no such start: it stays
    Stop(3, Both(1600, 1900), 300, 900); // both of its values go
    EXPECT_EQ(TimeOut(300), "0: 1700~1800");

    // The one that starts next goes by its handle alone, and the next in line takes its place.
    Start(4, Boost(1900), 400, 900);
    Start(5, Boost(1800), 500, 900);
    EXPECT_EQ(Stop(4, Boost(1900), 401, 900), "0:");
    EXPECT_EQ(WakeUp(), 500);
}

} // namespace
