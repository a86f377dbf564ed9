// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tests/support/PlatformBuilder.h"
#include "tests/world/NaiveResource.h"

#include <chrono>
#include <set>
#include <sstream>

/**
 * The whole library, told again in the plainest way: lists of what is outstanding, searched from end to end. It offers
 * the calls of the facade and says when what is written. Catalogues are taken to be valid.
 *
 * What is asked is done when time is let go on, be it by nothing, as the real workers do in virtual time.
 */
class NaiveFacade {
public:
    struct Write {
        std::string node;
        std::string bytes;
        PerfTimePoint time;
    };
    /** What stands behind a handle. */
    struct Held {
        int pid;
        PerfEventId event; ///< REQUEST_EVENT_ID for what is neither an event nor a probe
        PerfCommandType type;
        PerfTimePoint end;
        std::vector<PerfCommandItem> items;
    };

    NaiveFacade(PlatformBuilder const& platform, PerfTimePoint const& start);

    void Reset();
    int PerfRequest(int pid, unsigned int duration, std::vector<PerfRequestInfo> const& infos,
                    unsigned long long& handle);
    int PerfRelease(int pid, unsigned long long handle);
    int PerfReleaseAll(int pid);
    int PerfSetScenario(int pid, unsigned int scenarioId, unsigned long long& handle);
    int PerfSetMode(int pid, unsigned int modeId, unsigned long long& handle);
    int PerfSetSuspend(std::vector<unsigned int> const& params);
    int PerfEvent(unsigned int eventId, std::vector<unsigned int> const& params, std::string const& message);
    int StartEvent(PerfEventId eventId, unsigned int duration);
    void StopEvent(PerfEventId eventId);
    int StartProbe(int tid);
    void StopProbe(int tid);
    int DebugSet(std::ostringstream& out, std::string const& option);
    /** "--task", "--workMode" and "--limit_history" */
    int Dump(std::ostringstream& out, std::vector<std::string> const& args);

    void AdvanceBy(std::chrono::milliseconds duration);
    /** Lets a node refuse every write, or take them again. */
    void Refuse(std::string const& node, bool on, bool takesNothing);
    std::size_t OpenNodes() const;

    std::map<unsigned long long, Held> held;
    std::vector<Write> writes;

private:
    struct Phase {
        std::chrono::milliseconds from, to;
        PerfQosId qosId;
        PerfGroupTable groups;
    };
    struct Bound {
        int tid;
        PerfTimePoint from, to;
    };

    static bool IsTimed(Held const& entry) { return entry.type == PERF_COMMAND_SHORT_START; }

    /** Forgets what is over. */
    void Expire();
    /** @return the new handle, or INVALID_HANDLE where a quota is used up. */
    unsigned long long Hold(Held entry);
    int HoldAndSend(Held const& entry, unsigned long long& handle);
    /** Takes everything that fits out of what is held, by handles. */
    template <typename Fits> std::vector<std::pair<unsigned long long, Held>> Take(Fits const& fits);
    int SendStop(unsigned long long handle, Held const& entry);
    /** What could not be sent whole goes last, and what is empty behind that. @return at the first failure, or 0. */
    int SendStops(std::vector<std::pair<unsigned long long, Held>> released, bool goesOn);
    int Send(PerfCommandType type, std::vector<PerfCommandItem> const& items);
    void UseHighestMode();
    void Bind();
    void Unbind(int tid);
    void Settle();
    PerfTimePoint NextTime() const;

    PlatformBuilder const& platform;
    PerfTimePoint const start;
    PerfTimePoint now;
    std::map<PerfQosId, NaiveResource> resources;
    std::map<PerfEventId, std::vector<Phase>> events;
    std::map<PerfScenarioId, std::map<PerfQosId, PerfGroupTable>> scenarios;

    unsigned long long nextHandle;
    std::map<int, unsigned long long> probes;
    std::vector<std::pair<PerfWorkMode, unsigned long long>> modes; ///< as they came
    PerfWorkMode mode;
    std::vector<unsigned long long> console = std::vector<unsigned long long>(6, NO_HANDLE);

    std::set<std::string> refusing;
    std::map<int, Bound> bindings;
    std::vector<Bound> toBind, bound; ///< by their start, and by their end
    std::vector<int> stopped;
};
