#pragma once

#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <cstddef>
#include <vector>

/** How a resource writes. Some ids have a fixed kind; the others take theirs from their first group. */
enum class ResourceKind { UNKNOWN, FREQUENCY, DDR, SINGLE_VALUE, LEVEL_MAP, IPA_POWER, IPA_SWITCH_TEMP, EAS, MEM_LAT };

/** What the library expects of the resources of one kind. */
struct KindTraits {
    ResourceKind kind;
    char const* name;
    std::size_t nodes;  ///< that a group has; 0: any number
    std::size_t groups; ///< that a resource has; 0: any number
    bool takesLevels;
    bool takesFrequencies; ///< may name the node that lists the available ones
};

KindTraits const& TraitsOf(ResourceKind kind);
inline char const* KindName(ResourceKind kind)
{
    return TraitsOf(kind).name;
}

/** @return the kind of resource that the library builds of these groups. */
ResourceKind KindOf(PerfQosId id, std::vector<PerfGroupConfig> const& groups);
