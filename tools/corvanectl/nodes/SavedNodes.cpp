#include "tools/corvanectl/nodes/SavedNodes.h"

#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

void PutBackOne(SavedNodes::Node const& node)
{
    // Some nodes say more than they take: which choice of several, or a line end.
    bool const isChoice = SettingOf(*node.bytes).size() + 1 < node.bytes->size();
    if (isChoice || !WriteNode(node.place, *node.bytes)) {
        WriteNode(node.place, SettingOf(*node.bytes));
    }
}

} // namespace

void SavedNodes::Save(std::string const& name, std::string const& place)
{
    auto bytes = ReadNode(place);
    std::lock_guard<std::mutex> const lock(mutex);
    saved.push_back({name, place, std::move(bytes)});
}

void SavedNodes::NoteWrite(std::string const& name)
{
    std::lock_guard<std::mutex> const lock(mutex);
    written.insert(name);
}

std::vector<SavedNodes::Node> SavedNodes::Written() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    std::vector<Node> nodes;
    std::copy_if(saved.begin(), saved.end(), std::back_inserter(nodes),
                 [this](Node const& node) { return written.count(node.name) != 0; });
    return nodes;
}

std::vector<SavedNodes::Node> SavedNodes::Changed() const
{
    std::vector<Node> nodes = Written();
    auto const isAsBefore = [](Node const& node) { return node.bytes && ReadNode(node.place) == node.bytes; };
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), isAsBefore), nodes.end());
    return nodes;
}

std::vector<SavedNodes::Node> SavedNodes::PutBack()
{
    std::vector<Node> changed = Changed();
    // One node's bounds may be another's value, such as a minimum and a maximum: as long as it gets better, go on.
    for (std::size_t before = changed.size() + 1; !changed.empty() && changed.size() < before;) {
        before = changed.size();
        for (Node const& node : changed) {
            if (node.bytes) {
                PutBackOne(node);
            }
        }
        changed = Changed();
    }
    return changed;
}
