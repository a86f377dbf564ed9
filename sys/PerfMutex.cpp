// SPDX-License-Identifier: Apache-2.0

#include "sys/PerfMutex.h"

#include "sys/DeviceTime.h"

void PerfMutexLock::Lock(std::mutex& mutex)
{
    mutex.lock();
}

void PerfMutexLock::Unlock(std::mutex& mutex)
{
    mutex.unlock();
}

PerfCondition::PerfCondition()
{
    DeviceTime::Make(native);
}

PerfCondition::~PerfCondition()
{
    pthread_cond_destroy(&native);
}

void PerfCondition::NotifyOne()
{
    pthread_cond_signal(&native);
}

void PerfCondition::Wait(PerfMutexLock& lock)
{
    DeviceTime::Wait(native, lock.native);
}

void PerfCondition::WaitUntil(PerfMutexLock& lock, PerfTimePoint const& time)
{
    DeviceTime::WaitUntil(native, lock.native, time);
}
