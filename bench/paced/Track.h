// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "bench/paced/Clock.h"
#include "bench/paced/Contender.h"

#include <memory>
#include <string>
#include <vector>

/** Somebody who takes part in a run: the floor, or a build of the library. */
struct Entry {
    std::string name;
    Contender::Maker make;
};

/** @return the threads of this process. */
std::vector<int> ThreadIds();

/** Ends the program. */
[[noreturn]] void GiveUp(char const* what);

/** Sleeps in small steps until the condition holds; a minute without it ends the program. */
template <typename Condition> void Await(char const* what, Condition const& condition)
{
    Clock::Nanoseconds const limit = Clock::Now() + 60 * Clock::SECOND;
    while (!condition()) {
        if (Clock::Now() > limit) {
            GiveUp(what);
        }
        Clock::SleepFor(50 * Clock::MICROSECOND);
    }
}

/**
 * A contender on nodes of its own, files in memory, and the view of what reached them.
 *
 * The writes of a resource are those to its last node (of a frequency: the maximum), which each command writes once,
 * or twice if it has two nodes.
 */
class Track {
public:
    Track(Entry const& entry, unsigned int resources, unsigned int nodesEach = 1);
    Track(Track const&) = delete;
    Track& operator=(Track const&) = delete;
    ~Track();

    Contender* operator->() { return contender.get(); }
    unsigned int Resources() const { return static_cast<unsigned int>(descriptors.size()); }
    unsigned int WritesPerCommand() const { return nodesEach; }

    unsigned int Count(unsigned int resource) const;
    Clock::Nanoseconds LastWrite(unsigned int resource) const;
    void AwaitCount(unsigned int resource, unsigned int count) const;
    /** The same over all resources. */
    unsigned int Count() const;
    Clock::Nanoseconds LastWrite() const;
    void AwaitCount(unsigned int count) const;
    /** Waits until nothing has been written for a while. */
    void Settle() const;

    /** Lets that many requests of low level stand on the first resource, and settles. Those of an earlier crowd go. */
    void Crowd(unsigned int size, unsigned int duration);

    /** Builds the contender anew, and only that. @return how long it took. */
    Clock::Nanoseconds Restart();
    /** Threads that came with the contender. */
    std::vector<int> const& Threads() const { return threads; }

private:
    void Start();
    /** Makes one request, to see which descriptor is the last node's. */
    int FindDescriptor(unsigned int resource);

    unsigned int const nodesEach;
    Entry const entry;
    std::vector<int> files; ///< all nodes, resource by resource
    std::vector<std::string> paths;
    std::vector<char const*> pathPointers;
    Contender::Setup setup;
    std::unique_ptr<Contender> contender;
    std::vector<int> threads;
    std::vector<int> descriptors; ///< the contender's, of the last node of each resource
};
