// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

/**
 * The records that the library takes for a platform, fitted to the running device: selected by chip type and revised.
 * Lives as long as the library uses them. The platform must outlive it.
 */
class PlatformConfigs {
public:
    /** Says where a node of the file is to be found. */
    using PathLookup = std::function<std::string(std::string const& node)>;

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
