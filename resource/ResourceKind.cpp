#include "resource/ResourceKind.h"

#include <algorithm>
#include <iterator>

KindTraits const& TraitsOf(ResourceKind kind)
{
    static KindTraits const TABLE[] = {
        {ResourceKind::UNKNOWN, "unknown", 0, 0, false, false},
        {ResourceKind::FREQUENCY, "frequency", 2, 0, false, true},
        {ResourceKind::DDR, "DDR", 1, 1, false, true},
        {ResourceKind::SINGLE_VALUE, "single value", 1, 0, false, false},
        {ResourceKind::LEVEL_MAP, "level map", 0, 0, true, false},
        {ResourceKind::IPA_POWER, "IPA power", 3, 1, false, false},
        {ResourceKind::IPA_SWITCH_TEMP, "IPA switch temperature", 1, 0, false, false},
        {ResourceKind::EAS, "EAS", 1, 8, false, false},
        {ResourceKind::MEM_LAT, "memory latency", 0, 2, true, false},
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
