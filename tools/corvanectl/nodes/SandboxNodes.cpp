// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/SandboxNodes.h"

#include "tools/corvanectl/platform/FrequencyList.h"

#include <filesystem>
#include <system_error>

void SandboxNodes::Prepare(Platform const& platform)
{
    for (PlatformNode const& node : NodesOf(platform)) {
        sandbox.AddNode(node.name);
    }
    for (QosEntry const& entry : platform.qos) {
        if (!entry.freqListNode.empty()) {
            sandbox.AddFile(entry.freqListNode, ContentOfList(platform, entry.freqListNode));
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
