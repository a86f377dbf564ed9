// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/VirtualTime.h"

#include <functional>
#include <string>

/** What came of playing something under many schedules. */
struct Exploration {
    unsigned long schedules = 0; ///< how many were played
    bool failed = false;         ///< then the last one did, and none was played after it
    std::string line;            ///< the last one: choices that were not the first possible, as "POSITION:CHOICE …"
};

/**
 * Plays something once, in a new time: starts clients, plays them, and looks at what has come of it.
 * Must take the same course whenever the same choices are made. @return whether all is as it should be.
 */
using Performance = std::function<bool(VirtualTime&)>;

/**
 * Plays again and again, each time with another schedule, until every one with at most so many preemptions has been
 * tried or one has failed: depth first, by making the first choices again. Choices where a thread waits anyway are
 * free.
 *
 * Of schedules that differ only in the order of steps which touch nothing in common, one is enough (partial-order
 * reduction). What clients share must be behind locks and counters for that, or each switch tried: who reads and writes
 * it without them does not say so.
 *
 * CORVANE_SCHEDULE=LINE in the environment plays just that one and tells each choice on the standard error;
 * CORVANE_PREEMPTIONS=N allows fewer. A schedule under which nobody can go on, or which does not end, ends the process
 * with its line.
 */
Exploration Explore(Performance const& perform, unsigned int preemptions, bool everySwitch = false);

/**
 * The same with schedules drawn at random, for what has too many: each thread has a priority, the highest goes on, and
 * at depth - 1 places among the first length choices who runs falls behind all others (PCT). A fault that takes depth
 * steps in the wrong order is found by one schedule in threads * length ^ (depth - 1) at the least.
 */
Exploration ExploreAtRandom(Performance const& perform, unsigned int schedules, std::uint64_t seed, unsigned int depth,
                            unsigned int length);
