// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/ConfigManager.h>
#include <corvane/PerfCatalogue.h>
#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <map>
#include <string>
#include <vector>

/**
 * The device as the library is told of it: a CPU cluster, a GPU and the memory management, an event and a scenario.
 *
 * The library refers to the names, the configurations and the map, so this must outlive the ConfigManager. One thread,
 * before anybody is served.
 */
class Platform {
public:
    /** @param root what every path begins with: "" for the nodes of this machine, or a folder that looks like them. */
    explicit Platform(std::string const& root);
    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;

    /** Fits the description to the device, initialises the library with it and brings every node to its base. */
    bool Start(ConfigManager& manager);
    /** Has what is in force written anew to every node, and returns when that is queued. */
    bool Renew(ConfigManager& manager) const;
    static std::vector<ConfigurableEvent> Events();

private:
    void AddIfPresent(PerfQosId id, PerfQosConfig& config);
    std::vector<ConfigurableScenario> Scenarios() const;

    std::string const cpuName = "CPU_M";
    std::string const gpuName = "GPU";
    std::string const memoryName = "MEMORY";
    PerfQosFreqConfig cpu;
    PerfQosConfig gpu;
    PerfQosConfig memory;
    std::map<PerfQosId, PerfQosConfig*> present;
};
