// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <ctime>

/** Monotonic time in nanoseconds, and sleeping by it. */
namespace Clock {

using Nanoseconds = std::int64_t;

inline constexpr Nanoseconds MICROSECOND = 1000;
inline constexpr Nanoseconds MILLISECOND = 1000 * MICROSECOND;
inline constexpr Nanoseconds SECOND = 1000 * MILLISECOND;

inline Nanoseconds Now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * SECOND + time.tv_nsec;
}

inline timespec ToTimespec(Nanoseconds time)
{
    return {static_cast<time_t>(time / SECOND), static_cast<long>(time % SECOND)};
}

inline void SleepUntil(Nanoseconds time)
{
    timespec const deadline = ToTimespec(time);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) != 0) {
    }
}

inline void SleepFor(Nanoseconds span)
{
    SleepUntil(Now() + span);
}

} // namespace Clock
