// SPDX-License-Identifier: Apache-2.0

#include "Platform.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace {

constexpr PerfQosId QOS_MEMORY = 10; // any id without a fixed meaning
constexpr unsigned int GROUP = 0;    // the only one of each resource
constexpr PerfEventId EVENT_LAUNCH = 0;
constexpr PerfScenarioId SCENARIO_GAME = 0;

std::vector<GroupInfo> Boost(int value)
{
    return {{GROUP, {{PERF_OPERATION_BOOST, value}}}};
}

} // namespace

// Values of one node have one width. A kernel node takes each write for itself; of a plain file, as in a dry run, a
// shorter text would replace the beginning only.
Platform::Platform(std::string const& root)
    : cpu(cpuName,
          {PerfGroupConfig(GROUP, "CPU_M_FREQ", 1000000, 3000000, 1000000, 3000000,
                           {root + "/sys/devices/system/cpu/cpufreq/policy0/scaling_min_freq",
                            root + "/sys/devices/system/cpu/cpufreq/policy0/scaling_max_freq"},
                           CHIP_TYPE_ANY)},
          root + "/sys/devices/system/cpu/cpufreq/policy0/scaling_available_frequencies", true),
      gpu(gpuName, {PerfGroupConfig(GROUP, "GPU_FREQ", 200000000, 800000000, 200000000, 800000000,
                                    {root + "/sys/class/devfreq/gpu/min_freq"}, CHIP_TYPE_ANY)}),
      memory(memoryName, {PerfGroupConfig(GROUP, "MEMORY_LEVEL", 0,
                                          {root + "/proc/sys/vm/swappiness", root + "/proc/sys/vm/vfs_cache_pressure"},
                                          {{0, {"60", "100"}}, {1, {"30", "200"}}}, CHIP_TYPE_ANY)})
{
}

bool Platform::Start(ConfigManager& manager)
{
    AddIfPresent(PERF_QOS_CPU_M, cpu);
    AddIfPresent(PERF_QOS_GPU, gpu);
    AddIfPresent(QOS_MEMORY, memory);
    if (present.empty()) {
        std::fputs("nothing to tune here\n", stderr);
        return false;
    }
    // Init writes nothing: what a service before this one has left behind ends with what is written anew.
    return manager.Init(PerfDefaultConfig{0, present, {}}, Events(), Scenarios(), {}) == 0 && Renew(manager);
}

bool Platform::Renew(ConfigManager& manager) const
{
    std::vector<unsigned int> params = {1};
    for (auto const& [id, config] : present) {
        params.push_back(id);
    }
    int const suspended = manager.PerfSetSuspend(params);
    params[0] = 0;
    return manager.PerfSetSuspend(params) == 0 && suspended == 0; // a resumed resource writes what is in force
}

void Platform::AddIfPresent(PerfQosId id, PerfQosConfig& config)
{
    PerfConfigControlInfo const control;
    config.GetGroupConfigByChipType(0, control);
    bool fits = config.ReviseGroupConfigValue(control.chipType) == 0;
    for (PerfGroupConfig const& group : config.groupConfigs) {
        for (std::string const& node : group.nodePathVec) {
            fits = fits && access(node.c_str(), W_OK) == 0;
        }
    }
    if (fits) {
        present.emplace(id, &config);
    } else {
        std::fprintf(stderr, "%s is left out: this device lacks it, or keeps it from us\n", config.qosName.c_str());
    }
}

std::vector<ConfigurableEvent> Platform::Events()
{
    // Of an event, what the device lacks is dropped.
    return {{EVENT_LAUNCH,
             {{PERF_QOS_CPU_M, {{200, Boost(2500000)}, {300, Boost(1500000)}}},
              {PERF_QOS_GPU, {{200, Boost(600000000)}}}}}};
}

std::vector<ConfigurableScenario> Platform::Scenarios() const
{
    // Of a scenario it is a failure.
    ConfigurableScenario game{SCENARIO_GAME, {}};
    for (ScenarioQosItem& item : std::vector<ScenarioQosItem>{
             {PERF_QOS_CPU_M, Boost(1500000)}, {PERF_QOS_GPU, Boost(400000000)}, {QOS_MEMORY, Boost(1)}}) {
        if (present.count(item.qosId) != 0) {
            game.qosItems.push_back(std::move(item));
        }
    }
    return {std::move(game)};
}
