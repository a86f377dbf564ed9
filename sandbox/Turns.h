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
 * Real threads of which one runs at a time, until it waits, and the time that they wait by. Who waits stands in one
 * list, for a notification, a lock or the end of a thread, and with a deadline or without; whatever comes first makes
 * him ready. At the end of each turn GoOn gives the next one.
 *
 * The thread that makes the object is the owner. What he waits for brings him back before everybody else who is ready;
 * while he lets time go on, he comes back when nobody else can run before that time. Every operation is called by the
 * one who runs. Other threads have no part in it: OfThisThread is null for them.
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

    /** Its address stands for the clock where the reading or moving of it is a point. */
    PerfTimePoint const& Now() const { return now; }
    /** Lets everybody run until that time, if it is the owner's; a client moves time and lets nobody run by that. */
    void AdvanceTo(PerfTimePoint const& time);

    /** Others may go on here, before this is touched, if anything is. */
    void Point(char const* where, void const* object = nullptr, bool reads = false);
    /** What runs touches this, and nobody comes in between before. */
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

    // Under the mutex, which is given up while somebody else runs.
    void Run(std::function<void()> const& body);
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

    static inline thread_local Participant* self = nullptr; ///< whose thread this is; null if it takes no turns

    Schedule* const schedule; ///< or null
    Participant owner{this};

    // guarded by the mutex
    std::mutex mutex;
    PerfTimePoint now = START;           ///< changed by who runs, so that he may read it without
    std::list<Participant*> waiting;     ///< longest first
    std::deque<Participant*> ready;      ///< longest first, without the owner
    bool ownerIsReady = false;           ///< and goes before them
    std::optional<PerfTimePoint> target; ///< to which the owner lets time go on
    Participant* running = &owner;
    std::map<std::thread::id, Participant> threads;
    std::size_t started = 0;
    std::size_t liveClients = 0;
    std::uint64_t random; ///< 0: in order
};
