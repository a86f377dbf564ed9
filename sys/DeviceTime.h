// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <chrono>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <pthread.h>

/**
 * The system's own clocks, waits and threads. Only what defines PerfTime, PerfThread and PerfCondition comes here,
 * everybody else goes through those.
 */
namespace DeviceTime {

inline PerfTimePoint Now()
{
    return std::chrono::steady_clock::now();
}

inline std::chrono::system_clock::time_point WallNow()
{
    return std::chrono::system_clock::now();
}

inline std::thread StartThread(std::string const& name, std::function<void()> body)
{
    return std::thread([shown = name.substr(0, 15), run = std::move(body)] {
        pthread_setname_np(pthread_self(), shown.c_str());
        run();
    });
}

/** Makes a condition whose deadlines are those of the monotonic clock. */
inline void Make(pthread_cond_t& condition)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC); // what steady_clock reads
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

inline void Wait(pthread_cond_t& condition, std::mutex& mutex)
{
    pthread_cond_wait(&condition, mutex.native_handle());
}

inline void WaitUntil(pthread_cond_t& condition, std::mutex& mutex, PerfTimePoint const& time)
{
    auto const sinceBoot = time.time_since_epoch();
    auto const seconds = std::chrono::floor<std::chrono::seconds>(sinceBoot);
    timespec deadline{};
    deadline.tv_sec = static_cast<time_t>(seconds.count());
    deadline.tv_nsec = static_cast<long>(std::chrono::nanoseconds(sinceBoot - seconds).count());
    pthread_cond_timedwait(&condition, mutex.native_handle(), &deadline);
}

} // namespace DeviceTime
