#include "sys/PerfMutex.h"

#include <chrono>
#include <ctime>

PerfCondition::PerfCondition()
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC); // what steady_clock reads
    pthread_cond_init(&native, &attributes);
    pthread_condattr_destroy(&attributes);
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
    pthread_cond_wait(&native, lock.native.native_handle());
}

void PerfCondition::WaitUntil(PerfMutexLock& lock, PerfTimePoint const& time)
{
    auto const sinceBoot = time.time_since_epoch();
    auto const seconds = std::chrono::floor<std::chrono::seconds>(sinceBoot);
    timespec deadline{};
    deadline.tv_sec = static_cast<time_t>(seconds.count());
    deadline.tv_nsec = static_cast<long>(std::chrono::nanoseconds(sinceBoot - seconds).count());
    pthread_cond_timedwait(&native, lock.native.native_handle(), &deadline);
}
