// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/Summary.h"

#include "tools/corvanectl/platform/Findings.h"

#include <ostream>
#include <string>

void SummarisePlatform(Platform const& platform, std::ostream& out)
{
    out << platform.name << ": chip type " << platform.control.chipType << ", work mode "
        << static_cast<unsigned int>(platform.control.workMode) << "\n";
    for (QosEntry const& entry : platform.qos) {
        std::string const id = std::to_string(entry.id);
        out << std::string(id.size() < 4 ? 4 - id.size() : 0, ' ') << id << "  " << entry.name
            << std::string(entry.name.size() < 16 ? 16 - entry.name.size() : 1, ' ');
        if (IsBuilt(entry, platform.control)) {
            out << KindName(KindOf(entry)) << ", " << Count(SelectedGroups(entry, platform.control).size(), "group")
                << "\n";
        } else {
            out << "not on this platform"
                << "\n";
        }
    }
    out << Count(platform.qos.size(), "resource") << ", " << Count(platform.events.size(), "event") << ", "
        << Count(platform.scenarios.size(), "scenario") << ", " << (platform.hasProbe ? "a probe" : "no probe")
        << (platform.hints.empty() ? "" : ", " + Count(platform.hints.size(), "hint")) << "\n";
}
