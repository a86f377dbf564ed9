#pragma once

#include "sandbox/Sandbox.h"

#include <chrono>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

/**
 * What the tool says: commands, their answers and the node writes, each line whole.
 *
 * Live, a write is shown the moment it happens. Otherwise writes are held until ShowWrites, and shown resource by
 * resource in the order of the platform file: workers run side by side, so that their common order is nobody's promise,
 * but each one's own order is.
 */
class Transcript {
public:
    Transcript(std::ostream& out, bool live);

    /** From here on times are shown from 0. */
    void StartClock();
    /** Gives a node its place in the order; the first place that it is given holds. */
    void PlaceNode(std::string const& node, std::size_t position);
    /** Cuts this text out of everything: the folder of a sandbox. */
    void Hide(std::string const& text);

    /** Text of any number of lines; a last line without an end gets one. */
    void Say(std::string const& text);
    /** Any thread. */
    void AddWrite(NodeWrite const& write);
    /** Shows the writes held of nodes below this position. */
    void ShowWrites(std::size_t belowPosition);

private:
    std::size_t PositionLocked(NodeWrite const& write) const;
    void ShowWriteLocked(NodeWrite const& write);

    std::ostream& out;
    bool const live;
    std::mutex mutex;
    // guarded by mutex
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::map<std::string, std::size_t> positions;
    std::string hidden;
    std::vector<NodeWrite> held;
};
