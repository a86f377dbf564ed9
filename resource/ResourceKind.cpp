// SPDX-License-Identifier: Apache-2.0

#include "resource/ResourceKind.h"

#include <algorithm>
#include <iterator>

KindTraits const& TraitsOf(ResourceKind kind)
{
    static KindTraits const TABLE[] = {
        {"unknown", 0, ResourceKind::UNKNOWN, false, false},
        {"frequency", 0, ResourceKind::FREQUENCY, false, true},
        {"DDR", 1, ResourceKind::DDR, false, true},
        {"single value", 0, ResourceKind::SINGLE_VALUE, false, false},
        {"level map", 0, ResourceKind::LEVEL_MAP, true, false},
        {"IPA power", 1, ResourceKind::IPA_POWER, false, false},
        {"IPA switch temperature", 0, ResourceKind::IPA_SWITCH_TEMP, false, false},
        {"EAS", 8, ResourceKind::EAS, false, false},
        {"memory latency", 2, ResourceKind::MEM_LAT, true, false},
    };
    return *std::find_if(std::begin(TABLE), std::end(TABLE) - 1,
                         [kind](KindTraits const& traits) { return traits.kind == kind; });
}

ResourceKind FixedKindOf(PerfQosId id)
{
    switch (id) {
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
        return id >= PERF_QOS_MEM_LAT_FIRST && id <= PERF_QOS_MEM_LAT_LAST ? ResourceKind::MEM_LAT
                                                                           : ResourceKind::UNKNOWN;
    }
}

ResourceKind SharedKindOf(std::vector<PerfGroupConfig> const& groups)
{
    if (groups.empty()) {
        return ResourceKind::UNKNOWN;
    }
    if (!groups.front().level2ValueMap.empty()) {
        return ResourceKind::LEVEL_MAP;
    }
    switch (groups.front().nodePathVec.size()) {
    case 1:
        return ResourceKind::SINGLE_VALUE;
    case 2:
        return ResourceKind::FREQUENCY;
    default:
        return ResourceKind::UNKNOWN;
    }
}

ResourceKind KindOf(PerfQosId id, std::vector<PerfGroupConfig> const& groups)
{
    ResourceKind const fixed = FixedKindOf(id);
    return fixed != ResourceKind::UNKNOWN ? fixed : SharedKindOf(groups);
}
