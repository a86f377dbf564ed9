// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <map>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

/**
 * The story as a Chrome-JSON trace, for viewers: the library's labels as instants of their thread, each node as a
 * counter track from its base on where its text is a number and as instants of the node's name where it is not, and
 * what is held, events and probes as slices from the asking until the release or the end. Chapters, suspends and
 * releases are instants. Written as it happens: only slices that are open are kept.
 */
class Trace : public StoryListener {
public:
    explicit Trace(std::ostream& stream);

    void Hear(StoryRecord const& record) override;
    /** Ends what is open, and the file. */
    void End();

private:
    struct Slice {
        nlohmann::json end; ///< the event, but for its time
        int pid;            ///< that it is booked under
        unsigned long long handle;
        std::string trigger; ///< the Key of an event or a probe; else empty
    };

    using Slices = std::multimap<PerfTimePoint, Slice>;

    nlohmann::json Event(char const* phase, std::string const& name);
    void AddInstant(std::string const& name, char const* scope);
    void AddCounter(std::string const& name, long long value);
    void Put(nlohmann::json const& event);
    int NumberOfThread();
    void Begin(Began const& began);
    void AddWrite(NodeWrite const& write);
    void BeginSlice(std::string const& name, std::string const& category, Slice slice, PerfTimePoint until);
    template <typename Matches> void EndSlices(Matches const& matches);
    void EndSlicesUntil(PerfTimePoint time);
    Slices::iterator EndSlice(Slices::iterator slice, PerfTimePoint time);
    void Hold(Held const& held);
    void Trigger(Triggered const& triggered);
    void Release(Released const& released);

    std::ostream& out;
    char const* separator = "\n";
    PerfTimePoint start{};
    PerfTimePoint now{};        ///< of the current record
    Slices slices;              ///< open, by their ends
    std::map<int, int> threads; ///< numbers by id: the system gives others each time
};
