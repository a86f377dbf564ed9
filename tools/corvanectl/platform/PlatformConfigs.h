// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/** Paths in a record: of a node that is written, and of one that lists frequencies. */
struct NodePath {
    std::string const& path;
};
struct ListPath {
    std::string const& path;
};

template <typename Class> struct RecordClass {
    using Type = Class;
    char const* name;
};

/** Calls build with the class of a resource's record and what its constructor takes behind the name and the groups. */
template <typename Build> auto WithRecord(QosEntry const& entry, Build const& build)
{
    switch (KindOf(entry)) {
    case ResourceKind::IPA_POWER:
        return build(RecordClass<PerfQosIpaPowerConfig>{"PerfQosIpaPowerConfig"}, entry.socThreshold,
                     entry.boardThreshold);
    case ResourceKind::EAS:
        return build(RecordClass<PerfQosEasConfig>{"PerfQosEasConfig"}, entry.easLevels, entry.boostMin, entry.boostMax,
                     NodePath{entry.globalBoostNode});
    default:
        break;
    }
    if (entry.freqListNode.empty()) {
        return build(RecordClass<PerfQosConfig>{"PerfQosConfig"});
    }
    return build(RecordClass<PerfQosFreqConfig>{"PerfQosFreqConfig"}, ListPath{entry.freqListNode},
                 entry.overwriteMaxFreq, entry.freqToBandwidthCoefficient);
}

/** Says where a node of the file is to be found. */
using PathLookup = std::function<std::string(std::string const& node)>;

inline std::string AsWritten(std::string const& node)
{
    return node;
}

/** @param listPlace says where the node is that lists frequencies. @return the record of a resource with these groups.
 */
std::unique_ptr<PerfQosConfig> MakeRecord(QosEntry const& entry, std::vector<PerfGroupConfig> groups,
                                          PathLookup const& place, PathLookup const& listPlace);

/**
 * The records that the library takes for a platform, fitted to the running device: selected by chip type and revised.
 * Lives as long as the library uses them. The platform must outlive it.
 */
class PlatformConfigs {
public:
    PlatformConfigs(Platform const& described, PathLookup const& place) : PlatformConfigs(described, place, place) {}
    /** @param listPlace likewise, of those that list frequencies. */
    PlatformConfigs(Platform const& platform, PathLookup const& place, PathLookup const& listPlace);
    PlatformConfigs(PlatformConfigs const&) = delete;
    PlatformConfigs& operator=(PlatformConfigs const&) = delete;

    /** @throws InputError naming the resource that does not fit the device. */
    void FitToDevice();

    /** Selects and revises the records of one resource, if it is built. @return 0, or -1 after a line of the library.
     */
    int FitToDevice(QosEntry const& entry);

    PerfQosConfig* Of(PerfQosId id) const { return byId.at(id); }
    /** Valid as long as this object. */
    PerfDefaultConfig Config() const { return {0, byId, platform.control}; }

private:
    Platform const& platform;
    std::vector<std::unique_ptr<PerfQosConfig>> configs;
    std::map<PerfQosId, PerfQosConfig*> byId;
};
