// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_WM_MGR"

#include "catalogue/WorkModeManager.h"

#include "sys/Log.h"

#include <algorithm>

WorkModeManager::WorkModeManager()
{
    modeSet.insert({NO_HANDLE, currentMode});
}

int WorkModeManager::InitWorkMode(PerfWorkMode mode)
{
    PerfMutexLock lock(mutex);
    if (!IsValidWorkModeId(mode)) {
        PF_LOGE("[%s:%d] Init invalid workMode %u", mode);
        return -1;
    }
    // The base entry keeps the default mode: an initial mode holds only until the first set or release.
    currentMode = mode;
    return 0;
}

int WorkModeManager::SetWorkMode(unsigned long long handle, unsigned int modeId, PerfWorkMode& out)
{
    PerfMutexLock lock(mutex);
    if (handleSet.count(handle) != 0) {
        PF_LOGE("[%s:%d] invalid handle: %llu", handle);
        return -1;
    }
    if (!IsValidWorkModeId(modeId)) {
        PF_LOGE("[%s:%d] invalid mode id: %u", modeId);
        return -1;
    }
    handleSet.insert(handle);
    modeSet.insert({handle, static_cast<PerfWorkMode>(modeId)});
    return RecomputeLocked(out);
}

int WorkModeManager::ReleaseWorkMode(unsigned long long handle, PerfWorkMode& out)
{
    PerfMutexLock lock(mutex);
    if (handleSet.erase(handle) == 0) {
        PF_LOGE("[%s:%d] invalid handle: %llu", handle);
        return -1;
    }
    auto const held = std::find_if(modeSet.begin(), modeSet.end(),
                                   [handle](WorkModeInfo const& info) { return info.handle == handle; });
    if (held != modeSet.end()) {
        modeSet.erase(held);
    }
    PF_LOGD("[%s:%d] release mode succ");
    return RecomputeLocked(out);
}

int WorkModeManager::RecomputeLocked(PerfWorkMode& out)
{
    bool const changed = modeSet.begin()->mode != currentMode;
    currentMode = modeSet.begin()->mode;
    out = currentMode;
    return changed ? 1 : 0;
}

PerfWorkMode WorkModeManager::GetCurrWorkMode()
{
    PerfMutexLock lock(mutex);
    return currentMode;
}

WorkModeState WorkModeManager::State() const
{
    PerfMutexLock lock(mutex);
    return {currentMode, {modeSet.begin(), modeSet.end()}};
}

int WorkModeManager::Dump(std::ostringstream& out) const
{
    WorkModeState const state = State();
    out << std::endl
        << "current mode = " << static_cast<unsigned int>(state.mode) << ", modeNum(" << state.requests.size()
        << ") <value, handle>:" << std::endl;
    for (WorkModeInfo const& info : state.requests) {
        out << "<";
        if (info.handle == NO_HANDLE) {
            out << static_cast<unsigned int>(info.mode) << ",*>";
        } else {
            out << info.handle << ", " << static_cast<unsigned int>(info.mode) << "> ";
        }
    }
    out << std::endl;
    return 0;
}
