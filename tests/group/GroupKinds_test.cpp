#include "tests/group/KindFixture.h"

#include "group/DdrGroup.h"
#include "group/FrequencyGroup.h"
#include "group/IpaSustainablePowerGroup.h"
#include "group/IpaSwitchTempGroup.h"
#include "group/MonitorEnableGroup.h"
#include "group/TargetRatioGroup.h"

#include <limits>

namespace {

constexpr PerfWorkMode MODE = PERF_WORK_MODE_BOOST_FIRST;
LevelToValueMap const TWO_NODE_LEVELS = {{1, {"low", "0"}}, {5, {"mid", "1"}}, {9, {"high", ""}}};

TEST_F(KindTest, ASingleNodeReceivesTheFloorAndIsKeptOpenUntilASuspend)
{
    IpaSwitchTempGroup off(Config({"b"}), MODE, false);
    off.DoConfig(90, 0);
    EXPECT_EQ(Mapping(off), (Strings{"before,,,"}));
    {
        IpaSwitchTempGroup group(Config({"a"}), MODE, true);
        group.LongTermStart({2, {}, {}, Both(400, 500)});
        EXPECT_EQ(sandbox.OpenDescriptors(), 1);
        group.SetSuspend(true);
        EXPECT_EQ(sandbox.OpenDescriptors(), 0);
        group.SetSuspend(false);
        EXPECT_EQ(Writes(), (Strings{"a <- 400", "a <- 400"}));
        EXPECT_EQ(Mapping(group), (Strings{"before,,,", "400,,a,"}));
    }
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

TEST_F(KindTest, DdrWritesTheBandwidthAsRawBytesOrTheFrequencyAsText)
{
    std::tuple<float, int, char const*> const rows[] = {
        {2.5f, 1000000, "\\x02\\x00\\x00\\x00"},
        {3.0f, 333333333, "\\xe8\\x03\\x00\\x00"}, // 1000; 999 in double precision
        {1e30f, -2000000, "\\x00\\x00\\x00\\x80"},
        {2147483648.0f, 1000000, "\\xff\\xff\\xff\\x7f"},
        {std::numeric_limits<float>::infinity(), 0, "\\x00\\x00\\x00\\x00"},
        {0.0f, 1000000, "1000000"},
        {std::numeric_limits<float>::quiet_NaN(), 1000000, "1000000"},
    };
    for (auto const& [coefficient, boost, written] : rows) {
        DdrGroup(Config({"a"}), MODE, coefficient).DoConfig(boost, 0);
        EXPECT_EQ(Writes(), Strings{std::string("a <- ") + written}) << coefficient << " * " << boost;
    }
}

TEST_F(KindTest, IpaPowerSwitchesTheBoardWhereTheThresholdIsMetOrCrossed)
{
    IpaSustainablePowerGroup group(Config({"a", "b", "c"}), MODE, true, 1, 5000);
    std::pair<int, Strings> const rows[] = {
        {4000, {"a <- 4000"}},
        {5000, {"b <- disabled", "c <- enabled"}},
        {6000, {"b <- disabled", "c <- disabled"}},
        {4999, {"b <- enabled", "c <- enabled", "a <- 4999"}},
        {5001, {"b <- disabled", "c <- disabled"}},
        {4000, {"b <- enabled", "c <- enabled", "a <- 4000"}},
        {5000, {"b <- disabled", "c <- enabled"}},
        {300, {"b <- enabled", "c <- enabled", "a <- 300"}},
    };
    for (auto const& [boost, writes] : rows) {
        group.DoConfig(boost, 9000);
        EXPECT_EQ(Writes(), writes) << boost;
    }
    group.SetSuspend(true);
    EXPECT_EQ(sandbox.OpenDescriptors(), 1) << "the power node stays open";

    IpaSustainablePowerGroup socOnly(Config({"a", "b", "c"}), MODE, false, 300, 5000);
    for (int const boost : {299, 300, 9000}) {
        socOnly.DoConfig(boost, 9000);
    }
    EXPECT_EQ(Writes(), (Strings{"c <- enabled", "c <- disabled", "c <- disabled"}));

    EXPECT_EQ(Mapping(socOnly), (Strings{"before,,,", "disabled,,c,"}));
    EXPECT_EQ(Mapping(group), (Strings{"before,,,", "300,,a,", "enabled,,b,", "enabled,,c,"}));
    IpaSustainablePowerGroup const atThreshold(Config({"a", "b", "c"}), MODE, true, 1, 300);
    EXPECT_EQ(Mapping(atThreshold), (Strings{"before,,,", "300,,a,", "disabled,,b,", "enabled,,c,"}));
}

TEST_F(KindTest, ALevelWritesItsTextToEachNodeAndACommandMustNameOne)
{
    LevelMapGroup group(Levels({"a", "b"}, TWO_NODE_LEVELS), MODE);
    group.ShortTermStart({1, At(0), At(9), Both(5, 9)});
    group.DoConfig(9, 1);
    EXPECT_EQ(Writes(), (Strings{"a <- mid", "b <- 1", "a <- high", "b <- "}));
    EXPECT_EQ(Mapping(group), (Strings{"low,,a,", "0,,b,"})) << "replaced, not appended to";
    group.CloseAllFds();
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    for (int const level : {1, 5, 6, 9, 10}) {
        Values values = Boost(level);
        EXPECT_EQ(group.GroupValueValidate(PERF_COMMAND_SHORT_START, values),
                  TWO_NODE_LEVELS.count(level) == 1 ? 0 : -1);
    }
}

TEST_F(KindTest, OnlyTheRemainderSkipsANodeThatCannotBeOpened)
{
    LevelMapGroup remainder(Levels({"gone", "b"}, TWO_NODE_LEVELS, "REMAINDER"), MODE);
    LevelMapGroup other(Levels({"gone", "b"}, TWO_NODE_LEVELS), MODE);
    remainder.DoConfig(5, 0);
    EXPECT_EQ(Logged(), Strings{});
    other.DoConfig(5, 0);
    EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 1U);
    EXPECT_EQ(Writes(), (Strings{"b <- 1", "b <- 1"}));
    sandbox.AddNode("gone");
    remainder.DoConfig(9, 0);
    EXPECT_EQ(Writes(), (Strings{"gone <- high", "b <- "}));
}

TEST_F(KindTest, MonitorAndRatioAreWrittenByARelatedGroupOnly)
{
    MonitorEnableGroup monitor(Levels({"a", "b"}, {{0, {"0", "0"}}, {1, {"1"}}}), MODE);
    TargetRatioGroup ratio(Levels({"c"}, {{0, {"10"}}, {1, {"20"}}}), MODE);
    for (PerfGroup* group : std::initializer_list<PerfGroup*>{&monitor, &ratio}) {
        EXPECT_EQ(group->ShortTermStart({1, At(0), At(9), Boost(1)}), 0);
        group->SetSuspend(false);
        EXPECT_EQ(group->GetFinalBoostValue(), 1);
    }
    EXPECT_EQ(Writes(), Strings{});
    for (int const level : {0, 1, 2}) {
        monitor.RelatedGroupDoConfig(level);
        ratio.RelatedGroupDoConfig(level);
    }
    EXPECT_EQ(Writes(), (Strings{"a <- 0", "b <- 0", "c <- 10", "a <- 1", "c <- 20"}));
    EXPECT_EQ(Mapping(monitor), Strings{"before,,,"});
    EXPECT_EQ(Mapping(ratio), Strings{"10,,c,"});
}

TEST_F(KindTest, EveryKindChecksItsConfiguration)
{
    LevelToValueMap const ragged = {{1, {"x", "y"}}, {2, {"z"}}};
    std::tuple<bool (*)(PerfGroupConfig&), PerfGroupConfig, bool> const rows[] = {
        {PerfGroup::GroupParametersValidate, Range(100, 100, 100, 100), true},
        {PerfGroup::GroupParametersValidate, Range(1, -5, 1, 1), false},
        {PerfGroup::GroupParametersValidate, Range(1, 9, 8, 7), false},
        {PerfGroup::GroupParametersValidate, Range(1, 9, 0, 9), false},
        {PerfGroup::GroupParametersValidate, Range(1, 9, 1, 10), false},
        {PerfGroup::GroupParametersValidate, Config({"a", ""}), false},
        {DdrGroup::GroupParametersValidate, Config({"a", "b"}), false},
        {FrequencyGroup::GroupParametersValidate, Config({"a", "b", "c"}), false},
        {IpaSustainablePowerGroup::GroupParametersValidate, Config({"a", "b"}), false},
        {LevelMapGroup::GroupParametersValidate, Levels({"a"}, {}), false},
        {TargetRatioGroup::GroupParametersValidate, Levels({"a", "b"}, ragged), false},
        {MonitorEnableGroup::GroupParametersValidate, Levels({"a", "b"}, ragged), true},
        {MonitorEnableGroup::GroupParametersValidate, Levels({}, ragged), false},
        {MonitorEnableGroup::GroupParametersValidate, Levels({"a"}, {}), false},
    };
    for (auto const& [validate, original, accepted] : rows) {
        PerfGroupConfig config = original;
        EXPECT_EQ(validate(config), accepted);
        EXPECT_EQ(Logged().size(), accepted ? 0U : 1U);
    }
}

} // namespace
