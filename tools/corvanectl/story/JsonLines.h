#pragma once

#include "tools/corvanectl/story/Story.h"

#include <ostream>

/** The story as a program reads it: one JSON object a line, as things happen, each with its time in seconds. */
class JsonLines : public StoryListener {
public:
    explicit JsonLines(std::ostream& stream) : out(stream) {}

    void Hear(StoryRecord const& record) override;

private:
    std::ostream& out;
    PerfTimePoint start{};
};
