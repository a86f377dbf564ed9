// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sys/PerfTime.h"

#include <corvane/PerfTypes.h>

#include <algorithm>
#include <chrono>

/**
 * When a resource writes anew what a node has refused: exponential backoff, from a first delay up to 60 times that.
 *
 * Owned by one worker, no locks; the time is passed in.
 */
class RewriteBackoff {
public:
    /** @param delayMs 0: never. */
    explicit RewriteBackoff(unsigned int delayMs) : first(delayMs), delay(first) {}

    bool IsEnabled() const { return first.count() != 0; }
    /** @return when the next try is due, or zero. */
    PerfTimePoint Due() const { return due; }
    bool IsDue(PerfTimePoint const& now) const { return due != PerfTimePoint{} && due <= now; }

    /** A change has failed. However fast one follows the other, a try comes within the longest delay. */
    void StartOver(PerfTimePoint const& now)
    {
        if (due == PerfTimePoint{}) {
            latest = now + LONGEST * first;
        }
        delay = first;
        due = std::min(now + delay, latest);
    }
    /** A try has failed. */
    void TryAgain(PerfTimePoint const& now)
    {
        delay = std::min(2 * delay, LONGEST * first);
        due = now + delay;
        latest = now + LONGEST * first;
    }
    void Stop() { due = {}; }

private:
    static constexpr int LONGEST = 60; ///< in first delays

    std::chrono::milliseconds const first;
    std::chrono::milliseconds delay;
    PerfTimePoint due{};
    PerfTimePoint latest{};
};
