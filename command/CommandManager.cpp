// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CMD_MGR"

#include "command/CommandManager.h"

#include "sys/Log.h"
#include "sys/PerfTime.h"

#include <algorithm>
#include <iterator>
#include <utility>

CommandManager::CommandManager(CommandLimits const& commandLimits)
    : limits(commandLimits), nextHandle(commandLimits.firstHandle)
{
}

int CommandManager::RequestHandle(int pid, PerfTimePoint const& now, CommandWrapper& wrapper,
                                  unsigned long long& handle)
{
    if (pid <= limits.eventPid) {
        PF_LOGE("[%s:%d] invalid pid: %d", pid);
        return -1;
    }
    if (wrapper.cmdType == PERF_COMMAND_BASE_SET) {
        PF_LOGD("[%s:%d] PERF_COMMAND_BASE_SET not need allocate handle!");
        handle = NO_HANDLE;
        return 0;
    }

    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    MakeRoom(pid, now, expired);
    if (wrapper.cmdType == PERF_COMMAND_SHORT_START) {
        MakeWayForEnd(wrapper.endTime, expired);
    }
    auto process = pidHandleMap.end();
    handle = AllocHandleByPid(pid, process);
    if (handle == INVALID_HANDLE) {
        PF_LOGE("[%s:%d] alloc new handle failed for pid %d", pid);
        return -1;
    }
    switch (wrapper.cmdType) {
    case PERF_COMMAND_SHORT_START:
        AddEndTime({pid, handle, wrapper.endTime, REQUEST_EVENT_ID});
        break;
    case PERF_COMMAND_LONG_START:
    case PERF_COMMAND_MODE_START:
        break;
    default:
        // Known quirk: the count leaks until a release of everything.
        PF_LOGE("[%s:%d] invalid command type: %u", wrapper.cmdType);
        return -1;
    }
    return FileWrapper(__func__, pid, process, handle, wrapper);
}

int CommandManager::RequestEventHandle(PerfEventId eventId, PerfTimePoint const& now, CommandWrapper& wrapper)
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    MakeRoom(limits.eventPid, now, expired);
    MakeWayForEnd(wrapper.endTime, expired);
    auto process = pidHandleMap.end();
    unsigned long long const handle = AllocHandleByPid(limits.eventPid, process);
    if (handle == INVALID_HANDLE) {
        PF_LOGE("[%s:%d] alloc new handle failed for pid %d", limits.eventPid);
        return -1;
    }
    eventHandleMap.emplace(eventId, handle);
    AddEndTime({limits.eventPid, handle, wrapper.endTime, eventId});
    return FileWrapper(__func__, limits.eventPid, process, handle, wrapper);
}

int CommandManager::RequestProbeHandle(int tid, PerfTimePoint const& now, CommandWrapper& wrapper)
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ClearExpiredHandle(now, expired);
    if (probeHandleMap.count(tid) != 0) {
        return PROBE_DUPLICATE;
    }
    MakeWayForEnd(wrapper.endTime, expired);
    unsigned long long const handle = AllocHandleByPid(tid);
    if (handle == INVALID_HANDLE) {
        PF_LOGE("[%s:%d] alloc new handle failed for tid %d", tid);
        return PROBE_NO_HANDLE;
    }
    AddEndTime({tid, handle, wrapper.endTime, PROBE_EVENT_ID});
    wrapper.FillInHandle(handle);
    probeHandleMap[tid] = handle;
    pidHandleMap[tid].insert_or_assign(handle, wrapper);
    return PROBE_MADE;
}

int CommandManager::FileWrapper(char const* method, int pid, PidHandleMap::iterator process, unsigned long long handle,
                                CommandWrapper& wrapper)
{
    wrapper.FillInHandle(handle);
    if (process == pidHandleMap.end()) {
        process = AddProcess(pid);
    }
    if (!AddRecord(process->second, handle, wrapper)) {
        PF_LOGE_AS(method, "[%s:%d] handle duplicate: %llu", handle);
        return -1;
    }
    return 0;
}

CommandManager::PidHandleMap::iterator CommandManager::AddProcess(int pid)
{
    if (spareProcess.empty()) {
        return pidHandleMap.try_emplace(pid).first;
    }
    spareProcess.key() = pid;
    return pidHandleMap.insert(std::move(spareProcess)).position;
}

bool CommandManager::AddRecord(HandleWrapperMap& records, unsigned long long handle, CommandWrapper const& wrapper)
{
    if (spareRecord.empty()) {
        return records.emplace(handle, wrapper).second;
    }
    spareRecord.key() = handle;
    spareRecord.mapped() = wrapper;
    return records.insert(std::move(spareRecord)).inserted;
}

void CommandManager::AddEndTime(ShortCmdInfo const& info)
{
    shortTermEndtimeMap.emplace_hint(shortTermEndtimeMap.end(), info.endTime, info); // ordinarily the latest
}

unsigned long long CommandManager::AllocHandleByPid(int pid)
{
    auto process = pidHandleMap.end();
    return AllocHandleByPid(pid, process);
}

unsigned long long CommandManager::AllocHandleByPid(int pid, PidHandleMap::iterator& process)
{
    if (totalHandleNum >= limits.maxTotalHandleNum) {
        PF_LOGE("[%s:%d] total handle num reach maximum: %u", limits.maxTotalHandleNum);
        return INVALID_HANDLE;
    }
    if (pid < 0) {
        PF_LOGE("[%s:%d] invalid pid: %d", pid);
        return INVALID_HANDLE;
    }
    process = pidHandleMap.find(pid);
    if (process != pidHandleMap.end()) {
        if (process->second.size() >= limits.maxHandleNumPerProcess) {
            PF_LOGE("[%s:%d] handle num in one process reach maximum: %u", limits.maxHandleNumPerProcess);
            return INVALID_HANDLE;
        }
    } else if (pidHandleMap.size() >= limits.maxProcessNum) {
        PF_LOGE("[%s:%d] process num reach maximum: %u", limits.maxProcessNum);
        return INVALID_HANDLE;
    }
    if (nextHandle == INVALID_HANDLE) {
        PF_LOGE("[%s:%d] not enough handle");
        return INVALID_HANDLE;
    }
    ++totalHandleNum;
    return nextHandle++;
}

int CommandManager::BuildReleaseCommand(int pid, unsigned long long handle, CommandWrapper& out)
{
    if (pid <= limits.eventPid) {
        PF_LOGE("[%s:%d] invalid pid: %d", pid);
        return -1;
    }
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    if (!shortTermEndtimeMap.empty() && !ForgetSome(PerfTime::Now(), expired) && !IsRunning(pid, handle)) {
        ForgetAll(expired); // so that the debug line tells an unknown process from an unknown handle
    }
    if (ComposeReleaseCommand(pid, handle, out) != 0) {
        PF_LOGD("[%s:%d] ComposeReleaseCommand failed");
        return -1;
    }
    return 0;
}

int CommandManager::BuildEventReleaseCommand(PerfEventId eventId, std::vector<CommandWrapper>& out)
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ClearExpiredHandle(PerfTime::Now(), expired);
    auto const [first, last] = eventHandleMap.equal_range(eventId);
    if (first == last) {
        PF_LOGD("[%s:%d] invalid event id: %u", eventId);
        return -1;
    }
    std::vector<unsigned long long> handles;
    for (auto it = first; it != last; ++it) {
        handles.push_back(it->second);
    }
    eventHandleMap.erase(first, last);

    for (unsigned long long const handle : handles) {
        CommandWrapper wrapper;
        if (ComposeReleaseCommand(limits.eventPid, handle, wrapper) != 0) {
            PF_LOGD("[%s:%d] ComposeReleaseCommand failed");
            return -1;
        }
        out.push_back(std::move(wrapper));
    }
    return 0;
}

int CommandManager::BuildProbeReleaseCommand(int tid, CommandWrapper& out)
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ClearExpiredHandle(PerfTime::Now(), expired);
    auto const probe = probeHandleMap.find(tid);
    if (probe == probeHandleMap.end()) {
        PF_LOGD("[%s:%d] invalid tid: %d", tid);
        return -1;
    }
    unsigned long long const handle = probe->second;
    probeHandleMap.erase(probe);
    auto const process = pidHandleMap.find(tid);
    if (process == pidHandleMap.end()) {
        // Its process has released everything: the caller sends an empty wrapper, which is refused.
        return 0;
    }
    return ComposeFromProcess(__func__, process, handle, out);
}

int CommandManager::ComposeReleaseCommand(int pid, unsigned long long handle, CommandWrapper& out)
{
    auto const process = pidHandleMap.find(pid);
    if (process == pidHandleMap.end()) {
        PF_LOGD("[%s:%d] invalid pid: %d", pid);
        return -1;
    }
    return ComposeFromProcess(__func__, process, handle, out);
}

int CommandManager::ComposeFromProcess(char const* method, PidHandleMap::iterator process, unsigned long long handle,
                                       CommandWrapper& out)
{
    HandleWrapperMap& wrappers = process->second;
    auto record = wrappers.extract(handle);
    if (!record) {
        PF_LOGD_AS(method, "[%s:%d] invalid handle: %llu", handle);
        return -1;
    }
    --totalHandleNum;
    out = std::move(record.mapped());
    spareRecord = std::move(record);
    if (wrappers.empty()) {
        spareProcess = pidHandleMap.extract(process);
    }
    NoteRelease();

    if (UpdateReleaseCommandType(out) != 0) {
        PF_LOGE_AS(method, "[%s:%d] UpdateReleaseCommandType failed");
        return -1;
    }
    if (out.endTime > PerfTimePoint{} && DeleteFromShortTermEndtimeMap(out.endTime, handle) != 0) {
        PF_LOGE_AS(method, "[%s:%d] deleteFromeEndtimeMap failed");
        return -1;
    }
    return 0;
}

int CommandManager::UpdateReleaseCommandType(CommandWrapper& wrapper) const
{
    switch (wrapper.cmdType) {
    case PERF_COMMAND_SHORT_START:
        wrapper.cmdType = PERF_COMMAND_SHORT_STOP;
        return 0;
    case PERF_COMMAND_LONG_START:
        wrapper.cmdType = PERF_COMMAND_LONG_STOP;
        return 0;
    case PERF_COMMAND_MODE_START:
        return 0; // a mode has no stop type: it is sent again with the mode that is in force then
    default:
        PF_LOGE("[%s:%d] invalid command type: %u", wrapper.cmdType);
        return -1;
    }
}

int CommandManager::DeleteFromShortTermEndtimeMap(PerfTimePoint const& endTime, unsigned long long handle)
{
    if (!shortTermEndtimeMap.empty()) { // ordinarily it is the latest; no need to go down the tree for that
        auto const latest = std::prev(shortTermEndtimeMap.end());
        if (latest->first == endTime && latest->second.handle == handle) {
            shortTermEndtimeMap.erase(latest);
            return 0;
        }
    }
    auto const [first, last] = shortTermEndtimeMap.equal_range(endTime);
    for (auto it = first; it != last; ++it) {
        if (it->second.handle == handle) {
            shortTermEndtimeMap.erase(it);
            return 0;
        }
    }
    PF_LOGE("[%s:%d] end time and handle not match");
    return -1;
}

int CommandManager::BuildReleaseAllCommand(PidHandleMap& out)
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ClearExpiredHandle(PerfTime::Now(), expired);
    NoteRelease();
    shortTermEndtimeMap.clear();
    probeHandleMap.clear();
    eventHandleMap.clear();
    for (auto& process : pidHandleMap) {
        for (auto& stored : process.second) {
            --totalHandleNum;
            if (UpdateReleaseCommandType(stored.second) != 0) {
                PF_LOGE("[%s:%d] UpdateReleaseCommandType failed");
                return -1;
            }
        }
    }
    // A handle that was counted for a wrapper of a wrong type has no record; nothing is outstanding now.
    totalHandleNum = 0;
    out = std::move(pidHandleMap);
    pidHandleMap.clear();
    return 0;
}

int CommandManager::BuildReleaseAllCommand(int pid, HandleWrapperMap& out)
{
    if (pid <= limits.eventPid) {
        PF_LOGE("[%s:%d] invalid pid: %d", pid);
        return -1;
    }
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ClearExpiredHandle(PerfTime::Now(), expired);
    auto const process = pidHandleMap.find(pid);
    if (process == pidHandleMap.end()) {
        PF_LOGD("[%s:%d] ignore invalid pid: %d", pid);
        return -1;
    }
    NoteRelease();
    out = std::move(process->second);
    pidHandleMap.erase(process);
    for (auto& [handle, wrapper] : out) {
        --totalHandleNum;
        if (UpdateReleaseCommandType(wrapper) != 0) {
            PF_LOGE("[%s:%d] UpdateReleaseCommandType failed");
            return -1;
        }
        if (wrapper.endTime > PerfTimePoint{} && DeleteFromShortTermEndtimeMap(wrapper.endTime, handle) != 0) {
            PF_LOGE("[%s:%d] deleteFromeEndtimeMap failed");
            return -1;
        }
    }
    return 0;
}

bool CommandManager::IsReleasedSince(StartTicket const& ticket, int pid, unsigned long long handle)
{
    if (TakeTicket().releaseCount == ticket.releaseCount) {
        return false;
    }
    PerfMutexLock lock(mutex);
    return !IsRunning(pid, handle);
}

unsigned int CommandManager::TotalHandleNum()
{
    ExpiredRecords expired; // before the lock, to be freed after it
    PerfMutexLock lock(mutex);
    ForgetAll(expired);
    return totalHandleNum;
}

CommandManager::UnnamedHandles CommandManager::State()
{
    PerfMutexLock lock(mutex);
    return {eventHandleMap, probeHandleMap};
}

void CommandManager::ClearExpiredHandle(PerfTimePoint const& now)
{
    ExpiredRecords expired;
    ClearExpiredHandle(now, expired);
}

void CommandManager::ClearExpiredHandle(PerfTimePoint const& now, ExpiredRecords& out)
{
    SetTime(now, out);
    ForgetAll(out);
}

void CommandManager::SetTime(PerfTimePoint const& now, ExpiredRecords& out)
{
    if (now < expiredUntil) {
        GoBackTo(now, out);
    }
    expiredUntil = now;
}

void CommandManager::MakeWayForEnd(PerfTimePoint const& endTime, ExpiredRecords& out)
{
    if (endTime <= expiredUntil) {
        GoBackTo(endTime - PerfTimePoint::duration(1), out);
    }
}

void CommandManager::GoBackTo(PerfTimePoint const& time, ExpiredRecords& out)
{
    auto const first = shortTermEndtimeMap.upper_bound(time);
    auto const last = shortTermEndtimeMap.upper_bound(expiredUntil);
    for (auto it = first; it != last; ++it) {
        ForgetExpired("ClearExpiredHandle", it->second, out);
    }
    shortTermEndtimeMap.erase(first, last);
    expiredUntil = time;
}

void CommandManager::MakeRoom(int pid, PerfTimePoint const& now, ExpiredRecords& out)
{
    if (!ForgetSome(now, out) && IsFull(pid)) {
        ForgetAll(out);
    }
}

bool CommandManager::IsFull(int pid) const
{
    auto const process = pidHandleMap.find(pid);
    bool const isProcessFull = process == pidHandleMap.end() ? pidHandleMap.size() >= limits.maxProcessNum
                                                             : process->second.size() >= limits.maxHandleNumPerProcess;
    return isProcessFull || totalHandleNum >= limits.maxTotalHandleNum;
}

bool CommandManager::IsRunning(int pid, unsigned long long handle) const
{
    auto const process = pidHandleMap.find(pid);
    if (process == pidHandleMap.end()) {
        return false;
    }
    auto const record = process->second.find(handle);
    if (record == process->second.end()) {
        return false;
    }
    PerfTimePoint const& endTime = record->second.endTime;
    return endTime > expiredUntil || !HasEndTime(endTime, handle);
}

bool CommandManager::HasEndTime(PerfTimePoint const& endTime, unsigned long long handle) const
{
    auto const [first, last] = shortTermEndtimeMap.equal_range(endTime);
    return std::any_of(first, last, [handle](auto const& filed) { return filed.second.handle == handle; });
}

bool CommandManager::ForgetSome(PerfTimePoint const& now, ExpiredRecords& out)
{
    SetTime(now, out);
    for (int i = 0; i < FREED_PER_CALL; ++i) {
        if (!ForgetFirst(out)) {
            return true;
        }
    }
    return false;
}

void CommandManager::ForgetAll(ExpiredRecords& out)
{
    while (ForgetFirst(out)) {
    }
}

bool CommandManager::ForgetFirst(ExpiredRecords& out)
{
    auto const first = shortTermEndtimeMap.begin();
    if (first == shortTermEndtimeMap.end() || first->first > expiredUntil) {
        return false;
    }
    ForgetExpired("ClearExpiredHandle", first->second, out);
    shortTermEndtimeMap.erase(first);
    return true;
}

void CommandManager::ForgetExpired(char const* method, ShortCmdInfo const& info, ExpiredRecords& out)
{
    if (info.eventId == PROBE_EVENT_ID) {
        probeHandleMap.erase(info.pid);
    }
    auto const process = pidHandleMap.find(info.pid);
    auto record = process != pidHandleMap.end() ? process->second.extract(info.handle) : HandleWrapperMap::node_type();
    if (record) {
        out.push_back(std::move(record));
        --totalHandleNum;
        if (process->second.empty()) {
            pidHandleMap.erase(process);
        }
    } else {
        PF_LOGE_AS(method, "[%s:%d] handle map mismatch");
    }
    auto const [first, last] = eventHandleMap.equal_range(info.eventId);
    for (auto it = first; it != last; ++it) {
        if (it->second == info.handle) {
            eventHandleMap.erase(it);
            break;
        }
    }
}
