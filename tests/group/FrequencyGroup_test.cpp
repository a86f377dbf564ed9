// SPDX-License-Identifier: Apache-2.0

#include "tests/group/KindFixture.h"

#include "group/FrequencyGroup.h"
#include "sandbox/VirtualTime.h"

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
    for (int limit = 2000; limit < 2060; ++limit) {
        group.DoConfig(300, limit);
    }
    EXPECT_EQ(History().rfind("*****grp: \nfreq=2010 ", 0), 0U) << "the last fifty are kept";
}

} // namespace
