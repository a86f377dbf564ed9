// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <cstdint>
#include <memory>
#include <string>

/**
 * Time that goes on only when its owner says so, for everything that reads clocks, waits and starts threads by way of
 * sys/. While one lives, an executable that links it runs in it; before and after that it runs in the device's time.
 *
 * The threads that the library starts are real ones, but take turns: one runs until it waits, and nobody runs while the
 * owner does. The owner (the thread that made the object) gives the turns in the operations below, and whenever it
 * waits itself: for a notification, for a lock that one of the threads holds, or for the end of a thread. When nobody
 * is ready, time moves to the earliest deadline that is still within the operation's limit; the owner's own waits have
 * none but their deadline. So the same script takes the same course each time, whatever the machine does.
 *
 * Other threads are clients too: they may call anything and are woken like everybody, but run when the system lets
 * them, and neither give turns nor move time.
 *
 * Virtual time begins at an hour, because zero means none, and its wall clock at midnight of the first of January 2024;
 * the local time is UTC. The object must be made before the first thread of the library and outlive the last.
 */
class VirtualTime {
public:
    /** @param seed 0 lets the threads run in the order in which they became ready, others draw that order. */
    explicit VirtualTime(std::uint64_t seed = 0);
    VirtualTime(VirtualTime const&) = delete;
    VirtualTime& operator=(VirtualTime const&) = delete;
    ~VirtualTime();

    PerfTimePoint Now() const;

    /** Lets everybody run who can, without time going on. */
    void Settle();
    /** Lets everybody run until that time, which is then reached. Time never goes back. */
    void AdvanceTo(PerfTimePoint const& time);
    void AdvanceBy(PerfTimePoint::duration duration);

    struct Turns; ///< who waits and who runs, and the clock

private:
    std::unique_ptr<Turns> turns;
};
