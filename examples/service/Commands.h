// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "Fairness.h"

#include <corvane/ConfigManager.h>
#include <corvane/PerfHold.h>

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/**
 * What clients can ask for, a line each, and the calls of the library behind it.
 *
 *   request MS QOS GROUP boost|limit VALUE ...   for MS ms, or with 0 until it is released; answers its handle
 *   scenario ID                                  until it is released; answers its handle
 *   release HANDLE|all
 *
 * For the trusted, because it concerns everybody:
 *
 *   request 0 45 GROUP boost|limit VALUE ...     base values of EAS, which nobody releases
 *   mode ID                                      as scenario
 *   event ID [MS|stop]                           ends by itself, or when all that have started it have stopped it
 *   suspend QOS ... | resume QOS ...
 *   dump OPTION
 *
 * All of it ends with whoever has asked for it. The last line of the answer begins with "ok" or "error". One thread.
 */
class Commands {
public:
    static constexpr Quota HANDLES{1024, 256, 128, 64};

    Commands(ConfigManager& configManager, std::vector<ConfigurableEvent> const& events);

    std::string Execute(Asker const& asker, std::string_view line);

    /** Whether this is a dump that waits for every worker. Another thread may execute it. */
    static bool WaitsForWorkers(Asker const& asker, std::string_view line);

    /** Takes back everything that was done in the name of an owner. */
    void Forget(int owner);

    /** Stops events of which nobody wants a run: a stop is for all runs. @return whether others wait for that. */
    bool SettleEvents();

private:
    using Words = std::vector<std::string>;
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    /** What counts as a handle of somebody's: one of the library's, or a run of an event, which has none. */
    struct Held {
        Asker asker;
        PerfHold hold;
        std::optional<PerfEventId> event;
        bool wanted = true;    ///< if not, it waits for other runs of the event
        Clock::time_point end; ///< by itself
    };

    static Words Split(std::string_view line);

    // These return nothing if they are used wrongly.
    std::string Request(Asker const& asker, Words const& words);
    std::string Release(Asker const& asker, Words const& words);
    std::string Preset(Asker const& asker, Words const& words);
    std::string Event(Asker const& asker, Words const& words);
    std::string Suspend(Asker const& asker, Words const& words);
    std::string Dump(Asker const& asker, Words const& words);

    bool HasRoomFor(Asker const& asker);
    std::string Keep(Asker const& asker, Milliseconds duration, PerfHold hold, std::optional<PerfEventId> event = {});
    void Unwant(int owner, std::optional<PerfEventId> id);
    void Resume(int owner, PerfQosId id);

    ConfigManager& manager;
    std::map<PerfEventId, Milliseconds> eventLengths;
    std::multimap<unsigned long long, Held> held; ///< by handle, few enough to be looked through
    std::set<std::pair<PerfQosId, int>> suspends; ///< and their owners
};
