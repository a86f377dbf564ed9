// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

std::string Indexed(std::string const& list, std::size_t index)
{
    return list + "[" + std::to_string(index) + "]";
}

/** Notes ids that come twice in one list; there is one for each list. */
class UniqueIds {
public:
    UniqueIds(std::string list, Findings& all) : path(std::move(list)), findings(all) {}

    void Add(std::size_t index, unsigned int id)
    {
        auto const [first, isNew] = seen.emplace(id, index);
        if (!isNew) {
            findings.Add(Indexed(path, index) + ".id",
                         std::to_string(id) + " is the id of " + Indexed(path, first->second) + " already");
        }
    }

private:
    std::string const path;
    Findings& findings;
    std::map<unsigned int, std::size_t> seen;
};

/** The rules of the values that an event, a scenario or the probe asks for. */
class ValueCheck {
public:
    ValueCheck(Platform const& checked, Findings& list) : platform(checked), findings(list)
    {
        for (QosEntry const& entry : platform.qos) {
            resources.emplace(entry.id, &entry);
        }
    }

    /** @return the resource if it is built and readable; notes why values for it would be refused or lost. */
    QosEntry const* Resource(std::string const& path, PerfQosId id, bool mayBeUnsupported)
    {
        auto const found = resources.find(id);
        if (found == resources.end()) {
            findings.Add(path, "there is no resource " + std::to_string(id));
            return nullptr;
        }
        QosEntry const* const entry = found->second;
        if (findings.AnyUnreadableUnder(Indexed("qos", static_cast<std::size_t>(entry - platform.qos.data())))) {
            return nullptr; // what it accepts is not known
        }
        if (!GroupsOf(*entry).empty()) {
            return entry;
        }
        if (!mayBeUnsupported) {
            std::string const off = SwitchedOffBy(*entry, platform.control);
            findings.Add(path, "resource " + std::to_string(id) + " is not on this platform" +
                                   (off.empty() ? "" : " without " + off));
        }
        return nullptr;
    }

    void Groups(std::string const& path, QosEntry const& entry, std::vector<GroupInfo> const& infos)
    {
        if (infos.empty()) {
            findings.Add(path, "there is no group");
        }
        std::size_t const count = GroupsOf(entry).size();
        UniqueIds ids(path, findings);
        for (std::size_t i = 0; i < infos.size(); ++i) {
            std::string const where = Indexed(path, i);
            ids.Add(i, infos[i].groupId);
            if (infos[i].groupId >= count) {
                findings.Add(where + ".id", "resource " + std::to_string(entry.id) + " has no group " +
                                                std::to_string(infos[i].groupId));
            } else if (!findings.AnyUnreadableUnder(where)) {
                Operations(where, entry, infos[i]);
            }
        }
        if (KindOf(entry) == ResourceKind::EAS) {
            GlobalBoost(path, entry, infos);
        }
    }

    /** Notes a value that the group refuses. */
    void Value(std::string const& where, QosEntry const& entry, unsigned int group, long long value)
    {
        PerfGroupConfig const& config = GroupsOf(entry)[group];
        bool const openEnded = entry.overwriteMaxFreq && entry.frequencies.empty();
        bool const outside = value < config.availableMin || (value > config.availableMax && !openEnded);
        if (outside && !config.clampOutOfRange) {
            findings.Add(where, std::to_string(value) + " is outside " + std::to_string(config.availableMin) + " .. " +
                                    std::to_string(config.availableMax));
        } else if (!outside && !config.level2ValueMap.empty() &&
                   config.level2ValueMap.count(static_cast<int>(value)) == 0) {
            findings.Add(where, std::to_string(value) + " is no level");
        }
    }

private:
    /** The groups as the library has them, once for all values; none if the resource is not built. */
    std::vector<PerfGroupConfig> const& GroupsOf(QosEntry const& entry)
    {
        auto const [known, isNew] = groups.emplace(entry.id, std::vector<PerfGroupConfig>{});
        if (isNew && IsBuilt(entry, platform.control)) {
            for (std::size_t const index : SelectedGroups(entry, platform.control)) {
                known->second.push_back(Revised(entry, index, SortedFrequencies(entry), platform.control.chipType));
            }
        }
        return known->second;
    }

    void Operations(std::string const& where, QosEntry const& entry, GroupInfo const& info)
    {
        std::optional<int> boost;
        for (auto const& [operation, value] : info.operations) {
            Value(where + (operation == PERF_OPERATION_BOOST ? ".boost" : ".limit"), entry, info.groupId, value);
            if (operation == PERF_OPERATION_BOOST) {
                boost = value;
            } else if (boost && *boost > value) {
                findings.Add(where + ".boost", std::to_string(*boost) + " is above limit " + std::to_string(value));
            }
        }
        if (info.operations.empty()) {
            findings.Add(where, "there is neither a boost nor a limit");
        }
    }

    /** A boosted level that switches the global boost on and a limited one that switches it off contradict. */
    void GlobalBoost(std::string const& path, QosEntry const& entry, std::vector<GroupInfo> const& infos)
    {
        bool boostedOn = false;
        bool limitedOff = false;
        for (GroupInfo const& info : infos) {
            for (auto const& [operation, value] : info.operations) {
                auto const level = entry.easLevels.find(value);
                bool const on = level != entry.easLevels.end() && level->second.globalBoost == 1;
                boostedOn = boostedOn || (operation == PERF_OPERATION_BOOST && on);
                limitedOff = limitedOff || (operation == PERF_OPERATION_LIMIT && !on);
            }
        }
        if (boostedOn && limitedOff) {
            findings.Add(path, "a boost switches the global boost on and a limit switches it off");
        }
    }

    Platform const& platform;
    Findings& findings;
    std::map<PerfQosId, QosEntry const*> resources;
    std::map<PerfQosId, std::vector<PerfGroupConfig>> groups;
};

void CheckDuration(std::string const& path, unsigned int duration, Findings& findings)
{
    if ((duration < PERF_DURATION_MIN_MS || duration > PERF_DURATION_MAX_MS) && !findings.AnyUnreadableUnder(path)) {
        findings.Add(path, std::to_string(duration) + " ms is outside " + std::to_string(PERF_DURATION_MIN_MS) +
                               " .. " + std::to_string(PERF_DURATION_MAX_MS));
    }
}

void CheckPhases(std::string const& path, QosEntry const* entry, std::vector<EventPhase> const& phases,
                 ValueCheck& values, Findings& findings)
{
    if (phases.empty()) {
        findings.Add(path, "there is no phase");
    }
    for (std::size_t i = 0; i < phases.size(); ++i) {
        std::string const where = Indexed(path, i);
        CheckDuration(where + ".duration", phases[i].duration, findings);
        if (entry != nullptr) {
            values.Groups(where + ".groups", *entry, phases[i].groupInfos);
        }
    }
}

void CheckEvent(std::string const& path, ConfigurableEvent const& event, ValueCheck& values, Findings& findings)
{
    if (event.eventId >= REQUEST_EVENT_ID) {
        findings.Add(path + ".id", std::to_string(event.eventId) + " is above the highest event, " +
                                       std::to_string(REQUEST_EVENT_ID - 1));
    }
    if (event.qosCommands.empty()) {
        findings.Add(path + ".qos", "there is no resource");
    }
    UniqueIds ids(path + ".qos", findings);
    for (std::size_t i = 0; i < event.qosCommands.size(); ++i) {
        QosCommand const& command = event.qosCommands[i];
        std::string const where = Indexed(path + ".qos", i);
        ids.Add(i, command.qosId);
        CheckPhases(where + ".phases", values.Resource(where + ".id", command.qosId, true), command.phases, values,
                    findings);
    }
}

/** @param items of a scenario or a request: all of their resources must be there. */
template <typename Items>
void CheckItems(std::string const& path, Items const& items, ValueCheck& values, Findings& findings)
{
    UniqueIds ids(path, findings);
    for (std::size_t i = 0; i < items.size(); ++i) {
        std::string const where = Indexed(path, i);
        ids.Add(i, items[i].qosId);
        if (QosEntry const* const entry = values.Resource(where + ".id", items[i].qosId, false)) {
            values.Groups(where + ".groups", *entry, items[i].groupInfos);
        }
    }
}

void CheckScenario(std::string const& path, ConfigurableScenario const& scenario, ValueCheck& values,
                   Findings& findings)
{
    if (scenario.scenarioId >= PERF_SCENARIO_ID_COUNT) {
        findings.Add(path + ".id", std::to_string(scenario.scenarioId) + " is above the highest scenario, " +
                                       std::to_string(PERF_SCENARIO_ID_COUNT - 1));
    }
    if (scenario.qosItems.empty()) {
        findings.Add(path + ".qos", "there is no resource");
    }
    CheckItems(path + ".qos", scenario.qosItems, values, findings);
}

bool HasEvent(Platform const& platform, PerfEventId id)
{
    return std::any_of(platform.events.begin(), platform.events.end(),
                       [id](ConfigurableEvent const& event) { return event.eventId == id; });
}

bool HasScenario(Platform const& platform, PerfScenarioId id)
{
    return std::any_of(platform.scenarios.begin(), platform.scenarios.end(),
                       [id](ConfigurableScenario const& scenario) { return scenario.scenarioId == id; });
}

void CheckHint(std::string const& path, NamedHint const& hint, Platform const& platform, ValueCheck& values,
               Findings& findings)
{
    if (hint.event || hint.scenario) {
        if (hint.event && !HasEvent(platform, *hint.event)) {
            findings.Add(path + ".event", "there is no event " + std::to_string(*hint.event));
        } else if (hint.scenario && !HasScenario(platform, *hint.scenario)) {
            findings.Add(path + ".scenario", "there is no scenario " + std::to_string(*hint.scenario));
        }
        return;
    }
    if (hint.duration != 0) {
        CheckDuration(path + ".duration", hint.duration, findings);
    }
    if (hint.infos.empty()) {
        findings.Add(path, "there is neither an event nor a scenario nor a resource");
    }
    CheckItems(path + ".qos", hint.infos, values, findings);
}

void CheckHints(Platform const& platform, ValueCheck& values, Findings& findings)
{
    std::set<std::string> names;
    for (std::size_t i = 0; i < platform.hints.size(); ++i) {
        std::string const path = Indexed("hints", i);
        if (findings.AnyUnreadableUnder(path)) {
            continue;
        }
        if (!names.insert(platform.hints[i].name).second) {
            findings.Add(path + ".name", platform.hints[i].name + " is the name of another hint already");
        }
        CheckHint(path, platform.hints[i], platform, values, findings);
    }
}

void CheckProbe(Platform const& platform, ValueCheck& values, Findings& findings)
{
    std::pair<char const*, std::pair<PerfQosId, unsigned int>> const boosts[] = {
        {"probe.cpuM", {PERF_QOS_CPU_M, platform.probe.cpuM}},
        {"probe.cpuB", {PERF_QOS_CPU_B, platform.probe.cpuB}},
        {"probe.gpu", {PERF_QOS_GPU, platform.probe.gpu}},
    };
    bool any = false;
    for (auto const& [path, boost] : boosts) {
        if (boost.second == 0) {
            continue;
        }
        any = true;
        if (QosEntry const* const entry = values.Resource(path, boost.first, false)) {
            values.Value(path, *entry, 0, boost.second);
        }
    }
    if (!any) {
        findings.Add("probe", "boosts nothing, and would be refused");
    }
    if (platform.probe.duration == 0 && !findings.AnyUnreadableUnder("probe.duration")) {
        findings.Add("probe.duration", "0 ms ends a probe at its start");
    }
    if (platform.events.empty()) {
        findings.Add("probe", "is loaded together with events only, and there is none");
    }
}

} // namespace

void CheckCatalogues(Platform const& platform, Findings& findings)
{
    ValueCheck values(platform, findings);
    UniqueIds eventIds("events", findings);
    for (std::size_t i = 0; i < platform.events.size(); ++i) {
        eventIds.Add(i, platform.events[i].eventId);
        CheckEvent(Indexed("events", i), platform.events[i], values, findings);
    }
    UniqueIds scenarioIds("scenarios", findings);
    for (std::size_t i = 0; i < platform.scenarios.size(); ++i) {
        scenarioIds.Add(i, platform.scenarios[i].scenarioId);
        CheckScenario(Indexed("scenarios", i), platform.scenarios[i], values, findings);
    }
    CheckHints(platform, values, findings);
    if (platform.hasProbe) {
        CheckProbe(platform, values, findings);
    }
}
