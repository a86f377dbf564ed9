// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/powerhint/PowerHints.h"

#include "resource/ResourceKind.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

constexpr unsigned int SCRIPT_STEP_MS = 40; // long enough to see
constexpr unsigned int ONLY_CHIP = 1;       // groups of a resource with several must name theirs
constexpr char const* REST = "REST";        // the resource of nodes that no hint moves

/** The ids whose kind is free; those that mean something to a probe, a history or a suspend come last. */
std::vector<PerfQosId> FreeIds()
{
    std::vector<PerfQosId> free;
    std::vector<PerfQosId> lent;
    for (PerfQosId id = 0; id < PERF_QOS_ID_COUNT; ++id) {
        if (FixedKindOf(id) != ResourceKind::UNKNOWN || id == PERF_QOS_EAS_BASE) {
            continue;
        }
        bool const isLent = id < PERF_QOS_LIMIT_HISTORY_COUNT || id == PERF_QOS_ALWAYS_SUSPEND;
        (isLent ? lent : free).push_back(id);
    }
    free.insert(free.end(), lent.rbegin(), lent.rend());
    return free;
}

unsigned int LongestOf(PowerHint const& hint)
{
    unsigned int longest = 0;
    for (HintAction const& action : hint.actions) {
        longest = std::max(longest, action.duration);
    }
    return longest;
}

bool EndsByItself(PowerHint const& hint)
{
    return std::all_of(hint.actions.begin(), hint.actions.end(), [](HintAction const& action) {
        return action.duration != 0 && action.duration <= PERF_DURATION_MAX_MS;
    });
}

/** Where a node is in the platform. */
struct GroupPlace {
    PerfQosId resource = 0;
    unsigned int group = 0;
};

/** Nodes that become one resource. */
struct NodeSet {
    std::string name;
    std::vector<std::size_t> nodes; ///< positions
};

/** @return the nodes of all hints by the first that moves them, and last those of none; no more sets than ids. */
std::vector<NodeSet> SetsOf(PowerHints const& hints, std::size_t mostSets)
{
    std::vector<NodeSet> sets;
    std::set<std::size_t> taken;
    for (PowerHint const& hint : hints.hints) {
        NodeSet moved{hint.name, {}};
        for (HintAction const& action : hint.actions) {
            if (taken.insert(action.node).second) {
                moved.nodes.push_back(action.node);
            }
        }
        if (!moved.nodes.empty() && sets.size() + 2 > mostSets) {
            sets.back().nodes.insert(sets.back().nodes.end(), moved.nodes.begin(), moved.nodes.end());
        } else if (!moved.nodes.empty()) {
            sets.push_back(std::move(moved));
        }
    }
    NodeSet rest{REST, {}};
    for (std::size_t node = 0; node < hints.nodes.size(); ++node) {
        if (taken.count(node) == 0) {
            rest.nodes.push_back(node);
        }
    }
    if (!rest.nodes.empty()) {
        sets.push_back(std::move(rest));
    }
    return sets;
}

class Import {
public:
    Import(PowerHints const& read, Findings& untranslated)
        : hints(read), lost(untranslated), sets(SetsOf(read, FreeIds().size())), places(read.nodes.size())
    {
    }

    Json Make(std::string const& name)
    {
        Json resources = Resources();
        Json names = Json::array();
        for (PowerHint const& hint : hints.hints) {
            names.push_back(Named(hint));
        }
        return {{"name", name},
                {"control", {{"chipType", ONLY_CHIP}}},
                {"qos", std::move(resources)},
                {"events", std::move(events)},
                {"scenarios", std::move(scenarios)},
                {"hints", std::move(names)}};
    }

    /** Each hint by itself, until it ends or else is stopped, and then all at once. */
    std::string Script() const
    {
        std::ostringstream script;
        std::string const reset = ResetOnInit();
        if (!reset.empty()) {
            script << "say What is resumed writes its default\nsuspend" << reset << "\nresume" << reset << "\n";
        }
        for (PowerHint const& hint : hints.hints) {
            script << "\nsay " << hint.name << "\nhint " << hint.name << " start\nsleep "
                   << LongestWithOthers(hint) + SCRIPT_STEP_MS << "\nhint " << hint.name << " stop\nsleep "
                   << SCRIPT_STEP_MS << "\n";
        }
        script << "\nsay All at once\n";
        for (char const* const what : {" start\n", " stop\n"}) {
            for (PowerHint const& hint : hints.hints) {
                script << "hint " << hint.name << what;
            }
            script << "sleep " << SCRIPT_STEP_MS << "\n";
        }
        script << "expect-base\n";
        return script.str();
    }

private:
    Json Named(PowerHint const& hint)
    {
        Json named = {{"name", hint.name}};
        bool const isEvent = EndsByItself(hint);
        if (hint.actions.empty()) {
            // It only starts or ends others.
        } else if (isEvent && events.size() < REQUEST_EVENT_ID) {
            named["event"] = events.size();
            events.push_back({{"id", events.size()}, {"qos", EventParts(hint)}});
        } else if (!isEvent && scenarios.size() < PERF_SCENARIO_ID_COUNT) {
            named["scenario"] = scenarios.size();
            LoseDurations(hint, 0);
            scenarios.push_back({{"id", scenarios.size()}, {"qos", Parts(hint.actions)}});
        } else {
            unsigned int const duration = isEvent ? std::max(LongestOf(hint), PERF_DURATION_MIN_MS) : 0;
            named["duration"] = duration;
            LoseDurations(hint, duration);
            named["qos"] = Parts(hint.actions);
        }
        if (!hint.starts.empty()) {
            named["starts"] = hint.starts;
        }
        if (!hint.ends.empty()) {
            named["ends"] = hint.ends;
        }
        return named;
    }

    Json Resources()
    {
        std::vector<PerfQosId> const free = FreeIds();
        Json resources = Json::array();
        for (std::size_t i = 0; i < sets.size(); ++i) {
            Json groups = Json::array();
            for (std::size_t const node : sets[i].nodes) {
                places[node] = {free[i], static_cast<unsigned int>(groups.size())};
                groups.push_back(Group(hints.nodes[node], places[node], sets[i].nodes.size() != 1));
            }
            resources.push_back({{"id", free[i]}, {"name", sets[i].name}, {"groups", std::move(groups)}});
        }
        return resources;
    }

    static Json Group(HintNode const& node, GroupPlace const& place, bool isOneOfSeveral)
    {
        Json group = {{"id", place.group}, {"name", node.name}};
        if (isOneOfSeveral) {
            group["chipType"] = ONLY_CHIP;
        }
        group["nodes"] = {node.path};
        group["levels"] = Levels(node);
        return group;
    }

    static Json Levels(HintNode const& node)
    {
        Json levels = {{"0", {node.values[node.defaultIndex]}}};
        for (std::size_t level = 1; level <= node.values.size(); ++level) {
            levels[std::to_string(level)] = {node.values[node.values.size() - level]};
        }
        return levels;
    }

    /** What is asked of one resource. */
    struct Part {
        PerfQosId resource;
        std::vector<HintAction> actions;
    };

    std::vector<Part> PartsOf(std::vector<HintAction> const& actions) const
    {
        std::vector<Part> parts;
        for (HintAction const& action : actions) {
            PerfQosId const resource = places[action.node].resource;
            auto part = std::find_if(parts.begin(), parts.end(),
                                     [resource](Part const& each) { return each.resource == resource; });
            if (part == parts.end()) {
                part = parts.insert(parts.end(), {resource, {}});
            }
            part->actions.push_back(action);
        }
        return parts;
    }

    Json Groups(std::vector<HintAction> const& actions) const
    {
        Json groups = Json::array();
        for (HintAction const& action : actions) {
            groups.push_back(
                {{"id", places[action.node].group}, {"boost", hints.nodes[action.node].values.size() - action.value}});
        }
        return groups;
    }

    Json Parts(std::vector<HintAction> const& actions) const
    {
        Json parts = Json::array();
        for (Part const& part : PartsOf(actions)) {
            parts.push_back({{"id", part.resource}, {"groups", Groups(part.actions)}});
        }
        return parts;
    }

    Json EventParts(PowerHint const& hint)
    {
        Json parts = Json::array();
        for (Part const& part : PartsOf(hint.actions)) {
            parts.push_back({{"id", part.resource}, {"phases", Phases(part.actions)}});
        }
        return parts;
    }

    /** One phase until the first node's time is over, the next until the second's, and so on. */
    Json Phases(std::vector<HintAction> left)
    {
        std::stable_sort(left.begin(), left.end(),
                         [](HintAction const& one, HintAction const& other) { return one.duration < other.duration; });
        Json phases = Json::array();
        unsigned int now = 0;
        while (!left.empty()) {
            unsigned int const until = std::max(left.front().duration, now + PERF_DURATION_MIN_MS);
            auto const isOver = [until](HintAction const& action) { return action.duration <= until; };
            phases.push_back({{"duration", until - now}, {"groups", Groups(left)}});
            for (HintAction const& action : left) {
                if (isOver(action) && action.duration != until) {
                    LoseDuration(action, until);
                }
            }
            left.erase(std::remove_if(left.begin(), left.end(), isOver), left.end());
            now = until;
        }
        return phases;
    }

    /** @param held instead, all nodes alike; 0: until the hint is ended. */
    void LoseDurations(PowerHint const& hint, unsigned int held)
    {
        for (HintAction const& action : hint.actions) {
            if (action.duration != held) {
                LoseDuration(action, held);
            }
        }
    }

    void LoseDuration(HintAction const& action, unsigned int held)
    {
        lost.Warn(action.path, std::to_string(action.duration) + " ms becomes " +
                                   (held == 0 ? "until the hint is stopped" : std::to_string(held) + " ms"));
    }

    /** How long it runs, and whatever it starts, as far as that ends by itself. */
    unsigned int LongestWithOthers(PowerHint const& first) const
    {
        std::vector<PowerHint const*> running{&first};
        unsigned int longest = 0;
        for (std::size_t i = 0; i < running.size(); ++i) {
            longest = std::max(longest, EndsByItself(*running[i]) ? LongestOf(*running[i]) : 0);
            for (std::string const& name : running[i]->starts) {
                auto const other = std::find_if(hints.hints.begin(), hints.hints.end(),
                                                [&name](PowerHint const& hint) { return hint.name == name; });
                if (std::find(running.begin(), running.end(), &*other) == running.end()) {
                    running.push_back(&*other);
                }
            }
        }
        return longest;
    }

    std::string ResetOnInit() const
    {
        std::string names;
        for (NodeSet const& set : sets) {
            bool const isAny = std::any_of(set.nodes.begin(), set.nodes.end(),
                                           [this](std::size_t node) { return hints.nodes[node].resetOnInit; });
            names += isAny ? " " + set.name : "";
        }
        return names;
    }

    PowerHints const& hints;
    Findings& lost;
    std::vector<NodeSet> const sets;
    std::vector<GroupPlace> places; ///< by node
    Json events = Json::array();
    Json scenarios = Json::array();
};

} // namespace

PlatformOfHints ImportPowerHints(PowerHints const& hints, std::string const& name, Findings& lost)
{
    Import importing(hints, lost);
    Json platform = importing.Make(name);
    return {std::move(platform), importing.Script()};
}
