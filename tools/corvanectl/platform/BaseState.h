// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <corvane/PerfConfig.h>

#include <string>
#include <vector>

/** What one node holds while nobody asks for anything. */
struct BaseNode {
    std::string node; ///< its place, as in the configuration
    std::string bytes;
};

/**
 * Works out the base state of every node from the configurations, without asking the library, as a service's own
 * description of its platform would have it. Nodes that hold no particular value at the base are left out, such as the
 * target ratio of a closed memory-latency governor.
 * @param config selected and revised.
 */
std::vector<BaseNode> BaseState(Platform const& platform, PerfDefaultConfig const& config);
