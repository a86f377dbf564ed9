// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <cstddef>
#include <vector>

/** How a resource arbitrates and writes; one class of resource each. */
enum class ResourceKind { UNKNOWN, FREQUENCY, DDR, SINGLE_VALUE, LEVEL_MAP, IPA_POWER, IPA_SWITCH_TEMP, EAS, MEM_LAT };

/** What the resources of one kind are made of. */
struct KindTraits {
    char const* name;
    std::size_t groups; ///< that a resource has; 0: any number
    ResourceKind kind;
    bool takesLevels;
    bool takesFrequencies; ///< may name the node that lists the available ones
};

KindTraits const& TraitsOf(ResourceKind kind);
inline char const* KindName(ResourceKind kind)
{
    return TraitsOf(kind).name;
}

/** @return the id of the resource that a request's part is for: base values of EAS are asked for by an id of their own.
 */
inline PerfQosId ResourceIdOf(PerfQosId asked)
{
    return asked == PERF_QOS_EAS_BASE ? PERF_QOS_EAS : asked;
}

/** @return the kind that goes with an id, or UNKNOWN where it goes by the shape of the first group. */
ResourceKind FixedKindOf(PerfQosId id);
/** @return the kind that goes with the shape of the first group, or UNKNOWN where none does. */
ResourceKind SharedKindOf(std::vector<PerfGroupConfig> const& groups);
/** @return the kind of resource that is built of these groups. */
ResourceKind KindOf(PerfQosId id, std::vector<PerfGroupConfig> const& groups);
