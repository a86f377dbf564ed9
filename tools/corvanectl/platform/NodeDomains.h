// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

/** What one node may hold, as the platform describes it. */
struct NodeDomain {
    std::string path; ///< where the file names the node, as in "qos[2].groups[0].nodes[1]"
    std::string node;
    bool isNumber = false; ///< from lowest to highest
    long long lowest = std::numeric_limits<long long>::min();
    long long highest = std::numeric_limits<long long>::max();
    std::set<std::string> texts{}; ///< allowed texts; if empty and not a number, anything
};

/**
 * Every node that the library would write on this platform, the thread binder's last.
 * @param frequencies says what a node that lists frequencies holds, ascending; empty where that is not known.
 */
std::vector<NodeDomain> NodeDomains(Platform const& platform,
                                    std::function<std::vector<int>(QosEntry const&)> const& frequencies);
