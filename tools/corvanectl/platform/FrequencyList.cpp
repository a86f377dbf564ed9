// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/FrequencyList.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <vector>

namespace {

void AddSteps(std::vector<PerfGroupConfig> const& groups, std::set<int>& frequencies)
{
    for (PerfGroupConfig const& group : groups) {
        int const lowest = group.availableMin;
        int const highest = std::max({group.availableMax, group.limitBase, lowest});
        for (int step = 0; step <= 4; ++step) {
            frequencies.insert(static_cast<int>(lowest + (static_cast<long long>(highest) - lowest) * step / 4));
        }
    }
}

} // namespace

std::string ContentOfList(Platform const& platform, std::string const& node)
{
    QosEntry const* teller = nullptr; // one that is built, if any is: those tell the same
    std::set<int> covering;
    for (QosEntry const& entry : platform.qos) {
        if (entry.freqListNode == node) {
            teller = teller == nullptr || IsBuilt(entry, platform.control) ? &entry : teller;
            AddSteps(entry.groups, covering);
        }
    }
    bool const isTold = teller != nullptr && !teller->frequencies.empty();
    std::ostringstream list;
    for (int const frequency : isTold ? teller->frequencies : std::vector<int>(covering.begin(), covering.end())) {
        list << frequency << " ";
    }
    return list.str();
}
