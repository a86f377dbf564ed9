// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CFG_MGR"

// What takes the mode lock.

#include "frontend/ConfigManagerMembers.h"
#include "frontend/TraceCall.h"
#include "sys/Log.h"
#include "sys/PerfTime.h"

#include <memory>

int ConfigManager::PerfSetMode(int pid, unsigned int modeId, unsigned long long& handle) noexcept
{
    TraceCall("velquist_log:workMode id=", &modeId);
    if (!members.workModeManager.IsValidWorkModeId(modeId)) {
        PF_LOGE("[%s:%d] invalid work mode id: %u", modeId);
        return -1;
    }
    CommandWrapper wrapper(PERF_COMMAND_MODE_START, PerfTimePoint{}, PerfTimePoint{}, 0);
    wrapper.InsertWorkModeCommand();

    // From the recording on, so that a release of everything finds the mode set when it gets here.
    PerfMutexLock lock(members.modeLock);
    if (members.commandManager.RequestHandle(pid, PerfTime::Now(), wrapper, handle) != 0) {
        PF_LOGE("[%s:%d] RequestHandle failed for pid %d", pid);
        return -1;
    }
    PerfWorkMode newMode = PERF_WORK_MODE_DEFAULT;
    int const changed = members.workModeManager.SetWorkMode(handle, modeId, newMode);
    if (changed < 0) {
        PF_LOGE("[%s:%d] SetWorkMode failed for pid %d", pid);
        return -1;
    }
    if (changed == 0) {
        PF_LOGD("[%s:%d] work mode not change");
        return 0;
    }
    wrapper.FillInWorkMode(newMode);
    if (members.resourceManager.SendWorkModeCmd(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendWorkModeCmd failed for pid %d", pid);
        return -1;
    }
    return 0;
}

int ConfigManager::Members::ReleaseWorkModeCommand(char const* method, unsigned long long handle,
                                                   CommandWrapper& wrapper)
{
    PerfMutexLock lock(modeLock);
    PerfWorkMode newMode = PERF_WORK_MODE_DEFAULT;
    int const changed = workModeManager.ReleaseWorkMode(handle, newMode);
    if (changed < 0) {
        PF_LOGE_AS(method, "[%s:%d] ReleaseWorkMode failed for handle %llu", handle);
        return -1;
    }
    if (changed == 0) {
        PF_LOGE_AS(method, "[%s:%d] work mode not change"); // no failure, but an error line all the same
        return 0;
    }
    // The start's items may still be read by workers: the release takes fresh ones.
    for (auto& item : wrapper.commands) {
        item = item == nullptr ? nullptr : std::make_shared<PerfCommandItem>(*item);
    }
    wrapper.FillInWorkMode(newMode);
    if (resourceManager.SendWorkModeCmd(wrapper) != 0) {
        PF_LOGE_AS(method, "[%s:%d] SendWorkModeCmd failed for handle %llu", handle);
        return -1;
    }
    return 0;
}
