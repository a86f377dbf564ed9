// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/SavedNodes.h"

#include "sys/PerfTime.h"
#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {

void PutBackOne(SavedNodes::Node const& node)
{
    // Some nodes print more than they accept: "a [b] c", or a line end.
    bool const isChoice = SettingOf(*node.bytes).size() + 1 < node.bytes->size();
    if (isChoice || !WriteNode(node.place, *node.bytes)) {
        WriteNode(node.place, SettingOf(*node.bytes));
    }
}

template <typename Predicate> void Keep(std::vector<SavedNodes::Node>& nodes, Predicate const& predicate)
{
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), std::not_fn(predicate)), nodes.end());
}

bool HoldsOther(SavedNodes::Node const& node)
{
    return !node.bytes || ReadNode(node.place) != node.bytes;
}

} // namespace

void SavedNodes::Save(std::string const& name, std::string const& place)
{
    auto bytes = ReadNode(place);
    std::lock_guard<std::mutex> const lock(mutex);
    saved.push_back({name, place, std::move(bytes), {}});
}

SavedNodes::Node* SavedNodes::Find(std::string const& name)
{
    auto const found = std::find_if(saved.begin(), saved.end(), [&](Node const& node) { return node.name == name; });
    return found == saved.end() ? nullptr : &*found;
}

void SavedNodes::NoteWrite(std::string const& name, std::string const& bytes)
{
    std::lock_guard<std::mutex> const lock(mutex);
    if (Node* const node = Find(name)) {
        node->written = bytes;
    }
}

void SavedNodes::NoteStrayed(std::string const& name, std::string const& held)
{
    std::lock_guard<std::mutex> const lock(mutex);
    Node* const node = Find(name);
    bool const showsTheSame = node != nullptr && node->bytes && SettingOf(*node->bytes) == held;
    if (showsTheSame && NumberOf(held)) { // what shows nothing, or a state, is no limit
        node->isLimited = true;
    }
}

std::vector<SavedNodes::Node> SavedNodes::Written() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    std::vector<Node> nodes = saved;
    Keep(nodes, [](Node const& node) { return node.written.has_value(); });
    return nodes;
}

std::vector<SavedNodes::Node> SavedNodes::Changed() const
{
    std::vector<Node> nodes = Written();
    Keep(nodes, HoldsOther);
    return nodes;
}

std::vector<SavedNodes::Node> SavedNodes::PutBack()
{
    std::vector<Node> changed = Written();
    // What was written last may be yet to be shown, so what is read does not decide.
    Keep(changed,
         [](Node const& node) { return !node.isLimited && (HoldsOther(node) || !Holds(*node.bytes, *node.written)); });
    // One node's bounds may be another's value, such as a minimum and a maximum: as long as it gets better, go on.
    for (std::size_t before = changed.size() + 1; !changed.empty() && changed.size() < before;) {
        before = changed.size();
        for (Node const& node : changed) {
            if (node.bytes) {
                PutBackOne(node);
            }
        }
        PollUntil(PerfTime::Now() + READ_BACK_TIME, [this, &changed] {
            changed = Changed();
            Keep(changed, [](Node const& node) { return !node.isLimited; });
            return std::none_of(changed.begin(), changed.end(),
                                [](Node const& node) { return node.bytes.has_value(); });
        });
    }
    return changed;
}
