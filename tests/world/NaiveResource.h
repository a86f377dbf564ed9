// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"
#include "tests/group/NaiveGroup.h"

#include <corvane/PerfConfig.h>

#include <chrono>
#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/** A resource of any kind and its worker: naive groups behind a queue, and what their values mean on the nodes. */
class NaiveResource {
public:
    using Put = std::function<bool(std::string const& node, std::string const& bytes)>;

    /** @param put is offered every write. @return whether the node takes it. */
    NaiveResource(PerfQosId id, PerfQosConfig const& config, PerfConfigControlInfo const& control,
                  std::chrono::milliseconds rewriteDelay, Put put);

    int Validate(PerfCommandType type, PerfGroupTable& groups) const;
    void Send(PerfCommandType type, PerfCommandItem const& item) { queue.push_back({type, item}); }
    /** Does what is queued, then what is due. @param start when time began. */
    void Work(PerfTimePoint const& time);
    PerfTimePoint NextWakeUp() const;
    std::size_t OpenNodes() const { return opened.size(); }

    void Dump(std::ostream& out) const;
    void DumpHistory(std::ostream& out, PerfTimePoint const& midnight) const;

private:
    struct Command {
        PerfCommandType type;
        PerfCommandItem item;
    };
    struct Limited {
        int limit;
        PerfTimePoint from;
        PerfTimePoint to{};
    };

    bool IsMemoryLatency() const { return qosId >= PERF_QOS_MEM_LAT_FIRST && qosId <= PERF_QOS_MEM_LAT_LAST; }
    bool IsLevel(unsigned int group, int value) const { return configs[group].level2ValueMap.count(value) != 0; }
    int ValidateGroup(PerfCommandType type, unsigned int group, std::map<PerfOperationType, int>& values) const;
    /** Adds what a request's levels mean for the global boost. */
    int ExtendByGlobalBoost(PerfGroupTable& groups) const;

    void Do(Command const& command);
    /** Writes everything anew where that is due. */
    void AttendToRefusals();
    void PlanTheNextTry(bool isTry);
    void WriteAnew(unsigned int group);
    void Offer(std::string const& node, std::string const& bytes);
    bool Apply(Command const& command);
    void Suspend(bool on);
    /** Writes what the group has decided since the last time. */
    void Write(unsigned int group);
    void Write(unsigned int group, int boost, int limit);
    void WriteLevel(unsigned int group, int level);
    void WritePower(int value);
    void NoteLimit(int limit);
    void FollowRatioAndMonitor();

    PerfQosId const qosId;
    std::string const name;
    PerfConfigControlInfo const control;
    std::chrono::milliseconds const rewriteDelay;
    Put const put;
    std::vector<PerfGroupConfig> configs;
    PerfQosFreqConfig const* const ddr;
    PerfQosIpaPowerConfig const* const power;
    PerfQosEasConfig const* const eas;

    std::vector<NaiveGroup> groups;
    std::deque<Command> queue;
    PerfTimePoint now{};
    bool asleep = false;
    bool boardOff = false, atThreshold = false;
    std::optional<int> ratio, monitor; ///< as last followed
    std::deque<Limited> history;

    std::map<unsigned int, int> levels; ///< last written
    std::set<std::string> opened;       ///< the nodes that are open
    std::set<std::string> refused;      ///< the nodes that did not take what they were last offered
    bool refusedNow = false;            ///< since the last look
    std::chrono::milliseconds distance{};
    PerfTimePoint nextTry{}, latestTry{};
};
