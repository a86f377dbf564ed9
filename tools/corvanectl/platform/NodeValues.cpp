// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/NodeValues.h"

#include "sandbox/Sandbox.h"
#include "tools/corvanectl/platform/LibraryLog.h"
#include "tools/corvanectl/platform/Workers.h"

#include <corvane/ConfigManager.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

#include <cutils/trace.h>

namespace {

/** The library on a platform whose nodes nobody else sees. */
class Trial {
public:
    Trial(Platform const& described, PathLookup const& listPlace)
        : platform(described), configs(described, BoxLookup(), listPlace)
    {
        for (QosEntry const& entry : platform.qos) {
            if (IsBuilt(entry, platform.control) && configs.FitToDevice(entry) == 0) {
                fitted.emplace(entry.id, configs.Of(entry.id));
            }
        }
        static_cast<void>(manager.Init({0, fitted, platform.control}, {}, {}, {}));
        Resume();
    }

    /** Asks for every value of each group; @param everything else only where a base is not known yet. */
    void AskAll(bool everything)
    {
        for (auto const& [id, config] : fitted) {
            for (PerfGroupConfig const& group : config->groupConfigs) {
                auto const& nodes = group.nodePathVec;
                if (everything ||
                    !std::all_of(nodes.begin(), nodes.end(), [this](auto const& node) { return HasBase(node); })) {
                    AskFor(id, group); // what a resume leaves alone is written on the way back
                }
            }
        }
    }

    std::map<std::string, std::string> const& Base() const { return base; }
    std::map<std::string, std::set<std::string>> const& Written() const { return written; }

private:
    /** Nothing of it happens on the platform. */
    struct Untraced {
        Untraced() = default;
        Untraced(Untraced const&) = delete;
        Untraced& operator=(Untraced const&) = delete;
        ~Untraced() { atrace_enabled_tags = before; }

        std::uint64_t const before = std::exchange(atrace_enabled_tags, 0);
    };

    PathLookup BoxLookup()
    {
        return [this](std::string const& node) { return box.AddNode(node); };
    }

    /** Has everything that is in force written. */
    void Resume()
    {
        std::vector<unsigned int> params = {1};
        for (auto const& [id, config] : fitted) {
            params.push_back(id);
        }
        static_cast<void>(manager.PerfSetSuspend(params));
        params[0] = 0;
        static_cast<void>(manager.PerfSetSuspend(params));
        NoteBase();
    }

    void AskFor(PerfQosId id, PerfGroupConfig const& group)
    {
        for (int const value : ValuesOf(*FindQos(platform, id), group)) {
            Ask(id, group.groupId, value, 0);                    // reaches what is below the bases
            Ask(id, group.groupId, value, PERF_DURATION_MAX_MS); // and for a time what is above
        }
    }

    void Ask(PerfQosId id, unsigned int group, int value, unsigned int duration)
    {
        unsigned long long handle = NO_HANDLE;
        GroupInfo const both{group, {{PERF_OPERATION_BOOST, value}, {PERF_OPERATION_LIMIT, value}}};
        static_cast<void>(manager.PerfRequest(1, duration, {{id, {both}}}, handle));
        TakeWrites();
        static_cast<void>(manager.PerfRelease(1, handle));
        NoteBase();
    }

    /** The levels, or the bounds of the range and, of IPA power, the last value before a switch takes over. */
    static std::set<int> ValuesOf(QosEntry const& entry, PerfGroupConfig const& group)
    {
        std::set<int> values;
        for (auto const& level : group.level2ValueMap) {
            values.insert(level.first);
        }
        if (!values.empty()) {
            return values;
        }
        values = {group.availableMin, group.availableMax};
        for (int const threshold : {entry.socThreshold, entry.boardThreshold}) {
            if (threshold > group.availableMin) {
                values.insert(threshold - 1);
            }
        }
        return values;
    }

    bool HasBase(std::string const& place) const
    {
        return std::any_of(base.begin(), base.end(), [&](auto const& each) { return box.Path(each.first) == place; });
    }

    void NoteBase()
    {
        for (NodeWrite const& write : TakeWrites()) {
            base[write.node] = write.bytes;
        }
    }

    std::vector<NodeWrite> TakeWrites()
    {
        WaitForWorkers(manager);
        std::vector<NodeWrite> writes = box.TakeWrites();
        for (NodeWrite const& write : writes) {
            written[write.node].insert(write.bytes);
        }
        return writes;
    }

    Untraced const untraced;
    CaughtLines const unheard;
    Platform const& platform;
    Sandbox box;
    PlatformConfigs configs;
    std::map<PerfQosId, PerfQosConfig*> fitted;
    ConfigManager manager;
    std::map<std::string, std::string> base;
    std::map<std::string, std::set<std::string>> written;
};

} // namespace

std::vector<BaseNode> BaseState(Platform const& platform, PathLookup const& listPlace)
{
    Trial trial(platform, listPlace);
    trial.AskAll(false);
    auto const& base = trial.Base();
    std::vector<BaseNode> nodes;
    std::set<std::string> seen;
    for (PlatformNode const& node : NodesOf(platform)) {
        auto const found = base.find(node.name);
        if (found != base.end() && seen.insert(node.name).second) {
            nodes.push_back({node.name, found->second});
        }
    }
    return nodes;
}

std::vector<NodeDomain> NodeDomains(Platform const& platform, PathLookup const& listPlace)
{
    Trial trial(platform, listPlace);
    trial.AskAll(true);
    std::vector<NodeDomain> domains;
    for (PlatformNode const& node : WrittenNodesOf(platform)) {
        auto const base = trial.Base().find(node.name);
        if (base == trial.Base().end()) {
            domains.push_back({node, {}, {}});
        } else {
            domains.push_back({node, base->second, trial.Written().at(node.name)});
        }
    }
    return domains;
}
