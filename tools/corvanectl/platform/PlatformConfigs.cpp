// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include "tools/corvanectl/platform/Findings.h"

#include <algorithm>
#include <type_traits>
#include <utility>

std::unique_ptr<PerfQosConfig> MakeRecord(QosEntry const& entry, std::vector<PerfGroupConfig> groups,
                                          PathLookup const& place, PathLookup const& listPlace)
{
    auto const placed = [&](auto const& argument) {
        using Argument = std::decay_t<decltype(argument)>;
        if constexpr (std::is_same_v<Argument, NodePath>) {
            return place(argument.path);
        } else if constexpr (std::is_same_v<Argument, ListPath>) {
            return listPlace(argument.path);
        } else {
            return argument;
        }
    };
    for (PerfGroupConfig& group : groups) {
        std::transform(group.nodePathVec.begin(), group.nodePathVec.end(), group.nodePathVec.begin(), place);
    }
    return WithRecord(entry, [&](auto record, auto const&... rest) -> std::unique_ptr<PerfQosConfig> {
        return std::make_unique<typename decltype(record)::Type>(entry.name, std::move(groups), placed(rest)...);
    });
}

PlatformConfigs::PlatformConfigs(Platform const& described, PathLookup const& place, PathLookup const& listPlace)
    : platform(described)
{
    for (QosEntry const& entry : platform.qos) {
        configs.push_back(MakeRecord(entry, entry.groups, place, listPlace));
        byId.emplace(entry.id, configs.back().get());
    }
}

void PlatformConfigs::FitToDevice()
{
    for (QosEntry const& entry : platform.qos) {
        if (FitToDevice(entry) != 0) {
            throw InputError(ResourceName(entry) + " does not fit this device; the log says why");
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
