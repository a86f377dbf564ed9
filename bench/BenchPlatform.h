// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/ConfigManager.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

/**
 * A library with a few frequency resources (QoS FIRST_ID..), each of one group with range 300..3000 and base 300..2500.
 *
 * Without node paths everything goes to /dev/null, so that what is timed is the library and not a file system.
 */
class BenchPlatform {
public:
    static constexpr PerfQosId FIRST_ID = 17; // from here on no id has a kind of its own

    explicit BenchPlatform(unsigned int resources, std::string const& minNode = "/dev/null",
                           std::string const& maxNode = "/dev/null")
    {
        for (PerfQosId id = FIRST_ID; id < FIRST_ID + resources; ++id) {
            std::vector<PerfGroupConfig> groups;
            groups.emplace_back(0u, name, 300, 3000, 300, 2500, std::vector<std::string>{minNode, maxNode},
                                CHIP_TYPE_ANY);
            configs.push_back(std::make_unique<PerfQosConfig>(name, std::move(groups)));
            map[id] = configs.back().get();
        }
        PerfDefaultConfig const config{0, map, {}};
        manager = std::make_unique<ConfigManager>(Options());
        ready = manager->Init(config, {}, {}, {}) == 0;
    }

    bool IsReady() const { return ready; }
    ConfigManager& Manager() { return *manager; }

    /** Waits until every worker has answered, so that no queue carries over into the next measurement. */
    void Settle()
    {
        std::ostringstream ignored;
        static_cast<void>(manager->Dump(ignored, {"--task"}));
    }

    static std::vector<PerfRequestInfo> Boost(unsigned int resources, int value)
    {
        std::vector<PerfRequestInfo> infos;
        for (PerfQosId id = FIRST_ID; id < FIRST_ID + resources; ++id) {
            infos.push_back({id, {{0, {{PERF_OPERATION_BOOST, value}}}}});
        }
        return infos;
    }

private:
    static ConfigManagerOptions Options()
    {
        ConfigManagerOptions options;
        options.commandLimits.maxHandleNumPerProcess = 1u << 20;
        options.commandLimits.maxTotalHandleNum = 1u << 22;
        return options;
    }

    std::string const name = "bench";
    std::vector<std::unique_ptr<PerfQosConfig>> configs;
    std::map<PerfQosId, PerfQosConfig*> map;
    std::unique_ptr<ConfigManager> manager; // last: its workers end before what they refer to
    bool ready = false;
};
