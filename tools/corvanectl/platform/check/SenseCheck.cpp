// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace {

std::string Indexed(std::string const& list, std::size_t index)
{
    return list + "[" + std::to_string(index) + "]";
}

std::string ResourceName(QosEntry const& entry)
{
    return "resource " + std::to_string(entry.id) + " (" + entry.name + ")";
}

/** The rules of what is legal, and hardly meant. */
class SenseCheck {
public:
    SenseCheck(Platform const& checked, Findings& list) : platform(checked), findings(list) {}

    void Run()
    {
        for (std::size_t i = 0; i < platform.qos.size(); ++i) {
            CheckResource(platform.qos[i], Indexed("qos", i));
        }
        for (std::size_t i = 0; i < platform.events.size(); ++i) {
            CheckEvent(platform.events[i], Indexed("events", i) + ".qos");
        }
        for (std::size_t i = 0; i < platform.scenarios.size(); ++i) {
            CheckItems(platform.scenarios[i].qosItems, Indexed("scenarios", i) + ".qos");
        }
        for (std::size_t i = 0; i < platform.hints.size(); ++i) {
            CheckItems(platform.hints[i].infos, Indexed("hints", i) + ".qos");
        }
        CheckPath(platform.threadBinderNode, "probe.threadBinderNode");
    }

private:
    void CheckResource(QosEntry const& entry, std::string const& path)
    {
        CheckName(entry.name, path);
        std::string const off = SwitchedOffBy(entry, platform.control);
        if (!off.empty() && !entry.groups.empty() && !entry.groups.front().nodePathVec.empty()) {
            findings.Warn(path + ".id", ResourceName(entry) + " never writes without " + off +
                                            "; set that, or leave the resource out");
        }
        std::set<std::pair<unsigned int, std::string>> groupNames;
        for (std::size_t i = 0; i < entry.groups.size(); ++i) {
            PerfGroupConfig const& group = entry.groups[i];
            std::string const groupPath = Indexed(path + ".groups", i);
            if (entry.groups.size() > 1 && !groupNames.emplace(group.chipType, group.name).second) {
                findings.Warn(groupPath + ".name",
                              group.name + " is the name of another group, and logs tell them apart by it; rename one");
            }
            CheckPaths(group.nodePathVec, groupPath + ".nodes");
            if (KindOf(entry) == ResourceKind::FREQUENCY) {
                CheckOrder(group.nodePathVec, groupPath + ".nodes");
            }
        }
        CheckPath(entry.globalBoostNode, path + ".globalBoostNode");
        CheckPath(entry.freqListNode, path + ".freqListNode");
        CheckDefaults(entry, path);
    }

    void CheckName(std::string const& name, std::string const& path)
    {
        if (!names.insert(name).second) {
            findings.Warn(
                path + ".name",
                name + " is the name of another resource, which is the one that scripts reach by it; rename one");
        }
        if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos) {
            findings.Warn(path + ".name",
                          name + " is a number, and hides the resource of that id from scripts; use a word");
        }
    }

    void CheckPaths(std::vector<std::string> const& nodes, std::string const& path)
    {
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            CheckPath(nodes[i], Indexed(path, i));
        }
    }

    void CheckPath(std::string const& node, std::string const& path)
    {
        if (!node.empty() && node.front() != '/') {
            findings.Warn(path, node + " depends on the folder that the service runs in; begin with \"/\"");
        }
    }

    void CheckOrder(std::vector<std::string> const& nodes, std::string const& path)
    {
        auto const says = [](std::string const& node, char const* word) {
            return node.find(word, node.rfind('/') + 1) != std::string::npos;
        };
        bool const isSwapped =
            nodes.size() == 2 && says(nodes[0], "max") && !says(nodes[0], "min") && says(nodes[1], "min");
        if (isSwapped) {
            findings.Warn(path, nodes[0] + " comes first, where the minimum is written; swap the two");
        }
    }

    /** The governor rounds such a default in its own way, so that the node never holds what the platform says. */
    void CheckDefaults(QosEntry const& entry, std::string const& path)
    {
        if (entry.frequencies.empty() || !IsBuilt(entry, platform.control)) {
            return;
        }
        auto const listed = SortedFrequencies(entry);
        for (std::size_t const index : SelectedGroups(entry, platform.control)) {
            PerfGroupConfig const group = Revised(entry, index, listed, platform.control.chipType);
            for (auto const& [key, value] :
                 {std::make_pair(".boostBase", group.boostBase), std::make_pair(".limitBase", group.limitBase)}) {
                auto const next = std::lower_bound(listed.begin(), listed.end(), value);
                if (next != listed.begin() && next != listed.end() && *next != value) {
                    findings.Warn(Indexed(path + ".groups", index) + key,
                                  std::to_string(value) + " is not in frequencies; the nearest are " +
                                      std::to_string(*(next - 1)) + " and " + std::to_string(*next));
                }
            }
        }
    }

    void CheckEvent(ConfigurableEvent const& event, std::string const& path)
    {
        for (std::size_t i = 0; i < event.qosCommands.size(); ++i) {
            CheckIsOn(Indexed(path, i) + ".id", event.qosCommands[i].qosId);
            CheckGaps(event.qosCommands[i].phases, Indexed(path, i) + ".phases");
        }
    }

    template <typename Items> void CheckItems(Items const& items, std::string const& path)
    {
        for (std::size_t i = 0; i < items.size(); ++i) {
            CheckIsOn(Indexed(path, i) + ".id", items[i].qosId);
        }
    }

    void CheckIsOn(std::string const& path, PerfQosId id)
    {
        QosEntry const* const entry = FindQos(platform, id);
        if (entry == nullptr) {
            return;
        }
        std::string const off = SwitchedOffBy(*entry, platform.control);
        if (!off.empty()) {
            findings.Warn(path, ResourceName(*entry) + " never writes without " + off + "; set that, or leave it out");
        }
    }

    /** A value that one phase asks for and a later one again, but not those between. */
    void CheckGaps(std::vector<EventPhase> const& phases, std::string const& path)
    {
        std::map<std::pair<unsigned int, PerfOperationType>, std::size_t> last;
        for (std::size_t i = 0; i < phases.size(); ++i) {
            for (GroupInfo const& info : phases[i].groupInfos) {
                for (auto const& [operation, value] : info.operations) {
                    auto const [before, isNew] = last.emplace(std::make_pair(info.groupId, operation), i);
                    if (!isNew && before->second + 1 < i) {
                        findings.Warn(Indexed(path, before->second + 1),
                                      "asks for no " +
                                          std::string(operation == PERF_OPERATION_BOOST ? "boost" : "limit") +
                                          " of group " + std::to_string(info.groupId) +
                                          ", between phases that do: the node falls back meanwhile; give a value");
                    }
                    before->second = i;
                }
            }
        }
    }

    Platform const& platform;
    Findings& findings;
    std::set<std::string> names; ///< of resources
};

} // namespace

std::string SwitchedOffBy(QosEntry const& entry, PerfConfigControlInfo const& control)
{
    if (entry.id == PERF_QOS_IPA_SWITCH_TEMP && !control.ipaResourceFlag) {
        return "control.ipaResourceFlag";
    }
    if (entry.id == PERF_QOS_SINGLE_NODE && !control.singleNodeQosEnable) {
        return "control.singleNodeQosEnable";
    }
    return "";
}

void CheckSense(Platform const& platform, Findings& findings)
{
    if (!findings.HasErrors()) {
        SenseCheck(platform, findings).Run();
    }
}
