// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

namespace {

/** What the form of the file asks for, whatever the library would make of it. */
void CheckForm(QosEntry const& entry, std::string const& path, Findings& findings)
{
    if (entry.name.empty() && !findings.AnyUnreadableUnder(path + ".name")) {
        findings.Add(path + ".name", "is empty");
    }
    if (entry.groups.empty() || entry.groups.front().nodePathVec.empty() || findings.AnyUnreadableUnder(path + ".id")) {
        return;
    }
    KindTraits const& kind = TraitsOf(KindOf(entry));
    if (!kind.takesFrequencies && entry.freqListGiven) {
        findings.Add(path + ".freqListNode", std::string("a ") + kind.name + " resource has no frequency list");
    } else if (kind.takesFrequencies && !entry.freqListGiven) {
        findings.Add(path + ".freqListNode", "the frequency list is missing (null if the device has none)");
    }
    if (entry.freqListNode.empty() && (entry.overwriteMaxFreq || !entry.frequencies.empty())) {
        findings.Add(path + (entry.overwriteMaxFreq ? ".overwriteMaxFreq" : ".frequencies"),
                     "means nothing without freqListNode");
    }
}

} // namespace

void CheckPlatform(Platform const& platform, Findings& findings)
{
    if (platform.qos.empty()) {
        findings.Add("qos", "there is no resource");
    }
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        CheckForm(platform.qos[i], Indexed("qos", i), findings);
    }
    CheckLibrary(platform, findings);
    CheckPlaces(platform, findings);
    CheckSense(platform, findings);
}
