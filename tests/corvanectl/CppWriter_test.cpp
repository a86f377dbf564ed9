// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/CppWriter.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/program/Files.h"

#include <corvane/ConfigManager.h>

#include <gtest/gtest.h>

#include <sstream>

#include <imported_platform.h>
#include <sample_platform.h>

#include <sstream>
#include <tuple>

namespace {

/** All that the library shows of a platform that it has taken. */
std::string Dumps(PerfDefaultConfig const& config, std::vector<ConfigurableEvent> const& events,
                  std::vector<ConfigurableScenario> const& scenarios, ProbeEvent const& probe,
                  std::string const& threadBinderNode)
{
    ConfigManagerOptions options;
    options.threadBinderNode = threadBinderNode;
    ConfigManager manager(options);
    EXPECT_EQ(manager.Init(config, events, scenarios, probe), 0);
    std::ostringstream out;
    for (char const* const what : {"--base_info", "--event", "--scenario", "--workMode"}) {
        static_cast<void>(manager.Dump(out, {what}));
    }
    return out.str();
}

auto Fields(PerfGroupConfig const& group)
{
    return std::tie(group.name, group.groupId, group.clampOutOfRange, group.availableMin, group.availableMax,
                    group.boostBase, group.limitBase, group.nodePathVec, group.level2ValueMap, group.chipType);
}

/** A platform, read from its file, beside the header that was made of the same file. */
template <typename Compiled> class Beside {
public:
    explicit Beside(std::string const& file) : platform(ReadPlatform(file, ReadTextFile(file), findings))
    {
        nodes.Prepare(platform);
    }

    void Compare()
    {
        ASSERT_TRUE(findings.Empty());
        PlatformConfigs loaded(platform, [this](std::string const& node) { return PathOf(node); });
        loaded.FitToDevice();
        for (auto const& [id, config] : compiled.qosConfigs) {
            Move(*config);
        }
        ASSERT_TRUE(compiled.Fit());
        std::string const expected = Dumps(loaded.Config(), platform.events, platform.scenarios, platform.probe,
                                           PathOf(platform.threadBinderNode));
        ASSERT_GT(expected.size(), 1000U);
        EXPECT_EQ(Dumps(compiled.Config(), compiled.events, compiled.scenarios, compiled.probe,
                        PathOf(compiled.threadBinderNode)),
                  expected);
        for (auto const& [id, config] : loaded.Config().qosConfigs) {
            ASSERT_EQ(compiled.qosConfigs.count(id), 1U);
            CompareGroups(*config, *compiled.qosConfigs.at(id));
        }
    }

    Findings findings;
    Platform const platform;
    Compiled compiled;

private:
    std::string PathOf(std::string const& node) const { return node.empty() ? "" : nodes.PathOf(node); }

    /** The nodes of the header are those of the device. */
    void Move(PerfQosConfig& config)
    {
        for (PerfGroupConfig& group : config.groupConfigs) {
            for (std::string& node : group.nodePathVec) {
                node = PathOf(node);
            }
        }
        if (auto* const freq = dynamic_cast<PerfQosFreqConfig*>(&config)) {
            freq->freqListNode = PathOf(freq->freqListNode);
        } else if (auto* const eas = dynamic_cast<PerfQosEasConfig*>(&config)) {
            eas->globalBoostNode = PathOf(eas->globalBoostNode);
        }
    }

    static void CompareGroups(PerfQosConfig const& one, PerfQosConfig const& other)
    {
        ASSERT_EQ(one.groupConfigs.size(), other.groupConfigs.size()) << one.qosName;
        for (std::size_t i = 0; i < one.groupConfigs.size(); ++i) {
            EXPECT_EQ(Fields(one.groupConfigs[i]), Fields(other.groupConfigs[i])) << one.qosName;
        }
    }

    SandboxNodes nodes;
};

} // namespace

TEST(CppWriter, CompiledPlatformIsTheLoadedOne)
{
    Platform platform;
    for (auto const& [name, made] : {std::pair("config", "PlatformConfig"), {"7 zip", "Platform7Zip"}, {"a-b", "AB"}}) {
        platform.name = name;
        EXPECT_EQ(CppNameOf(platform), made); // not the name of a member either
    }
    platform.hints = {{"a?", 1, {}, 0, {}, {}, {"b\x7f"}}, {"c", 2, {}, 0, {}, {}, {}}};
    std::ostringstream text;
    WriteCpp(platform, "file", text);
    EXPECT_NE(text.str().find(R"(endedHints = {
        {"a\077", {"b\177"}},
    };)"),
              std::string::npos);
    Beside<SamplePhone>(SAMPLE_FILE).Compare();
}

TEST(CppWriter, ImportedHintsKeepTheirNames)
{
    Beside<ImportedPlatform> beside(IMPORTED_FILE);
    beside.Compare();
    auto const& compiled = beside.compiled;
    std::size_t count = 0;
    for (NamedHint const& hint : beside.platform.hints) {
        ++count;
        if (hint.event) {
            EXPECT_EQ(compiled.eventHints.at(hint.name), *hint.event);
        } else if (hint.scenario) {
            EXPECT_EQ(compiled.scenarioHints.at(hint.name), *hint.scenario);
        } else {
            auto const& request = compiled.requestHints.at(hint.name);
            EXPECT_EQ(request.duration, hint.duration);
            ASSERT_EQ(request.infos.size(), hint.infos.size());
            for (std::size_t i = 0; i < hint.infos.size(); ++i) {
                EXPECT_EQ(request.infos[i].qosId, hint.infos[i].qosId);
                EXPECT_EQ(request.infos[i].groupInfos[0].operations, hint.infos[i].groupInfos[0].operations);
            }
        }
    }
    EXPECT_EQ(count, 24U);
    EXPECT_EQ(compiled.eventHints.size() + compiled.scenarioHints.size() + compiled.requestHints.size(), count);
}
