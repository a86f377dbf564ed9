#pragma once

#include "tools/corvanectl/story/Story.h"

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/**
 * The story as a Chrome-JSON trace, in the order of time: the library's labels as instants of their thread, each node
 * as a counter track from its base on where its text is a number and as instants of the node's name where it is not,
 * and what is held as a slice from the asking until the release or its end. Chapters, suspends, releases, events and
 * probes are instants. What a chart would hear stands in the field "story" of an event, which viewers pass over.
 */
class Trace : public StoryListener {
public:
    Trace();

    void Hear(StoryRecord const& record) override;
    /** Writes what was heard so far. */
    void Write(std::ostream& out) const;

private:
    nlohmann::json Event(char const* phase, std::string const& name, PerfTimePoint time, int thread) const;
    nlohmann::json& AddEvent(char const* phase, std::string const& name, PerfTimePoint time);
    int NumberOfThread();
    void Begin(PerfTimePoint time, Began const& began);
    void AddWrite(NodeWrite const& write);
    void Hold(PerfTimePoint time, Held const& held);
    void Release(PerfTimePoint time, Released const& released);
    void AddInstant(std::string const& name, PerfTimePoint time, char const* scope);
    /** @return the events and slices so far, sorted. */
    std::vector<nlohmann::json> Sorted() const;

    struct Slice {
        std::size_t begin; ///< among the events
        int pid;
        unsigned long long handle;
        std::optional<PerfTimePoint> until; ///< nothing: not given back
    };

    PerfTimePoint start{};
    PerfTimePoint end{}; ///< of what was heard so far
    std::vector<Slice> slices;
    nlohmann::json events = nlohmann::json::array();
    std::map<int, int> threads; ///< numbers by id: the system gives others each time
};
