// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CFG_MGR"

#include "frontend/CommandStart.h"
#include "frontend/ConfigManagerMembers.h"
#include "frontend/TraceCall.h"
#include "resource/PerfResource.h"
#include "resource/ResourceKind.h"
#include "sys/Log.h"
#include "sys/PerfTime.h"

#include <chrono>
#include <string>
#include <vector>

using std::chrono::milliseconds;

namespace {

int HandleProbeEvent(char const* method, ConfigManager& manager, std::vector<unsigned int> const& params)
{
    if (params.size() != 3) {
        PF_LOGE_AS(method, "[%s:%d] invalid probe event request format. size = %d", static_cast<int>(params.size()));
        return -1;
    }
    int const tid = static_cast<int>(params[2]);
    switch (params[0]) {
    case 0:
        manager.StopProbe(tid);
        return 0;
    case 1:
        return manager.StartProbe(tid);
    default:
        PF_LOGE_AS(method, "[%s:%d] invalid start notion");
        return -1;
    }
}

} // namespace

int ConfigManager::PerfSetScenario(int pid, unsigned int scenarioId, unsigned long long& handle) noexcept
{
    auto const& items = members.scenarioManager.ScenarioIdToQosInfo(scenarioId);
    if (items.empty()) {
        PF_LOGE("[%s:%d] invalid scenario id: %u", scenarioId);
        return -1;
    }
    TraceCall("velquist_log:scenario id=", &scenarioId);
    CommandWrapper wrapper(PERF_COMMAND_LONG_START, PerfTimePoint{}, PerfTimePoint{}, 0);
    for (auto const& [qosId, groups] : items) {
        wrapper.InsertRequestCommand(qosId, groups);
    }
    return members.RecordAndSend(__func__, pid, PerfTime::Now(), wrapper, handle);
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
        if (FixedKindOf(qosId) == ResourceKind::MEM_LAT) {
            PF_LOGD("[%s:%d] suspend not support memlat !");
        } else if (members.resourceManager.GetResourcePtr(qosId) != nullptr) {
            wrapper.InsertSuspendCommand(qosId);
        }
    }
    if (members.resourceManager.SendCmdToResources(wrapper) != 0) {
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
        return HandleProbeEvent(__func__, *this, params);
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

int ConfigManager::StartEvent(PerfEventId eventId, unsigned int duration) noexcept
{
    auto const& items = members.eventManager.EventIdToQosInfo(eventId);
    if (items.empty()) {
        PF_LOGW("[%s:%d] invalid event id: %u", eventId);
        return 0;
    }
    PerfTimePoint const now = PerfTime::Now();
    CommandWrapper wrapper(PERF_COMMAND_SHORT_START, now, now, duration);
    for (auto const& [qosId, item] : items) {
        if (duration == 0) {
            wrapper.InsertEventCommand(qosId, now + milliseconds(item.startTime), now + milliseconds(item.endTime),
                                       item.groupInfo);
        } else if (item.startTime == 0) {
            wrapper.InsertEventCommand(qosId, now, now + milliseconds(duration), item.groupInfo);
        }
    }
    CommandStart start(members.commandManager, members.commandManager.EventPid());
    if (members.commandManager.RequestEventHandle(eventId, now, wrapper) != 0) {
        PF_LOGE("[%s:%d] RequestEventHandle failed for event id: %u", eventId);
        return -1;
    }
    char const* const method = __func__;
    return start.Send(members.resourceManager, wrapper, [method, eventId](bool sent) {
        if (!sent) {
            PF_LOGE_AS(method, "[%s:%d] SendCmdToResources failed for event id: %u", eventId);
            return -1;
        }
        return 0;
    });
}

void ConfigManager::StopEvent(PerfEventId eventId) noexcept
{
    std::vector<CommandWrapper> wrappers;
    if (members.commandManager.BuildEventReleaseCommand(eventId, wrappers) != 0) {
        PF_LOGD("[%s:%d] BuildEventReleaseCommand failed");
        return;
    }
    for (CommandWrapper const& wrapper : wrappers) {
        if (members.resourceManager.SendCmdToResources(wrapper) != 0) {
            PF_LOGE("[%s:%d] SendCmdToResources failed for event id: %u", eventId);
            return;
        }
    }
}

int ConfigManager::StartProbe(int tid) noexcept
{
    ProbeEvent const& probe = members.eventManager.GetProbeInfo();
    PerfMutexLock lock(members.probeLock); // before the clock is read: another probe's binding may take its time
    PerfTimePoint const now = PerfTime::Now();
    PerfTimePoint const start = now + milliseconds(probe.startDelay);
    PerfTimePoint const end = start + milliseconds(probe.duration);
    CommandWrapper wrapper(PERF_COMMAND_SHORT_START, start, end, 0);
    wrapper.InsertProbeCommand(start, end, probe.cpuM, probe.cpuB, probe.gpu);

    CommandStart commandStart(members.commandManager, tid);
    switch (members.commandManager.RequestProbeHandle(tid, now, wrapper)) {
    case CommandManager::PROBE_DUPLICATE:
        PF_LOGD("[%s:%d] duplicate probe for tid %d", tid);
        return 0;
    case CommandManager::PROBE_NO_HANDLE:
        PF_LOGE("[%s:%d] RequestEventHandle failed for probe tid: %d", tid);
        return -1;
    default:
        break;
    }
    char const* const method = __func__;
    int const result = commandStart.Send(members.resourceManager, wrapper, [&, method](bool sent) {
        if (!sent) {
            PF_LOGE_AS(method, "[%s:%d] SendCmdToResources failed");
            return -1;
        }
        return members.threadBinder.AddThreadInfo({tid, wrapper.startTime, wrapper.endTime});
    });
    if (commandStart.WasReleased()) {
        members.threadBinder.DeleteThreadInfo(tid);
    }
    return result;
}

void ConfigManager::StopProbe(int tid) noexcept
{
    PerfMutexLock lock(members.probeLock);
    CommandWrapper wrapper;
    if (members.commandManager.BuildProbeReleaseCommand(tid, wrapper) != 0) {
        PF_LOGD("[%s:%d] BuildEventReleaseCommand failed");
        return;
    }
    if (members.resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed.");
        return;
    }
    members.threadBinder.DeleteThreadInfo(tid);
}
