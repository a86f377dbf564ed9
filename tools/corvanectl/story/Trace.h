#pragma once

#include "tools/corvanectl/story/Story.h"

#include <map>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

/**
 * The story as a Chrome-JSON trace: the library's labels as instants of their thread, each node as a counter track
 * where its text is a number and as instants of the node's name where it is not.
 */
class Trace : public StoryListener {
public:
    Trace();

    void Hear(StoryRecord const& record) override;
    /** Writes what was heard so far. */
    void Write(std::ostream& out) const;

private:
    nlohmann::json& AddEvent(char const* phase, std::string const& name, PerfTimePoint time);
    int NumberOfThread();
    void AddWrite(NodeWrite const& write);

    PerfTimePoint start{};
    nlohmann::json events = nlohmann::json::array();
    std::map<int, int> threads; ///< numbers by id: the system gives others each time
};
