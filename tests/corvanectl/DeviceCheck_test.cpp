// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Sandbox.h"
#include "tools/corvanectl/nodes/DeviceCheck.h"
#include "tools/corvanectl/nodes/ReadBack.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/NodeValues.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/program/EmbeddedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

namespace {

using testing::ElementsAre;
using Counts = std::pair<std::size_t, std::size_t>;

/** The sample platform, which has every kind, on a device whose nodes are at their base. */
class DeviceCheck : public testing::Test {
protected:
    DeviceCheck() : platform(ReadPlatform("sample", SAMPLE_PLATFORM, unread))
    {
        nodes.Prepare(platform);
        nodes.SetBase(BaseState(platform, [this](std::string const& node) { return nodes.PathOf(node); }));
    }

    /** What is found, each fault as what follows the node. */
    std::vector<std::string> Faults()
    {
        Findings findings;
        CheckDevice(
            platform, [this](std::string const& node) { return nodes.PathOf(node); }, findings);
        std::vector<std::string> faults;
        for (Finding const& finding : findings.All()) {
            faults.push_back(finding.path + finding.text.substr(finding.text.find(' ')));
        }
        return faults;
    }

    Findings unread;
    Platform const platform;
    SandboxNodes nodes;
};

} // namespace

TEST_F(DeviceCheck, KnowsTheDomainOfEveryKindOfNode)
{
    ASSERT_TRUE(unread.Empty());
    ASSERT_EQ(Faults(), std::vector<std::string>{});

    std::vector<std::string> expected;
    auto const change = [&](std::size_t resource, std::string const& group, std::string const& node,
                            std::string const& content, std::string const& fault) {
        nodes.Box().AddNode(node, content);
        expected.push_back("qos[" + std::to_string(resource) + "]" + group + " " + fault);
    };
    std::size_t resource = 0;
    for (QosEntry const& entry : platform.qos) {
        if (!IsBuilt(entry, platform.control)) {
            ++resource;
            continue;
        }
        auto const& node = entry.groups[SelectedGroups(entry, platform.control).front()].nodePathVec.front();
        std::string const first =
            ".groups[" + std::to_string(SelectedGroups(entry, platform.control).front()) + "].nodes[0]";
        std::string const bandwidth("\377\377\0\0", 4);
        switch (KindOf(entry)) {
        case ResourceKind::DDR:
            change(resource, first, node, bandwidth, "holds 65535, which is outside 6640 .. 34128");
            break;
        case ResourceKind::EAS:
            change(resource, first, node, "-1\n", "holds -1, which is outside 0 .. 40");
            change(resource, ".globalBoostNode", entry.globalBoostNode, "2\n", "holds 2, which is outside 0 .. 1");
            break;
        case ResourceKind::IPA_POWER:
            change(resource, ".groups[0].nodes[1]", entry.groups[0].nodePathVec[1], "enable\n",
                   "holds \"enable\", which is none of the described texts");
            break;
        case ResourceKind::LEVEL_MAP:
            change(resource, first, node, "none\n", "holds \"none\", which is none of the described texts");
            break;
        case ResourceKind::MEM_LAT:
            nodes.Box().AddNode(node, "any ratio"); // which a closed one may hold
            break;
        default:
            change(resource, first, node, "fast\n", "holds \"fast\", which is no number");
            break;
        }
        ++resource;
    }
    EXPECT_EQ(Faults(), expected);
}

TEST_F(DeviceCheck, WarnsOfWhatDoesNotHoldItsBase)
{
    nodes.Box().AddNode("/dev/stune/top-app/schedtune.boost", "20\n");
    ASSERT_THAT(Faults(), ElementsAre("qos[8].groups[0].nodes[0] holds 20, and its base is 0"));
}

TEST_F(DeviceCheck, TellsWhatSomebodyElseWroteFromWhatANodeMadeOfAWrite)
{
    std::string const node = "/dev/stune/top-app/schedtune.boost";
    ReadBack readBack("");
    auto const write = [&](std::string const& text, std::string const& held) {
        nodes.Box().AddNode(node, held);
        readBack.Hear({{}, Wrote{{node, text, {}, 0, static_cast<ssize_t>(text.size())}}});
    };
    auto const count = [&] { return Counts{readBack.Compare(nodes).size(), readBack.Overwritten(nodes).size()}; };
    write("40", "40\n");
    EXPECT_EQ(count(), (Counts{0, 0}));
    nodes.Box().AddNode(node, "20\n");
    EXPECT_EQ(count(), (Counts{0, 1}));
    EXPECT_EQ(count(), (Counts{0, 0})) << "it has been told";
    write("40", "30\n"); // which the node makes of it
    EXPECT_EQ(count(), (Counts{1, 0}));
    write("20", "20\n");
    EXPECT_EQ(count(), (Counts{0, 0}));
}

TEST_F(DeviceCheck, NamesWhatIsMissingAndReadsTheDevicesFrequencies)
{
    QosEntry const& cluster = platform.qos.front();
    nodes.Box().AddFile(cluster.freqListNode, "400000 800000\n");
    std::remove(nodes.PathOf(platform.threadBinderNode).c_str());
    std::remove(nodes.PathOf(platform.qos[1].freqListNode).c_str());
    nodes.Box().AddFile(platform.qos[2].freqListNode, "none\n");
    std::vector<std::string> const expected = {
        "qos[1].freqListNode cannot be read: No such file or directory", "qos[2].freqListNode lists no frequency",
        "qos[0].groups[0].nodes[0] holds 300000, which is outside 400000 .. 800000",
        "qos[0].groups[0].nodes[1] holds 1804800, which is outside 400000 .. 800000",
        "probe.threadBinderNode is missing: No such file or directory"};
    EXPECT_EQ(Faults(), expected);
}
