// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/BaseState.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

using BaseNodes = std::vector<BaseNode>;

void AddLevel(PerfGroupConfig const& group, int level, BaseNodes& out)
{
    auto const found = group.level2ValueMap.find(level);
    if (found == group.level2ValueMap.end()) {
        return;
    }
    std::size_t const count = std::min(group.nodePathVec.size(), found->second.size());
    for (std::size_t i = 0; i < count; ++i) {
        out.push_back({group.nodePathVec[i], found->second[i]});
    }
}

/** The node takes the bandwidth as the four bytes of an int; without a coefficient it takes the frequency as text. */
std::string DdrBytes(float coefficient, int frequency)
{
    if (!(coefficient > 0.0f)) {
        return std::to_string(frequency);
    }
    auto const bandwidth = static_cast<std::int32_t>(coefficient * static_cast<float>(frequency) / 1000000.0f);
    std::string bytes(sizeof(bandwidth), '\0');
    std::memcpy(bytes.data(), &bandwidth, sizeof(bandwidth));
    return bytes;
}

void AddIpaPower(QosEntry const& entry, bool boardSwitching, PerfGroupConfig const& group, BaseNodes& out)
{
    char const* const enabled = "enabled";
    char const* const disabled = "disabled";
    int const value = group.boostBase;
    if (!boardSwitching) {
        out.push_back({group.nodePathVec[2], value < entry.socThreshold ? enabled : disabled});
        return;
    }
    if (value < entry.boardThreshold) {
        out.push_back({group.nodePathVec[0], std::to_string(value)});
    }
    out.push_back({group.nodePathVec[1], value < entry.boardThreshold ? enabled : disabled});
    out.push_back({group.nodePathVec[2], value <= entry.boardThreshold ? enabled : disabled});
}

void AddEas(PerfQosEasConfig const& config, BaseNodes& out)
{
    bool globalBoost = false;
    for (PerfGroupConfig const& group : config.groupConfigs) {
        AddLevel(group, group.boostBase, out);
        auto const level = config.levelToValueMap.find(group.boostBase);
        globalBoost = globalBoost || (level != config.levelToValueMap.end() && level->second.globalBoost == 1);
    }
    out.push_back({config.globalBoostNode, globalBoost ? "1" : "0"});
}

/** The governor is closed by a monitor state of 1 or a ratio of 0; it is the monitor's nodes that say so. */
void AddMemLat(PerfGroupConfig const& ratio, PerfGroupConfig const& monitor, BaseNodes& out)
{
    bool const closed = ratio.boostBase == 0 || monitor.boostBase == 1;
    AddLevel(monitor, closed ? 1 : 0, out);
    if (!closed) {
        AddLevel(ratio, ratio.boostBase, out);
    }
}

void AddGroup(QosEntry const& entry, bool ipaFlag, PerfGroupConfig const& group, BaseNodes& out)
{
    switch (KindOf(entry)) {
    case ResourceKind::FREQUENCY:
        out.push_back({group.nodePathVec[0], std::to_string(group.boostBase)});
        out.push_back({group.nodePathVec[1], std::to_string(group.limitBase)});
        break;
    case ResourceKind::DDR:
        out.push_back({group.nodePathVec[0], DdrBytes(entry.freqToBandwidthCoefficient, group.boostBase)});
        break;
    case ResourceKind::IPA_POWER:
        AddIpaPower(entry, ipaFlag, group, out);
        break;
    case ResourceKind::LEVEL_MAP:
        AddLevel(group, group.boostBase, out);
        break;
    default:
        out.push_back({group.nodePathVec[0], std::to_string(group.boostBase)});
        break;
    }
}

} // namespace

std::vector<BaseNode> BaseState(Platform const& platform, PerfDefaultConfig const& config)
{
    BaseNodes nodes;
    for (QosEntry const& entry : platform.qos) {
        if (!IsBuilt(entry, platform.control)) {
            continue;
        }
        PerfQosConfig const& qos = *config.qosConfigs.at(entry.id);
        ResourceKind const kind = KindOf(entry);
        if (kind == ResourceKind::EAS) {
            AddEas(dynamic_cast<PerfQosEasConfig const&>(qos), nodes);
        } else if (kind == ResourceKind::MEM_LAT) {
            AddMemLat(qos.groupConfigs[0], qos.groupConfigs[1], nodes);
        } else {
            for (PerfGroupConfig const& group : qos.groupConfigs) {
                AddGroup(entry, platform.control.ipaResourceFlag, group, nodes);
            }
        }
    }
    return nodes;
}
