// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>
#include <vector>

/** A thread that takes turns. */
struct Runner {
    std::size_t number = 0; ///< in the order of the starts, from 1; the owner of the time has 0
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
     * @param able two or more that can go on; the first is the running one, if it can.
     * @param preempts whether it can: to choose another preempts it.
     * @param where what the running one is about to do.
     * @return the position of the choice.
     */
    virtual std::size_t Choose(std::vector<Runner const*> const& able, bool preempts, char const* where) = 0;
    /** A step begins: until the next one, or until it waits, the thread is not preempted. */
    virtual void Step(Runner const& /* who */) {}
    /** The step touches this lock, condition, counter, clock or thread; reads commute with one another. */
    virtual void Touch(Runner const& /* who */, void const* /* object */, bool /* reads */) {}
    /** The step makes another thread ready, which waited. */
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
