// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <cmath>
#include <map>
#include <string>

namespace {

std::string Number(long long value)
{
    return std::to_string(value);
}

/** The rules of one resource. */
class QosCheck {
public:
    QosCheck(QosEntry const& checked, PerfConfigControlInfo const& controlInfo, std::string where, Findings& list)
        : entry(checked), control(controlInfo), kind(KindOf(checked)), path(std::move(where)), findings(list)
    {
    }

    void Run()
    {
        CheckId();
        if (entry.groups.empty()) {
            findings.Add(path + ".groups", "there is no group");
            return;
        }
        CheckFrequencyList();
        CheckEasLevels();
        CheckBandwidth();
        for (std::size_t i = 0; i < entry.groups.size(); ++i) {
            if (!findings.AnyUnreadableUnder(GroupPath(i)) && !entry.groups[i].nodePathVec.empty()) {
                CheckGroup(i);
            }
        }
        CheckSelection();
    }

private:
    std::string GroupPath(std::size_t index) const { return path + ".groups[" + std::to_string(index) + "]"; }

    void CheckId()
    {
        if (entry.id >= PERF_QOS_ID_COUNT) {
            findings.Add(path + ".id", Number(entry.id) + " is above the highest id, " + Number(PERF_QOS_ID_COUNT - 1));
        } else if (entry.id == PERF_QOS_EAS_BASE) {
            findings.Add(path + ".id", Number(entry.id) + " stands for the base values of EAS and has no resource");
        }
        if (entry.name.empty() && !findings.AnyUnreadableUnder(path + ".name")) {
            findings.Add(path + ".name", "is empty");
        }
    }

    void CheckFrequencyList()
    {
        if (entry.groups.front().nodePathVec.empty()) {
            return; // not on this platform
        }
        bool const takesList = TraitsOf(kind).takesFrequencies;
        bool const hasList = !entry.freqListNode.empty();
        if (!takesList && entry.freqListGiven) {
            findings.Add(path + ".freqListNode",
                         std::string("a ") + KindName(kind) + " resource has no frequency list");
        } else if (takesList && !entry.freqListGiven) {
            findings.Add(path + ".freqListNode", kind == ResourceKind::DDR
                                                     ? "the frequency list is missing"
                                                     : "the frequency list is missing (null if the device has none)");
        } else if (kind == ResourceKind::DDR && !hasList) {
            findings.Add(path + ".freqListNode", "a DDR resource must have a frequency list");
        }
        if (!hasList && (entry.overwriteMaxFreq || !entry.frequencies.empty())) {
            findings.Add(path + (entry.overwriteMaxFreq ? ".overwriteMaxFreq" : ".frequencies"),
                         "means nothing without freqListNode");
        }
    }

    void CheckEasLevels()
    {
        if (kind != ResourceKind::EAS) {
            return;
        }
        if (entry.easLevels.empty() && !findings.AnyUnreadableUnder(path + ".levelToValueMap")) {
            findings.Add(path + ".levelToValueMap", "there is no level");
        }
        if (entry.globalBoostNode.empty() && !findings.AnyUnreadableUnder(path + ".globalBoostNode")) {
            findings.Add(path + ".globalBoostNode", "the node path is empty");
        }
        for (auto const& [level, value] : entry.easLevels) {
            std::string const levelPath = path + ".levelToValueMap." + Number(level);
            if (value.schedtuneBoost < entry.boostMin || value.schedtuneBoost > entry.boostMax) {
                findings.Add(levelPath + ".schedtuneBoost", Number(value.schedtuneBoost) + " is outside boostMin " +
                                                                Number(entry.boostMin) + " .. boostMax " +
                                                                Number(entry.boostMax));
            }
            if (value.globalBoost > 1) {
                findings.Add(levelPath + ".globalBoost", Number(value.globalBoost) + " is neither 0 nor 1");
            }
        }
    }

    void CheckBandwidth()
    {
        constexpr float MILLION = 1000000.0f;
        constexpr float LIMIT = 2147483648.0f;
        for (std::size_t i = 0; kind == ResourceKind::DDR && i < entry.groups.size(); ++i) {
            auto const highest = static_cast<float>(entry.groups[i].availableMax);
            float const bandwidth = entry.freqToBandwidthCoefficient * highest / MILLION;
            if (!(std::fabs(bandwidth) < LIMIT)) {
                findings.Add(path + ".freqToBandwidthCoefficient",
                             "the bandwidth of " + Number(entry.groups[i].availableMax) + " does not fit 32 bits");
            }
        }
    }

    void CheckGroup(std::size_t index)
    {
        CheckNodes(index);
        CheckLevels(index);
        PerfGroupConfig const group = Revised(entry, index, SortedFrequencies(entry), control.chipType);
        bool const openEnded = entry.overwriteMaxFreq && entry.frequencies.empty();
        if (!openEnded) {
            CheckRange(GroupPath(index), group);
        }
        if (!group.level2ValueMap.empty() && group.level2ValueMap.count(group.boostBase) == 0) {
            findings.Add(GroupPath(index) + ".boostBase", Number(group.boostBase) + " is no level");
        }
    }

    void CheckNodes(std::size_t index)
    {
        auto const& nodes = entry.groups[index].nodePathVec;
        std::string const nodesPath = GroupPath(index) + ".nodes";
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            if (nodes[i].empty()) {
                findings.Add(nodesPath + "[" + std::to_string(i) + "]", "the node path is empty");
            }
        }
        if (kind == ResourceKind::UNKNOWN && index == 0) {
            findings.Add(nodesPath, Count(nodes.size(), "node") +
                                        " and no levels fit no kind of resource: 1 is a single value, 2 a frequency");
            return;
        }
        std::size_t const wanted = TraitsOf(kind).nodes;
        if (wanted != 0 && nodes.size() != wanted) {
            findings.Add(nodesPath, std::string("a ") + KindName(kind) + " group takes " + Count(wanted, "node") +
                                        ", not " + std::to_string(nodes.size()));
        }
    }

    void CheckLevels(std::size_t index)
    {
        PerfGroupConfig const& group = entry.groups[index];
        bool const takesLevels = TraitsOf(kind).takesLevels;
        std::string const levelsPath = GroupPath(index) + ".levels";
        if (group.level2ValueMap.empty() == takesLevels && kind != ResourceKind::UNKNOWN) {
            findings.Add(levelsPath, takesLevels ? std::string("there is no level")
                                                 : std::string("a ") + KindName(kind) + " group has no levels");
            return;
        }
        // The monitor of a memory-latency resource may have fewer texts than nodes.
        if (kind == ResourceKind::MEM_LAT && group.groupId == 1) {
            return;
        }
        for (auto const& [level, texts] : group.level2ValueMap) {
            if (texts.size() != group.nodePathVec.size()) {
                findings.Add(levelsPath + "." + Number(level),
                             Count(texts.size(), "text") + " for " + Count(group.nodePathVec.size(), "node"));
            }
        }
    }

    void CheckRange(std::string const& where, PerfGroupConfig const& group)
    {
        if (group.availableMin > group.availableMax) {
            findings.Add(where + ".availableMin",
                         Number(group.availableMin) + " is above availableMax " + Number(group.availableMax));
            return;
        }
        if (group.boostBase > group.limitBase) {
            findings.Add(where + ".boostBase",
                         Number(group.boostBase) + " is above limitBase " + Number(group.limitBase));
        }
        if (group.boostBase < group.availableMin) {
            findings.Add(where + ".boostBase",
                         Number(group.boostBase) + " is below availableMin " + Number(group.availableMin));
        }
        if (group.limitBase > group.availableMax) {
            findings.Add(where + ".limitBase",
                         Number(group.limitBase) + " is above availableMax " + Number(group.availableMax));
        }
    }

    void CheckSelection()
    {
        auto const selected = SelectedGroups(entry, control);
        std::string const chip = "chip type " + Number(control.chipType);
        if (selected.empty()) {
            findings.Add(path + ".groups",
                         "none is left for " + chip + "; of several groups only those stay that name the chip");
            return;
        }
        for (std::size_t i = 0; i < selected.size(); ++i) {
            if (entry.groups[selected[i]].groupId != i) {
                findings.Add(GroupPath(selected[i]) + ".id",
                             Number(entry.groups[selected[i]].groupId) + " stands at position " + std::to_string(i));
            }
        }
        std::size_t const wanted = WantedGroups();
        if (wanted != 0 && selected.size() != wanted) {
            findings.Add(path + ".groups", Count(selected.size(), "group") + " for " + chip + "; this resource has " +
                                               std::to_string(wanted));
        }
    }

    /** 0: any number. A frequency list fits one group only. */
    std::size_t WantedGroups() const
    {
        return kind == ResourceKind::FREQUENCY && !entry.freqListNode.empty() ? 1 : TraitsOf(kind).groups;
    }

    QosEntry const& entry;
    PerfConfigControlInfo const& control;
    ResourceKind const kind;
    std::string const path;
    Findings& findings;
};

} // namespace

void CheckPlatform(Platform const& platform, Findings& findings)
{
    if (platform.control.workMode >= PERF_WORK_MODE_COUNT) {
        findings.Add("control.workMode", Number(platform.control.workMode) + " is none of the work modes 0 .. " +
                                             Number(PERF_WORK_MODE_COUNT - 1));
    }
    if (platform.qos.empty()) {
        findings.Add("qos", "there is no resource");
    }
    std::map<PerfQosId, std::size_t> seen;
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        std::string const path = "qos[" + std::to_string(i) + "]";
        if (findings.AnyUnreadableUnder(path + ".id")) {
            continue; // the id decides which rules hold
        }
        auto const [first, isNew] = seen.emplace(platform.qos[i].id, i);
        if (!isNew) {
            findings.Add(path + ".id", Number(platform.qos[i].id) + " is the id of qos[" +
                                           std::to_string(first->second) + "] already");
        }
        QosCheck(platform.qos[i], platform.control, path, findings).Run();
    }
    CheckPlaces(platform, findings);
    CheckCatalogues(platform, findings);
    CheckSense(platform, findings);
}
