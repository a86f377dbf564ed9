// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/Nodes.h"
#include "tools/corvanectl/story/Story.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/** Compares what nodes hold with what they were written last. */
class ReadBack : public StoryListener {
public:
    /** @param binderNode takes lines and holds nothing; may be empty. */
    explicit ReadBack(std::string binderNode) : binder(std::move(binderNode)) {}

    void Hear(StoryRecord const& record) override;

    /** @return the nodes written since the last call that can be read and hold something else. */
    std::vector<Strayed> Compare(Nodes const& nodes);
    /** @return the nodes that hold something else than when they were compared last, and what nobody here wrote. */
    std::vector<Strayed> Overwritten(Nodes const& nodes);
    /**
     * @return how many writes since the last call failed, or were taken in part. One that is taken when it is offered
     * again, as after ENODEV, has not failed.
     */
    std::size_t TakeFailedWrites();
    /** @return what the node took last, or nothing if it took nothing yet. */
    std::optional<std::string> LastTaken(std::string const& node) const;

private:
    void NoteOutcome(NodeWrite const& write);
    std::map<std::string, std::string> TakeUncompared();

    std::string const binder;
    std::map<std::string, std::string> seen; ///< by node, what it held when it was compared; the session's thread only
    mutable std::mutex mutex;
    // guarded by mutex
    std::map<std::string, std::string> taken;      ///< the last text by node
    std::map<std::string, std::string> uncompared; ///< the part of it that was not compared yet
    std::map<std::string, std::string> refused;    ///< by node, what it has refused and not been offered again
    std::size_t failedWrites = 0;                  ///< others
};
