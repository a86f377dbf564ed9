// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

/**
 * What nodes held before anybody wrote to them, and the way back. Any thread.
 *
 * Only nodes that were written are put back, and only if they hold something else by now: what others do to a node that
 * the library leaves alone is no concern of ours. A node that goes on showing what it held, whatever it is written, is
 * limited by somebody else, and what it shows is not what it was once asked for: it is left with what it took last.
 */
class SavedNodes {
public:
    struct Node {
        std::string name;
        std::string place;
        std::optional<std::string> bytes;   ///< nothing if it could not be read
        std::optional<std::string> written; ///< what it took last
        bool isLimited = false;
    };

    /** Reads a node and keeps what it holds. */
    void Save(std::string const& name, std::string const& place);
    void NoteWrite(std::string const& name, std::string const& bytes);
    /** Takes notice that a node, after a write, holds something else. */
    void NoteStrayed(std::string const& name, std::string const& held);
    /** The nodes that were written. */
    std::vector<Node> Written() const;
    /** The nodes that were written and hold something else than before, or cannot be read. */
    std::vector<Node> Changed() const;
    /** Puts back what can be. @return what is Changed() afterwards, without what is limited by somebody else. */
    std::vector<Node> PutBack();

private:
    Node* Find(std::string const& name);

    mutable std::mutex mutex;
    std::vector<Node> saved; ///< guarded by mutex
};
