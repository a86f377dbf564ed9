// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_THREAD_BINDER"

#include "sys/PerfThreadBinder.h"

#include "sys/Log.h"
#include "sys/SysWrapper.h"

namespace {

using TimedThreads = std::multimap<PerfTimePoint, ThreadInfo>;

TimedThreads::iterator FindThread(TimedThreads& que, PerfTimePoint const& key, int tid)
{
    auto const [first, last] = que.equal_range(key);
    for (auto it = first; it != last; ++it) {
        if (it->second.tid == tid) {
            return it;
        }
    }
    return que.end();
}

} // namespace

PerfThreadBinder::PerfThreadBinder(std::string const& path) : nodePath(path) {}

PerfThreadBinder::~PerfThreadBinder()
{
    {
        PerfMutexLock lock(mutex);
        stop = true;
        condition.NotifyOne();
    }
    worker.Join();
    PerfMutexLock lock(mutex);
    CloseAllFds();
}

int PerfThreadBinder::Init(std::string const& text)
{
    bindingText = text;
    worker.Start("pf_binder", [this] { WorkThread(); });
    return 0;
}

int PerfThreadBinder::AddThreadInfo(ThreadInfo const& info)
{
    PerfMutexLock lock(mutex);
    if (threads.count(info.tid) != 0) {
        PF_LOGD("[%s:%d] duplicate probe");
        return 0;
    }
    PF_LOGD("[%s:%d] add probe tid = %d", info.tid);
    threads.emplace(info.tid, info);
    waitingQue.emplace(info.startTime, info);
    condition.NotifyOne();
    return 0;
}

void PerfThreadBinder::DeleteThreadInfo(int tid)
{
    PerfMutexLock lock(mutex);
    PF_LOGD("[%s:%d] del probe tid = %d", tid);
    if (DeleteFromQue(tid)) {
        condition.NotifyOne();
    }
}

bool PerfThreadBinder::DeleteFromQue(int tid)
{
    auto const known = threads.find(tid);
    if (known == threads.end()) {
        return false;
    }
    ThreadInfo const info = known->second;
    threads.erase(known);

    auto const waiting = FindThread(waitingQue, info.startTime, tid);
    if (waiting == waitingQue.end()) {
        return DeleteFromEffectiveQue(tid, info.endTime);
    }
    PF_LOGD("[%s:%d] waitingQ delete tid %d", tid);
    waitingQue.erase(waiting);
    return true;
}

bool PerfThreadBinder::DeleteFromEffectiveQue(int tid, PerfTimePoint const& endTime)
{
    auto const effective = FindThread(effectiveQue, endTime, tid);
    if (effective == effectiveQue.end()) {
        return false;
    }
    PF_LOGD("[%s:%d] effectiveQ delete tid %d", tid);
    expired.push_back(effective->second);
    effectiveQue.erase(effective);
    return true;
}

bool PerfThreadBinder::TakeInEffectWaitingThread(PerfTimePoint const& now)
{
    bool tookEffect = false;
    auto const reached = waitingQue.upper_bound(now);
    for (auto it = waitingQue.begin(); it != reached; ++it) {
        ThreadInfo const& info = it->second;
        if (now >= info.endTime) {
            continue; // dropped unwritten, but its thread stays known until it is deleted
        }
        toBind.push_back(info);
        PF_LOGD("[%s:%d] [%s:%d] ThreadBinder takeInEffect tid %d", __func__, __LINE__, info.tid);
        effectiveQue.emplace(info.endTime, info);
        tookEffect = true;
    }
    waitingQue.erase(waitingQue.begin(), reached);
    return tookEffect;
}

void PerfThreadBinder::BuildExpiredList(PerfTimePoint const& now)
{
    TakeInEffectWaitingThread(now);
    auto const running = effectiveQue.upper_bound(now);
    for (auto it = effectiveQue.begin(); it != running; ++it) {
        expired.push_back(it->second);
        threads.erase(it->second.tid);
    }
    effectiveQue.erase(effectiveQue.begin(), running);
}

PerfTimePoint PerfThreadBinder::FindMinTime() const
{
    if (effectiveQue.empty()) {
        return waitingQue.empty() ? PerfTimePoint{} : waitingQue.begin()->first;
    }
    PerfTimePoint const end = effectiveQue.begin()->first;
    return waitingQue.empty() || end <= waitingQue.begin()->first ? end : waitingQue.begin()->first;
}

void PerfThreadBinder::WorkThread()
{
    PF_LOGD("[%s:%d] Perf Thread Binder WorkThread");
    for (;;) {
        // Released and retaken between passes, so that client calls get in.
        PerfMutexLock lock(mutex);
        if (stop) {
            break;
        }
        WaitForWorkLocked(lock);
        WriteLocked(false, expired); // left by stops: the thread of one may be bound anew in this very pass
        BuildExpiredList(PerfTime::Now());
        WriteLocked(true, toBind);
        WriteLocked(false, expired);
    }
    PF_LOGI("[%s:%d] Perf Thread Binder thread stop");
}

void PerfThreadBinder::WaitForWorkLocked(PerfMutexLock& lock)
{
    // A stop between two passes finds nobody to notify; what it left in the list must not wait for the next request.
    if (!expired.empty()) {
        return;
    }
    PerfTimePoint const next = FindMinTime();
    if (next == PerfTimePoint{}) {
        condition.Wait(lock);
    } else if (PerfTime::Now() < next) {
        condition.WaitUntil(lock, next);
    }
}

void PerfThreadBinder::WriteLocked(bool bind, std::vector<ThreadInfo>& infos)
{
    for (ThreadInfo const& info : infos) {
        DoConfig(bind, info);
    }
    infos.clear();
}

int PerfThreadBinder::DoConfig(bool bind, ThreadInfo const& info)
{
    std::string const line = (bind ? bindingText : "FF") + "|" + std::to_string(info.tid);
    int const ret = SysWrapper::SysOpenAndWriteStr("ThreadBinder", nodePath, line, fd);
    PF_LOGD("[%s:%d] thread bind: %s, write ret = %d", line.c_str(), ret);
    return ret;
}

void PerfThreadBinder::CloseAllFds()
{
    SysWrapper::SysClose(fd);
}
