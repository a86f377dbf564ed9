// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <istream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

/** The story as it is kept: one JSON object a line, as things happen, each with its time in seconds. */
class JsonLines : public StoryListener {
public:
    /** @param flushing each line at once, for whoever reads along. */
    explicit JsonLines(std::ostream& stream, bool flushing = false) : out(stream), flushes(flushing) {}

    void Hear(StoryRecord const& record) override;
    void End() { out << std::flush; }

private:
    std::ostream& out;
    bool const flushes;
    PerfTimePoint start{};
};

/** A record of a run that is none: the text says where. */
class RecordError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Reads what JsonLines has written, record by record. */
class StoredStory {
public:
    /** @param name what to call the stream in an error. */
    StoredStory(std::string name, std::istream& stream) : file(std::move(name)), in(stream) {}

    /** @return the next record, or nothing at the end. @throws RecordError with the number of a line that is none. */
    std::optional<StoryRecord> Next();
    /** Tells a listener all of it. @throws RecordError also if there is nothing. */
    void Replay(StoryListener& listener);

private:
    std::string const file;
    std::istream& in;
    unsigned int number = 0; ///< of the line
};
