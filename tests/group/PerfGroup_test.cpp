#include "tests/group/GroupFixture.h"

namespace {

constexpr auto OTHER_TYPE = static_cast<PerfOperationType>(2);

TEST_F(GroupTest, TheWorkModeDecidesWhateverModeTheRequestsCameIn)
{
    struct Row {
        Values longTerm;
        Values shortTerm;
        char const* expected[3]; ///< default, boost first, limit first
    };
    Row const rows[] = {
        {{}, Boost(200), {"300~2000", "300~2000", "300~1000"}},
        {{}, Boost(1500), {"1500~2000", "1500~2000", "1000~1000"}},
        {{}, Limit(800), {"300~2000", "300~1000", "300~1000"}},
        {Boost(1500), {}, {"1000~1000", "1500~1500", "1000~1000"}},
        {Boost(1500), Boost(1200), {"1200~2000", "1500~2000", "1000~1000"}},
        {Boost(1500), Limit(1200), {"1000~2000", "1500~1500", "1000~1000"}},
        {Limit(600), Boost(800), {"800~2000", "800~2000", "600~600"}},
        {Limit(600), Both(1600, 1400), {"1600~1600", "1600~1600", "600~600"}},
        {Limit(1000), Limit(1400), {"300~1400", "300~1400", "300~1000"}}, // queued behind its equal: that is enough
        {Limit(200), {}, {"200~200", "300~300", "200~200"}},
        {Both(700, 600), Both(650, 900), {"650~900", "700~900", "600~600"}},
    };
    for (unsigned int made = 0; made < PERF_WORK_MODE_COUNT; ++made) {
        for (Row const& row : rows) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << " made in mode " << made);
            group = std::make_unique<RecordingGroup>(Range(100, 2000, 300, 1000), static_cast<PerfWorkMode>(made));
            EXPECT_TRUE(row.longTerm.empty() || LongStart(1, row.longTerm)[0] == '0');
            EXPECT_TRUE(row.shortTerm.empty() || Start(2, row.shortTerm)[0] == '0');
            for (unsigned int const mode : {made, 2U, 0U, 1U, 1U, 2U}) {
                EXPECT_EQ(Mode(mode), std::string("0: ") + row.expected[mode]) << "mode " << mode;
            }
        }
    }
}

TEST_F(GroupTest, ValuesOutsideTheRangeAreRefusedOrClamped)
{
    struct Row {
        PerfCommandType type;
        Values values;
        Values clamped; ///< empty where even clamping does not help
    };
    Row const rows[] = {
        {PERF_COMMAND_SHORT_START, Both(100, 2000), Both(100, 2000)},
        {PERF_COMMAND_SHORT_STOP, Boost(99), Boost(100)},
        {PERF_COMMAND_LONG_START, Limit(2001), Limit(2000)},
        {PERF_COMMAND_LONG_STOP, Both(900, 899), {}},
        {PERF_COMMAND_SHORT_START, Both(50, 20), Both(100, 100)}, // inverted only until both are clamped
        {PERF_COMMAND_BASE_SET, Boost(500), Boost(500)},
        {PERF_COMMAND_BASE_SET, Limit(500), {}},
        {PERF_COMMAND_SHORT_START, {{OTHER_TYPE, 500}}, {}},
        {static_cast<PerfCommandType>(PERF_COMMAND_BASE_SET + 1), Boost(500), {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Values values = row.values;
        EXPECT_EQ(group->GroupValueValidate(row.type, values), row.values == row.clamped ? 0 : -1);
        EXPECT_EQ(values, row.values);
        RecordingGroup const clamping(Range(100, 2000, 300, 1000, true), PERF_WORK_MODE_DEFAULT);
        EXPECT_EQ(clamping.GroupValueValidate(row.type, values), row.clamped.empty() ? -1 : 0);
        EXPECT_EQ(values, row.clamped.empty() ? row.values : row.clamped);
    }
}

TEST_F(GroupTest, DumpsShowTheLowBitsOfHandlesAndStarsForDefaults)
{
    group = std::make_unique<RecordingGroup>(Range(300, 2000, 300, 2000), PERF_WORK_MODE_BOOST_FIRST);
    LongStart(1023, Both(-4, 1800));
    LongStart(1024, Both(500, 1900));
    Start(1025, Both(900, 1840));
    Start(2050, Both(900, 1850));
    Start(9, Boost(1999), 500, 600);
    EXPECT_EQ(group->Dumped(), "cpu: boostBase(500, 0)limitBase(1800, 1023)effectiveBase: 500~1800 boost(900, 1)"
                               "limit(1850, 2)effective: 900~1850\nboostBaseList(2) 300:* -4:1023 limitBaseList(2) "
                               "1900:0 2000:* boostList(1) 900:2 limitList(1) 1840:1 final: 900~1850\n");
}

} // namespace
