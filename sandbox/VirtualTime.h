// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/** A thread that takes turns. */
struct Runner {
    std::size_t number; ///< in the order of the starts, from 1
    std::string name;
};

/** Decides who goes on where several can, while a client of VirtualTime::Start lives. */
class Schedule {
public:
    Schedule() = default;
    Schedule(Schedule const&) = delete;
    Schedule& operator=(Schedule const&) = delete;
    virtual ~Schedule() = default;

    /**
     * @param able two or more who can go on; first the one who runs, if he can.
     * @param preempts whether he can: to choose another interrupts him.
     * @param where what he is about to do.
     * @return the position of the choice.
     */
    virtual std::size_t Choose(std::vector<Runner const*> const& able, bool preempts, char const* where) = 0;
    /** He begins a step: from here on nobody comes in between until he has another one before him, or waits. */
    virtual void Step(Runner const& /* who */) {}
    /** His step touches this lock, condition, counter, clock or thread; reading commutes with other reading. */
    virtual void Touch(Runner const& /* who */, void const* /* object */, bool /* reads */) {}
    /** He lets another go on, who could not before. */
    virtual void Enable(Runner const& /* who */, Runner const& /* whom */) {}
    /** @return what has been chosen so far, on one line. */
    virtual std::string Line() const = 0;
};

/** While it lives, its thread is not interrupted in virtual time: nodes are one step for whoever writes them. */
struct Undivided {
    Undivided() { ++depth; }
    Undivided(Undivided const&) = delete;
    Undivided& operator=(Undivided const&) = delete;
    ~Undivided() { --depth; }

    static inline thread_local int depth = 0;
};

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
 * Clients that are started here take turns like the library's threads. With a schedule a turn may end wherever another
 * thread could come in between: before a lock is taken and after it is given up, at a notification, a wait, a reading
 * of the clock or of a counter, and at the write of a node.
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
    explicit VirtualTime(Schedule& schedule);
    VirtualTime(VirtualTime const&) = delete;
    VirtualTime& operator=(VirtualTime const&) = delete;
    ~VirtualTime();

    PerfTimePoint Now() const;

    /** Lets everybody run who can, without time going on. */
    void Settle();
    /** Lets everybody run until that time, which is then reached. Time never goes back. */
    void AdvanceTo(PerfTimePoint const& time);
    void AdvanceBy(PerfTimePoint::duration duration);

    /** Starts a client. He may move time on, too, but lets nobody run by that. */
    void Start(std::string const& name, std::function<void()> body);
    /** Lets everybody run until every client has ended. If nobody can go on before, the process ends with the schedule.
     */
    void Play();

    struct Turns; ///< who waits and who runs, and the clock

private:
    explicit VirtualTime(std::unique_ptr<Turns> made);

    std::unique_ptr<Turns> turns;
};
