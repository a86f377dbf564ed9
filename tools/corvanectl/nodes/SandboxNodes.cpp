// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/SandboxNodes.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <system_error>

namespace {

/** Frequencies that let the range of every variant stand as it is written, with some steps between. */
std::string CoveringList(QosEntry const& entry)
{
    std::set<int> frequencies;
    for (PerfGroupConfig const& group : entry.groups) {
        int const lowest = group.availableMin;
        int const highest = std::max({group.availableMax, group.limitBase, lowest});
        for (int step = 0; step <= 4; ++step) {
            frequencies.insert(static_cast<int>(lowest + (static_cast<long long>(highest) - lowest) * step / 4));
        }
    }
    std::ostringstream list;
    for (int const frequency :
         entry.frequencies.empty() ? std::vector<int>(frequencies.begin(), frequencies.end()) : entry.frequencies) {
        list << frequency << " ";
    }
    return list.str();
}

} // namespace

void SandboxNodes::Prepare(Platform const& platform)
{
    for (PlatformNode const& node : NodesOf(platform)) {
        sandbox.AddNode(node.name);
    }
    for (QosEntry const& entry : platform.qos) {
        if (!entry.freqListNode.empty()) {
            sandbox.AddFile(entry.freqListNode, CoveringList(entry));
        }
    }
}

void SandboxNodes::SetBase(std::vector<BaseNode> const& base)
{
    for (BaseNode const& node : base) {
        sandbox.AddNode(node.node, node.bytes);
    }
}

void SandboxNodes::Watch(Sandbox::Observer observer)
{
    sandbox.OnWrite([this, told = std::move(observer)](NodeWrite const& write) {
        told(write);
        sandbox.TakeWrites(); // else every one would be kept
    });
}

void SandboxNodes::Abandon()
{
    std::error_code ignored;
    std::filesystem::remove_all(sandbox.Root(), ignored);
}
