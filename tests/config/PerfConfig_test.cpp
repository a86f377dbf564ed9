// SPDX-License-Identifier: Apache-2.0

#include <corvane/PerfConfig.h>

#include "sandbox/Sandbox.h"
#include "tests/support/LogCapture.h"

#include <android-base/properties.h>
#include <gtest/gtest.h>

namespace {

constexpr auto CHIP_2 = static_cast<ChipTypeAvailableValue>(2);
using Strings = std::vector<std::string>;
std::string const QOS = "cpu_b";
LevelToValueMap const LEVELS = {{3, {"c"}}, {1, {"a"}}, {7, {"g"}}};

/** "min~max base boost~limit", then "level:text" of each level. */
std::string Shown(PerfGroupConfig const& config)
{
    std::string text = std::to_string(config.availableMin) + "~" + std::to_string(config.availableMax) + " base " +
                       std::to_string(config.boostBase) + "~" + std::to_string(config.limitBase);
    for (auto const& [level, texts] : config.level2ValueMap) {
        text += " " + std::to_string(level) + ":" + texts.at(0);
    }
    return text;
}

PerfGroupConfig Group(int availableMin, int availableMax, int boostBase, int limitBase)
{
    return {"g", false, availableMin, availableMax, boostBase, limitBase, {}, CHIP_2};
}

TEST(PerfQosConfig, SelectionPrefersTheRunningChipToTheGenericVariant)
{
    // the chip types of the variants, the running one, the positions that are kept
    std::tuple<std::vector<int>, unsigned int, std::string> const rows[] = {
        {{}, 1, ""},         {{1}, 2, "0"}, // a lone one stays, fitting or not
        {{0, 1, 2}, 2, "2"}, {{0, 1}, 3, "0"},
        {{0, 0}, 1, ""}, // several generic ones cancel each other out
        {{1, 2}, 3, ""},     {{2, 0, 2, 1, 2}, 2, "024"},
        {{0, 1, 0}, 1, "1"},
    };
    for (auto const& [variants, running, expected] : rows) {
        std::vector<PerfGroupConfig> groups;
        for (int const chip : variants) {
            groups.push_back(Group(static_cast<int>(groups.size()), 9, 0, 9));
            groups.back().chipType = static_cast<ChipTypeAvailableValue>(chip);
        }
        PerfConfigControlInfo control;
        control.chipType = running;
        PerfQosConfig config(QOS, groups);
        config.GetGroupConfigByChipType(2, control);
        std::string kept;
        for (PerfGroupConfig const& group : config.groupConfigs) {
            kept += std::to_string(group.availableMin);
        }
        EXPECT_EQ(kept, expected) << testing::PrintToString(variants);
        PerfQosEasConfig eas(QOS, groups, {}, 0, 0, "");
        eas.GetGroupConfigByChipType(2, control);
        EXPECT_EQ(eas.groupConfigs.size(), variants.size());
    }
}

TEST(PerfQosFreqConfig, FrequenciesAreReadAscendingUpToTheFirstOddToken)
{
    std::vector<int> const untouched{7};
    std::pair<char const*, std::vector<int>> const rows[] = {
        {"300 1200 576 576", {300, 576, 1200}},
        {"\t-5\n10  kHz 20", {-5, 10}},
        {"2147483647 2147483648 1", {2147483647}},
        {"max 300", untouched},
    };
    Sandbox sandbox;
    PerfQosFreqConfig config(QOS, {}, "", false);
    for (auto const& [text, expected] : rows) {
        std::vector<int> freqs = untouched;
        EXPECT_EQ(config.GetAvlFreqs(sandbox.AddFile("freqs", text), freqs), expected == untouched ? -1 : 0);
        EXPECT_EQ(freqs, expected) << text;
    }

    LogCapture log;
    std::vector<int> freqs;
    std::string const large = sandbox.AddFile("large", "2147483647 2147483648 5");
    EXPECT_EQ(config.GetAvlFreqs(sandbox.AddFile("largest", "300 2147483647"), freqs), 0);
    EXPECT_EQ(log.Lines(), Strings{});
    EXPECT_EQ(config.GetAvlFreqs(large, freqs), 0);
    EXPECT_EQ(freqs, std::vector<int>{2147483647});
    EXPECT_EQ(config.GetAvlFreqs(sandbox.Root(), freqs), -1);
    std::string const prefix = "E PF_CONFIG GetAvlFreqs: [" + QOS + "] ";
    EXPECT_EQ(log.Lines(),
              (Strings{prefix + "freq list node " + large + " ends at a number too large",
                       prefix + "freq list node " + sandbox.Root() + " read fail, errno=21 (Is a directory)",
                       prefix + "freqList read empty"}));
}

TEST(PerfQosFreqConfig, RangesArePulledInsideTheFrequencies)
{
    struct Row {
        std::vector<PerfGroupConfig> groups;
        char const* property; ///< how many of the lowest frequencies are skipped
        unsigned int chip;
        bool overwriteMax;
        std::string expected; ///< empty where refused, and the groups left alone
    };
    PerfGroupConfig const wide = Group(-1, 9000, 1, 8000);
    PerfGroupConfig const inside = Group(350, 900, 400, 800);
    Row const rows[] = {
        {{}, "", 2, false, ""},
        {{wide, wide}, "", 2, false, ""},
        {{inside}, "", 2, false, "350~900 base 400~800"},
        {{wide}, "", 2, false, "300~1200 base 300~1200"},
        {{Group(100, 900, 400, 800)}, "0", 2, false, "300~900 base 400~800"},
        {{Group(2000, 100, 2000, 100)}, "", 2, false, "2000~100 base 2000~100"}, // never pushed outward
        {{inside}, "", 2, true, "350~1200 base 400~1200"},
        {{wide}, "", 2, true, "300~1200 base 300~1200"},
        {{inside}, "1", 2, false, "576~900 base 576~800"},
        {{inside}, "1", 1, false, "350~900 base 400~800"},
        {{Group(600, 900, 400, 800)}, "1", 2, false, "600~900 base 400~800"},
        {{inside}, "2", 2, false, "1200~900 base 1200~800"},
        {{inside}, "3", 2, false, "350~900 base 400~800"}, // beyond the list
        {{inside}, "one", 2, false, "350~900 base 400~800"},
    };
    EXPECT_EQ(PerfQosFreqConfig(QOS, {inside}, "/nowhere", false).ReviseGroupConfigValue(2), -1);
    Sandbox sandbox;
    std::string const node = sandbox.AddFile("freqs", "300 1200 576");
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        android::base::SetProperty("persist.vendor.cpub_min_freq_skip", row.property);
        PerfQosFreqConfig config(QOS, row.groups, node, row.overwriteMax);
        EXPECT_EQ(config.ReviseGroupConfigValue(row.chip), row.expected.empty() ? -1 : 0);
        for (PerfGroupConfig const& group : config.groupConfigs) {
            EXPECT_EQ(Shown(group), row.expected.empty() ? Shown(wide) : row.expected);
        }
    }
    android::base::SetProperty("persist.vendor.cpub_min_freq_skip", "");
}

TEST(PerfQosIpaPowerConfig, HasExactlyOneGroup)
{
    for (std::size_t groups = 0; groups < 3; ++groups) {
        PerfQosIpaPowerConfig config(QOS, {groups, Group(0, 9, 0, 9)}, 3, 5);
        EXPECT_EQ(config.ReviseGroupConfigValue(2), groups == 1 ? 0 : -1);
    }
}

TEST(PerfQosEasConfig, LevelsBecomeTextsRangesAndSwitches)
{
    // the levels, and the switches that they leave behind, beside one of an earlier revision
    std::pair<std::map<int, EasValue>, std::map<int, unsigned int>> const refused[] = {
        {{}, {{9, 9}}},
        {{{1, {5, 1}}, {2, {101, 0}}}, {{1, 1}, {9, 9}}},
        {{{1, {-11, 2}}}, {{9, 9}}},
        {{{1, {5, 1}}, {9, {5, 2}}}, {{1, 1}, {9, 9}}},
    };
    PerfGroupConfig const group = Group(50, 60, 2, 58);
    for (auto const& [levels, switches] : refused) {
        PerfQosEasConfig config(QOS, {group}, levels, -10, 100, "/switch");
        config.globalBoostMap[9] = 9;
        EXPECT_EQ(config.ReviseGroupConfigValue(2), -1);
        EXPECT_EQ(config.globalBoostMap, switches);
        EXPECT_EQ(Shown(config.groupConfigs[0]), "50~60 base 2~58");
    }
    PerfQosEasConfig config(QOS, {group, group}, {{5, {-10, 1}}, {2, {100, 0}}, {-1, {0, 1}}}, -10, 100, "/switch");
    EXPECT_EQ(config.ReviseGroupConfigValue(2), 0);
    EXPECT_EQ(config.globalBoostMap, (std::map<int, unsigned int>{{-1, 1}, {2, 0}, {5, 1}}));
    EXPECT_EQ(Shown(config.groupConfigs[0]), "-1~5 base 2~5 -1:0 2:100 5:-10");
    EXPECT_EQ(Shown(config.groupConfigs[1]), "-1~5 base 2~5 -1:0 2:100 5:-10");
}

} // namespace
