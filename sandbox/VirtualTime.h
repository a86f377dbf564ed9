// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Turns.h"

#include <corvane/PerfTypes.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

/** Sets the local time to UTC while it lives. */
class FixedZone {
public:
    FixedZone();
    FixedZone(FixedZone const&) = delete;
    FixedZone& operator=(FixedZone const&) = delete;
    ~FixedZone();

private:
    std::optional<std::string> previous;
};

/**
 * Time that goes on only when its owner says so, for everything that reads clocks, waits and starts threads by way of
 * sys/. While one lives, an executable that links it runs in it; before and after that it runs in the device's time.
 *
 * The threads that the library starts are real ones, but take turns: one runs until it waits, and nobody runs while the
 * owner does. The owner (the thread that made the object) gives the turns in the operations below, and whenever it
 * waits itself: for a notification, for a lock that one of the threads holds, or for the end of a thread. When nobody
 * is ready, time moves to the earliest deadline that is still within the operation's limit; the owner's own waits have
 * none but their deadline. So the same script takes the same course each time, whatever the machine does. Where the
 * owner waits for what nobody can bring about any more, the process ends with a line that says so.
 *
 * Clients that are started here take turns like the library's threads. With a schedule a turn may end wherever another
 * thread could come in between: before a lock is taken and after it is given up, at a notification, a wait, a reading
 * of the clock or of a counter, and at the write of a node.
 *
 * Other threads stay in the device's time, and share nothing with these that one could wait for.
 *
 * Virtual time begins at an hour, because zero means none, and its wall clock at midnight of the first of January 2024;
 * the local time is UTC. The object must be made before the first thread of the library and outlive the last.
 */
class VirtualTime {
public:
    /** @param seed 0 lets the threads run in the order in which they became ready, others draw that order. */
    explicit VirtualTime(std::uint64_t seed = 0) : turns(seed, nullptr) {}
    explicit VirtualTime(Schedule& schedule) : turns(0, &schedule) {}

    PerfTimePoint Now() const { return turns.Now(); }

    /** Lets everybody run who can, without time going on. */
    void Settle() { turns.Settle(); }
    /** Lets everybody run until that time, which is then reached. Time never goes back. */
    void AdvanceTo(PerfTimePoint const& time) { turns.AdvanceTo(time); }
    void AdvanceBy(PerfTimePoint::duration duration) { turns.AdvanceBy(duration); }

    /** Starts a client. He may move time on, too, but lets nobody run by that. */
    void Start(std::string const& name, std::function<void()> body);
    /** Lets everybody run until every client has ended. If nobody can go on before, the process ends with the schedule.
     */
    void Play();

private:
    FixedZone const zone;
    Turns turns;
    std::vector<std::thread> clients;
};
