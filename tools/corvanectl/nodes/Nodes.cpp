// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/Nodes.h"

#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/platform/Findings.h"

std::optional<std::string> Nodes::ReadWhatFits(std::string const& node, PerfTimePoint deadline,
                                               std::function<bool(std::string const& content)> const& fits) const
{
    std::optional<std::string> content;
    PollUntil(deadline, [&] {
        content = Read(node);
        return !AreReal() || !content || fits(*content);
    });
    return content;
}

Sandbox& Nodes::Box()
{
    throw InputError("this needs a sandbox: start with --sandbox");
}
