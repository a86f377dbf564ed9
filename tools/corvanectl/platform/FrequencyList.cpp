// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/FrequencyList.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <vector>

std::string CoveringFrequencies(QosEntry const& entry)
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
