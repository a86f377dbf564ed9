// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/RootNodes.h"

#include "tools/corvanectl/platform/Findings.h"

#include <cerrno>

#include <unistd.h>

std::string PathBelow(std::string const& root, std::string const& node)
{
    return root + (root.empty() || node.front() == '/' ? "" : "/") + node;
}

void RootNodes::Prepare(Platform const& platform)
{
    for (PlatformNode const& node : NodesOf(platform)) {
        if (access(PathOf(node.name).c_str(), F_OK) != 0) {
            throw InputError(PathOf(node.name) + ": no such node");
        }
    }
    RealNodes::Prepare(platform);
}

void RootNodes::AfterWrite(NodeWrite const& write)
{
    // A plain file keeps what stands behind a shorter text; a node does not, and does not mind being cut.
    if (write.result > 0) {
        int const savedErrno = errno;
        static_cast<void>(truncate(PathOf(write.node).c_str(), write.result));
        errno = savedErrno;
    }
}
