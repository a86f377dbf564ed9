// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <mutex>
#include <string>
#include <vector>

/** What a node held, by and by. */
struct HeldRow {
    using Time = PerfTimePoint::duration;

    struct Step {
        Time at;
        std::string bytes;
    };

    std::string node;
    std::vector<Step> steps; ///< the first one is the base
};

/**
 * The story so far as rows of block characters, one for each node that held more than one thing. Any thread. Of a long
 * story it keeps the extremes, far more of them than any line has cells.
 */
class BlockChart : public StoryListener {
public:
    void Hear(StoryRecord const& record) override;

    /**
     * @param width in columns, which no line passes as long as its label, its range and a few blocks fit.
     * @return the rows and the time below them. The higher a block, the higher the value between the node's lowest and
     * highest; of texts, the base is low and all else high. A cell shows what is farthest from the cell before it, so
     * that nothing is too short to be seen.
     */
    std::string Text(std::size_t width) const;

private:
    mutable std::mutex mutex;
    // guarded by mutex
    PerfTimePoint start{};
    HeldRow::Time end{0};
    std::vector<HeldRow> rows;
};
