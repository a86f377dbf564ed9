#include "tools/corvanectl/Platform.h"

#include <algorithm>
#include <set>

char const* KindName(ResourceKind kind)
{
    switch (kind) {
    case ResourceKind::FREQUENCY:
        return "frequency";
    case ResourceKind::DDR:
        return "DDR";
    case ResourceKind::SINGLE_VALUE:
        return "single value";
    case ResourceKind::LEVEL_MAP:
        return "level map";
    case ResourceKind::IPA_POWER:
        return "IPA power";
    case ResourceKind::IPA_SWITCH_TEMP:
        return "IPA switch temperature";
    case ResourceKind::EAS:
        return "EAS";
    case ResourceKind::MEM_LAT:
        return "memory latency";
    case ResourceKind::UNKNOWN:
        break;
    }
    return "unknown";
}

ResourceKind KindOf(QosEntry const& entry)
{
    switch (entry.id) {
    case PERF_QOS_DDR:
        return ResourceKind::DDR;
    case PERF_QOS_IPA_SUSTAINABLE_POWER:
        return ResourceKind::IPA_POWER;
    case PERF_QOS_IPA_SWITCH_TEMP:
        return ResourceKind::IPA_SWITCH_TEMP;
    case PERF_QOS_SINGLE_NODE:
        return ResourceKind::SINGLE_VALUE;
    case PERF_QOS_EAS:
        return ResourceKind::EAS;
    default:
        break;
    }
    if (entry.id >= PERF_QOS_MEM_LAT_FIRST && entry.id <= PERF_QOS_MEM_LAT_LAST) {
        return ResourceKind::MEM_LAT;
    }
    if (entry.groups.empty()) {
        return ResourceKind::UNKNOWN;
    }
    PerfGroupConfig const& first = entry.groups.front();
    if (!first.level2ValueMap.empty()) {
        return ResourceKind::LEVEL_MAP;
    }
    switch (first.nodePathVec.size()) {
    case 1:
        return ResourceKind::SINGLE_VALUE;
    case 2:
        return ResourceKind::FREQUENCY;
    default:
        return ResourceKind::UNKNOWN;
    }
}

std::vector<std::size_t> SelectedGroups(QosEntry const& entry, PerfConfigControlInfo const& control)
{
    // The library selects; the names tell afterwards who is left.
    std::vector<PerfGroupConfig> numbered = entry.groups;
    for (std::size_t i = 0; i < numbered.size(); ++i) {
        numbered[i].name = std::to_string(i);
    }
    PerfQosConfig config(entry.name, std::move(numbered));
    if (KindOf(entry) != ResourceKind::EAS) {
        config.GetGroupConfigByChipType(0, control);
    }
    std::vector<std::size_t> selected;
    for (PerfGroupConfig const& group : config.groupConfigs) {
        selected.push_back(std::stoul(group.name));
    }
    return selected;
}

bool IsBuilt(QosEntry const& entry, PerfConfigControlInfo const& control)
{
    if (entry.id == PERF_QOS_SINGLE_NODE && !control.singleNodeQosEnable) {
        return false;
    }
    auto const selected = SelectedGroups(entry, control);
    return !selected.empty() && std::all_of(selected.begin(), selected.end(), [&](std::size_t group) {
        return !entry.groups[group].nodePathVec.empty();
    });
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
