// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/Platform.h"

#include "resource/PerfResource.h"
#include "resource/ResourceManager.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/LibraryLog.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"

#include <algorithm>
#include <set>

std::vector<std::size_t> SelectedGroups(QosEntry const& entry, PerfConfigControlInfo const& control)
{
    // The library selects; the names tell afterwards who is left.
    std::vector<PerfGroupConfig> numbered = entry.groups;
    for (std::size_t i = 0; i < numbered.size(); ++i) {
        numbered[i].name = std::to_string(i);
    }
    auto const config = MakeRecord(entry, std::move(numbered), AsWritten, AsWritten);
    config->GetGroupConfigByChipType(0, control);
    std::vector<std::size_t> selected;
    for (PerfGroupConfig const& group : config->groupConfigs) {
        selected.push_back(std::stoul(group.name));
    }
    return selected;
}

bool IsBuilt(QosEntry const& entry, PerfConfigControlInfo const& control)
{
    std::vector<PerfGroupConfig> groups;
    for (std::size_t const group : SelectedGroups(entry, control)) {
        groups.push_back(entry.groups[group]);
    }
    CaughtLines const unheard;
    ResourceManager const library;
    ResConstructParam param{entry.id, entry.name, PERF_WORK_MODE_DEFAULT};
    PerfQosConfig config(entry.name, groups);
    bool isFinal = false;
    bool const isSpecial = library.BuildSpecialResource(param, config, control, isFinal) != nullptr;
    return !groups.empty() && library.IsSupportQos(groups) && (isSpecial || !isFinal);
}

PerfGroupConfig Revised(QosEntry const& entry, std::size_t group, std::vector<int> frequencies, unsigned int chipType)
{
    PerfGroupConfig revised = entry.groups[group];
    if (KindOf(entry) == ResourceKind::EAS) {
        for (auto const& [level, value] : entry.easLevels) {
            revised.level2ValueMap[level] = {std::to_string(value.schedtuneBoost)};
        }
    }
    revised.DeriveRangeFromLevels();
    if (frequencies.empty()) {
        return revised;
    }
    PerfQosFreqConfig config(entry.name, {revised}, "", entry.overwriteMaxFreq);
    config.AdjustFreqsByProperty(chipType, frequencies);
    config.AdjustMinMax(frequencies);
    return config.groupConfigs.front();
}

std::vector<int> SortedFrequencies(QosEntry const& entry)
{
    std::set<int> const sorted(entry.frequencies.begin(), entry.frequencies.end());
    return {sorted.begin(), sorted.end()};
}

QosEntry const* FindQos(Platform const& platform, PerfQosId id)
{
    auto const found =
        std::find_if(platform.qos.begin(), platform.qos.end(), [id](QosEntry const& entry) { return entry.id == id; });
    return found == platform.qos.end() ? nullptr : &*found;
}

std::string NameOf(Platform const& platform, PerfQosId id)
{
    QosEntry const* const entry = FindQos(platform, id);
    return entry == nullptr ? "resource " + std::to_string(id) : entry->name;
}

std::vector<PlatformNode> NodesOf(Platform const& platform)
{
    std::vector<PlatformNode> nodes;
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        QosEntry const& entry = platform.qos[i];
        std::string const path = Indexed("qos", i);
        for (std::size_t position = 0; position < entry.groups.size(); ++position) {
            PerfGroupConfig const& group = entry.groups[position];
            for (std::size_t index = 0; index < group.nodePathVec.size(); ++index) {
                nodes.push_back({group.nodePathVec[index],
                                 Indexed(Indexed(path + ".groups", position) + ".nodes", index), i, position,
                                 group.groupId, index, !group.level2ValueMap.empty()});
            }
        }
        if (!entry.globalBoostNode.empty()) {
            nodes.push_back({entry.globalBoostNode, path + ".globalBoostNode", i, entry.groups.size(),
                             static_cast<unsigned int>(entry.groups.size())});
        }
    }
    if (!platform.threadBinderNode.empty()) {
        nodes.push_back(
            {platform.threadBinderNode, "probe.threadBinderNode", platform.qos.size(), 0, 0, 0, false, true});
    }
    return nodes;
}

std::vector<PlatformNode> WrittenNodesOf(Platform const& platform)
{
    std::vector<std::vector<std::size_t>> written; // groups of each resource
    for (QosEntry const& entry : platform.qos) {
        written.emplace_back();
        if (IsBuilt(entry, platform.control)) {
            written.back() = SelectedGroups(entry, platform.control);
            written.back().push_back(entry.groups.size()); // the global boost's
        }
    }
    std::vector<PlatformNode> nodes = NodesOf(platform);
    auto const isUnwritten = [&](PlatformNode const& node) {
        return !node.isBinder &&
               std::count(written[node.resource].begin(), written[node.resource].end(), node.position) == 0;
    };
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), isUnwritten), nodes.end());
    return nodes;
}
