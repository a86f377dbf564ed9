// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Explain.h"

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iomanip>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned long long SHOWN_HANDLE_BITS = 1023; // of a handle, in a dump
constexpr char const* DEFAULT_HANDLE = "*";

/** A value in force or behind, with its handle as dumps show it. */
struct Claim {
    std::string value;
    std::string handle;
};

/** One side of a group: what makes its floor or its ceiling. */
struct Side {
    Claim base;
    std::string effectiveBase;
    std::optional<Claim> timed; ///< the short-term value in force
    std::string final;
    std::vector<Claim> basesBehind;
    std::vector<Claim> timedBehind;
};

/** A group as the library dumps it. */
struct GroupState {
    unsigned int id = 0;
    std::string name;
    Side floor;
    Side ceiling;
};

std::string DumpOf(Session& session, std::string const& option)
{
    std::ostringstream text;
    static_cast<void>(session.Manager().Dump(text, {option})); // of what fails, nothing is in the text
    return text.str();
}

/** @return the claims in "VALUE:HANDLE VALUE:HANDLE ". */
std::vector<Claim> ClaimsIn(std::string const& text)
{
    std::vector<Claim> claims;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        std::size_t const colon = word.find(':');
        claims.push_back({word.substr(0, colon), word.substr(colon + 1)});
    }
    return claims;
}

std::optional<Claim> ClaimOf(std::string const& value, std::string const& handle)
{
    return value.empty() ? std::nullopt : std::optional(Claim{value, handle});
}

/** Reads the two lines of a group. @return false if these are none. */
bool ReadGroup(std::string const& first, std::string const& second, GroupState& group)
{
    static std::regex const current(
        R"(-->grp\[(\d+)\]:(.*): boostBase\((-?\d+), (\S+)\)limitBase\((-?\d+), (\S+)\))"
        R"(effectiveBase: (-?\d+)~(-?\d+) (?:boost\((-?\d+), (\S+)\))?(?:limit\((-?\d+), (\S+)\))?effective: .*)");
    static std::regex const behind(R"(boostBaseList\(\d+\) (.*)limitBaseList\(\d+\) (.*)boostList\(\d+\) (.*))"
                                   R"(limitList\(\d+\) (.*)final: (-?\d+)~(-?\d+))");
    std::smatch now;
    std::smatch later;
    if (!std::regex_match(first, now, current) || !std::regex_match(second, later, behind)) {
        return false;
    }
    group.id = static_cast<unsigned int>(std::stoul(now[1]));
    group.name = now[2];
    group.floor = {{now[3], now[4]},  now[7], ClaimOf(now[9], now[10]), later[5], ClaimsIn(later[1]),
                   ClaimsIn(later[3])};
    group.ceiling = {{now[5], now[6]},  now[8], ClaimOf(now[11], now[12]), later[6], ClaimsIn(later[2]),
                     ClaimsIn(later[4])};
    return true;
}

/** @return the groups of the resource of this name. */
std::vector<GroupState> GroupsOf(std::string const& dump, std::string const& resource)
{
    std::vector<GroupState> groups;
    bool isThere = false;
    std::istringstream in(dump);
    std::string first;
    for (std::string line; std::getline(in, line); first = line) {
        if (line.rfind("res[", 0) == 0) {
            isThere = line.rfind("res[" + resource + "] ", 0) == 0;
        }
        GroupState group;
        if (isThere && ReadGroup(first, line, group)) {
            groups.push_back(group);
        }
    }
    return groups;
}

/** Words for what the library holds. */
class Wording {
public:
    explicit Wording(Session const& session)
        : start(session.Claims().Start()), now(SessionTime::Now()), held(session.Claims().Outstanding(start))
    {
    }

    /** Who holds a handle, since when and until when. */
    std::string By(std::string const& handle) const
    {
        if (handle == DEFAULT_HANDLE) {
            return "by default";
        }
        auto const entry = std::find_if(held.rbegin(), held.rend(), [&](Ledger::Entry const& candidate) {
            return std::to_string(candidate.held.handle & SHOWN_HANDLE_BITS) == handle;
        });
        if (entry == held.rend()) {
            return "by handle " + handle + ", of an event, the probe or the debug console";
        }
        std::string const name = entry->held.name.empty() ? "" : " \"" + entry->held.name + "\"";
        return "by " + entry->held.what + name + " (handle " + handle + ") of process " +
               std::to_string(entry->held.pid) + ", since " + At(entry->since) + ", until " +
               (entry->until ? At(*entry->until) + (*entry->until <= now ? ", which is over" : "") : "it is released");
    }

    std::string At(PerfTimePoint time) const
    {
        std::ostringstream text;
        text << std::fixed << std::setprecision(3) << std::chrono::duration<double>(time - start).count() << "s";
        return text.str();
    }

private:
    PerfTimePoint const start;
    PerfTimePoint const now;
    std::vector<Ledger::Entry> const held; ///< with what is over: the library lets that go when it wakes up next
};

void ExplainClaims(char const* title, Claim const& inForce, std::vector<Claim> const& behind, Wording const& wording,
                   std::ostream& out)
{
    out << "        " << title << inForce.value << " " << wording.By(inForce.handle) << "\n";
    for (Claim const& claim : behind) {
        out << "            behind it " << claim.value << " " << wording.By(claim.handle) << "\n";
    }
}

void ExplainSide(char const* title, Side const& side, Wording const& wording, std::ostream& out)
{
    out << "      " << title << " " << side.final << "\n";
    if (side.timed) {
        ExplainClaims("for a time ", *side.timed, side.timedBehind, wording, out);
    }
    ExplainClaims("base ", side.base, side.basesBehind, wording, out);
}

/** The work mode in words, with whoever holds it. */
struct Mode {
    std::string name;
    std::string handle;
};

/** Reads a dump of the modes, whose requests stand in it as "<HANDLE, MODE>", the one in force first. */
Mode ModeOf(std::string const& dump)
{
    static std::regex const form(R"(current mode = ([0-2]), .*>:\s*<(?:(\d+), \d+)?[^]*)");
    static std::array<char const*, PERF_WORK_MODE_COUNT> const names = {"0 (default)", "1 (boost first)",
                                                                        "2 (limit first)"};
    std::smatch parts;
    if (!std::regex_search(dump, parts, form)) {
        return {"unknown", DEFAULT_HANDLE};
    }
    return {names[std::stoul(parts[1])], parts[2].matched ? parts[2].str() : DEFAULT_HANDLE};
}

std::string PairOf(std::string const& low, std::string const& high)
{
    return low + " .. " + high;
}

/** From the bases to the pair. */
void ExplainCourse(GroupState const& group, Mode const& mode, Wording const& wording, std::ostream& out)
{
    std::string const bases = PairOf(group.floor.base.value, group.ceiling.base.value);
    std::string const effective = PairOf(group.floor.effectiveBase, group.ceiling.effectiveBase);
    std::string const final = PairOf(group.floor.final, group.ceiling.final);
    out << "      bases " << bases << "; work mode " << mode.name << ", " << wording.By(mode.handle) << ", "
        << (bases == effective ? "leaves them" : "makes them " + effective) << "; what holds for a time "
        << (effective == final ? "changes nothing" : "makes them " + final) << "\n";
}

void ExplainSuspend(GroupState const& group, Ledger::Suspension const& suspension, Wording const& wording,
                    std::ostream& out)
{
    out << "      suspended by \"" << suspension.command << "\", since " << wording.At(suspension.since)
        << ": nothing is written until a resume, which writes " << PairOf(group.floor.final, group.ceiling.final)
        << "\n";
}

std::vector<std::string> NodesOfGroup(Session const& session, QosEntry const& entry, unsigned int group)
{
    auto const selected = SelectedGroups(entry, session.Described().control);
    return group < selected.size() ? entry.groups[selected[group]].nodePathVec
                                   : std::vector<std::string>{entry.globalBoostNode};
}

} // namespace

std::string Explain(Session& session, PerfQosId qos, std::optional<unsigned int> group)
{
    QosEntry const* const entry = FindQos(session.Described(), qos);
    auto const groups = entry == nullptr ? std::vector<GroupState>() : GroupsOf(DumpOf(session, "--task"), entry->name);
    auto const suspension = session.Claims().SuspensionOf(qos);
    Mode const mode = ModeOf(DumpOf(session, "--workMode"));
    Wording const wording(session);
    std::ostringstream out;
    for (GroupState const& state : groups) {
        if (group && *group != state.id) {
            continue;
        }
        out << "    " << state.name << "\n";
        ExplainSide("floor", state.floor, wording, out);
        ExplainSide("ceiling", state.ceiling, wording, out);
        ExplainCourse(state, mode, wording, out);
        if (suspension) {
            ExplainSuspend(state, *suspension, wording, out);
        }
        for (std::string const& node : NodesOfGroup(session, *entry, state.id)) {
            std::string const held = session.HeldBy(node).value_or("");
            out << "      " << node << " is at " << (held.empty() ? "nothing" : ReadableBytes(SettingOf(held))) << "\n";
        }
    }
    if (out.str().empty()) {
        throw InputError("the library has no such resource or group");
    }
    return out.str();
}
