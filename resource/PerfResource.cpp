// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_RES"

#include "resource/PerfResource.h"

#include "sys/Log.h"

#include <utility>

PerfResource::PerfResource(ResConstructParam const& param)
    : name(param.name), qosId(param.qosId), workMode(param.workMode), rewrite(param.rewriteDelay)
{
}

PerfResource::~PerfResource()
{
    StopThread();
}

void PerfResource::TellToExit()
{
    PerfMutexLock lock(queueMutex);
    exitFlag = true;
    queue.Push({}); // only wakes the worker, which sees the flag before it would dispatch this
    queueCondition.NotifyOne();
}

void PerfResource::StopThread()
{
    TellToExit();
    worker.Join();
}

int PerfResource::InitResource(PerfQosConfig& config)
{
    if (config.groupConfigs.empty()) {
        PF_LOGE("[%s:%d] [%s] empty group for qos %s", name.c_str(), config.qosName.c_str());
        return -1;
    }
    unsigned int position = 0;
    for (PerfGroupConfig const& group : config.groupConfigs) {
        if (group.groupId != position) {
            PF_LOGE("[%s:%d] [%s] inconsistent group id for %s: %u != %u", name.c_str(), group.name.c_str(),
                    group.groupId, position);
            return -1;
        }
        ++position;
    }
    return InitGroups(config);
}

int PerfResource::InitThread()
{
    worker.Start("pf_" + name, [this] { WorkThread(); });
    return 0;
}

int PerfResource::SendCommandToFifoQ(PerfCommand const& command)
{
    return MoveToFifoQ(PerfCommand(command));
}

int PerfResource::MoveToFifoQ(PerfCommand&& command)
{
    bool needsTime = false;
    {
        PerfMutexLock lock(queueMutex);
        queue.Push(std::move(command));
        needsTime = queue.NeedsTime();
    }
    queueCondition.NotifyOne(); // after the lock, so that the worker does not wake up to wait for it
    if (needsTime) {
        CompactIfDue();
    }
    return 0;
}

void PerfResource::CompactIfDue()
{
    PerfTimePoint const now = PerfTime::Now();
    std::vector<PerfCommand> left; // freed without the lock
    PerfMutexLock lock(queueMutex);
    queue.NoteTime(now);
    if (!queue.IsCompactionDue(now)) {
        return;
    }
    left = queue.Compact(now);
    leftOut += left.size();
    if (leftOut > 2 * reported) {
        reported = leftOut;
        char const* const method = "SendCommandToFifoQ";
        PF_LOGW_AS(method, "[%s:%d] [%s] worker is behind, %zu waiting commands that come to nothing left out",
                   name.c_str(), leftOut);
    }
}

void PerfResource::WorkThread()
{
    PerfTimePoint wakeUp{};
    for (;;) {
        StatusEnum status = STATUS_NONE;
        {
            PerfMutexLock lock(queueMutex);
            status = WaitForStatusLocked(lock, wakeUp);
            if (status == STATUS_EXIT) {
                PF_LOGI("[%s:%d] [%s] work thread exit", name.c_str());
                return;
            }
        }
        HandleCommand(status);
        AttendToFailedWrites();
        wakeUp = PerfTime::EarlierOf(FindMinTime(), rewrite.Due());
    }
}

void PerfResource::AttendToFailedWrites()
{
    if (!rewrite.IsEnabled()) {
        return;
    }
    NoteFailedWrites(false);
    if (rewrite.Due() == PerfTimePoint{} || !rewrite.IsDue(PerfTime::Now())) {
        return;
    }
    for (auto const& group : groups) {
        if (group != nullptr) {
            group->WriteAnew();
        }
    }
    NoteFailedWrites(true);
}

void PerfResource::NoteFailedWrites(bool isTry)
{
    bool remains = false;
    unsigned long long failed = 0;
    for (auto const& group : groups) {
        remains = remains || (group != nullptr && group->HasFailedWrite());
        failed += group != nullptr ? group->FailedWrites() : 0;
    }
    bool const failedAgain = std::exchange(failedWrites, failed) != failed;
    if (!remains) {
        if (failedPasses != 0) {
            PF_LOGW("[%s:%d] [%s] nodes take their values again, after %u failed tries", name.c_str(), failedPasses);
        }
        failedPasses = 0;
        rewrite.Stop();
        return;
    }
    failedPasses += failedAgain ? 1 : 0;
    if (suspend) {
        rewrite.Stop();
    } else if (isTry) {
        rewrite.TryAgain(PerfTime::Now());
    } else if (failedAgain || rewrite.Due() == PerfTimePoint{}) {
        rewrite.StartOver(PerfTime::Now());
    }
}

PerfResource::StatusEnum PerfResource::WaitForStatusLocked(PerfMutexLock& lock, PerfTimePoint const& wakeUp)
{
    while (queue.IsEmpty()) {
        if (wakeUp == PerfTimePoint{}) {
            queueCondition.Wait(lock);
        } else if (PerfTime::Now() < wakeUp) {
            queueCondition.WaitUntil(lock, wakeUp);
        } else {
            return exitFlag ? STATUS_EXIT : STATUS_TIME_OUT;
        }
    }
    return exitFlag ? STATUS_EXIT : STATUS_NEW_COMMAND;
}

void PerfResource::HandleCommand(StatusEnum status)
{
    switch (status) {
    case STATUS_NEW_COMMAND:
        if (HandleNewCommand() != 0) {
            PF_LOGE("[%s:%d] [%s] HandleNewCommand failed", name.c_str());
        }
        break;
    case STATUS_TIME_OUT:
        if (HandleCommandTimeOut() != 0) {
            PF_LOGE("[%s:%d] [%s] HandleCommandTimeOut failed", name.c_str());
        }
        break;
    default:
        PF_LOGE("[%s:%d] [%s] invalid status value", name.c_str());
        break;
    }
}

PerfTimePoint PerfResource::FindMinTime() const
{
    PerfTimePoint earliest{};
    for (size_t id = 0; id < groups.size(); ++id) {
        if (groups[id] == nullptr) {
            PF_LOGE("[%s:%d] [%s] null group pointer for group %u", name.c_str(), static_cast<unsigned int>(id));
            continue;
        }
        PerfTimePoint const time = groups[id]->GetNextWakeUpTimePoint();
        if (earliest == PerfTimePoint{} || (time != PerfTimePoint{} && time < earliest)) {
            earliest = time;
        }
    }
    return earliest;
}

int PerfResource::HandleNewCommand()
{
    if (isBehind) {
        CompactIfDue(); // the last sender may have gone before the queue was late
    }
    PerfCommand command;
    {
        PerfMutexLock lock(queueMutex);
        if (queue.IsEmpty()) {
            PF_LOGE("[%s:%d] [%s] empty command que", name.c_str());
            return -1;
        }
        command = queue.Pop();
        isBehind = queue.IsLong();
        if (queue.IsEmpty()) {
            leftOut = 0;
            reported = 0;
        }
    }
    if (CommandDispath(command) != 0) {
        PF_LOGE("[%s:%d] [%s] CommandDispath failed", name.c_str());
        return -1;
    }
    return 0;
}

int PerfResource::HandleCommandTimeOut()
{
    PerfTimePoint const now = PerfTime::Now();
    for (auto const& group : groups) {
        if (group != nullptr && group->ShortTermTimeOut(now) != 0) {
            PF_LOGE("[%s:%d] [%s] ShortTermTimeOut failed", name.c_str());
            return -1;
        }
    }
    return 0;
}

int PerfResource::CommandDispath(PerfCommand const& command)
{
    if (command.cmdItem == nullptr) {
        PF_LOGE("[%s:%d] [%s] empty command", name.c_str());
        return -1;
    }
    switch (command.cmdType) {
    case PERF_COMMAND_MODE_START:
        if (SetWorkMode(*command.cmdItem) != 0) {
            PF_LOGE("[%s:%d] [%s] SetWorkMode failed", name.c_str());
            return -1;
        }
        return 0;
    case PERF_COMMAND_GET_LOG:
        GetLog();
        return 0;
    case PERF_COMMAND_GET_BASE_INFO:
        GetBaseInfo();
        return 0;
    case PERF_COMMAND_SUSPEND_ON:
        SetSuspend(true);
        return 0;
    case PERF_COMMAND_SUSPEND_OFF:
        SetSuspend(false);
        return 0;
    default:
        if (CommandProcess(*command.cmdItem, GetCommandHandle(command.cmdType)) != 0) {
            PF_LOGE("[%s:%d] [%s] CommandProcess failed", name.c_str());
            return -1;
        }
        return 0;
    }
}

PerfResource::GroupOperation PerfResource::GetCommandHandle(PerfCommandType type) const
{
    switch (type) {
    case PERF_COMMAND_SHORT_START:
        return &PerfGroup::ShortTermStart;
    case PERF_COMMAND_SHORT_STOP:
        return &PerfGroup::ShortTermStop;
    case PERF_COMMAND_LONG_START:
        return &PerfGroup::LongTermStart;
    case PERF_COMMAND_LONG_STOP:
        return &PerfGroup::LongTermStop;
    case PERF_COMMAND_BASE_SET:
        return &PerfGroup::BaseSet;
    default:
        PF_LOGE("[%s:%d] [%s] invalid command type: %u", name.c_str(), type);
        return {};
    }
}

int PerfResource::CommandProcess(PerfCommandItem const& item, GroupOperation const& operation)
{
    if (NormalCommandProcess(item, operation) != 0) {
        PF_LOGE("[%s:%d] [%s] NormalCommandProcess failed", name.c_str());
        return -1;
    }
    return 0;
}

int PerfResource::NormalCommandProcess(PerfCommandItem const& item, GroupOperation const& operation)
{
    if (!operation) {
        PF_LOGE("[%s:%d] [%s] commandHandleFunc is NULL", name.c_str());
        return -1;
    }
    if (item.groupInfo.empty() || item.groupInfo.size() > groups.size()) {
        PF_LOGE("[%s:%d] [%s] invalid group num: %zu", name.c_str(), item.groupInfo.size());
        return -1;
    }
    PerfTimePoint const now = PerfTime::Now();
    groupCommand.handle = item.handle;
    groupCommand.startTime = item.startTime;
    groupCommand.endTime = item.endTime;
    for (auto const& [groupId, operations] : item.groupInfo) {
        auto const& group = GetPerfGroupPtr(groupId);
        if (group == nullptr) {
            PF_LOGE("[%s:%d] [%s] GetPerfGroupPtr failed for group id %u", name.c_str(), groupId);
            return -1;
        }
        groupCommand.operationValueMap = operations;
        group->UpdateCurrTimePoint(now);
        if (operation(group, groupCommand) != 0) {
            PF_LOGE("[%s:%d] [%s] commandHandleFunc failed in group %u", name.c_str(), groupId);
            return -1;
        }
    }
    return 0;
}

std::shared_ptr<PerfGroup> const& PerfResource::GetPerfGroupPtr(unsigned int id) const
{
    static std::shared_ptr<PerfGroup> const none;
    if (!IsValidPerfGroupId(id)) {
        PF_LOGE("[%s:%d] [%s] invalid group id: %u", name.c_str(), id);
        return none;
    }
    return groups[id];
}

int PerfResource::RequestValidate(PerfCommandType type, PerfGroupTable& groupMap)
{
    // Meant: an empty table is valid, although a command with one would not be applied.
    if (groupMap.size() > groups.size()) {
        PF_LOGE("[%s:%d] [%s] invalid group num: %zu", name.c_str(), groupMap.size());
        return -1;
    }
    if (GroupValidate(type, groupMap) != 0) {
        PF_LOGE("[%s:%d] [%s] GroupValidate failed!", name.c_str());
        return -1;
    }
    return 0;
}

int PerfResource::GroupValidate(PerfCommandType type, PerfGroupTable& groupMap) const
{
    for (auto& [groupId, operations] : groupMap) {
        if (!IsValidPerfGroupId(groupId)) {
            PF_LOGE("[%s:%d] [%s] invalid group id: %u", name.c_str(), groupId);
            return -1;
        }
        if (groups[groupId] == nullptr) {
            PF_LOGE("[%s:%d] [%s] null ptr for group id: %u", name.c_str(), groupId);
            return -1;
        }
        if (groups[groupId]->GroupValueValidate(type, operations) != 0) {
            PF_LOGE("[%s:%d] [%s] GroupValueValidate failed for group %u", name.c_str(), groupId);
            return -1;
        }
    }
    return 0;
}

int PerfResource::SetWorkMode(PerfCommandItem const& item)
{
    if (!SetGroupsWorkMode(item.workMode)) {
        PF_LOGE("[%s:%d] [%s] SetWorkMode failed", name.c_str());
        return -1;
    }
    return 0;
}

bool PerfResource::SetGroupsWorkMode(PerfWorkMode mode)
{
    workMode = mode;
    for (auto const& group : groups) {
        if (group != nullptr && group->SetWorkMode(mode) != 0) {
            return false;
        }
    }
    return true;
}

int PerfResource::SetSuspend(bool suspended)
{
    if (qosId != PERF_QOS_ALWAYS_SUSPEND && suspended == suspend) {
        PF_LOGD("[%s:%d] [%s] same suspend %d", name.c_str(), suspended);
        return 0;
    }
    suspend = suspended;
    for (auto const& group : groups) {
        if (group != nullptr) {
            group->SetSuspend(suspended);
        }
    }
    return 0;
}
