// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/render/Paint.h"
#include "tools/corvanectl/story/Story.h"

#include <ostream>

/** Shows warnings, and the library's log lines as "log:", the priority, the tag and the text. */
class LogLines : public StoryListener {
public:
    explicit LogLines(std::ostream& stream) : out(stream), paint(stream) {}

    void Hear(StoryRecord const& record) override;

private:
    std::ostream& out;
    Paint const paint;
};
