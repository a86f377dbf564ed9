// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/Reasons.h"

#include "tools/corvanectl/platform/LibraryLog.h"

namespace {

std::string WhyNotSuspended(Platform const& platform, PerfQosId id)
{
    if (FixedKindOf(id) == ResourceKind::MEM_LAT) {
        return "memory latency is never suspended";
    }
    QosEntry const* const entry = FindQos(platform, id);
    return entry != nullptr && IsBuilt(*entry, platform.control) ? "" : "not on this platform, left out";
}

/** Puts what a call asks for to the library once more, a part at a time. */
class Asking {
public:
    Asking(Session& asked, PerfCommandType with) : session(asked), type(with) {}

    void Part(PerfQosId id, PerfGroupTable const& groups)
    {
        std::string why;
        auto const taken = Ask(id, groups, why);
        if (taken.empty()) {
            missing.push_back(NameOf(session.GetPlatform(), id) + ": not on this platform");
        } else if (why.empty()) {
            Compare(id, groups, taken.front().groupInfo);
        } else if (objection.empty()) {
            objection = Narrowed(id, groups, why);
        }
        isAnyThere = isAnyThere || !taken.empty();
    }

    /** @return why it is refused, if that is because of its parts. */
    std::string Objection() const
    {
        if (!objection.empty() || isAnyThere) {
            return objection;
        }
        return missing.empty() ? ASKS_FOR_NOTHING : missing.front();
    }

    /** @return what is granted in another way than it was asked for, or left out. */
    std::vector<std::string> Changes() const
    {
        std::vector<std::string> all = changes;
        for (std::string const& each : missing) {
            all.push_back(each + ", left out");
        }
        return all;
    }

private:
    /** @return what the library makes of it; nothing if it has no such resource. @param why it refuses, or empty. */
    std::vector<QosInfoInt> Ask(PerfQosId id, PerfGroupTable const& groups, std::string& why)
    {
        std::vector<QosInfoInt> part = {{id, groups}};
        PerfQosId unknown = 0;
        CaughtLines const said;
        why = session.Manager().RequestValidate(type, part, unknown) == 0 ? "" : said.Why();
        return part;
    }

    std::string Where(PerfQosId id, unsigned int group, PerfOperationType operation, int value) const
    {
        QosEntry const* const entry = FindQos(session.GetPlatform(), id);
        bool const isAlone =
            group == 0 && entry != nullptr && SelectedGroups(*entry, session.GetPlatform().control).size() == 1;
        return OperationName(operation) + ("=" + std::to_string(value)) + " on " + NameOf(session.GetPlatform(), id) +
               (isAlone ? "" : " group " + std::to_string(group));
    }

    /** The one value that is refused by itself, or the resource. */
    std::string Narrowed(PerfQosId id, PerfGroupTable const& groups, std::string const& whyAll)
    {
        for (auto const& [group, operations] : groups) {
            for (auto const& [operation, value] : operations) {
                std::string why;
                Ask(id, {{group, {{operation, value}}}}, why);
                if (!why.empty()) {
                    return Where(id, group, operation, value) + ": " + why;
                }
            }
        }
        return NameOf(session.GetPlatform(), id) + ": " + whyAll;
    }

    void Compare(PerfQosId id, PerfGroupTable const& asked, PerfGroupTable const& taken)
    {
        for (auto const& [group, operations] : asked) {
            for (auto const& [operation, value] : operations) {
                int const granted = taken.at(group).at(operation);
                if (granted != value) {
                    changes.push_back(Where(id, group, operation, value) + ": clamped to " + std::to_string(granted));
                }
            }
        }
    }

    Session& session;
    PerfCommandType const type;
    std::vector<std::string> missing; ///< resources
    bool isAnyThere = false;
    std::string objection;
    std::vector<std::string> changes;
};

/** @param said by the library in the call: a cause other than its parts, as in a duration, counts first. */
std::vector<std::string> Behind(Asking const& asking, int result, std::string const& said)
{
    if (result == 0) {
        return asking.Changes();
    }
    std::string const why = asking.Objection();
    return {why.empty() ? said : why};
}

std::vector<std::string> Said(int result, std::string const& said)
{
    return result == 0 || said.empty() ? std::vector<std::string>() : std::vector<std::string>{said};
}

} // namespace

std::vector<std::string> ReasonsFor(Session& session, Held const& asked, int result, std::string const& said)
{
    if (asked.what == "mode" || (asked.what == "scenario" && asked.infos.empty())) {
        return Said(result, said);
    }
    CaughtLines const unheard;
    PerfCommandType type = PERF_COMMAND_LONG_START;
    if (session.Manager().PreHandleEasBaseCommand(asked.duration, type, asked.infos) != 0) {
        return {said};
    }
    Asking asking(session, type);
    for (QosInfoInt const& part : session.Manager().RequestFilter(asked.infos)) {
        asking.Part(part.qosId, part.groupInfo);
    }
    return Behind(asking, result, said);
}

std::vector<std::string> ReasonsFor(Session& session, Triggered const& asked, int result, std::string const& said)
{
    if (asked.starts && result == 0 && asked.handle == NO_HANDLE) {
        return {asked.Key() + (asked.what == "probe" ? ": known already" : ": not on this platform") +
                ", nothing starts"};
    }
    if (!asked.starts || (asked.what == "event" && asked.commands.empty())) {
        return Said(result, said);
    }
    Asking asking(session, PERF_COMMAND_SHORT_START);
    for (QosCommand const& command : asked.commands) {
        for (EventPhase const& phase : asked.PhasesOf(command)) {
            asking.Part(command.qosId, session.Manager().BuildGroupInfo(phase.groupInfos));
        }
    }
    if (asked.what == "probe" && result == 0) {
        return {}; // its values are taken as they are
    }
    return Behind(asking, result, said);
}

std::vector<std::string> ReasonsFor(Session& session, Suspended const& asked, int result, std::string const& said)
{
    Platform const& platform = session.GetPlatform();
    std::vector<std::string> reasons;
    for (PerfQosId const id : asked.ids) {
        std::string const why = WhyNotSuspended(platform, id);
        if (!why.empty()) {
            reasons.push_back(NameOf(platform, id) + ": " + why);
        }
    }
    if (result == 0) {
        return reasons;
    }
    return reasons.empty() ? Said(result, said) : std::vector<std::string>{reasons.front()};
}

bool CanSuspend(Platform const& platform, PerfQosId id)
{
    return WhyNotSuspended(platform, id).empty();
}
