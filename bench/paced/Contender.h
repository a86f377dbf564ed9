// SPDX-License-Identifier: Apache-2.0

#pragma once

/**
 * What the figures drive: a build of the library, or the floor that it is compared with.
 *
 * Plain types only, because two builds of the library whose records differ may be loaded side by side. Any thread may
 * call.
 */
class Contender {
public:
    /** Resources 0.. with the same number of nodes each, one after the other. */
    struct Setup {
        char const* const* nodes;
        unsigned int resources;
        unsigned int nodesEach; ///< 1, or 2 for a frequency: minimum, maximum
    };
    /** What a request asks for. HIGH makes itself felt on the node while only LOW ones stand. */
    enum Level : unsigned int { LOW = 0, HIGH = 1 };

    Contender() = default;
    Contender(Contender const&) = delete;
    Contender& operator=(Contender const&) = delete;
    virtual ~Contender() = default;

    /** @param duration ms, or 0: until it is released. @return the handle to release. */
    virtual unsigned long long Request(unsigned int resource, Level level, int pid, unsigned int duration) = 0;
    virtual void Release(int pid, unsigned long long handle) = 0;
    virtual void ReleaseAll(int pid) = 0;
    /** Writes every node once, as its release does. */
    virtual unsigned long long RaiseMode(int pid) = 0;

    using Maker = Contender* (*)(Setup const&);
    /** The name of the function that a module with a build of the library offers: a Maker. */
    static constexpr char const* MAKER_NAME = "MakeContender";
};
