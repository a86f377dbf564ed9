// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/StopSignal.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

/**
 * Takes SIGINT, SIGQUIT, SIGTERM and SIGHUP for the process while it lives, in a thread of its own, where anything may
 * be done. The first one asks the session to come to its end; the second one, if that hangs, ends the process after the
 * last resort. Made before any other thread is started, so that none of them is interrupted.
 */
class Interrupts {
public:
    explicit Interrupts(StopSignal& raised);
    Interrupts(Interrupts const&) = delete;
    Interrupts& operator=(Interrupts const&) = delete;
    /** Ends the process by the signal that came, if one did: whoever started it shall see that. */
    ~Interrupts();

    /** What a second signal does before the process ends; an empty function for nothing. */
    void SetLastResort(std::function<void()> action);

private:
    void Wait();
    void Take(int number);

    StopSignal& stop;
    StopSignal over;
    int descriptor;
    std::atomic<int> came{0}; ///< the first signal
    std::mutex mutex;
    std::function<void()> lastResort; ///< guarded by mutex
    std::thread thread;               ///< last
};
