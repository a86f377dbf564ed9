// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

/**
 * Where the library reads its clocks. Together with PerfThread and PerfCondition this is all that it knows of time and
 * of threads, and it is chosen when an executable is linked: the device's own way here in sys/, or one that stands
 * still until it is told to go on, in sandbox/. Nothing else may read a clock, sleep or start a thread: beside a time
 * that stands still it would be wrong by hours.
 */
namespace PerfTime {

/** The monotonic clock, by which everything is timed. Never zero, which means "no time". */
PerfTimePoint Now();

/** The wall clock, for what people read. */
std::chrono::system_clock::time_point WallNow();

/** The earlier of two time points, of which zero means none. */
inline PerfTimePoint EarlierOf(PerfTimePoint const& left, PerfTimePoint const& right)
{
    if (left == PerfTimePoint{}) {
        return right;
    }
    return right == PerfTimePoint{} || left <= right ? left : right;
}

} // namespace PerfTime

/** A thread of the library's own. Its owner starts it once and joins it before the end. */
class PerfThread {
public:
    /** Failing to is fatal for the process. @param name shown by tools, of which the first 15 characters. */
    void Start(std::string const& name, std::function<void()> body);
    /** @return whether there is a thread to join. */
    bool IsStarted() const { return native.joinable(); }
    /** Waits for the end of the thread; harmless without one. */
    void Join();

private:
    std::thread native;
};
