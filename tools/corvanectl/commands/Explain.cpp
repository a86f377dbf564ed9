// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Explain.h"

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/session/LibraryState.h"
#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace {

constexpr char const* NOT_HERE = "not on this platform";

/** Words for whoever holds something. */
class Holders {
public:
    explicit Holders(Session& session)
        : start(session.GetLedger().Start()), now(SessionTime::Now()), triggers(session.GetLedger().Running(start)),
          held(session.GetLedger().Outstanding(start))
    {
    }

    std::string Name(unsigned long long handle) const
    {
        if (handle == NO_HANDLE) {
            return "default";
        }
        auto const entry = Find(handle);
        std::string const number = std::to_string(handle);
        if (entry == held.rend()) {
            return TriggerOf(handle) + " (handle " + number + ")";
        }
        std::string const name = entry->held.name.empty() ? "" : " \"" + entry->held.name + "\"";
        return entry->held.what + name + " (handle " + number + ") of process " + std::to_string(entry->held.pid);
    }

    /** With the time since when and until when, where that is known. */
    std::string By(unsigned long long handle) const
    {
        auto const entry = Find(handle);
        if (handle == NO_HANDLE || entry == held.rend()) {
            return "by " + Name(handle);
        }
        return "by " + Name(handle) + ", since " + At(entry->since) + ", until " +
               (entry->until ? At(*entry->until) + (*entry->until <= now ? ", which is over" : "") : "it is released");
    }

    std::string At(PerfTimePoint time) const { return SecondsText(time - start); }

private:
    /** The last one: a handle may come again after very many. */
    std::vector<Ledger::Entry>::const_reverse_iterator Find(unsigned long long handle) const
    {
        return std::find_if(held.rbegin(), held.rend(),
                            [handle](Ledger::Entry const& entry) { return entry.held.handle == handle; });
    }

    std::string TriggerOf(unsigned long long handle) const
    {
        auto const found = std::find_if(triggers.begin(), triggers.end(), [handle](Ledger::Trigger const& trigger) {
            return trigger.triggered.handle == handle;
        });
        if (found == triggers.end()) {
            return "an event, the probe or the debug console"; // of those that the library has let go
        }
        Triggered const& trigger = found->triggered;
        return trigger.what == "probe" ? "the probe of thread " + std::to_string(trigger.id) : trigger.Text();
    }

    PerfTimePoint const start;
    PerfTimePoint const now;
    std::vector<Ledger::Trigger> const triggers;
    std::vector<Ledger::Entry> const held; ///< with what is over: the library lets that go when it wakes up next
};

void ExplainItems(char const* title, PerfGroupQueItem const& inForce, std::vector<PerfGroupQueItem> const& behind,
                  Holders const& holders, std::ostream& out)
{
    out << "        " << title << inForce.value << " " << holders.By(inForce.handle) << "\n";
    for (PerfGroupQueItem const& item : behind) {
        out << "            behind it " << item.value << " " << holders.By(item.handle) << "\n";
    }
}

void ExplainSide(char const* title, PerfGroupSide const& side, Holders const& holders, std::ostream& out)
{
    out << "      " << title << " " << side.final << "\n";
    if (side.timed) {
        ExplainItems("for a time ", *side.timed, side.timedBehind, holders, out);
    }
    ExplainItems("base ", side.base, side.bases, holders, out);
}

std::string PairOf(int low, int high)
{
    return std::to_string(low) + " .. " + std::to_string(high);
}

/** From the bases to the pair. */
void ExplainCourse(PerfGroupState const& group, WorkModeState const& mode, Holders const& holders, std::ostream& out)
{
    std::string const bases = PairOf(group.boost.base.value, group.limit.base.value);
    std::string const effective = PairOf(group.boost.effectiveBase, group.limit.effectiveBase);
    std::string const final = PairOf(group.boost.final, group.limit.final);
    out << "      bases " << bases << "; work mode " << WorkModeText(mode.mode) << ", "
        << holders.By(mode.requests.front().handle) << ", "
        << (bases == effective ? "leaves them" : "makes them " + effective) << "; what holds for a time "
        << (effective == final ? "changes nothing" : "makes them " + final) << "\n";
}

std::vector<std::string> NodesOfGroup(Session const& session, QosEntry const& entry, unsigned int group)
{
    auto const selected = SelectedGroups(entry, session.GetPlatform().control);
    return group < selected.size() ? entry.groups[selected[group]].nodePathVec
                                   : std::vector<std::string>{entry.globalBoostNode};
}

std::string ShownSetting(std::optional<std::string> const& content)
{
    return !content || content->empty() ? "nothing" : ReadableBytes(SettingOf(*content));
}

/** @return the item that the pair's value on this side comes from: the side's own, or what overrules it. */
PerfGroupQueItem const& SourceOf(PerfGroupSide const& side, PerfGroupSide const& other)
{
    for (PerfGroupSide const* const each : {&side, &other}) {
        if (each->timed && each->timed->value == side.final) {
            return *each->timed;
        }
        if (each->base.value == side.final) {
            return each->base;
        }
    }
    return side.base;
}

/** Pads every column but the last to its widest cell. */
std::string Aligned(std::vector<std::vector<std::string>> const& rows)
{
    std::ostringstream out;
    for (auto const& row : rows) {
        out << "   ";
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::size_t width = 0;
            for (auto const& other : rows) {
                width = std::max(width, other[column].size());
            }
            bool const isLast = column + 1 == row.size();
            out << " " << row[column] << std::string(isLast ? 0 : width - row[column].size() + 1, ' ');
        }
        out << "\n";
    }
    return out.str();
}

std::string BoundThreadsText(Session const& session)
{
    std::string threads;
    for (std::string const& thread : session.GetBoundThreads().All()) {
        threads += (threads.empty() ? "thread " : ", ") + thread;
    }
    return threads.empty() ? "no thread is bound" : threads;
}

/** @return the group that writes the node, if the library has it. */
PerfGroupState const* GroupOf(PlatformNode const& node, std::optional<PerfResourceState> const& resource)
{
    return resource && node.group < resource->groups.size() ? &resource->groups[node.group] : nullptr;
}

/** Who has the value of the node. */
std::string HolderOf(PlatformNode const& node, QosEntry const& entry, PerfGroupState const* group,
                     Holders const& holders)
{
    if (group == nullptr) {
        return NOT_HERE;
    }
    bool const isCeiling = node.index != 0 && ShowsCeiling(entry, node);
    PerfGroupSide const& side = isCeiling ? group->limit : group->boost;
    return holders.Name(SourceOf(side, isCeiling ? group->boost : group->limit).handle) +
           (group->isSuspended ? "; suspended" : "");
}

} // namespace

std::string Explain(Session& session, PerfQosId qos, std::optional<unsigned int> group)
{
    auto const resource = LibraryState::Of(session.Manager(), qos);
    if (!resource || (group && *group >= resource->groups.size())) {
        throw InputError("the library has no such resource or group");
    }
    QosEntry const& entry = *FindQos(session.GetPlatform(), qos);
    auto const suspension = session.GetLedger().SuspensionOf(qos);
    WorkModeState const mode = LibraryState::Modes(session.Manager());
    Holders const holders(session);
    std::ostringstream out;
    for (PerfGroupState const& state : resource->groups) {
        if (group && *group != state.groupId) {
            continue;
        }
        out << "    " << state.name << "\n";
        ExplainSide("floor", state.boost, holders, out);
        ExplainSide("ceiling", state.limit, holders, out);
        ExplainCourse(state, mode, holders, out);
        if (suspension) {
            out << "      suspended by \"" << suspension->command << "\", since " << holders.At(suspension->since)
                << ": nothing is written until a resume, which writes " << PairOf(state.boost.final, state.limit.final)
                << "\n";
        }
        for (std::string const& node : NodesOfGroup(session, entry, state.groupId)) {
            out << "      " << node << " is at " << ShownSetting(session.HeldBy(node)) << "\n";
        }
    }
    return out.str();
}

std::string ExplainNode(Session& session, std::string const& node)
{
    Platform const& platform = session.GetPlatform();
    std::set<std::pair<std::size_t, unsigned int>> seen;
    std::string text;
    for (PlatformNode const& each : WrittenNodesOf(platform)) {
        if (each.name != node || !seen.emplace(each.resource, each.group).second) {
            continue;
        }
        text += each.isBinder ? "    " + BoundThreadsText(session) + "\n"
                              : Explain(session, platform.qos[each.resource].id, each.group);
    }
    return text.empty() ? std::string("    ") + NOT_HERE + "\n" : text;
}

std::string NodeTable(Session& session)
{
    Platform const& platform = session.GetPlatform();
    std::map<std::string, std::string> bases;
    for (BaseNode const& base : session.Base()) {
        bases.emplace(base.node, ReadableBytes(base.bytes));
    }
    std::map<std::size_t, std::optional<PerfResourceState>> states;
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        states[i] = LibraryState::Of(session.Manager(), platform.qos[i].id);
    }
    Holders const holders(session);
    std::vector<std::vector<std::string>> rows = {{"node", "holds", "base", "held by"}};
    std::map<std::string, std::string> heldBy; // of a node that chip variants share, by the one that is here
    for (PlatformNode const& node : WrittenNodesOf(platform)) {
        heldBy.emplace(node.name, node.isBinder ? BoundThreadsText(session)
                                                : HolderOf(node, platform.qos[node.resource],
                                                           GroupOf(node, states[node.resource]), holders));
    }
    std::set<std::string> seen;
    for (PlatformNode const& node : NodesOf(platform)) {
        if (seen.insert(node.name).second) {
            auto const base = bases.find(node.name);
            rows.push_back({node.name, ShownSetting(session.HeldBy(node.name)),
                            base == bases.end() ? "-" : base->second,
                            heldBy.emplace(node.name, NOT_HERE).first->second});
        }
    }
    return Aligned(rows);
}
