// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/ConfigManager.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Strings = std::vector<std::string>;
using Operations = std::vector<std::pair<PerfOperationType, int>>;

inline PerfRequestInfo Ask(PerfQosId qosId, Operations const& operations, unsigned int group = 0)
{
    return {qosId, {{group, operations}}};
}

inline PerfRequestInfo Boost(PerfQosId qosId, int value, unsigned int group = 0)
{
    return Ask(qosId, {{PERF_OPERATION_BOOST, value}}, group);
}

inline PerfRequestInfo Limit(PerfQosId qosId, int value, unsigned int group = 0)
{
    return Ask(qosId, {{PERF_OPERATION_LIMIT, value}}, group);
}

/**
 * A platform with its catalogues and options, put together piece by piece. Every piece may be changed until Init, which
 * copies what it needs.
 *
 * Whoever builds says what a node is: a function is called with each node's name, such as "cpu_m/min", and returns the
 * path that the library opens.
 */
class PlatformBuilder {
public:
    using MakeNode = std::function<std::string(std::string const& name)>;
    struct Range {
        int availableMin, availableMax, boostBase, limitBase;
    };

    explicit PlatformBuilder(MakeNode nodes) : makeNode(std::move(nodes)) {}
    PlatformBuilder(PlatformBuilder const&) = delete;
    PlatformBuilder& operator=(PlatformBuilder const&) = delete;

    PerfGroupConfig Group(unsigned int id, std::string const& name, Range const& range, Strings const& nodes) const;
    /** @param texts of each level, one for each node. */
    PerfGroupConfig LevelGroup(unsigned int id, std::string const& name, int level, Strings const& nodes,
                               LevelToValueMap const& texts) const;

    /** A resource of any configuration, with what that one takes beyond its name and groups. */
    template <typename Config, typename... Fields>
    Config& Add(PerfQosId qosId, std::string const& name, std::vector<PerfGroupConfig> groups, Fields&&... fields)
    {
        names.push_back(name);
        auto config = std::make_unique<Config>(names.back(), std::move(groups), std::forward<Fields>(fields)...);
        Config& added = *config;
        owned.push_back(std::move(config));
        qosConfigs[qosId] = &added;
        return added;
    }
    /** A resource whose id or first group says what kind it is. */
    PerfQosConfig& AddResource(PerfQosId qosId, std::string const& name, std::vector<PerfGroupConfig> const& groups)
    {
        return Add<PerfQosConfig>(qosId, name, groups);
    }
    /** NAME/min and NAME/max. @param clamp values out of range. */
    PerfQosConfig& AddFrequency(PerfQosId qosId, std::string const& name, Range const& range, bool clamp = false);
    /** ddr/bandwidth */
    PerfQosFreqConfig& AddDdr(Range const& range, float coefficient);
    /** ipa/power, ipa/board and ipa/soc; board switching is up to the control flags. */
    PerfQosIpaPowerConfig& AddIpaPower(Range const& range, int socThreshold, int boardThreshold);
    /** NAME/0, NAME/1, … as many as a level has texts. */
    PerfQosConfig& AddLevelMap(PerfQosId qosId, std::string const& name, int level, LevelToValueMap const& texts);
    /** A group for each default level, eas/0 and so on, and eas/global; levels 2 and 4 switch the global boost on. */
    PerfQosEasConfig& AddEas(std::vector<int> const& levels = std::vector<int>(8));
    /** mem_lat/ratio with levels 0 "0", 1 "400" and 2 "800", mem_lat/monitor with levels 0 "off", 1 "on" and 2 "?". */
    PerfQosConfig& AddMemoryLatency(PerfQosId qosId, int ratio = 0, int monitor = 0);

    /** Phases of boosts, {ms, value}, on one resource; the same event may be added to for several resources. */
    void AddEvent(PerfEventId eventId, PerfQosId qosId, std::vector<std::pair<unsigned int, int>> const& phases);
    void AddScenario(PerfScenarioId scenarioId, std::vector<PerfRequestInfo> const& items);

    int Init(ConfigManager& manager) const
    {
        return manager.Init(PerfDefaultConfig{0, qosConfigs, control}, events, scenarios, probe);
    }

    ConfigManagerOptions options;
    PerfConfigControlInfo control;
    std::map<PerfQosId, PerfQosConfig*> qosConfigs;
    std::vector<ConfigurableEvent> events;
    std::vector<ConfigurableScenario> scenarios;
    ProbeEvent probe;

private:
    Strings Paths(Strings const& nodes) const;

    MakeNode const makeNode;
    std::deque<std::string> names;
    std::deque<std::unique_ptr<PerfQosConfig>> owned;
};
