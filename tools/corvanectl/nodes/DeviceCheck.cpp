// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/DeviceCheck.h"

#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/story/NodeText.h"

#include <set>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** @return what is wrong with the content, or an empty text. */
std::string Fault(NodeDomain const& domain, std::string const& content)
{
    std::string const held = "holds \"" + ReadableBytes(SettingOf(content)) + "\"";
    std::set<long long> numbers;
    for (std::string const& text : domain.written) {
        if (Holds(content, text)) {
            return "";
        }
        if (auto const number = NumberOf(text)) {
            numbers.insert(*number);
        }
    }
    if (domain.node.hasLevels || numbers.size() != domain.written.size()) {
        return held + ", which is none of the described texts";
    }
    auto const number = NumberAt(content);
    if (!number) {
        return held + ", which is no number";
    }
    bool const isInside = *numbers.begin() <= *number && *number <= *numbers.rbegin();
    return isInside ? ""
                    : "holds " + std::to_string(*number) + ", which is outside " + std::to_string(*numbers.begin()) +
                          " .. " + std::to_string(*numbers.rbegin());
}

void CheckContent(NodeDomain const& domain, std::string const& file, std::string const& content, Findings& findings)
{
    std::string const fault = domain.written.empty() ? "" : Fault(domain, content);
    if (!fault.empty()) {
        findings.Add(domain.node.path, file + " " + fault);
    } else if (domain.base && !Holds(content, *domain.base)) {
        findings.Warn(domain.node.path, file + " holds " + ReadableBytes(SettingOf(content)) + ", and its base is " +
                                            ReadableBytes(*domain.base));
    }
}

void CheckNode(NodeDomain const& domain, std::string const& file, Findings& findings)
{
    std::string const& where = domain.node.path;
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        findings.Add(where, file + " is missing: " + SystemReason());
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        findings.Add(where, file + " is a folder");
        return;
    }
    if (faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0) {
        findings.Add(where, file + " cannot be written: " + SystemReason());
    }
    if (domain.node.isBinder) {
        return; // takes lines and holds nothing
    }
    if (auto const content = ReadNode(file)) {
        CheckContent(domain, file, *content, findings);
    } else if ((status.st_mode & (S_IRUSR | S_IRGRP | S_IROTH)) != 0) { // else it can only be written, which is well
        findings.Add(where, file + " cannot be read: " + SystemReason());
    }
}

} // namespace

void CheckDevice(Platform const& platform, PathLookup const& place, Findings& findings)
{
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        QosEntry const& entry = platform.qos[i];
        if (entry.freqListNode.empty() || !IsBuilt(entry, platform.control)) {
            continue;
        }
        std::string const file = place(entry.freqListNode);
        auto const list = ReadNode(file);
        int first = 0;
        if (!list) {
            findings.Add(Indexed("qos", i) + ".freqListNode", file + " cannot be read: " + SystemReason());
        } else if (!(std::istringstream(*list) >> first)) {
            findings.Add(Indexed("qos", i) + ".freqListNode", file + " lists no frequency");
        }
    }
    for (NodeDomain const& domain : NodeDomains(platform, place)) {
        CheckNode(domain, place(domain.node.name), findings);
    }
}
