#pragma once

#include "tools/corvanectl/story/Story.h"

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

/** One write of a run as it goes on record. */
struct RecordedWrite {
    std::chrono::nanoseconds time; ///< since the start
    std::string text;              ///< the node, what was written, and how that failed
    std::string command;           ///< that brought it about, or behind which it came; empty before the first
};

/** @return the record's line of a write: its exact time and its text. */
std::string LineOf(RecordedWrite const& write);

/**
 * The writes of a run with their exact times, a line each, below the commands: what a later run can be held to.
 * Lines of commands, which begin with "> ", and those that begin with "#" are for people.
 */
class Recording : public StoryListener {
public:
    void Hear(StoryRecord const& record) override;
    /** Writes what was heard so far. */
    void Write(std::ostream& out) const;

    std::vector<RecordedWrite> const& Writes() const { return writes; }

private:
    PerfTimePoint start{};
    std::string command;
    std::vector<RecordedWrite> writes;
};

/** Reads what a recording has written. @throws std::invalid_argument with the number of a line that is none. */
std::vector<RecordedWrite> ReadRecording(std::string const& text);
