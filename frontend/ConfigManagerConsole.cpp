// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CFG_MGR"

#include "frontend/ConfigManagerMembers.h"

#include "resource/PerfResource.h"
#include "sys/Log.h"

#include <map>

namespace {

void DebugEnable(ConfigManager& manager, int pid, std::ostringstream& out, unsigned int scenarioId,
                 unsigned long long& slot)
{
    if (slot != NO_HANDLE) {
        out << "debug cmd is in effect, delete it first" << std::endl;
        return;
    }
    int const ret = manager.PerfSetScenario(pid, scenarioId, slot);
    if (ret != 0) {
        out << "set scenario " << scenarioId << " fail, ret = " << ret << std::endl;
        slot = NO_HANDLE;
    }
}

void DebugDisable(ConfigManager& manager, int pid, std::ostringstream& out, unsigned int scenarioId,
                  unsigned long long& slot)
{
    if (slot == NO_HANDLE) {
        out << "release scenario " << scenarioId << ", fail, handle invalid." << std::endl;
    }
    static_cast<void>(manager.PerfRelease(pid, slot)); // also with an empty slot: an unknown handle is no error
    slot = NO_HANDLE;
}

} // namespace

/** What an option of the debug console switches. */
struct ConfigManager::DebugScenarioInfo {
    unsigned int enable = 0;     ///< 1 on, 0 off
    unsigned int scenarioId = 0; ///< also the slot in the debug handle table
};

int ConfigManager::DebugSet(std::ostringstream& out, std::string const& option) noexcept
{
    static std::map<std::string, DebugScenarioInfo> const options = {
        {"--game_mode_enable", {1, 0}},         {"--game_mode_disable", {0, 0}},
        {"--benchmark_mode_enable", {1, 1}},    {"--benchmark_mode_disable", {0, 1}},
        {"--game_mode_2_enable", {1, 2}},       {"--game_mode_2_disable", {0, 2}},
        {"--onfire_mode_enable", {1, 3}},       {"--onfire_mode_disable", {0, 3}},
        {"--game_start_mode_enable", {1, 4}},   {"--game_start_mode_disable", {0, 4}},
        {"--power_saving_mode_enable", {1, 5}}, {"--power_saving_mode_disable", {0, 5}},
    };
    PerfMutexLock lock(members.debugLock);
    auto const found = options.find(option);
    if (found == options.end()) {
        return 0;
    }
    auto const [enable, scenarioId] = found->second;
    if (scenarioId >= members.debugHandles.size()) {
        PF_LOGE("[%s:%d] invalid scenario id %u, vec size = %zu", scenarioId, members.debugHandles.size());
        return 1;
    }
    if (enable == 1) {
        DebugEnable(*this, members.debugClientPid, out, scenarioId, members.debugHandles[scenarioId]);
    } else {
        DebugDisable(*this, members.debugClientPid, out, scenarioId, members.debugHandles[scenarioId]);
    }
    return 1;
}

int ConfigManager::Dump(std::ostringstream& out, std::vector<std::string> const& args) noexcept
{
    if (args.empty()) {
        PF_LOGE("[%s:%d] args is empty.");
        return -1;
    }
    if (DumpInfo(out, args[0])) {
        PF_LOGD("[%s:%d] Dump info success");
        return 0;
    }
    PF_LOGE("[%s:%d] invalid type %s", args[0].c_str());
    out << "invalid type " << args[0] << std::endl;
    return -1;
}

bool ConfigManager::DumpInfo(std::ostringstream& out, std::string const& option) noexcept
{
    if (option == "--event") {
        members.eventManager.Dump(out);
    } else if (option == "--scenario") {
        members.scenarioManager.Dump(out);
    } else if (option == "--base_info") {
        PF_LOGD("[%s:%d] before base_info Dump");
        static_cast<void>(TaskDump(true, out));   // a failure is logged, and the option still counts as handled
        PF_LOGD("[%s:%d] before base_info Dump"); // meant: this line says "before" as well
    } else if (option == "--workMode") {
        members.workModeManager.Dump(out);
    } else if (option == "--task") {
        PF_LOGD("[%s:%d] before task Dump");
        static_cast<void>(TaskDump(false, out));
        PF_LOGD("[%s:%d] after task Dump");
    } else if (option == "--limit_history") {
        DumpFreqLimitHistory(out);
        PF_LOGD("[%s:%d] Dump limit_history success");
    } else {
        return false;
    }
    return true;
}

int ConfigManager::TaskDump(bool baseInfo, std::ostringstream& out) noexcept
{
    PerfCommandType const type = baseInfo ? PERF_COMMAND_GET_BASE_INFO : PERF_COMMAND_GET_LOG;
    CommandWrapper wrapper(type, PerfTimePoint{}, PerfTimePoint{}, 0);
    std::vector<PerfQosId> ids;
    BuildGetLogCmd(NO_HANDLE, ids, wrapper);

    // A resource has one slot for its answer: a second dump at once would take it, or wait for ever.
    PerfMutexLock lock(members.dumpLock);
    if (members.resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] TaskDump SendCmdToResources failed");
        return -1;
    }
    for (PerfQosId const id : ids) {
        auto const& resource = members.resourceManager.GetResourcePtr(id);
        if (resource != nullptr && resource->WaitLogFinish(baseInfo, out)) {
            PF_LOGD("[%s:%d] [%s:%d] res %u log finish", __func__, __LINE__, id);
        }
    }
    return 0;
}

void ConfigManager::BuildGetLogCmd(unsigned long long handle, std::vector<PerfQosId>& ids,
                                   CommandWrapper& wrapper) const noexcept
{
    members.resourceManager.GetResourceIds(handle, ids); // a mask of resources: all bits, all of them
    for (PerfQosId const id : ids) {
        wrapper.InsertDebugCommand(id);
    }
}

void ConfigManager::DumpFreqLimitHistory(std::ostringstream& out) noexcept
{
    for (PerfQosId id = 0; id < PERF_QOS_LIMIT_HISTORY_COUNT; ++id) {
        auto const& resource = members.resourceManager.GetResourcePtr(id);
        if (resource != nullptr) {
            resource->DumpLimitHistoryLog(out);
        }
    }
}

void ConfigManager::DumpCoreVersion(std::ostringstream& out) noexcept
{
    out << "core version: " << CORVANE_VERSION << std::endl;
}
