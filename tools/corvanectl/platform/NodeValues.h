// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

// What the library writes to the nodes of a platform. It is asked, in a sandbox of its own; where a node that lists
// frequencies is, the caller says.

/** What one node holds while nobody asks for anything. */
struct BaseNode {
    std::string node; ///< as the file names it
    std::string bytes;
};

/**
 * The base of every node, in the order of the file. Nodes that hold no particular value at the base are left out, such
 * as the target ratio of a closed memory-latency governor, and those of a resource that does not fit the device.
 */
std::vector<BaseNode> BaseState(Platform const& platform, PathLookup const& listPlace);

/** What one node may hold. */
struct NodeDomain {
    PlatformNode node;
    std::optional<std::string> base;
    std::set<std::string> written; ///< at the bounds of a range or for all levels; empty: it may hold anything
};

/** Of every node that the library writes on this platform, the thread binder's last. */
std::vector<NodeDomain> NodeDomains(Platform const& platform, PathLookup const& listPlace);
