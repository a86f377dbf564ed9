#include "tools/corvanectl/session/RootNodes.h"

#include "tools/corvanectl/platform/Findings.h"

#include <unistd.h>

std::string RootNodes::PlaceOf(std::string const& node) const
{
    return root + (node.front() == '/' ? "" : "/") + node;
}

void RootNodes::Prepare(Platform const& platform)
{
    for (PlatformNode const& node : NodesOf(platform)) {
        if (access(PlaceOf(node.name).c_str(), F_OK) != 0) {
            throw InputError(PlaceOf(node.name) + ": no such node");
        }
    }
}
