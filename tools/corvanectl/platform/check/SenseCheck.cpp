// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include "command/CommandWrapper.h"
#include "group/DdrGroup.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace {

/** The fields of the file for what ProbeBoosts gives, in its order. */
constexpr char const* PROBE_BOOSTS[] = {"probe.cpuM", "probe.cpuB", "probe.gpu"};

/** The rules of what is legal, and hardly meant. */
class SenseCheck {
public:
    SenseCheck(Platform const& checked, Findings& list) : platform(checked), findings(list), nodes(NodesOf(checked)) {}

    void Run()
    {
        for (std::size_t i = 0; i < platform.qos.size(); ++i) {
            CheckResource(platform.qos[i], Indexed("qos", i));
            CheckPathsOf(i);
        }
        for (std::size_t i = 0; i < platform.events.size(); ++i) {
            CheckEvent(platform.events[i], Indexed("events", i) + ".qos");
        }
        for (std::size_t i = 0; i < platform.scenarios.size(); ++i) {
            CheckItems(platform.scenarios[i].qosItems, Indexed("scenarios", i) + ".qos");
        }
        for (std::size_t i = 0; i < platform.hints.size(); ++i) {
            std::vector<PerfRequestInfo> infos = platform.hints[i].infos;
            std::for_each(infos.begin(), infos.end(), [](auto& info) { info.qosId = ResourceIdOf(info.qosId); });
            CheckItems(infos, Indexed("hints", i) + ".qos");
        }
        CheckPathsOf(platform.qos.size());
        if (platform.hasProbe) {
            CheckProbe();
        }
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
            if (KindOf(entry) == ResourceKind::FREQUENCY) {
                CheckOrder(group.nodePathVec, groupPath + ".nodes");
            }
        }
        CheckPath(entry.freqListNode, path + ".freqListNode");
        CheckDefaults(entry, path);
        CheckKind(entry, path);
    }

    /** What the library takes and then makes nothing of, or not all. */
    void CheckKind(QosEntry const& entry, std::string const& path)
    {
        ResourceKind const kind = KindOf(entry);
        std::size_t present = 0;
        for (std::size_t const i : SelectedGroups(entry, platform.control)) {
            PerfGroupConfig const& group = entry.groups[i];
            std::string const groupPath = Indexed(path + ".groups", i);
            present += group.nodePathVec.empty() ? 0 : 1;
            CheckLevels(entry, group, groupPath);
            CheckScale(group, groupPath + ".nodes");
            if (kind == ResourceKind::DDR && !(std::fabs(DdrGroup::BandwidthOf(entry.freqToBandwidthCoefficient,
                                                                               group.availableMax)) < 2147483648.0f)) {
                findings.Warn(path + ".freqToBandwidthCoefficient", "the bandwidth of " +
                                                                        std::to_string(group.availableMax) +
                                                                        " does not fit 32 bits, and is cut off");
            }
        }
        std::size_t const all = SelectedGroups(entry, platform.control).size();
        if (present != 0 && present != all) {
            findings.Warn(path + ".groups", "a group without nodes leaves out the other " + std::to_string(present) +
                                                " as well; leave out that group, or give it nodes");
        } else if (TraitsOf(kind).groups != 0 && present != 0 && all != TraitsOf(kind).groups) {
            findings.Warn(path + ".groups",
                          Count(all, "group") + ", and this resource has " + std::to_string(TraitsOf(kind).groups));
        }
        if (entry.id == PERF_QOS_EAS_BASE) {
            findings.Warn(path + ".id", std::to_string(entry.id) +
                                            " stands for the base values of EAS: no request reaches this resource");
        }
    }

    void CheckLevels(QosEntry const& entry, PerfGroupConfig const& group, std::string const& path)
    {
        bool const isEas = KindOf(entry) == ResourceKind::EAS;
        if (!group.level2ValueMap.empty() && !TraitsOf(KindOf(entry)).takesLevels) {
            findings.Warn(path + ".levels", std::string("a ") + KindName(KindOf(entry)) + " group has no levels");
        } else if (isEas ? entry.easLevels.count(group.boostBase) == 0
                         : !group.level2ValueMap.empty() && group.level2ValueMap.count(group.boostBase) == 0) {
            findings.Warn(path + ".boostBase",
                          std::to_string(group.boostBase) + " is no level, and nothing is written for it");
        }
    }

    /** A floor raises the number, and this node's number falls as the performance rises. */
    void CheckScale(PerfGroupConfig const& group, std::string const& path)
    {
        for (std::size_t i = 0; i < group.nodePathVec.size() && group.level2ValueMap.empty(); ++i) {
            std::string const& node = group.nodePathVec[i];
            if (node.find("pwrlevel", node.rfind('/') + 1) != std::string::npos) {
                findings.Warn(Indexed(path, i), node + " falls as the performance rises, and a boost would slow it "
                                                       "down; describe it by levels, the least performance first");
            }
        }
    }

    void CheckProbe()
    {
        ProbeEvent const& probe = platform.probe;
        bool isAny = false;
        auto const* path = std::begin(PROBE_BOOSTS);
        for (auto const& [id, boost] : ProbeBoosts(probe.cpuM, probe.cpuB, probe.gpu)) {
            std::string const field = *path++;
            isAny = isAny || boost != 0;
            QosEntry const* const entry = boost == 0 ? nullptr : FindQos(platform, id);
            if (entry != nullptr && IsBuilt(*entry, platform.control)) {
                auto const group = Revised(*entry, SelectedGroups(*entry, platform.control).front(),
                                           SortedFrequencies(*entry), platform.control.chipType);
                CheckBoost(field, *entry, group, boost);
            } else if (boost != 0) {
                findings.Warn(field, "resource " + std::to_string(id) + " is not on this platform: no probe starts");
            }
        }
        if (!isAny) {
            findings.Warn("probe", "boosts nothing, and would be refused");
        }
        if (probe.duration == 0) {
            findings.Warn("probe.duration", "0 ms ends a probe at its start");
        }
        if (platform.events.empty()) {
            findings.Warn("probe", "is loaded together with events only, and there is none");
        }
    }

    /** A probe's value goes to the group as it is. */
    void CheckBoost(std::string const& path, QosEntry const& entry, PerfGroupConfig const& group, long long boost)
    {
        bool const openEnded = entry.overwriteMaxFreq && entry.frequencies.empty();
        if (boost < group.availableMin || (boost > group.availableMax && !openEnded)) {
            findings.Warn(path, std::to_string(boost) + " is outside " + std::to_string(group.availableMin) + " .. " +
                                    std::to_string(group.availableMax) + ", and a probe's value is never checked");
        }
    }

    void CheckName(std::string const& name, std::string const& path)
    {
        if (!names.insert(name).second) {
            findings.Warn(
                path + ".name",
                name + " is the name of another resource, which is the one that scripts reach by it; rename one");
        }
        if (std::any_of(name.begin(), name.end(),
                        [](unsigned char letter) { return std::isgraph(letter) == 0 && letter < 128; })) {
            findings.Warn(path + ".name", "a script cannot name what has blanks or control characters; use a word");
        }
        if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos) {
            findings.Warn(path + ".name",
                          name + " is a number, and hides the resource of that id from scripts; use a word");
        }
    }

    /** @param resource position; behind the last one the thread binder's. */
    void CheckPathsOf(std::size_t resource)
    {
        for (PlatformNode const& node : nodes) {
            if (node.resource == resource) {
                CheckPath(node.name, node.path);
            }
        }
    }

    void CheckPath(std::string const& node, std::string const& path)
    {
        if (!node.empty() && node.front() != '/') {
            findings.Warn(path, node + " depends on the folder that the service runs in; begin with \"/\"");
        }
    }

    void CheckOrder(std::vector<std::string> const& pair, std::string const& path)
    {
        auto const says = [](std::string const& node, char const* word) {
            return node.find(word, node.rfind('/') + 1) != std::string::npos;
        };
        bool const isSwapped =
            pair.size() == 2 && says(pair[0], "max") && !says(pair[0], "min") && says(pair[1], "min");
        if (isSwapped) {
            findings.Warn(path, pair[0] + " comes first, where the minimum is written; swap the two");
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

    void CheckOperations(GroupInfo const& info, std::string const& path)
    {
        if (info.operations.empty()) {
            findings.Warn(path, "there is neither a boost nor a limit");
        }
    }

    template <typename Items> void CheckItems(Items const& items, std::string const& path)
    {
        for (std::size_t i = 0; i < items.size(); ++i) {
            CheckIsOn(Indexed(path, i) + ".id", items[i].qosId);
            for (std::size_t group = 0; group < items[i].groupInfos.size(); ++group) {
                CheckOperations(items[i].groupInfos[group], Indexed(Indexed(path, i) + ".groups", group));
            }
        }
    }

    void CheckIsOn(std::string const& path, PerfQosId id)
    {
        QosEntry const* const entry = FindQos(platform, id);
        if (entry == nullptr) {
            findings.Warn(path, "there is no resource " + std::to_string(id) + ", and it is left out");
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
            for (std::size_t group = 0; group < phases[i].groupInfos.size(); ++group) {
                GroupInfo const& info = phases[i].groupInfos[group];
                CheckOperations(info, Indexed(Indexed(path, i) + ".groups", group));
                for (auto const& [operation, value] : info.operations) {
                    auto const [before, isNew] = last.emplace(std::make_pair(info.groupId, operation), i);
                    if (!isNew && before->second + 1 < i) {
                        findings.Warn(Indexed(path, before->second + 1),
                                      "asks for no " + std::string(OperationName(operation)) + " of group " +
                                          std::to_string(info.groupId) +
                                          ", between phases that do: the node falls back meanwhile; give a value");
                    }
                    before->second = i;
                }
            }
        }
    }

    Platform const& platform;
    Findings& findings;
    std::vector<PlatformNode> const nodes;
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
