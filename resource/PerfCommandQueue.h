#pragma once

#include "command/CommandWrapper.h"

#include <corvane/PerfTypes.h>

#include <cstddef>
#include <deque>
#include <vector>

/**
 * The commands that wait for one worker, oldest first.
 *
 * Behind a node that hangs, or under a client that floods a slow one, it would grow for ever; so beyond a bound it can
 * be compacted: what would come to nothing leaves, and the values that the nodes end up with stay the same. (Where a
 * resource remembers what came to nothing, they may be those of the next change: a short-term limit in the default
 * mode, which counts by the long-term ones that stood when something last changed, and memory latency.) Below the bound
 * nothing is ever left out.
 *
 * Not locked: its owner's mutex guards it.
 */
class PerfCommandQueue {
public:
    /** So many may wait before anything is left out. */
    static constexpr std::size_t BOUND = 16384;

    bool IsEmpty() const { return commands.empty(); }
    std::size_t Size() const { return commands.size(); }

    /** @return whether it has grown so far that Compact is due. */
    bool Push(PerfCommand&& command);
    /** Takes the oldest out; there must be one. */
    PerfCommand Pop();

    /**
     * Takes out, in time linear in the size, and never the oldest:
     * - a start together with its own stop behind it, and a timed start that has ended by now;
     * - a mode behind which another one waits, a base set whose groups are all set again, and all suspends and resumes
     *   but the last resume, the suspend that it ends and the one that takes effect behind it.
     * Dumps stay. While the resource is to end up suspended, its nodes keep what they held when it was suspended: what
     * waits before that suspend and what waits behind it are compacted apart.
     * The next one is due when the queue has doubled, so that a command costs constant time on the whole.
     * @return what has left; to be destroyed without the mutex.
     */
    std::vector<PerfCommand> Compact(PerfTimePoint const& now);

private:
    std::deque<PerfCommand> commands;
    std::size_t compactionSize = BOUND;
};
