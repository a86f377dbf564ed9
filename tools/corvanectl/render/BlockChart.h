#pragma once

#include "tools/corvanectl/render/Chart.h"

#include <mutex>
#include <string>

/** The story so far as rows of block characters, one for each node that held more than one thing. Any thread. */
class BlockChart : public StoryListener {
public:
    void Hear(StoryRecord const& record) override;

    /**
     * @return the rows and the time below them. The higher a block, the higher the value between the node's lowest and
     * highest; of texts, the base is low and all else high. A column shows what was farthest from the base in its time.
     */
    std::string Text() const;

private:
    mutable std::mutex mutex;
    Chart chart; ///< guarded by mutex
};
