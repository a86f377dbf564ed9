// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/powerhint/PowerHints.h"

#include "resource/ResourceKind.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr unsigned int SCRIPT_STEP_MS = 40; // long enough to see, and to let every hint of a large file have its turn

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

class Import {
public:
    Import(PowerHints const& read, Findings& untranslated) : hints(read), lost(untranslated) {}

    Json Make(std::string const& name)
    {
        Json events = Json::array();
        Json scenarios = Json::array();
        Json names = Json::array();
        Json resources = Resources();
        for (PowerHint const& hint : hints.hints) {
            Json named = {{"name", hint.name}};
            bool const isEvent = EndsByItself(hint);
            if (Actions(hint).empty()) {
                lost.Warn(hint.actions.front().path, hint.name + " is left without a node");
                continue;
            }
            if (isEvent && events.size() < REQUEST_EVENT_ID) {
                named["event"] = events.size();
                events.push_back({{"id", events.size()}, {"qos", EventParts(hint)}});
            } else if (!isEvent && scenarios.size() < PERF_SCENARIO_ID_COUNT) {
                named["scenario"] = scenarios.size();
                LoseDurations(hint, 0);
                scenarios.push_back({{"id", scenarios.size()}, {"qos", Parts(hint)}});
            } else {
                unsigned int const duration = isEvent ? std::max(LongestOf(hint), PERF_DURATION_MIN_MS) : 0;
                named["duration"] = duration;
                LoseDurations(hint, duration);
                named["qos"] = Parts(hint);
            }
            names.push_back(std::move(named));
        }
        return {{"name", name},
                {"qos", std::move(resources)},
                {"events", std::move(events)},
                {"scenarios", std::move(scenarios)},
                {"hints", std::move(names)}};
    }

private:
    Json Resources()
    {
        std::vector<PerfQosId> const free = FreeIds();
        Json resources = Json::array();
        for (std::size_t i = 0; i < hints.nodes.size(); ++i) {
            if (i >= free.size()) {
                lost.Warn("Nodes", "no id is left for " + hints.nodes[i].name);
                continue;
            }
            ids.push_back(free[i]);
            HintNode const& node = hints.nodes[i];
            resources.push_back({{"id", free[i]},
                                 {"name", node.name},
                                 {"groups", Json::array({{{"nodes", {node.path}}, {"levels", Levels(node)}}})}});
        }
        return resources;
    }

    static Json Levels(HintNode const& node)
    {
        Json levels = {{"0", {node.values[node.defaultIndex]}}};
        for (std::size_t level = 1; level <= node.values.size(); ++level) {
            levels[std::to_string(level)] = {node.values[node.values.size() - level]};
        }
        return levels;
    }

    /** What is asked of nodes that have a resource. */
    std::vector<HintAction> Actions(PowerHint const& hint) const
    {
        std::vector<HintAction> actions;
        std::copy_if(hint.actions.begin(), hint.actions.end(), std::back_inserter(actions),
                     [this](HintAction const& action) { return action.node < ids.size(); });
        return actions;
    }

    Json Groups(HintAction const& action) const
    {
        return Json::array({{{"boost", hints.nodes[action.node].values.size() - action.value}}});
    }

    Json Parts(PowerHint const& hint) const
    {
        Json parts = Json::array();
        for (HintAction const& action : Actions(hint)) {
            parts.push_back({{"id", ids[action.node]}, {"groups", Groups(action)}});
        }
        return parts;
    }

    Json EventParts(PowerHint const& hint)
    {
        Json parts = Json::array();
        for (HintAction const& action : Actions(hint)) {
            unsigned int const duration = std::max(action.duration, PERF_DURATION_MIN_MS);
            if (duration != action.duration) {
                LoseDuration(action, duration);
            }
            parts.push_back({{"id", ids[action.node]},
                             {"phases", Json::array({{{"duration", duration}, {"groups", Groups(action)}}})}});
        }
        return parts;
    }

    /** @param held instead, all nodes alike; 0: until the hint is ended. */
    void LoseDurations(PowerHint const& hint, unsigned int held)
    {
        for (HintAction const& action : Actions(hint)) {
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

    PowerHints const& hints;
    Findings& lost;
    std::vector<PerfQosId> ids; ///< by node
};

/** Each hint by itself, and then all that are held at once. */
std::string Script(PowerHints const& hints, Json const& platform)
{
    std::ostringstream script;
    std::string reset;
    for (std::size_t i = 0; i < platform["qos"].size(); ++i) {
        reset += hints.nodes[i].resetOnInit ? " " + hints.nodes[i].name : "";
    }
    if (!reset.empty()) {
        script << "say What is resumed writes its default\nsuspend" << reset << "\nresume" << reset << "\n";
    }
    for (Json const& hint : platform["hints"]) {
        auto const name = hint["name"].get<std::string>();
        script << "\nsay " << name << "\nhint " << name << " start\nsleep " << SCRIPT_STEP_MS << "\nhint " << name
               << " stop\nsleep " << SCRIPT_STEP_MS << "\n";
    }
    script << "\nsay All at once\n";
    for (char const* const what : {" start\n", " stop\n"}) {
        for (Json const& hint : platform["hints"]) {
            script << "hint " << hint["name"].get<std::string>() << what;
        }
        script << "sleep " << SCRIPT_STEP_MS << "\n";
    }
    script << "expect-base\n";
    return script.str();
}

} // namespace

ImportedPlatform ImportPowerHints(PowerHints const& hints, std::string const& name, Findings& lost)
{
    Json platform = Import(hints, lost).Make(name);
    std::string script = Script(hints, platform);
    return {std::move(platform), std::move(script)};
}
