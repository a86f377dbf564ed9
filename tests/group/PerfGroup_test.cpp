#include "tests/group/GroupFixture.h"
#include "tests/support/LogCapture.h"

namespace {

constexpr auto OTHER_TYPE = static_cast<PerfOperationType>(2);

/** Available 100~2000, bases 300~1000. */
class PerfGroupTest : public testing::Test {
protected:
    LogCapture log;
    RecordingGroup group{Range(100, 2000, 300, 1000), PERF_WORK_MODE_BOOST_FIRST};
};

TEST_F(PerfGroupTest, ValuesOutsideTheRangeAreRefusedOrClamped)
{
    struct Row {
        PerfCommandType type;
        Values values;
        Values clamped;     ///< empty where even clamping does not help
        char const* reason; ///< of the refusal
    };
    Row const rows[] = {
        {PERF_COMMAND_SHORT_START, Both(100, 2000), Both(100, 2000), ""},
        {PERF_COMMAND_SHORT_STOP, Boost(99), Boost(100), "GroupValueValidate: [cpu] invalid operation value: 99"},
        {PERF_COMMAND_LONG_START, Limit(2001), Limit(2000), "GroupValueValidate: [cpu] invalid operation value: 2001"},
        {PERF_COMMAND_LONG_STOP,
         Both(900, 899),
         {},
         "GroupValueValidate: [cpu] boost value 900 larger than limit value 899"},
        // inverted only until both are clamped
        {PERF_COMMAND_SHORT_START, Both(50, 20), Both(100, 100),
         "GroupValueValidate: [cpu] invalid operation value: 50"},
        {PERF_COMMAND_BASE_SET, Boost(500), Boost(500), ""},
        {PERF_COMMAND_BASE_SET,
         Limit(500),
         {},
         "CheckOperationType: [cpu] PERF_COMMAND_BASE_SET long term limit not allowed"},
        {PERF_COMMAND_SHORT_START, {{OTHER_TYPE, 500}}, {}, "CheckOperationType: [cpu] invalid operation type: 2"},
        {static_cast<PerfCommandType>(10), Boost(500), {}, "CheckOperationType: [cpu] invalid command type: 10"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Values values = row.values;
        EXPECT_EQ(group.GroupValueValidate(row.type, values), row.values == row.clamped ? 0 : -1);
        EXPECT_EQ(values, row.values);
        std::string const reason = *row.reason == 0 ? "" : std::string("PF_GROUP ") + row.reason;
        EXPECT_EQ(log.TakeReason(), reason);
        RecordingGroup const clamping(Range(100, 2000, 300, 1000, true), PERF_WORK_MODE_DEFAULT);
        EXPECT_EQ(clamping.GroupValueValidate(row.type, values), row.clamped.empty() ? -1 : 0);
        EXPECT_EQ(values, row.clamped.empty() ? row.values : row.clamped);
        EXPECT_EQ(log.TakeReason(), row.clamped.empty() ? reason : "");
    }
}

TEST_F(PerfGroupTest, EveryRefusalSaysWhy)
{
    Values const wrong = {{OTHER_TYPE, 3}};
    Values const three = {{PERF_OPERATION_BOOST, 1}, {PERF_OPERATION_LIMIT, 2}, {OTHER_TYPE, 3}};
    std::tuple<int (PerfGroup::*)(PerfGroupCommand const&), PerfGroupCommand, char const*> const rows[] = {
        {&PerfGroup::ShortTermStart,
         {INVALID_HANDLE, At(0), At(9), Boost(500)},
         "IsValidShortTermCommand: [cpu] invalid handle: 18446744073709551605"},
        {&PerfGroup::ShortTermStop,
         {1, At(9), At(8), Boost(500)},
         "IsValidShortTermCommand: [cpu] startTime larger than endTime"},
        {&PerfGroup::ShortTermStart, {1, At(0), At(9), {}}, "AddShortTermCommand: [cpu] invalid command num: 0"},
        {&PerfGroup::ShortTermStop,
         {1, At(0), At(9), wrong},
         "DeleteShortTermCommand: [cpu] invalid operation type: 2"},
        {&PerfGroup::LongTermStart,
         {NO_HANDLE, {}, {}, wrong},
         "LongTermStart: [cpu] invalid handle: 18446744073709551615"},
        {&PerfGroup::LongTermStop,
         {NO_HANDLE, {}, {}, wrong},
         "LongTermStop: [cpu] invalid handle: 18446744073709551615"},
        {&PerfGroup::LongTermStart, {1, {}, {}, three}, "AddLongTermCommand: [cpu] invalid command num: 3"},
        {&PerfGroup::LongTermStop, {1, {}, {}, wrong}, "DeleteLongTermCommand: [cpu] invalid operation type: 2"},
        {&PerfGroup::BaseSet, {1, {}, {}, three}, "UpdateDefaultBoostBaseItem: [cpu] invalid base command num: 3"},
        {&PerfGroup::BaseSet, {1, {}, {}, Limit(500)}, "UpdateDefaultBoostBaseItem: [cpu] invalid operation type: 1"},
    };
    for (auto const& [act, command, reason] : rows) {
        EXPECT_EQ((group.*act)(command), -1);
        EXPECT_EQ(log.TakeReason(), std::string("PF_GROUP ") + reason);
    }
    auto const other = static_cast<PerfWorkMode>(3);
    EXPECT_EQ(group.SetWorkMode(other), -1);
    EXPECT_EQ(log.TakeReason(), "PF_GROUP GenerateFinalValue: [cpu] invalid work mode: 3");
    EXPECT_EQ(group.LongTermStart({1, {}, {}, Boost(1001)}), -1);
    EXPECT_EQ(log.TakeReason(), "PF_GROUP UpdateEffectiveLongTermCommand: [cpu] invalid work mode: 3");
    EXPECT_EQ(group.actions, Strings{}) << "nothing refused is written";
}

} // namespace
