// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/BaseState.h"

#include "sandbox/Sandbox.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/LibraryLog.h"

#include <corvane/ConfigManager.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include <cutils/trace.h>

namespace {

/** The library on a platform whose nodes nobody else sees. */
class BaseWriter {
public:
    BaseWriter(Platform const& described, PlatformConfigs::Place const& listPlace)
        : platform(described), configs(described, [&](std::string const& node) {
              return IsList(node) ? listPlace(node) : box.AddNode(node);
          })
    {
        configs.FitToDevice();
        CaughtLines const unheard;
        static_cast<void>(manager.Init(configs.Config(), {}, {}, {}));
    }

    std::map<std::string, std::string> Written()
    {
        CaughtLines const unheard;
        std::vector<unsigned int> params = {1};
        for (QosEntry const& entry : platform.qos) {
            if (IsBuilt(entry, platform.control)) {
                params.push_back(entry.id);
            }
        }
        static_cast<void>(manager.PerfSetSuspend(params));
        params[0] = 0; // a resume writes what is in force
        static_cast<void>(manager.PerfSetSuspend(params));
        Note();
        for (QosEntry const& entry : platform.qos) {
            if (IsBuilt(entry, platform.control)) {
                ComeBack(entry.id);
            }
        }
        return base;
    }

private:
    bool IsList(std::string const& node) const
    {
        return std::any_of(platform.qos.begin(), platform.qos.end(),
                           [&](QosEntry const& entry) { return !node.empty() && entry.freqListNode == node; });
    }

    /** Asks for something else and lets it go again: what a resume leaves alone is written on the way back. */
    void ComeBack(PerfQosId id)
    {
        for (PerfGroupConfig const& group : configs.Of(id)->groupConfigs) {
            auto const& nodes = group.nodePathVec;
            if (std::all_of(nodes.begin(), nodes.end(), [this](auto const& node) { return IsWritten(node); })) {
                continue;
            }
            std::set<int> values = {group.availableMin, group.availableMax};
            for (auto const& level : group.level2ValueMap) {
                values.insert(level.first);
            }
            for (int const value : values) {
                unsigned long long handle = NO_HANDLE;
                static_cast<void>(
                    manager.PerfRequest(1, 0, {{id, {{group.groupId, {{PERF_OPERATION_BOOST, value}}}}}}, handle));
                Settle();
                box.TakeWrites();
                static_cast<void>(manager.PerfRelease(1, handle));
                Note();
            }
        }
    }

    bool IsWritten(std::string const& place) const
    {
        return std::any_of(base.begin(), base.end(), [&](auto const& each) { return box.Path(each.first) == place; });
    }

    void Settle()
    {
        std::ostringstream nowhere;
        static_cast<void>(manager.TaskDump(false, nowhere));
    }

    void Note()
    {
        Settle();
        for (NodeWrite const& write : box.TakeWrites()) {
            base[write.node] = write.bytes;
        }
    }

    Platform const& platform;
    Sandbox box;
    PlatformConfigs configs;
    ConfigManager manager;
    std::map<std::string, std::string> base;
};

} // namespace

std::vector<BaseNode> BaseState(Platform const& platform, PlatformConfigs::Place const& listPlace)
{
    auto const tagsBefore = atrace_enabled_tags;
    atrace_enabled_tags = 0; // nothing of it happens on the platform
    auto const written = BaseWriter(platform, listPlace).Written();
    atrace_enabled_tags = tagsBefore;
    std::vector<BaseNode> nodes;
    std::set<std::string> seen;
    for (PlatformNode const& node : NodesOf(platform)) {
        auto const found = written.find(node.name);
        if (found != written.end() && seen.insert(node.name).second) {
            nodes.push_back({node.name, found->second});
        }
    }
    return nodes;
}
