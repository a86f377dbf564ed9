// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/Reasons.h"

#include <algorithm>
#include <set>

namespace {

std::string Numbered(std::string const& what, long long value)
{
    return what + " " + std::to_string(value);
}

std::string NameOf(Platform const& platform, PerfQosId id)
{
    QosEntry const* const entry = FindQos(platform, id);
    return entry == nullptr ? Numbered("resource", id) : entry->name;
}

bool IsThere(Platform const& platform, PerfQosId id)
{
    QosEntry const* const entry = FindQos(platform, id);
    return entry != nullptr && IsBuilt(*entry, platform.control);
}

std::string Assignment(PerfOperationType operation, int value)
{
    return (operation == PERF_OPERATION_BOOST ? "boost=" : "limit=") + std::to_string(value);
}

/** What is known of a call. */
struct Reasons {
    std::string objection;            ///< empty: nothing is known against it
    std::vector<std::string> changes; ///< what is granted in another way than it was asked for, or left out

    /** The first one counts. */
    void Object(std::string const& why)
    {
        if (objection.empty()) {
            objection = why;
        }
    }

    std::vector<std::string> Behind(int result) const
    {
        if (result == 0) {
            return changes;
        }
        return objection.empty() ? std::vector<std::string>() : std::vector<std::string>{objection};
    }
};

/** Follows what a call asks for through the rules of the resources. */
class Asking {
public:
    Asking(Session& asked, PerfCommandType with) : session(asked), fitted(asked.Fitted()), type(with) {}

    void Part(PerfQosId id, PerfGroupTable const& groups)
    {
        if (!IsThere(session.Described(), id)) {
            missing.insert(NameOf(session.Described(), id) + ": not on this platform");
            return;
        }
        isAnyThere = true;
        PerfQosConfig const& config = *fitted.qosConfigs.at(id);
        unsigned int const count = static_cast<unsigned int>(config.groupConfigs.size());
        if (!groups.empty() && groups.rbegin()->first >= count) {
            reasons.Object(config.qosName + ": has no " + Numbered("group", groups.rbegin()->first));
            return;
        }
        for (auto const& [group, operations] : groups) {
            std::string const where = count == 1 ? config.qosName : config.qosName + " " + Numbered("group", group);
            Group(config.groupConfigs[group], where, operations);
        }
        if (auto const* const eas = dynamic_cast<PerfQosEasConfig const*>(&config)) {
            GlobalBoost(*eas, groups);
        }
    }

    Reasons Result()
    {
        for (std::string const& each : missing) {
            reasons.changes.push_back(each + ", left out");
        }
        if (!isAnyThere) {
            reasons.Object(missing.empty() ? "asks for no boost and no limit" : *missing.begin());
        }
        return reasons;
    }

private:
    void Group(PerfGroupConfig const& config, std::string const& where,
               std::map<PerfOperationType, int> const& operations)
    {
        std::map<PerfOperationType, int> taken;
        for (auto const& [operation, value] : operations) {
            if (type == PERF_COMMAND_BASE_SET && operation == PERF_OPERATION_LIMIT) {
                reasons.Object(Assignment(operation, value) + " on " + where + ": there is no base value of a limit");
            }
            taken[operation] = Taken(config, Assignment(operation, value) + " on " + where, value);
        }
        if (taken.size() == 2 && taken[PERF_OPERATION_BOOST] > taken[PERF_OPERATION_LIMIT]) {
            reasons.Object(Assignment(PERF_OPERATION_BOOST, taken[PERF_OPERATION_BOOST]) + " on " + where + ": above " +
                           Assignment(PERF_OPERATION_LIMIT, taken[PERF_OPERATION_LIMIT]));
        }
    }

    int Taken(PerfGroupConfig const& config, std::string const& asked, int value)
    {
        int const taken = std::clamp(value, config.availableMin, config.availableMax);
        std::string const outside = Numbered(value < taken ? ": below" : ": above", taken);
        if (taken != value && config.clampOutOfRange) {
            reasons.changes.push_back(asked + outside + ", clamped to " + std::to_string(taken));
        } else if (taken != value) {
            reasons.Object(asked + outside + ", not clamped");
        }
        if (!config.level2ValueMap.empty() && config.level2ValueMap.count(taken) == 0) {
            reasons.Object(asked + ": no level");
        }
        return taken;
    }

    /** One switch serves all groups: a level that needs it on and one that forbids it do not go together. */
    void GlobalBoost(PerfQosEasConfig const& config, PerfGroupTable const& groups)
    {
        auto const isAny = [&](PerfOperationType operation, unsigned int needed) {
            return std::any_of(groups.begin(), groups.end(), [&](auto const& group) {
                auto const level = group.second.find(operation);
                auto const value = level == group.second.end() ? config.globalBoostMap.end()
                                                               : config.globalBoostMap.find(level->second);
                return value != config.globalBoostMap.end() && value->second == needed;
            });
        };
        if (isAny(PERF_OPERATION_BOOST, 1) && isAny(PERF_OPERATION_LIMIT, 0)) {
            reasons.Object(config.qosName + ": a boost switches the global boost on and a limit switches it off");
        }
    }

    Session& session;
    PerfDefaultConfig const fitted;
    PerfCommandType const type;
    std::set<std::string> missing; ///< resources
    bool isAnyThere = false;
    Reasons reasons;
};

/** Base values of EAS hold until they are set again, and take no handle. */
bool SetsBases(Held const& asked)
{
    return std::any_of(asked.infos.begin(), asked.infos.end(),
                       [](PerfRequestInfo const& info) { return info.qosId == PERF_QOS_EAS_BASE; });
}

void PartReasons(Session& session, Held const& asked, PerfCommandType type, Reasons& reasons)
{
    Asking asking(session, type);
    for (QosInfoInt const& part : session.Manager().RequestFilter(asked.infos)) {
        asking.Part(part.qosId, part.groupInfo);
    }
    Reasons const parts = asking.Result();
    reasons.Object(parts.objection);
    reasons.changes = parts.changes;
}

void RequestReasons(Session& session, Held const& asked, Reasons& reasons)
{
    if (asked.duration != 0 && (asked.duration < PERF_DURATION_MIN_MS || asked.duration > PERF_DURATION_MAX_MS)) {
        reasons.Object(Numbered("duration", asked.duration) + ": outside " + std::to_string(PERF_DURATION_MIN_MS) +
                       " .. " + std::to_string(PERF_DURATION_MAX_MS));
    }
    bool const setsBases = SetsBases(asked);
    if (setsBases && asked.duration != 0) {
        reasons.Object("base values of EAS: have no duration");
    }
    auto const isOther = [](PerfRequestInfo const& info) { return info.qosId != PERF_QOS_EAS_BASE; };
    if (setsBases && std::any_of(asked.infos.begin(), asked.infos.end(), isOther)) {
        reasons.Object("base values of EAS: stand alone in a request");
    }
    PartReasons(session, asked, setsBases ? PERF_COMMAND_BASE_SET : PERF_COMMAND_LONG_START, reasons);
}

/** The library has looked at its values when it took the platform. */
void ScenarioReasons(Session& session, Held const& asked, Reasons& reasons)
{
    if (asked.infos.empty()) {
        reasons.Object(Numbered("scenario", asked.id) + ": not on this platform");
    } else {
        PartReasons(session, asked, PERF_COMMAND_LONG_START, reasons);
    }
}

/** What the tool knows to be held may be less than the library holds, and is never more. */
void QuotaReasons(Session& session, int pid, Reasons& reasons)
{
    CommandLimits const limits = ConfigManagerOptions().commandLimits;
    std::size_t total = 0;
    std::size_t own = 0;
    std::set<int> processes;
    for (Ledger::Entry const& entry : session.Claims().Outstanding(SessionTime::Now())) {
        ++total;
        own += entry.held.pid == pid ? 1 : 0;
        processes.insert(entry.held.pid);
    }
    if (total >= limits.maxTotalHandleNum) {
        reasons.Object(Numbered("handles:", limits.maxTotalHandleNum) + " are held, and no more can be");
    }
    if (own >= limits.maxHandleNumPerProcess) {
        reasons.Object(Numbered("process", pid) + ": " + Numbered("holds", limits.maxHandleNumPerProcess) +
                       " handles, and can hold no more");
    }
    if (processes.size() >= limits.maxProcessNum && own == 0) {
        reasons.Object(Numbered("processes:", limits.maxProcessNum) + " hold handles, and no more can");
    }
}

/** The values of a probe are taken as they are. */
Reasons ProbeReasons(Platform const& platform, Triggered const& asked)
{
    Reasons reasons;
    for (QosCommand const& command : asked.commands) {
        if (!IsThere(platform, command.qosId)) {
            reasons.Object(NameOf(platform, command.qosId) + ": not on this platform");
        }
    }
    if (asked.commands.empty()) {
        reasons.Object("the platform's probe boosts nothing");
    }
    return reasons;
}

bool IsMemoryLatency(PerfQosId id)
{
    return id >= PERF_QOS_MEM_LAT_FIRST && id <= PERF_QOS_MEM_LAT_LAST;
}

} // namespace

std::vector<std::string> ReasonsFor(Session& session, Held const& asked, int result)
{
    Reasons reasons;
    if (asked.what == "request") {
        RequestReasons(session, asked, reasons);
    } else if (asked.what == "scenario") {
        ScenarioReasons(session, asked, reasons);
    } else if (asked.id >= PERF_WORK_MODE_COUNT) {
        reasons.Object(Numbered("work mode", asked.id) + ": none of 0, 1 and 2");
    }
    if (asked.pid <= ConfigManagerOptions().commandLimits.eventPid) {
        reasons.Object(Numbered("process", asked.pid) + ": a client's id is above 0");
    } else if (result != 0 && !SetsBases(asked)) {
        QuotaReasons(session, asked.pid, reasons);
    }
    return reasons.Behind(result);
}

std::vector<std::string> ReasonsFor(Session& session, Triggered const& asked, int result)
{
    if (!asked.starts) {
        return {};
    }
    if (asked.what == "probe") {
        return ProbeReasons(session.Described(), asked).Behind(result);
    }
    if (asked.commands.empty()) {
        return Reasons{"", {Numbered(asked.what, asked.id) + ": not on this platform, nothing starts"}}.Behind(result);
    }
    Asking asking(session, PERF_COMMAND_SHORT_START);
    for (QosCommand const& command : asked.commands) {
        for (EventPhase const& phase : command.phases) {
            asking.Part(command.qosId, session.Manager().BuildGroupInfo(phase.groupInfos));
            if (asked.duration != 0) {
                break; // the first phase is all there is
            }
        }
    }
    return asking.Result().Behind(result);
}

std::vector<std::string> ReasonsFor(Session& session, Suspended const& asked, int result)
{
    Platform const& platform = session.Described();
    Reasons reasons;
    for (PerfQosId const id : asked.ids) {
        if (IsMemoryLatency(id)) {
            reasons.changes.push_back(NameOf(platform, id) + ": memory latency is never suspended");
        } else if (!IsThere(platform, id)) {
            reasons.changes.push_back(NameOf(platform, id) + ": not on this platform, left out");
        }
    }
    if (reasons.changes.size() == asked.ids.size()) {
        reasons.Object(reasons.changes.empty() ? "names no resource" : reasons.changes.front());
    }
    return reasons.Behind(result);
}

bool CanSuspend(Platform const& platform, PerfQosId id)
{
    return !IsMemoryLatency(id) && IsThere(platform, id);
}
