// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"

#include <corvane/PerfTypes.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <vector>

/**
 * The commands that wait for one worker, oldest first.
 *
 * Behind a node that hangs, or under a client that floods a slow one, it would grow for ever, and the last client would
 * wait for all the others. So it is compacted above a bound: commands whose net effect is nil are dropped, and the
 * nodes end up with the same values. The bound is high while the worker keeps up, so that nothing is dropped then, and
 * low once the oldest command was seen to wait in a long queue more than LATE ago.
 *
 * Exceptions, where what came to nothing leaves a trace otherwise, and the values may be those of the next change:
 * - a short-term limit in the default mode counts by the long-term limits that stood when something last changed;
 * - the memory-latency nodes and the IPA power switches remember where they were last;
 * - a node that has never been written is not written if all that asked for it has come to nothing: its base would have
 *   been written in between.
 *
 * Not locked: its owner's mutex guards it.
 */
class PerfCommandQueue {
public:
    /** So many may wait before anything is dropped. */
    static constexpr std::size_t BOUND = 16384;
    /** The same, once the oldest was seen to wait more than LATE ago. */
    static constexpr std::size_t LATE_BOUND = 64;
    static constexpr std::chrono::seconds LATE{1};

    bool IsEmpty() const { return commands.empty(); }
    std::size_t Size() const { return commands.size(); }

    /** @return whether the age of what waits matters. */
    bool IsLong() const { return commands.size() > LATE_BOUND; }
    void Push(PerfCommand&& command);
    /** Takes the oldest out; there must be one. */
    PerfCommand Pop();
    /** @return whether the time is to be noted now: for the hot path's sake only once in LATE_BOUND commands. */
    bool NeedsTime() const
    {
        return IsLong() && (oldestNoted == 0 || pushedSinceNote >= LATE_BOUND || commands.size() > BOUND);
    }
    /** What waits now is late after LATE; nothing is noted while something of an earlier note still waits. */
    void NoteTime(PerfTimePoint const& now);
    /** @return whether it is above its bound, and has doubled since it was last compacted. */
    bool IsCompactionDue(PerfTimePoint const& now) const;

    /**
     * Takes out, in time linear in the size, and never the oldest:
     * - a start together with its own stop behind it (a stop ends one start), and a timed start that has ended by now;
     * - a mode behind which another one waits, a base set whose groups are all set again, and all suspends and resumes
     *   but the last resume, the suspend that it ends and the one that takes effect behind it.
     * Dumps stay. While the resource is to end up suspended, its nodes keep what they held when it was suspended: what
     * waits before that suspend and what waits behind it are compacted apart.
     * A command costs constant time on the whole, because the queue has to double in between.
     * @return what has left; to be destroyed without the mutex.
     */
    std::vector<PerfCommand> Compact(PerfTimePoint const& now);

private:
    bool IsLate(PerfTimePoint const& now) const { return oldestNoted != 0 && now - notedAt > LATE; }

    std::deque<PerfCommand> commands;
    std::size_t fewestWaiting = 0;   ///< lowest size since the last compaction
    std::size_t oldestNoted = 0;     ///< how many of the oldest waited already at notedAt; 0: no time is noted
    std::size_t pushedSinceNote = 0; ///< counted from the last NoteTime
    PerfTimePoint notedAt{};
};
