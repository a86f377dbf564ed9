// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/NodeDomains.h"

#include <utility>

namespace {

/** The domains of one group's nodes, which are as it is after the revision. */
class GroupDomains {
public:
    GroupDomains(QosEntry const& ofEntry, PerfGroupConfig const& ofGroup, bool hasNoMaximum)
        : entry(ofEntry), group(ofGroup), openEnded(hasNoMaximum)
    {
    }

    NodeDomain Of(std::size_t node) const
    {
        switch (KindOf(entry)) {
        case ResourceKind::DDR:
            return Bandwidth();
        case ResourceKind::EAS:
            return Between(entry.boostMin, entry.boostMax);
        case ResourceKind::IPA_POWER:
            return node == 0 ? Range() : OneOf({"enabled", "disabled"});
        case ResourceKind::LEVEL_MAP:
            return OneOf(LevelTexts(node));
        case ResourceKind::MEM_LAT:
            return group.groupId == 0 ? NodeDomain{} : OneOf(LevelTexts(node)); // the ratio of a closed one is open
        default:
            return Range();
        }
    }

private:
    static NodeDomain Between(long long lowest, long long highest)
    {
        NodeDomain domain;
        domain.isNumber = true;
        domain.lowest = lowest;
        domain.highest = highest;
        return domain;
    }

    static NodeDomain OneOf(std::set<std::string> texts)
    {
        NodeDomain domain;
        domain.texts = std::move(texts);
        return domain;
    }

    NodeDomain Range() const
    {
        return Between(group.availableMin, openEnded ? std::numeric_limits<long long>::max() : group.availableMax);
    }

    NodeDomain Bandwidth() const
    {
        float const coefficient = entry.freqToBandwidthCoefficient;
        if (!(coefficient > 0.0f)) {
            return Range();
        }
        auto const bandwidth = [coefficient](int frequency) {
            return static_cast<long long>(coefficient * static_cast<float>(frequency) / 1000000.0f);
        };
        return Between(bandwidth(group.availableMin), bandwidth(group.availableMax));
    }

    std::set<std::string> LevelTexts(std::size_t node) const
    {
        std::set<std::string> texts;
        for (auto const& [level, ofNodes] : group.level2ValueMap) {
            if (node < ofNodes.size()) {
                texts.insert(ofNodes[node]);
            }
        }
        return texts;
    }

    QosEntry const& entry;
    PerfGroupConfig const& group;
    bool const openEnded;
};

} // namespace

std::vector<NodeDomain> NodeDomains(Platform const& platform,
                                    std::function<std::vector<int>(QosEntry const&)> const& frequencies)
{
    std::vector<NodeDomain> domains;
    auto const add = [&domains](NodeDomain domain, std::string path, std::string const& node) {
        domain.path = std::move(path);
        domain.node = node;
        domains.push_back(std::move(domain));
    };
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        QosEntry const& entry = platform.qos[i];
        if (!IsBuilt(entry, platform.control)) {
            continue;
        }
        std::string const path = "qos[" + std::to_string(i) + "]";
        auto const listed = frequencies(entry);
        for (std::size_t const index : SelectedGroups(entry, platform.control)) {
            PerfGroupConfig const group = Revised(entry, index, listed, platform.control.chipType);
            GroupDomains const ofGroup(entry, group, entry.overwriteMaxFreq && listed.empty());
            for (std::size_t node = 0; node < group.nodePathVec.size(); ++node) {
                add(ofGroup.Of(node),
                    path + ".groups[" + std::to_string(index) + "].nodes[" + std::to_string(node) + "]",
                    group.nodePathVec[node]);
            }
        }
        if (!entry.globalBoostNode.empty()) {
            NodeDomain onOff;
            onOff.texts = {"0", "1"};
            add(onOff, path + ".globalBoostNode", entry.globalBoostNode);
        }
    }
    if (!platform.threadBinderNode.empty()) {
        add({}, "probe.threadBinderNode", platform.threadBinderNode);
    }
    return domains;
}
