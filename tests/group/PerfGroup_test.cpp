#include "tests/group/GroupFixture.h"
#include "tests/support/LogCapture.h"

namespace {

constexpr auto OTHER_TYPE = static_cast<PerfOperationType>(2);

/** Available 100~2000, bases 300~1000. What is said comes without tag and name: "E Method: text". */
class PerfGroupTest : public testing::Test {
protected:
    Strings Said()
    {
        Strings lines;
        for (LogLine line : log.Entries()) {
            EXPECT_EQ(line.tag + " " + line.text.substr(0, 6), "PF_GROUP [cpu] ");
            line.tag = "";
            line.text.erase(0, 6);
            lines.push_back(line.Render().erase(1, 1));
        }
        log.Clear();
        return lines;
    }

    LogCapture log;
    RecordingGroup group{Range(100, 2000, 300, 1000), PERF_WORK_MODE_BOOST_FIRST};
};

TEST_F(PerfGroupTest, ValuesOutsideTheRangeAreRefusedOrClamped)
{
    struct Row {
        PerfCommandType type;
        Values values;
        Values clamped; ///< empty where even clamping does not help
        Strings said;
    };
    std::string const check = "E CheckOperationType: ";
    std::string const validate = "E GroupValueValidate: ";
    std::string const failed = validate + "CheckOperationType failed";
    Row const rows[] = {
        {PERF_COMMAND_SHORT_START, Both(100, 2000), Both(100, 2000), {}},
        {PERF_COMMAND_SHORT_STOP, Boost(99), Boost(100), {validate + "invalid operation value: 99"}},
        {PERF_COMMAND_LONG_START, Limit(2001), Limit(2000), {validate + "invalid operation value: 2001"}},
        {PERF_COMMAND_LONG_STOP, Both(900, 899), {}, {validate + "boost value 900 larger than limit value 899"}},
        // inverted only until both are clamped
        {PERF_COMMAND_SHORT_START, Both(50, 20), Both(100, 100), {validate + "invalid operation value: 50"}},
        {PERF_COMMAND_BASE_SET, Boost(500), Boost(500), {}},
        {PERF_COMMAND_BASE_SET, Limit(500), {}, {check + "PERF_COMMAND_BASE_SET long term limit not allowed", failed}},
        {PERF_COMMAND_SHORT_START, {{OTHER_TYPE, 500}}, {}, {check + "invalid operation type: 2", failed}},
        {static_cast<PerfCommandType>(10), Boost(500), {}, {check + "invalid command type: 10", failed}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Values values = row.values;
        EXPECT_EQ(group.GroupValueValidate(row.type, values), row.values == row.clamped ? 0 : -1);
        EXPECT_EQ(values, row.values);
        EXPECT_EQ(Said(), row.said);
        RecordingGroup const clamping(Range(100, 2000, 300, 1000, true), PERF_WORK_MODE_DEFAULT);
        EXPECT_EQ(clamping.GroupValueValidate(row.type, values), row.clamped.empty() ? -1 : 0);
        EXPECT_EQ(values, row.clamped.empty() ? row.values : row.clamped);
        EXPECT_EQ(Said(), row.clamped.empty() ? row.said : Strings{});
    }
}

TEST_F(PerfGroupTest, EveryRefusalSaysWhy)
{
    struct Row {
        int (PerfGroup::*act)(PerfGroupCommand const&);
        PerfGroupCommand command;
        Strings said;
    };
    std::string const validity = "E IsValidShortTermCommand: ";
    Values const wrong = {{OTHER_TYPE, 3}};
    Values const three = {{PERF_OPERATION_BOOST, 1}, {PERF_OPERATION_LIMIT, 2}, {OTHER_TYPE, 3}};
    Row const rows[] = {
        {&PerfGroup::ShortTermStart,
         {INVALID_HANDLE, At(0), At(9), Boost(500)},
         {validity + "invalid handle: 18446744073709551605", "E ShortTermStart: invalid short term start command"}},
        {&PerfGroup::ShortTermStop,
         {1, At(9), At(8), Boost(500)},
         {validity + "startTime larger than endTime", "E ShortTermStop: invalid short term stop command"}},
        {&PerfGroup::ShortTermStart,
         {1, At(0), At(9), {}},
         {"E AddShortTermCommand: invalid command num: 0", "E ShortTermStart: AddShortTermCommand failed"}},
        {&PerfGroup::ShortTermStop,
         {1, At(0), At(9), wrong},
         {"E DeleteShortTermCommand: invalid operation type: 2", "E ShortTermStop: DeleteShortTermCommand failed"}},
        {&PerfGroup::LongTermStart, {NO_HANDLE, {}, {}, {}}, {"E LongTermStart: invalid handle: 18446744073709551615"}},
        {&PerfGroup::LongTermStop, {NO_HANDLE, {}, {}, {}}, {"E LongTermStop: invalid handle: 18446744073709551615"}},
        {&PerfGroup::LongTermStart,
         {1, {}, {}, three},
         {"E AddLongTermCommand: invalid command num: 3", "E LongTermStart: AddLongTermCommand failed"}},
        {&PerfGroup::LongTermStop,
         {1, {}, {}, wrong},
         {"E DeleteLongTermCommand: invalid operation type: 2", "E LongTermStop: DeleteLongTermCommand failed"}},
        {&PerfGroup::BaseSet,
         {1, {}, {}, Both(400, 500)},
         {"E UpdateDefaultBoostBaseItem: invalid base command num: 2", "E BaseSet: UpdateDefaultBoostBaseItem failed"}},
        {&PerfGroup::BaseSet,
         {1, {}, {}, Limit(500)},
         {"E UpdateDefaultBoostBaseItem: invalid operation type: 1", "E BaseSet: UpdateDefaultBoostBaseItem failed"}},
    };
    for (Row const& row : rows) {
        EXPECT_EQ((group.*row.act)(row.command), -1);
        EXPECT_EQ(Said(), row.said);
    }

    EXPECT_EQ(group.SetWorkMode(static_cast<PerfWorkMode>(3)), -1);
    EXPECT_EQ(group.ShortTermStart({1, At(0), At(9), Boost(500)}), -1);
    EXPECT_EQ(Said(), (Strings{"E GenerateFinalValue: invalid work mode: 3", "E SetWorkMode: GenerateFinalValue failed",
                               "E GenerateFinalValue: invalid work mode: 3",
                               "E UpdateShortTermCommandAndWriteValue: GenerateFinalValue failed"}));
    EXPECT_EQ(group.LongTermStart({1, {}, {}, Boost(1001)}), -1);
    EXPECT_EQ(group.SetWorkMode(static_cast<PerfWorkMode>(3)), -1);
    std::string const base = "E UpdateEffectiveLongTermCommand: invalid work mode: 3";
    EXPECT_EQ(Said(), (Strings{base, "E GenerateAndWriteFinalValue: UpdateEffectiveLongTermCommand failed", base,
                               "E SetWorkMode: UpdateEffectiveLongTermCommand failed"}));
    EXPECT_EQ(group.actions, Strings{}) << "nothing refused is written";
}

} // namespace
