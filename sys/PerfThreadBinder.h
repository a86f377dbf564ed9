// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <corvane/PerfTypes.h>

#include <map>
#include <string>
#include <vector>

/** A thread to bind for a span of time. */
struct ThreadInfo {
    int tid = 0; ///< kernel thread id
    PerfTimePoint startTime{};
    PerfTimePoint endTime{};
};

/**
 * Binds client threads to CPUs for a span of time, by writing "text|tid" to a kernel node at the start and "FF|tid" at
 * the end.
 *
 * AddThreadInfo and DeleteThreadInfo may be called from any thread; they may have to wait for a pass of the worker,
 * which writes the node under the mutex. The worker sleeps until the next start or end. Bindings in force at
 * destruction are not undone.
 */
class PerfThreadBinder {
public:
    /** @param nodePath the node that takes the binding lines. */
    explicit PerfThreadBinder(std::string const& nodePath);
    PerfThreadBinder(PerfThreadBinder const&) = delete;
    PerfThreadBinder& operator=(PerfThreadBinder const&) = delete;
    virtual ~PerfThreadBinder();

    /** Starts the worker. Called once. @param bindingText what is written before "|" when binding. @return 0. */
    int Init(std::string const& bindingText);

    /** Takes a request; a second one for a thread that is still known is ignored. @return 0. */
    int AddThreadInfo(ThreadInfo const& info);

    /** Forgets a request; a binding in force is undone at once by the worker. */
    void DeleteThreadInfo(int tid);

    /** Writes one line to the node. Worker thread. @return the result of the write, 0 or -1. */
    int DoConfig(bool bind, ThreadInfo const& info) CORVANE_REQUIRES(mutex);

    void CloseAllFds() CORVANE_REQUIRES(mutex);

    void WorkThread();
    /** Moves every request whose start has come into force; one that has ended meanwhile is dropped. */
    bool TakeInEffectWaitingThread(PerfTimePoint const& now) CORVANE_REQUIRES(mutex);
    void BuildExpiredList(PerfTimePoint const& now) CORVANE_REQUIRES(mutex);
    /** @return the next start or end, or zero. */
    PerfTimePoint FindMinTime() const CORVANE_REQUIRES(mutex);
    /** @return true if the worker has something new to look at. */
    bool DeleteFromQue(int tid) CORVANE_REQUIRES(mutex);
    bool DeleteFromEffectiveQue(int tid, PerfTimePoint const& endTime) CORVANE_REQUIRES(mutex);

    /** Guards what is marked so below; public so that the steps above can be called one by one. */
    PerfMutex mutex;

private:
    void WriteLocked(bool bind, std::vector<ThreadInfo>& infos) CORVANE_REQUIRES(mutex);
    void WaitForWorkLocked(PerfMutexLock& lock) CORVANE_REQUIRES(mutex);

    // constant after Init
    std::string nodePath;
    std::string bindingText;
    PerfThread worker;

    PerfCondition condition;
    bool stop CORVANE_GUARDED_BY(mutex) = false;
    std::multimap<PerfTimePoint, ThreadInfo> effectiveQue CORVANE_GUARDED_BY(mutex); ///< by end time
    std::multimap<PerfTimePoint, ThreadInfo> waitingQue CORVANE_GUARDED_BY(mutex);   ///< by start time
    std::map<int, ThreadInfo> threads CORVANE_GUARDED_BY(mutex);
    std::vector<ThreadInfo> toBind CORVANE_GUARDED_BY(mutex);
    std::vector<ThreadInfo> expired CORVANE_GUARDED_BY(mutex);
    int fd CORVANE_GUARDED_BY(mutex) = -1;
};
