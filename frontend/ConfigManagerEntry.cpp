#define LOG_TAG "PF_CFG_MGR"

#include <corvane/ConfigManager.h>

#include "resource/PerfResource.h"
#include "sys/Log.h"
#include "sys/SysWrapper.h"

#include <chrono>
#include <string>
#include <vector>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/** The label, the id if there is one, and the params; built only while somebody traces. */
void TraceCall(char const* label, unsigned int const* id, std::vector<unsigned int> const& params = {})
{
    if (!SysWrapper::IsSysTraceEnabled()) {
        return;
    }
    std::string text = label;
    if (id != nullptr) {
        text += std::to_string(*id);
    }
    for (unsigned int const param : params) {
        text += " " + std::to_string(param);
    }
    SysWrapper::SysTraceName(text);
}

} // namespace

int ConfigManager::PerfSetScenario(int pid, unsigned int scenarioId, unsigned long long& handle) noexcept
{
    auto const& items = scenarioManager.ScenarioIdToQosInfo(scenarioId);
    if (items.empty()) {
        PF_LOGE("[%s:%d] invalid scenario id: %u", scenarioId);
        return -1;
    }
    TraceCall("velquist_log:scenario id=", &scenarioId);
    CommandWrapper wrapper(PERF_COMMAND_LONG_START, PerfTimePoint{}, PerfTimePoint{}, 0);
    for (auto const& [qosId, groups] : items) {
        wrapper.InsertRequestCommand(qosId, groups);
    }
    return RecordAndSend(__func__, pid, steady_clock::now(), wrapper, handle);
}

int ConfigManager::PerfSetMode(int pid, unsigned int modeId, unsigned long long& handle) noexcept
{
    TraceCall("velquist_log:workMode id=", &modeId);
    if (!workModeManager.IsValidWorkModeId(modeId)) {
        PF_LOGE("[%s:%d] invalid work mode id: %u", modeId);
        return -1;
    }
    CommandWrapper wrapper(PERF_COMMAND_MODE_START, PerfTimePoint{}, PerfTimePoint{}, 0);
    wrapper.InsertWorkModeCommand();

    // From the recording on, so that a release of everything finds the mode set when it gets here.
    PerfMutexLock lock(modeLock);
    if (commandManager.RequestHandle(pid, steady_clock::now(), wrapper, handle) != 0) {
        PF_LOGE("[%s:%d] RequestHandle failed for pid %d", pid);
        return -1;
    }
    PerfWorkMode newMode = PERF_WORK_MODE_DEFAULT;
    int const changed = workModeManager.SetWorkMode(handle, modeId, newMode);
    if (changed < 0) {
        PF_LOGE("[%s:%d] SetWorkMode failed for pid %d", pid);
        return -1;
    }
    if (changed == 0) {
        PF_LOGD("[%s:%d] work mode not change");
        return 0;
    }
    wrapper.FillInWorkMode(newMode);
    if (resourceManager.SendWorkModeCmd(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendWorkModeCmd failed for pid %d", pid);
        return -1;
    }
    return 0;
}

int ConfigManager::PerfSetSuspend(std::vector<unsigned int> const& params) noexcept
{
    if (params.size() < 2) {
        PF_LOGE("[%s:%d] invalid Set Suspend param size %zu", params.size());
        return -1;
    }
    TraceCall("velquist_log:suspend=", nullptr, params);
    PerfCommandType const type = params[0] != 0 ? PERF_COMMAND_SUSPEND_ON : PERF_COMMAND_SUSPEND_OFF;
    CommandWrapper wrapper(type, PerfTimePoint{}, PerfTimePoint{}, 0);
    for (size_t i = 1; i < params.size(); ++i) {
        PerfQosId const qosId = params[i];
        if (qosId >= PERF_QOS_MEM_LAT_FIRST && qosId <= PERF_QOS_MEM_LAT_LAST) {
            PF_LOGD("[%s:%d] suspend not support memlat !");
        } else if (resourceManager.GetResourcePtr(qosId) != nullptr) {
            wrapper.InsertSuspendCommand(qosId);
        }
    }
    if (resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] sendSuspendCmd failed");
        return -1;
    }
    return 0;
}

int ConfigManager::PerfEvent(unsigned int eventId, std::vector<unsigned int> const& params,
                             std::string const& message) noexcept
{
    PF_LOGI_VERBOSE("[%s:%d] user message: %s", message.c_str());
    TraceCall("velquist_log:eventId=", &eventId, params);
    if (eventId == PROBE_EVENT_ID) {
        return ProbeEventDoor(__func__, params);
    }
    if (eventId == SUSPEND_EVENT_ID) {
        return PerfSetSuspend(params);
    }
    if (params.size() == 1 && params[0] == 0) {
        StopEvent(eventId);
        return 0;
    }
    if (!params.empty() && params[0] != 1) {
        PF_LOGE("[%s:%d] invalid parameter for PerfEvent");
        return -1;
    }
    if (StartEvent(eventId, params.size() == 2 ? params[1] : 0) != 0) {
        PF_LOGE("[%s:%d] StartEvent failed");
        return -1;
    }
    return 0;
}

int ConfigManager::ProbeEventDoor(char const* method, std::vector<unsigned int> const& params)
{
    if (params.size() != 3) {
        PF_LOGE_AS(method, "[%s:%d] invalid probe event request format. size = %d", static_cast<int>(params.size()));
        return -1;
    }
    int const tid = static_cast<int>(params[2]);
    switch (params[0]) {
    case 0:
        StopProbe(tid);
        return 0;
    case 1:
        return StartProbe(tid);
    default:
        PF_LOGE_AS(method, "[%s:%d] invalid start notion");
        return -1;
    }
}

int ConfigManager::StartEvent(PerfEventId eventId, unsigned int duration) noexcept
{
    auto const& items = eventManager.EventIdToQosInfo(eventId);
    if (items.empty()) {
        PF_LOGW("[%s:%d] invalid event id: %u", eventId);
        return 0;
    }
    PerfTimePoint const now = steady_clock::now();
    CommandWrapper wrapper(PERF_COMMAND_SHORT_START, now, now, duration);
    for (auto const& [qosId, item] : items) {
        if (duration == 0) {
            wrapper.InsertEventCommand(qosId, now + milliseconds(item.startTime), now + milliseconds(item.endTime),
                                       item.groupInfo);
        } else if (item.startTime == 0) {
            wrapper.InsertEventCommand(qosId, now, now + milliseconds(duration), item.groupInfo);
        }
    }
    unsigned long long const releaseCount = commandManager.ReleaseCount();
    if (commandManager.RequestEventHandle(eventId, now, wrapper) != 0) {
        PF_LOGE("[%s:%d] RequestEventHandle failed for event id: %u", eventId);
        return -1;
    }
    int const sent = resourceManager.SendCmdToResources(wrapper);
    StopIfReleased(commandManager.EventPid(), releaseCount, wrapper);
    if (sent != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed for event id: %u", eventId);
        return -1;
    }
    return 0;
}

void ConfigManager::StopEvent(PerfEventId eventId) noexcept
{
    std::vector<CommandWrapper> wrappers;
    if (commandManager.BuildEventReleaseCommand(eventId, wrappers) != 0) {
        PF_LOGD("[%s:%d] BuildEventReleaseCommand failed");
        return;
    }
    for (CommandWrapper const& wrapper : wrappers) {
        if (resourceManager.SendCmdToResources(wrapper) != 0) {
            PF_LOGE("[%s:%d] SendCmdToResources failed for event id: %u", eventId);
            return;
        }
    }
}

int ConfigManager::StartProbe(int tid) noexcept
{
    ProbeEvent const& probe = eventManager.GetProbeInfo();
    PerfTimePoint const now = steady_clock::now();
    PerfTimePoint const start = now + milliseconds(probe.startDelay);
    PerfTimePoint const end = start + milliseconds(probe.duration);
    CommandWrapper wrapper(PERF_COMMAND_SHORT_START, start, end, 0);
    wrapper.InsertProbeCommand(start, end, probe.cpuM, probe.cpuB, probe.gpu);

    unsigned long long const releaseCount = commandManager.ReleaseCount();
    switch (commandManager.RequestProbeHandle(tid, now, wrapper)) {
    case CommandManager::PROBE_DUPLICATE:
        PF_LOGD("[%s:%d] duplicate probe for tid %d", tid);
        return 0;
    case CommandManager::PROBE_NO_HANDLE:
        PF_LOGE("[%s:%d] RequestEventHandle failed for probe tid: %d", tid);
        return -1;
    default:
        break;
    }
    int const sent = resourceManager.SendCmdToResources(wrapper);
    ThreadInfo const info{tid, wrapper.startTime, wrapper.endTime};
    int const ret = sent == 0 ? threadBinder.AddThreadInfo(info) : -1;
    if (StopIfReleased(tid, releaseCount, wrapper)) {
        threadBinder.DeleteThreadInfo(info); // a stop that came before the request for a binding found none to undo
    }
    if (sent != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed");
    }
    return ret;
}

void ConfigManager::StopProbe(int tid) noexcept
{
    CommandWrapper wrapper;
    if (commandManager.BuildProbeReleaseCommand(tid, wrapper) != 0) {
        PF_LOGD("[%s:%d] BuildEventReleaseCommand failed");
        return;
    }
    if (resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed.");
        return;
    }
    threadBinder.DeleteThreadInfo(tid);
}
