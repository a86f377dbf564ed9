// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Schedule.h"
#include "sys/ThreadAnnotations.h"

#include <corvane/PerfTypes.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

/**
 * A cooperative scheduler for real threads, with the clock that they wait by. One thread runs at a time, until it
 * waits. Those that wait stand in one list, whatever they wait for: a notification, a lock or the end of a thread, each
 * with or without a deadline. What ends the wait moves the thread to the ready queue. At the end of every turn GoOn()
 * picks the next thread; when none is ready, the clock moves to the earliest deadline.
 *
 * The owner is the thread that made the object. Once what it waits for has come, it runs before all that are ready;
 * while it lets time go on, it runs when nobody else can before that time. Only the running thread calls anything here.
 * Threads that were not started here have no part in it: OfThisThread() is null for them.
 */
class Turns {
public:
    static constexpr PerfTimePoint START{std::chrono::hours{1}}; ///< not zero, which means none
    static constexpr PerfTimePoint NEVER = PerfTimePoint::max();

    /** @param seed 0 lets the threads run in the order in which they became ready, others draw that order. */
    Turns(std::uint64_t seed, Schedule* schedule);
    Turns(Turns const&) = delete;
    Turns& operator=(Turns const&) = delete;
    /** The process ends if a thread has not been joined. */
    ~Turns();

    static Turns* OfThisThread() { return self != nullptr ? self->turns : nullptr; }

    PerfTimePoint Now() const { return now; }
    /** The same, but others may go on before. */
    PerfTimePoint ReadClock();
    /** These let everybody run until that time, if it is the owner who calls; a client lets nobody run by that. */
    void AdvanceTo(PerfTimePoint const& time);
    void AdvanceBy(PerfTimePoint::duration duration);
    void Settle() { LetTimeGoOn(now); }

    /** A scheduling point: others may run before the caller touches the object (null: touches nothing). */
    void Point(char const* where, void const* object = nullptr, bool reads = false);
    /** The running thread touches the object; no scheduling point. */
    void Touch(void const* object, bool reads = false);

    /** Makes the first ready who waits for this. */
    void Notify(void const* awaited);
    /** Gives the guard up until it is notified or the deadline is reached. */
    void Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    void Take(std::mutex& wanted) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    void GiveUp(std::mutex& held) CORVANE_NO_THREAD_SAFETY_ANALYSIS;

    /** @param isClient while one lives the schedule decides who goes on. */
    std::thread Start(std::string const& name, std::function<void()> body, bool isClient = false);
    void Join(std::thread& thread);
    /** Ends the process with the schedule if there still is a client. */
    void ExpectNoClient() const;

private:
    using Lock = std::unique_lock<std::mutex>;

    struct Participant : Runner {
        explicit Participant(Turns* its) : turns(its) {}

        Turns* const turns;
        bool isClient = false;
        bool hasEnded = false;
        std::condition_variable called; ///< his turn has come

        // while he waits
        void const* awaited = nullptr;
        PerfTimePoint deadline = NEVER;
    };

    void LetTimeGoOn(PerfTimePoint const& time);
    void Run(std::function<void()> const& body);
    // Under the mutex, which is given up while somebody else runs.
    void WaitFor(Lock& lock, void const* awaited, PerfTimePoint const& deadline);
    void AwaitTurn(Lock& lock);
    void GoOn();
    void TurnTo(std::size_t position);
    std::size_t PickReady();
    std::size_t Choose(Participant const* goesOn, char const* where);
    bool MoveTime();
    void MoveTo(PerfTimePoint const& time);
    template <typename Wanted> bool WakeFirst(Wanted const& isWanted);
    void WakeAll(void const* awaited);
    void MakeReady(Participant& participant);
    bool IsScheduled() const { return schedule != nullptr && self != nullptr && self != &owner; }
    [[noreturn]] void EndStuck() const;

    static inline thread_local Participant* self = nullptr; ///< the current thread's; null if it takes no turns

    Schedule* const schedule; ///< or null
    Participant owner{this};

    // guarded by the mutex
    std::mutex mutex;
    PerfTimePoint now = START;           ///< written by the running thread only, which may therefore read it unlocked
    std::list<Participant*> waiting;     ///< longest first
    std::deque<Participant*> ready;      ///< longest first, without the owner
    bool ownerIsReady = false;           ///< and goes before them
    std::optional<PerfTimePoint> target; ///< while the owner lets time go on: until then
    Participant* running = &owner;
    std::map<std::thread::id, Participant> threads;
    std::size_t started = 0;
    std::size_t liveClients = 0;
    std::uint64_t random; ///< 0: in order
};
