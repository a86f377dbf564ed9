// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CFG_MGR"

#include "frontend/ConfigManagerMembers.h"

#include "resource/PerfResource.h"
#include "sys/Log.h"

#include <iterator>
#include <map>
#include <new>
#include <utility>

ConfigManager::ConfigManager() : ConfigManager(ConfigManagerOptions{}) {}

ConfigManager::ConfigManager(ConfigManagerOptions const& options) : members(*new (storage) Members(options))
{
    static_assert(sizeof(Members) <= sizeof(storage) && alignof(Members) <= alignof(std::max_align_t));
}

ConfigManager::~ConfigManager()
{
    members.~Members();
}

ConfigManager::Members::Members(ConfigManagerOptions const& options)
    : commandManager(options.commandLimits), resourceManager(PERF_QOS_ID_COUNT, options.rewriteDelay),
      threadBinder(options.threadBinderNode), debugHandles(PERF_SCENARIO_ID_COUNT, NO_HANDLE),
      debugClientPid(options.debugClientPid)
{
}

ConfigManager::Members::~Members()
{
    {
        PerfMutexLock lock(dumpLock); // whoever waits for a dump would wait for ever for a worker that has left
    }
    resourceManager.TellWorkersToExit(); // or they would go on while the binder, which goes first, is waited for
}

int ConfigManager::Init(PerfDefaultConfig const& config, std::vector<ConfigurableEvent> const& events,
                        std::vector<ConfigurableScenario> const& scenarios, ProbeEvent const& probe) noexcept
{
    if (members.initCalled) {
        PF_LOGE("[%s:%d] Init called again");
        return -1;
    }
    members.initCalled = true;

    if (members.workModeManager.InitWorkMode(config.controlInfo.workMode) != 0) {
        PF_LOGE("[%s:%d] workMode invalid %u", config.controlInfo.workMode);
        return -1;
    }
    if (members.resourceManager.Init(config) != 0) {
        PF_LOGE("[%s:%d] resource manager Init failed");
        return -1;
    }
    if (!events.empty()) {
        PerfEventTable table = members.eventManager.Init(events);
        if (table.empty()) {
            PF_LOGE("[%s:%d] event manager Init failed");
            return -1;
        }
        if (EventValidate(table) != 0) {
            PF_LOGE("[%s:%d] EventValidate failed");
            return -1;
        }
        members.eventManager.Update(table, probe);
    }
    if (!scenarios.empty()) {
        PerfScenarioTable table = members.scenarioManager.Init(scenarios);
        if (table.empty()) {
            PF_LOGE("[%s:%d] scenario manager Init failed");
            return -1;
        }
        if (ScenarioValidate(table) != 0) {
            PF_LOGE("[%s:%d] ScenarioValidate failed");
            return -1;
        }
        members.scenarioManager.Update(table);
    }
    members.threadBinder.Init(probe.threadBinderPath);
    return 0;
}

int ConfigManager::EventValidate(PerfEventTable& events) noexcept
{
    PerfEventTable validated;
    for (auto const& [eventId, items] : events) {
        PerfEventItems& kept = validated[eventId];
        for (auto const& [qosId, item] : items) {
            auto const& resource = members.resourceManager.GetResourcePtr(qosId);
            if (resource == nullptr) {
                PF_LOGW("[%s:%d] resource ptr is NULL for qos id %u", qosId);
                continue;
            }
            PerfEventItemInt checked = item;
            if (resource->RequestValidate(PERF_COMMAND_SHORT_START, checked.groupInfo) != 0) {
                PF_LOGE("[%s:%d] RequestValidate failed for qos id %u", qosId);
                return -1;
            }
            kept.emplace(qosId, std::move(checked));
        }
    }
    events = std::move(validated);
    return 0;
}

int ConfigManager::ScenarioValidate(PerfScenarioTable& scenarios) noexcept
{
    for (auto& scenario : scenarios) {
        for (auto& [qosId, groups] : scenario.second) {
            auto const& resource = members.resourceManager.GetResourcePtr(qosId);
            if (resource == nullptr) {
                PF_LOGE("[%s:%d] resource ptr is NULL for qos id %u", qosId);
                return -1;
            }
            if (resource->RequestValidate(PERF_COMMAND_LONG_START, groups) != 0) {
                PF_LOGE("[%s:%d] RequestValidate failed for qos id %u", qosId);
                return -1;
            }
        }
    }
    return 0;
}

void ConfigManager::Reset() noexcept
{
    // The whole of it under the debug lock: a console that switched a scenario on meanwhile would lose its handle.
    PerfMutexLock lock(members.debugLock);
    CommandManager::PidHandleMap released;
    members.commandManager.BuildReleaseAllCommand(released);
    // By process: the nodes take the same course whatever the order of the table.
    std::map processes(std::make_move_iterator(released.begin()), std::make_move_iterator(released.end()));
    for (auto& [pid, wrappers] : processes) {
        for (auto* const record : members.InReleaseOrder(wrappers)) {
            if (ReleaseCommand(pid, record->first, record->second) != 0) {
                PF_LOGE("[%s:%d] ReleaseCommand failed for pid %d, handle %llu", pid, record->first);
            }
        }
    }
    members.debugHandles.assign(PERF_SCENARIO_ID_COUNT, NO_HANDLE);
}
