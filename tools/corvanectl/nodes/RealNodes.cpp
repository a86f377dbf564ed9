// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/RealNodes.h"

#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/story/NodeText.h"

#include <cerrno>
#include <map>
#include <utility>

#include <unistd.h>

namespace {

std::string ReadableSetting(std::optional<std::string> const& content)
{
    return content ? ReadableBytes(SettingOf(*content)) : "something that cannot be read";
}

} // namespace

std::string PathBelow(std::string const& root, std::string const& node)
{
    return root + (root.empty() || node.front() == '/' ? "" : "/") + node;
}

void RealNodes::Prepare(Platform const& platform)
{
    for (PlatformNode const& node : NodesOf(platform)) {
        if (!root.empty() && access(PathOf(node.name).c_str(), F_OK) != 0) {
            throw InputError(PathOf(node.name) + ": no such node");
        }
        bool const isNew = names.insert(node.name).second;
        if (isNew && node.name != platform.threadBinderNode) { // which takes lines and holds nothing
            saved.Save(node.name, PathOf(node.name));
        }
    }
}

void RealNodes::Watch(Sandbox::Observer observer)
{
    std::map<std::string, std::string> places;
    for (std::string const& name : names) {
        places[PathOf(name)] = name;
    }
    watch.emplace(places, [this, told = std::move(observer)](NodeWrite const& write) {
        if (write.result >= 0) {
            saved.NoteWrite(write.node, write.bytes);
        }
        CutFile(write);
        told(write);
    });
}

/** A plain file keeps what stands behind a shorter text; a node does not, and does not mind being cut. */
void RealNodes::CutFile(NodeWrite const& write) const
{
    if (!root.empty() && write.result > 0) {
        int const savedErrno = errno;
        static_cast<void>(truncate(PathOf(write.node).c_str(), write.result));
        errno = savedErrno;
    }
}

std::optional<std::string> RealNodes::Read(std::string const& node) const
{
    return ReadNode(PathOf(node));
}

Nodes::Leaving RealNodes::Leave()
{
    watch.reset();
    if (keeps) {
        return Keep();
    }
    Leaving leaving;
    for (SavedNodes::Node const& node : saved.PutBack()) {
        if (!node.bytes) {
            leaving.lines.push_back(node.name + " cannot be read, and is left with what it was written last");
            continue;
        }
        leaving.asItShould = false;
        leaving.lines.push_back(node.name + " is left with " + ReadableSetting(Read(node.name)) + ", and held " +
                                ReadableSetting(node.bytes) + " before");
    }
    std::vector<SavedNodes::Node> const written = saved.Written();
    for (SavedNodes::Node const& node : written) {
        if (node.isLimited) {
            leaving.lines.push_back(node.name + " is left with " + ReadableBytes(*node.written) + ", and held " +
                                    ReadableSetting(node.bytes) +
                                    " whatever it was written: it is limited by somebody else");
        }
    }
    std::size_t const asFound = written.size() - leaving.lines.size();
    if (asFound != 0) {
        leaving.lines.push_back("left as found: " + Count(asFound, "node"));
    }
    return leaving;
}

Nodes::Leaving RealNodes::Keep() const
{
    Leaving leaving;
    for (SavedNodes::Node const& node : saved.Changed()) {
        leaving.lines.push_back("kept: " + node.name + " holds " + ReadableSetting(Read(node.name)) + ", and held " +
                                ReadableSetting(node.bytes) + " before");
    }
    return leaving;
}

void RealNodes::Abandon()
{
    if (!keeps) {
        saved.PutBack();
    }
}
