// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/DeviceCheck.h"

#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/platform/NodeDomains.h"
#include "tools/corvanectl/story/NodeText.h"

#include <cerrno>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Place = std::function<std::string(std::string const& node)>;

std::string Reason(int error)
{
    return std::generic_category().message(error);
}

/** @return the ascending frequencies that a list names, up to the first word that is none. */
std::vector<int> Frequencies(QosEntry const& entry, Place const& place)
{
    std::istringstream list(entry.freqListNode.empty() ? "" : ReadNode(place(entry.freqListNode)).value_or(""));
    std::set<int> frequencies;
    for (int frequency = 0; list >> frequency;) {
        frequencies.insert(frequency);
    }
    return {frequencies.begin(), frequencies.end()};
}

std::string Range(NodeDomain const& domain)
{
    bool const openEnded = domain.highest == std::numeric_limits<long long>::max();
    return std::to_string(domain.lowest) + (openEnded ? " and up" : " .. " + std::to_string(domain.highest));
}

/** @return what is wrong with the content, or an empty text. */
std::string Fault(NodeDomain const& domain, std::string const& content)
{
    std::string const held = "holds \"" + ReadableBytes(SettingOf(content)) + "\"";
    if (domain.isNumber) {
        auto const number = NumberAt(content);
        if (!number) {
            return held + ", which is no number";
        }
        bool const isInside = domain.lowest <= *number && *number <= domain.highest;
        return isInside ? "" : "holds " + std::to_string(*number) + ", which is outside " + Range(domain);
    }
    for (std::string const& text : domain.texts) {
        if (Holds(content, text)) {
            return "";
        }
    }
    return domain.texts.empty() ? "" : held + ", which is none of the described texts";
}

void CheckNode(NodeDomain const& domain, std::string const& path, Findings& findings)
{
    std::string const where = domain.path;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        findings.Add(where, path + " is missing: " + Reason(errno));
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        findings.Add(where, path + " is a folder");
        return;
    }
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) {
        findings.Add(where, path + " cannot be written: " + Reason(errno));
    }
    if (!domain.isNumber && domain.texts.empty()) {
        return;
    }
    auto const content = ReadNode(path);
    if (!content &&
        (status.st_mode & (S_IRUSR | S_IRGRP | S_IROTH)) != 0) { // else it can only be written, which is well
        findings.Add(where, path + " cannot be read: " + Reason(errno));
    }
    std::string const fault = content ? Fault(domain, *content) : "";
    if (!fault.empty()) {
        findings.Add(where, path + " " + fault);
    }
}

} // namespace

void CheckDevice(Platform const& platform, Place const& place, Findings& findings)
{
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        QosEntry const& entry = platform.qos[i];
        std::string const path = "qos[" + std::to_string(i) + "].freqListNode";
        if (entry.freqListNode.empty() || !IsBuilt(entry, platform.control)) {
            continue;
        }
        if (!ReadNode(place(entry.freqListNode))) {
            findings.Add(path, place(entry.freqListNode) + " cannot be read: " + Reason(errno));
        } else if (Frequencies(entry, place).empty()) {
            findings.Add(path, place(entry.freqListNode) + " lists no frequency");
        }
    }
    for (NodeDomain const& domain :
         NodeDomains(platform, [&place](QosEntry const& entry) { return Frequencies(entry, place); })) {
        CheckNode(domain, place(domain.node), findings);
    }
}
