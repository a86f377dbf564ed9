// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include "tools/corvanectl/platform/Findings.h"

namespace {

std::unique_ptr<PerfQosConfig> MakeConfig(QosEntry const& entry, std::vector<PerfGroupConfig> groups,
                                          PlatformConfigs::Place const& place)
{
    switch (KindOf(entry)) {
    case ResourceKind::IPA_POWER:
        return std::make_unique<PerfQosIpaPowerConfig>(entry.name, std::move(groups), entry.socThreshold,
                                                       entry.boardThreshold);
    case ResourceKind::EAS:
        return std::make_unique<PerfQosEasConfig>(entry.name, std::move(groups), entry.easLevels, entry.boostMin,
                                                  entry.boostMax, place(entry.globalBoostNode));
    default:
        break;
    }
    if (entry.freqListNode.empty()) {
        return std::make_unique<PerfQosConfig>(entry.name, std::move(groups));
    }
    return std::make_unique<PerfQosFreqConfig>(entry.name, std::move(groups), place(entry.freqListNode),
                                               entry.overwriteMaxFreq, entry.freqToBandwidthCoefficient);
}

} // namespace

PlatformConfigs::PlatformConfigs(Platform const& described, Place const& place) : platform(described)
{
    Place const known = [&](std::string const& node) {
        std::string at = place(node);
        names[at] = node;
        return at;
    };
    for (QosEntry const& entry : platform.qos) {
        Add(entry, known);
    }
}

void PlatformConfigs::Add(QosEntry const& entry, Place const& place)
{
    std::vector<PerfGroupConfig> groups = entry.groups;
    for (PerfGroupConfig& group : groups) {
        for (std::string& node : group.nodePathVec) {
            node = place(node);
        }
    }
    configs.push_back(MakeConfig(entry, std::move(groups), place));
    byId[entry.id] = configs.back().get();
}

void PlatformConfigs::FitToDevice()
{
    for (QosEntry const& entry : platform.qos) {
        PerfQosConfig& config = *byId.at(entry.id);
        if (!IsBuilt(entry, platform.control)) {
            continue; // absent here; its device nodes are likely absent, too
        }
        config.GetGroupConfigByChipType(0, platform.control);
        if (config.ReviseGroupConfigValue(platform.control.chipType) != 0) {
            throw InputError("resource " + std::to_string(entry.id) + " (" + entry.name +
                             ") does not fit this device; the log says why");
        }
    }
}
