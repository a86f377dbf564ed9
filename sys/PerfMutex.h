// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sys/ThreadAnnotations.h"

#include <corvane/PerfTypes.h>

#include <mutex>

#include <pthread.h>

/** A mutex that the thread-safety analysis understands, whatever the standard library. */
class CORVANE_CAPABILITY("mutex") PerfMutex {
public:
    PerfMutex() = default;
    PerfMutex(PerfMutex const&) = delete;
    PerfMutex& operator=(PerfMutex const&) = delete;

private:
    friend class PerfMutexLock;
    std::mutex native;
};

/** Holds a mutex for a scope. */
class CORVANE_SCOPED_CAPABILITY PerfMutexLock {
public:
    explicit PerfMutexLock(PerfMutex& mutex) CORVANE_ACQUIRE(mutex) : native(mutex.native) { Lock(native); }
    ~PerfMutexLock() CORVANE_RELEASE() { Unlock(native); }
    PerfMutexLock(PerfMutexLock const&) = delete;
    PerfMutexLock& operator=(PerfMutexLock const&) = delete;

private:
    friend class PerfCondition;

    // Replaced in virtual time, where blocking would deadlock (the holder must be scheduled first) and where another
    // thread may go on before and after.
    static void Lock(std::mutex& mutex) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    static void Unlock(std::mutex& mutex) CORVANE_NO_THREAD_SAFETY_ANALYSIS;

    std::mutex& native;
};

/**
 * A condition whose timed wait goes by the monotonic clock on every device. At this API level the standard library's
 * turns a monotonic deadline into a wall-clock one: setting the clock back would hold every boost that is to end.
 */
class PerfCondition {
public:
    PerfCondition();
    PerfCondition(PerfCondition const&) = delete;
    PerfCondition& operator=(PerfCondition const&) = delete;
    ~PerfCondition();

    void NotifyOne();
    /** Gives the mutex up while it sleeps. May return without a notification. */
    void Wait(PerfMutexLock& lock);
    /** The same, but returns at that time at the latest. */
    void WaitUntil(PerfMutexLock& lock, PerfTimePoint const& time);

private:
    pthread_cond_t native;
};
