// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include "tools/corvanectl/platform/Findings.h"

#include <algorithm>

namespace {

std::unique_ptr<PerfQosConfig> MakeConfig(QosEntry const& entry, std::vector<PerfGroupConfig> groups,
                                          PlatformConfigs::PathLookup const& place,
                                          PlatformConfigs::PathLookup const& listPlace)
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
    return std::make_unique<PerfQosFreqConfig>(entry.name, std::move(groups), listPlace(entry.freqListNode),
                                               entry.overwriteMaxFreq, entry.freqToBandwidthCoefficient);
}

} // namespace

PlatformConfigs::PlatformConfigs(Platform const& described, PathLookup const& place, PathLookup const& listPlace)
    : platform(described)
{
    for (QosEntry const& entry : platform.qos) {
        std::vector<PerfGroupConfig> groups = entry.groups;
        for (PerfGroupConfig& group : groups) {
            std::transform(group.nodePathVec.begin(), group.nodePathVec.end(), group.nodePathVec.begin(), place);
        }
        configs.push_back(MakeConfig(entry, std::move(groups), place, listPlace));
        byId.emplace(entry.id, configs.back().get());
    }
}

void PlatformConfigs::FitToDevice()
{
    for (QosEntry const& entry : platform.qos) {
        if (FitToDevice(entry) != 0) {
            throw InputError("resource " + std::to_string(entry.id) + " (" + entry.name +
                             ") does not fit this device; the log says why");
        }
    }
}

int PlatformConfigs::FitToDevice(QosEntry const& entry)
{
    if (!IsBuilt(entry, platform.control)) {
        return 0; // absent here; its device nodes are likely absent, too
    }
    PerfQosConfig& config = *byId.at(entry.id);
    config.GetGroupConfigByChipType(0, platform.control);
    return config.ReviseGroupConfigValue(platform.control.chipType);
}
