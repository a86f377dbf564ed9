// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/powerhint/PowerHints.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

/** Reads what one file says, and what of it has no counterpart. */
class Reader {
public:
    explicit Reader(Findings& list) : findings(list) {}

    PowerHints Read(Json const& file)
    {
        JsonObject json(file, "", findings);
        EachOf(json, file, "Nodes", {"Name", "Path", "Values", "DefaultIndex", "ResetOnInit", "HoldFd", "Type"},
               [this](JsonObject& node, std::string const& path) { ReadNode(node, path); });
        EachOf(json, file, "Actions", {"PowerHint", "Node", "Value", "Duration", "Type"},
               [this](JsonObject& action, std::string const& path) { ReadAction(action, path); });
        LoseOtherKeys(file, "", {"Nodes", "Actions"});
        if (hints.nodes.empty() && !findings.HasErrors()) {
            findings.Add("Nodes", "there is no node that is a file");
        }
        if (!findings.HasErrors()) {
            LoseEmptyHints();
        }
        return std::move(hints);
    }

private:
    template <typename Visit>
    void EachOf(JsonObject& json, Json const& file, std::string const& list, std::set<std::string> const& keys,
                Visit visit)
    {
        if (!json.Has(list) || !file[list].is_array()) {
            findings.AddUnreadable(list, "must be a list of objects");
            return;
        }
        std::size_t index = 0;
        for (Json const& element : file[list]) {
            std::string const path = Indexed(list, index++);
            JsonObject object(element, path, findings);
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
                findings.Warn(prefix + field.key(), "has no counterpart in a platform");
            }
        }
    }

    std::string ReadName(JsonObject& json, std::string const& key)
    {
        std::string name = json.Text(key);
        if (json.Has(key) && (name.empty() || name.find_first_of(" \t\r\n") != std::string::npos)) {
            findings.Add(json.Path(key), "must be one word");
        }
        return name;
    }

    void ReadNode(JsonObject& json, std::string const& path)
    {
        HintNode node;
        node.name = ReadName(json, "Name");
        node.path = json.Text("Path");
        node.resetOnInit = json.Bool("ResetOnInit", false);
        if (json.Bool("HoldFd", false)) {
            findings.Warn(json.Path("HoldFd"),
                          node.name + " is not kept open: what holds only meanwhile is gone at once");
        }
        std::string const type = json.Text("Type", "File");
        node.values = json.Texts("Values");
        if (type == "Property") {
            findings.Warn(path, node.name + " is a property, and a platform has files only");
            elsewhere.insert(node.name);
            return;
        }
        if (type != "File") {
            findings.Add(json.Path("Type"), "\"" + type + "\" is neither File nor Property");
        }
        if (node.values.empty()) {
            findings.Add(json.Path("Values"), "there is no value");
            return;
        }
        node.defaultIndex = json.Unsigned("DefaultIndex", static_cast<unsigned int>(node.values.size() - 1));
        if (node.defaultIndex >= node.values.size()) {
            findings.Add(json.Path("DefaultIndex"),
                         std::to_string(node.defaultIndex) + " is none of " + Count(node.values.size(), "value"));
            return;
        }
        if (!positions.emplace(node.name, hints.nodes.size()).second) {
            findings.Add(json.Path("Name"), node.name + " is the name of another node already");
            return;
        }
        auto const [other, isNew] = namesByPath.emplace(node.path, node.name);
        if (!isNew) {
            findings.Add(json.Path("Path"), node.path + " is the path of " + other->second + " already");
            return;
        }
        hints.nodes.push_back(std::move(node));
    }

    void ReadAction(JsonObject& json, std::string const& path)
    {
        PowerHint& hint = HintOf(ReadName(json, "PowerHint"), path);
        std::string const type = json.Text("Type", "");
        std::string const value = json.Text("Value");
        if (type == "DoHint" || type == "EndHint") {
            (type == "DoHint" ? hint.starts : hint.ends).push_back(value);
        } else if (type == "MaskHint") {
            findings.Warn(path, hint.name + " masks " + value + ", and a platform masks nothing");
        } else if (!type.empty()) {
            findings.Warn(json.Path("Type"), "\"" + type + "\" has no counterpart in a platform");
        } else {
            ReadNodeAction(json, path, value, hint);
        }
    }

    PowerHint& HintOf(std::string const& name, std::string const& path)
    {
        auto const [position, isNew] = hintPositions.emplace(name, hints.hints.size());
        if (isNew) {
            hints.hints.push_back({name, path, {}, {}, {}});
        }
        return hints.hints[position->second];
    }

    void ReadNodeAction(JsonObject& json, std::string const& path, std::string const& value, PowerHint& hint)
    {
        std::string const node = json.Text("Node", "");
        HintAction action;
        action.duration = json.Unsigned("Duration", 0);
        action.path = path + (json.Has("Duration") ? ".Duration" : "");
        auto const position = positions.find(node);
        if (findings.AnyUnreadableUnder(path)) {
            return;
        }
        if (position == positions.end()) {
            std::string const why = elsewhere.count(node) != 0 ? node + " is a property" : "there is no node " + node;
            findings.Warn(node.empty() ? path : json.Path("Node"), node.empty() ? "names no node" : why);
            return;
        }
        action.node = position->second;
        auto const& values = hints.nodes[action.node].values;
        auto const listed = std::find(values.begin(), values.end(), value);
        if (listed == values.end()) {
            findings.Warn(json.Path("Value"), "\"" + value + "\" is no value of " + node);
            return;
        }
        action.value = static_cast<std::size_t>(listed - values.begin());
        AddAction(hint, std::move(action));
    }

    void AddAction(PowerHint& hint, HintAction action)
    {
        bool const isTwice = std::any_of(hint.actions.begin(), hint.actions.end(),
                                         [&action](HintAction const& other) { return other.node == action.node; });
        if (isTwice) {
            findings.Warn(action.path,
                          hint.name + " asks " + hints.nodes[action.node].name + " for another value already");
            return;
        }
        hint.actions.push_back(std::move(action));
    }

    /** A hint of which nothing is left is lost, and what would start or end it loses that. */
    void LoseEmptyHints()
    {
        auto const isEmpty = [](PowerHint const& hint) {
            return hint.actions.empty() && hint.starts.empty() && hint.ends.empty();
        };
        auto const empty = std::find_if(hints.hints.begin(), hints.hints.end(), isEmpty);
        if (empty != hints.hints.end()) {
            findings.Warn(empty->path, empty->name + " is lost: nothing of it has a counterpart in a platform");
            hints.hints.erase(empty);
            LoseEmptyHints();
            return;
        }
        bool anyIsLost = false;
        for (PowerHint& hint : hints.hints) {
            anyIsLost = LoseNames(hint, hint.starts) || LoseNames(hint, hint.ends) || anyIsLost;
        }
        if (anyIsLost) {
            LoseEmptyHints();
        }
    }

    bool LoseNames(PowerHint const& hint, std::vector<std::string>& names)
    {
        auto const isThere = [this](std::string const& name) {
            return std::any_of(hints.hints.begin(), hints.hints.end(),
                               [&name](PowerHint const& other) { return other.name == name; });
        };
        auto const gone = std::stable_partition(names.begin(), names.end(), isThere);
        bool const anyIsGone = gone != names.end();
        for (auto name = gone; name != names.end(); ++name) {
            findings.Warn(hint.path, hint.name + " starts or ends " + *name + ", which is no hint here");
        }
        names.erase(gone, names.end());
        return anyIsGone;
    }

    Findings& findings;
    PowerHints hints;
    std::map<std::string, std::size_t> positions;   ///< of the nodes
    std::map<std::string, std::string> namesByPath; ///< of the nodes, by path
    std::map<std::string, std::size_t> hintPositions;
    std::set<std::string> elsewhere; ///< the names of what is no file
};

} // namespace

PowerHints ReadPowerHints(std::string const& name, std::string const& text, Findings& findings)
{
    return Reader(findings).Read(ParseJson(name, text, findings));
}

std::string WithoutComments(std::string text)
{
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        isQuoted = isQuoted != (text[i] == '"');
        if (isQuoted && text[i] == '\\') {
            ++i;
        }
        bool const isLine = !isQuoted && text.compare(i, 2, "//") == 0;
        if (!isLine && (isQuoted || text.compare(i, 2, "/*") != 0)) {
            continue;
        }
        std::size_t const close = text.find(isLine ? "\n" : "*/", i + 2);
        std::size_t const end = close == std::string::npos ? text.size() : close + (isLine ? 0 : 2);
        std::replace_if(
            text.begin() + static_cast<std::ptrdiff_t>(i), text.begin() + static_cast<std::ptrdiff_t>(end),
            [](char letter) { return letter != '\n'; }, ' ');
        i = end - 1;
    }
    return text;
}
