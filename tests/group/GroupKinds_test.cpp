// SPDX-License-Identifier: Apache-2.0

#include "tests/group/KindFixture.h"

#include "group/DdrGroup.h"
#include "group/FrequencyGroup.h"
#include "group/IpaSustainablePowerGroup.h"
#include "group/IpaSwitchTempGroup.h"
#include "group/MonitorEnableGroup.h"
#include "group/TargetRatioGroup.h"

#include <limits>
#include <regex>

namespace {

constexpr PerfWorkMode MODE = PERF_WORK_MODE_BOOST_FIRST;
LevelToValueMap const TWO_NODE_LEVELS = {{1, {"low", "0"}}, {5, {"mid", "1"}}, {9, {"high", ""}}};

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
    EXPECT_EQ(sandbox.OpenDescriptors("b"), 2) << "one each, however often it is written";
}

TEST_F(KindTest, TheBaseOfIpaPowerSaysWhatItMeansForBothSwitches)
{
    std::tuple<int, bool, Strings> const rows[] = {
        {499, true, {"499 a", "enabled b", "enabled c"}},
        {500, true, {"500 a", "disabled b", "enabled c"}},
        {501, true, {"501 a", "disabled b", "disabled c"}},
        {399, false, {"enabled c"}},
        {400, false, {"disabled c"}},
    };
    for (auto const& [base, boardSwitching, expected] : rows) {
        PerfGroupConfig config = Config({"a", "b", "c"});
        config.boostBase = base;
        std::vector<SpecifiedGroupDumpInfo> entries;
        IpaSustainablePowerGroup(config, MODE, boardSwitching, 400, 500).DumpBaseValueAfterMapping(entries);
        Strings shown;
        for (SpecifiedGroupDumpInfo const& entry : entries) {
            EXPECT_EQ(entry.secondValue + entry.secondNode, "");
            shown.push_back(entry.value + " " + entry.node.substr(sandbox.Root().size() + 1));
        }
        EXPECT_EQ(shown, expected);
    }
}

TEST_F(KindTest, EveryKindChecksItsConfiguration)
{
    LevelToValueMap const ragged = {{1, {"x", "y"}}, {2, {"z"}}};
    PerfGroupConfig inverted = Levels({"a"}, {{1, {"x"}}});
    inverted.availableMin = 9;
    std::tuple<bool (*)(PerfGroupConfig&), PerfGroupConfig, char const*> const rows[] = {
        {PerfGroup::GroupParametersValidate, Range(100, 100, 100, 100), ""},
        {PerfGroup::GroupParametersValidate, Range(1, 0, 1, 1), "GROUP available min(1) larger than max(0)"},
        {PerfGroup::GroupParametersValidate, Range(1, 9, 8, 7), "GROUP boost base(8) larger than limit base(7)"},
        {PerfGroup::GroupParametersValidate, Range(1, 9, 0, 9), "GROUP base range(0, 9) out of available range(1, 9)"},
        {PerfGroup::GroupParametersValidate, Range(0, 9, 1, 10),
         "GROUP base range(1, 10) out of available range(0, 9)"},
        {PerfGroup::GroupParametersValidate, Config({"a", ""}), "GROUP node path is empty!"},
        {DdrGroup::GroupParametersValidate, Config({"a", "b"}), "SINGLE_NODE_VALUE_GRP SysNodePath num invalid: 2"},
        {FrequencyGroup::GroupParametersValidate, Config({"a"}), "FREQ_GRP SysNodePath num invalid: 1"},
        {IpaSustainablePowerGroup::GroupParametersValidate, Config({"a", "b"}), "IPA_POWER_GRP invalid path size 2"},
        {LevelMapGroup::GroupParametersValidate, Levels({"a"}, {}), "LEVEL_MAP_GROUP level2value mapping is empty"},
        {LevelMapGroup::GroupParametersValidate, inverted, "GROUP available min(9) larger than max(1)"},
        {TargetRatioGroup::GroupParametersValidate, Levels({"a", "b"}, ragged),
         "LEVEL_MAP_GROUP invalid group value size 1, not equal to paths size 2"},
        {MonitorEnableGroup::GroupParametersValidate, Levels({"a", "b"}, ragged), ""},
        {MonitorEnableGroup::GroupParametersValidate, Levels({}, ragged), "MONITOR_ENABLE_GRP nodePathVec is empty!"},
        {MonitorEnableGroup::GroupParametersValidate, Levels({"a"}, {}),
         "MONITOR_ENABLE_GRP level2value mapping is empty"},
        {MonitorEnableGroup::GroupParametersValidate, inverted, "GROUP available min(9) larger than max(1)"},
    };
    std::regex const between(R"(^PF_|GroupParametersValidate: \[\w+\] )");
    for (auto const& [validate, original, reason] : rows) {
        PerfGroupConfig config = original;
        EXPECT_EQ(validate(config), *reason == 0);
        EXPECT_EQ(std::regex_replace(log.TakeReason(), between, ""), reason);
    }
}

} // namespace
