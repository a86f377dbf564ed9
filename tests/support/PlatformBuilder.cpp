// SPDX-License-Identifier: Apache-2.0

#include "tests/support/PlatformBuilder.h"

#include <algorithm>

Strings PlatformBuilder::Paths(Strings const& nodes) const
{
    Strings paths;
    for (std::string const& node : nodes) {
        paths.push_back(makeNode(node));
    }
    return paths;
}

PerfGroupConfig PlatformBuilder::Group(unsigned int id, std::string const& name, Range const& range,
                                       Strings const& nodes) const
{
    auto const& [min, max, boostBase, limitBase] = range;
    return {id, name, min, max, boostBase, limitBase, Paths(nodes), CHIP_TYPE_ANY};
}

PerfGroupConfig PlatformBuilder::LevelGroup(unsigned int id, std::string const& name, int level, Strings const& nodes,
                                            LevelToValueMap const& texts) const
{
    Strings const paths = Paths(nodes);
    return {id, name, level, paths, texts, CHIP_TYPE_ANY};
}

PerfQosConfig& PlatformBuilder::AddFrequency(PerfQosId qosId, std::string const& name, Range const& range, bool clamp)
{
    auto group = Group(0, name, range, {name + "/min", name + "/max"});
    group.clampOutOfRange = clamp;
    return AddResource(qosId, name, {group});
}

PerfQosFreqConfig& PlatformBuilder::AddDdr(Range const& range, float coefficient)
{
    return Add<PerfQosFreqConfig>(PERF_QOS_DDR, "ddr", {Group(0, "ddr", range, {"ddr/bandwidth"})}, "", false,
                                  coefficient);
}

PerfQosIpaPowerConfig& PlatformBuilder::AddIpaPower(Range const& range, int socThreshold, int boardThreshold)
{
    return Add<PerfQosIpaPowerConfig>(PERF_QOS_IPA_SUSTAINABLE_POWER, "ipa",
                                      {Group(0, "ipa", range, {"ipa/power", "ipa/board", "ipa/soc"})}, socThreshold,
                                      boardThreshold);
}

PerfQosConfig& PlatformBuilder::AddLevelMap(PerfQosId qosId, std::string const& name, int level,
                                            LevelToValueMap const& texts)
{
    Strings nodes;
    for (std::size_t i = 0; i < texts.begin()->second.size(); ++i) {
        nodes.push_back(name + "/" + std::to_string(i));
    }
    return AddResource(qosId, name, {LevelGroup(0, name, level, nodes, texts)});
}

PerfQosEasConfig& PlatformBuilder::AddEas(std::vector<int> const& levels)
{
    std::vector<PerfGroupConfig> groups;
    for (unsigned int id = 0; id < levels.size(); ++id) {
        std::string const number = std::to_string(id);
        groups.push_back(LevelGroup(id, "eas" + number, levels[id], {"eas/" + number}, {}));
    }
    std::map<int, EasValue> const meanings{{0, {0, 0}}, {1, {20, 0}}, {2, {40, 1}}, {4, {41, 1}}};
    auto& config = Add<PerfQosEasConfig>(PERF_QOS_EAS, "eas", groups, meanings, 0, 100, makeNode("eas/global"));
    config.ReviseGroupConfigValue(CHIP_TYPE_ANY);
    return config;
}

PerfQosConfig& PlatformBuilder::AddMemoryLatency(PerfQosId qosId, int ratio, int monitor)
{
    return AddResource(
        qosId, "mem_lat",
        {LevelGroup(0, "ratio", ratio, {"mem_lat/ratio"}, {{0, {"0"}}, {1, {"400"}}, {2, {"800"}}}),
         LevelGroup(1, "monitor", monitor, {"mem_lat/monitor"}, {{0, {"off"}}, {1, {"on"}}, {2, {"?"}}})});
}

void PlatformBuilder::AddEvent(PerfEventId eventId, PerfQosId qosId,
                               std::vector<std::pair<unsigned int, int>> const& phases)
{
    QosCommand command{qosId, {}};
    for (auto const& [duration, value] : phases) {
        command.phases.push_back({duration, Boost(qosId, value).groupInfos});
    }
    auto known = std::find_if(events.begin(), events.end(),
                              [eventId](ConfigurableEvent const& event) { return event.eventId == eventId; });
    if (known == events.end()) {
        known = events.insert(events.end(), ConfigurableEvent{eventId, {}});
    }
    known->qosCommands.push_back(command);
}

void PlatformBuilder::AddScenario(PerfScenarioId scenarioId, std::vector<PerfRequestInfo> const& items)
{
    ConfigurableScenario scenario{scenarioId, {}};
    for (PerfRequestInfo const& item : items) {
        scenario.qosItems.push_back({item.qosId, item.groupInfos});
    }
    scenarios.push_back(scenario);
}
