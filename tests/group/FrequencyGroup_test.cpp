#include "tests/group/KindFixture.h"

#include "group/FrequencyGroup.h"
#include "sandbox/VirtualTime.h"
#include "tests/support/TraceCapture.h"

#include <cstdlib>
#include <ctime>

namespace {

/** Minimum node "a", maximum node "b", available 0~9000, bases 300~8000. */
class FrequencyTest : public KindTest {
protected:
    std::string History()
    {
        std::ostringstream out;
        group.DumpLimitHistoryLog(out);
        return out.str();
    }

    VirtualTime time;
    FrequencyGroup group{Config({"a", "b"}), PERF_WORK_MODE_BOOST_FIRST};
};

TEST_F(FrequencyTest, TheMaximumIsWrittenBeforeAndAfterTheMinimum)
{
    EXPECT_EQ(group.ShortTermStart({1, At(0), At(9), Boost(1500)}), 0);
    EXPECT_EQ(Writes(), (Strings{"b <- 9000", "a <- 1500", "b <- 9000"}));
    EXPECT_EQ(sandbox.OpenDescriptors(), 2);
    EXPECT_EQ(Mapping(group), (Strings{"before,,,", "300,8000,a,b"}));
    group.CloseAllFds();
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);

    sandbox.FailNode("a", Fault::Error(EBUSY));
    group.DoConfig(300, 8000);
    EXPECT_EQ(Writes(), (Strings{"b <- 8000", "a <- 300: EBUSY"}));
    sandbox.ClearFaults("a");
    sandbox.FailNode("b", Fault::Error(EINVAL));
    group.DoConfig(300, 8000);
    EXPECT_EQ(Writes(), (Strings{"b <- 8000: EINVAL", "a <- 300", "b <- 8000: EINVAL"}));
}

TEST_F(FrequencyTest, LimitsAreAnnouncedAndRecordedWhereTheyBeginAndEnd)
{
    struct Row {
        int boost;
        int limit;
        char const* announced;
        std::string history;
    };
    Row const rows[] = {
        {300, 9000, "", "limit history cmd log is empty\n\n"},
        {300, 1200, "start limit freq 300 ~ 1200", "\nfreq=1200 0-1 0:0:1.1\n"},
        {400, 1200, "", "\nfreq=1200 0-1 0:0:1.1\n"},
        // What it replaces stays open.
        {400, 1000, "start limit freq 400 ~ 1000", "\nfreq=1200 0-1 0:0:1.1\nfreq=1000 0-1 0:0:3.3\n"},
        // Pinned to the top: announced by the next one.
        {9000, 9000, "", "\nfreq=1200 0-1 0:0:1.1\nfreq=1000 0-1 0:0:3.3  0-1 0:0:4.4\n"},
        {300, 9000, "end limit freq 300 ~ 9000", "\nfreq=1200 0-1 0:0:1.1\nfreq=1000 0-1 0:0:3.3  0-1 0:0:4.4\n"},
        // Pinned: recorded, not announced.
        {500, 500, "", "\nfreq=1200 0-1 0:0:1.1\nfreq=1000 0-1 0:0:3.3  0-1 0:0:4.4\nfreq=500 0-1 0:0:6.6\n"},
        {300, 9000, "",
         "\nfreq=1200 0-1 0:0:1.1\nfreq=1000 0-1 0:0:3.3  0-1 0:0:4.4\nfreq=500 0-1 0:0:6.6  0-1 0:0:7.7\n"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        group.DoConfig(row.boost, row.limit);
        std::string const begin = "I PF_FREQ_GRP RecordLimitCmd: [grp] ";
        EXPECT_EQ(Logged(), *row.announced == 0 ? Strings{} : Strings{begin + row.announced});
        EXPECT_EQ(History(), "*****grp: " + row.history);
        time.AdvanceBy(std::chrono::milliseconds(1001));
    }
    setenv("TZ", "HERE-5:45", 1);
    tzset();
    EXPECT_EQ(History().rfind("*****grp: \nfreq=1200 0-1 5:45:1.1\n", 0), 0U) << "the local time, whatever it is";
}

TEST_F(FrequencyTest, TheFiftyFirstLimitDropsTheOldest)
{
    std::string expected = "*****grp: \n";
    for (int limit = 1; limit <= 52; ++limit) {
        group.DoConfig(0, limit);
        expected += limit > 2 ? "freq=" + std::to_string(limit) + " 0-1 0:0:0.0\n" : "";
    }
    EXPECT_EQ(History(), expected);
}

TEST_F(FrequencyTest, AWriteIsMarkedWithModeAndSuspend)
{
    TraceCapture const trace;
    group.SetWorkMode(PERF_WORK_MODE_LIMIT_FIRST);
    group.SetSuspend(true);
    group.DoConfig(1, 2);
    EXPECT_EQ(trace.Labels(), (Strings{"velquist_log:grp write freq: 300~8000, mode=2, suspend=0",
                                       "velquist_log:grp write freq: 1~2, mode=2, suspend=1"}));
}

} // namespace
