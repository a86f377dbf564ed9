// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/BoundThreads.h"

void BoundThreads::Hear(StoryRecord const& record)
{
    record.Match([this](Wrote const& wrote) {
        std::string const& line = wrote.write.bytes;
        if (node.empty() || wrote.write.node != node || line.empty() ||
            wrote.write.result != static_cast<ssize_t>(line.size())) {
            return;
        }
        std::size_t const bar = line.rfind('|');
        std::string const thread = bar == std::string::npos ? "" : line.substr(bar + 1);
        std::lock_guard<std::mutex> const lock(mutex);
        if (line.compare(0, 3, "FF|") == 0) {
            bound.erase(thread);
        } else {
            bound.insert(thread);
        }
    });
}

std::set<std::string> BoundThreads::All() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return bound;
}
