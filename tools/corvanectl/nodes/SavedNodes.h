#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

/**
 * What nodes held before anybody wrote to them, and the way back. Any thread.
 *
 * Only nodes that were written are put back, and only if they hold something else by now: what others do to a node that
 * the library leaves alone is no concern of ours.
 */
class SavedNodes {
public:
    struct Node {
        std::string name;
        std::string place;
        std::optional<std::string> bytes; ///< nothing if it could not be read
    };

    /** Reads a node and keeps what it holds. */
    void Save(std::string const& name, std::string const& place);
    void NoteWrite(std::string const& name);
    /** How many of the saved nodes were written. */
    std::size_t CountWritten() const { return Written().size(); }
    /** The nodes that were written and hold something else than before, or cannot be read. */
    std::vector<Node> Changed() const;
    /** Puts back what can be. @return what is Changed() afterwards. */
    std::vector<Node> PutBack();

private:
    std::vector<Node> Written() const;

    mutable std::mutex mutex;
    // guarded by mutex
    std::vector<Node> saved;
    std::set<std::string> written;
};
