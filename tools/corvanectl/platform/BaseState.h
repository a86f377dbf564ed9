// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include <string>
#include <vector>

/** What one node holds while nobody asks for anything. */
struct BaseNode {
    std::string node; ///< as the file names it
    std::string bytes;
};

/**
 * Has the library write the base of every node in a sandbox of its own. Nodes that hold no particular value at the base
 * are left out, such as the target ratio of a closed memory-latency governor. In the order of the file.
 * @param listPlace says where a node that lists frequencies is.
 * @throws InputError naming a resource that does not fit the device.
 */
std::vector<BaseNode> BaseState(Platform const& platform, PlatformConfigs::Place const& listPlace);
