// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/powerhint/PowerHints.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

/** Reads what one file says, and what of it has no counterpart. */
class Reader {
public:
    Reader(Findings& unreadable, Findings& untranslated) : wrong(unreadable), lost(untranslated) {}

    PowerHints Read(Json const& file)
    {
        JsonObject json(file, "", wrong);
        EachOf(json, file, "Nodes", {"Name", "Path", "Values", "DefaultIndex", "ResetOnInit", "HoldFd", "Type"},
               [this](JsonObject& node, std::string const& path) { ReadNode(node, path); });
        EachOf(json, file, "Actions", {"PowerHint", "Node", "Value", "Duration"},
               [this](JsonObject& action, std::string const& path) { ReadAction(action, path); });
        LoseOtherKeys(file, "", {"Nodes", "Actions"});
        return std::move(hints);
    }

private:
    template <typename Visit>
    void EachOf(JsonObject& json, Json const& file, std::string const& list, std::set<std::string> const& keys,
                Visit visit)
    {
        if (!json.Has(list) || !file[list].is_array()) {
            wrong.AddUnreadable(list, "must be a list of objects");
            return;
        }
        std::size_t index = 0;
        for (Json const& element : file[list]) {
            std::string const path = list + "[" + std::to_string(index++) + "]";
            JsonObject object(element, path, wrong);
            if (element.is_object()) {
                visit(object, path);
                LoseOtherKeys(element, path + ".", keys);
            }
        }
    }

    void LoseOtherKeys(Json const& json, std::string const& prefix, std::set<std::string> const& keys)
    {
        for (auto const& field : json.items()) {
            if (json.is_object() && keys.count(field.key()) == 0) {
                lost.Warn(prefix + field.key(), "has no counterpart in a platform");
            }
        }
    }

    std::string ReadName(JsonObject& json, std::string const& key)
    {
        std::string name = json.Text(key);
        if (json.Has(key) && (name.empty() || name.find_first_of(" \t\r\n") != std::string::npos)) {
            wrong.Add(json.Path(key), "must be one word");
        }
        return name;
    }

    void ReadNode(JsonObject& json, std::string const& path)
    {
        HintNode node;
        node.name = ReadName(json, "Name");
        node.path = json.Text("Path");
        node.resetOnInit = json.Bool("ResetOnInit", false);
        json.Bool("HoldFd", false); // how it is written, not what
        std::string const type = json.Text("Type", "File");
        node.values = json.Texts("Values");
        if (type == "Property") {
            lost.Warn(path, node.name + " is a property, and a platform has files only");
            elsewhere.insert(node.name);
            return;
        }
        if (type != "File") {
            wrong.Add(json.Path("Type"), "\"" + type + "\" is neither File nor Property");
        }
        if (node.values.empty()) {
            wrong.Add(json.Path("Values"), "there is no value");
            return;
        }
        node.defaultIndex = json.Unsigned("DefaultIndex", static_cast<unsigned int>(node.values.size() - 1));
        if (node.defaultIndex >= node.values.size()) {
            wrong.Add(json.Path("DefaultIndex"),
                      std::to_string(node.defaultIndex) + " is none of " + Count(node.values.size(), "value"));
            return;
        }
        if (!positions.emplace(node.name, hints.nodes.size()).second) {
            wrong.Add(json.Path("Name"), node.name + " is the name of another node already");
            return;
        }
        hints.nodes.push_back(std::move(node));
    }

    void ReadAction(JsonObject& json, std::string const& path)
    {
        std::string const hint = ReadName(json, "PowerHint");
        std::string const node = json.Text("Node");
        std::string const value = json.Text("Value");
        HintAction action;
        action.duration = json.Unsigned("Duration", 0);
        action.path = path + (json.Has("Duration") ? ".Duration" : "");
        auto const position = positions.find(node);
        if (position == positions.end()) {
            lost.Warn(json.Path("Node"),
                      elsewhere.count(node) != 0 ? node + " is a property" : "there is no node " + node);
            return;
        }
        action.node = position->second;
        auto const& values = hints.nodes[action.node].values;
        auto const listed = std::find(values.begin(), values.end(), value);
        if (listed == values.end()) {
            lost.Warn(json.Path("Value"), "\"" + value + "\" is no value of " + node);
            return;
        }
        action.value = static_cast<std::size_t>(listed - values.begin());
        AddAction(hint, std::move(action));
    }

    void AddAction(std::string const& hint, HintAction action)
    {
        auto const [position, isNew] = hintPositions.emplace(hint, hints.hints.size());
        if (isNew) {
            hints.hints.push_back({hint, {}});
        }
        auto& actions = hints.hints[position->second].actions;
        bool const isTwice = std::any_of(actions.begin(), actions.end(),
                                         [&action](HintAction const& other) { return other.node == action.node; });
        if (isTwice) {
            lost.Warn(action.path, hint + " asks " + hints.nodes[action.node].name + " for another value already");
            return;
        }
        actions.push_back(std::move(action));
    }

    Findings& wrong;
    Findings& lost;
    PowerHints hints;
    std::map<std::string, std::size_t> positions; ///< of the nodes
    std::map<std::string, std::size_t> hintPositions;
    std::set<std::string> elsewhere; ///< the names of what is no file
};

} // namespace

PowerHints ReadPowerHints(std::string const& name, std::string const& text, Findings& wrong, Findings& lost)
{
    return Reader(wrong, lost).Read(ParseJson(name, text, wrong));
}
