// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <mutex>
#include <set>
#include <string>

/** The bound threads, derived from the lines written to the thread binder's node. */
class BoundThreads : public StoryListener {
public:
    explicit BoundThreads(std::string binderNode) : node(std::move(binderNode)) {}

    void Hear(StoryRecord const& record) override;
    std::set<std::string> All() const;

private:
    std::string const node;
    mutable std::mutex mutex;
    std::set<std::string> bound; ///< guarded by mutex
};
