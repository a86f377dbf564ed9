// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Vocabulary.h"

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/platform/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>

namespace {

template <typename Items, typename NameOf> std::vector<std::string> NamesOf(Items const& items, NameOf const& nameOf)
{
    std::vector<std::string> names;
    std::transform(items.begin(), items.end(), std::back_inserter(names), nameOf);
    return names;
}

constexpr Placeholder PLACEHOLDERS[] = {
    {"", "a word", nullptr},
    {"BITS", "a number of bits", nullptr},
    {"BYTES", "a number of bytes", nullptr},
    {"COMMAND", "the command", [](Session const& /* any */) { return CommandNames(); }},
    {"ERROR", "the fault", nullptr},
    {"EVENT", "the id of an event", nullptr},
    {"GROUP", "the number of a group", nullptr},
    {"HANDLE", "the handle", nullptr},
    {"HINT", "the name of a hint", HintNames},
    {"MODE", "a work mode", nullptr},
    {"MS", "a number of ms", nullptr},
    {"NAME", "the name", [](Session const& session) { return session.GetLedger().Names(); }},
    {"NODE", "the path of a node", NodeNames},
    {"PID", "the process id", nullptr},
    {"QOS", "the id or name of a resource", QosNames},
    {"SCENARIO", "the id of a scenario", nullptr},
    {"TID", "a thread id", nullptr},
    {"TIMES", "a number of times", nullptr},
    {"VALUE", "the value", nullptr},
    {"--OPTION", "the option", nullptr},
};

} // namespace

Placeholder const& FindPlaceholder(std::string const& word)
{
    auto const* const found = std::find_if(std::begin(PLACEHOLDERS), std::end(PLACEHOLDERS),
                                           [&word](Placeholder const& each) { return each.word == word; });
    return found == std::end(PLACEHOLDERS) ? PLACEHOLDERS[0] : *found;
}

std::vector<std::string> CommandNames()
{
    return NamesOf(AllCommands(), [](Command const& command) { return command.name; });
}

std::vector<std::string> ArgumentWords(Command const& command)
{
    std::string text = command.arguments;
    std::replace_if(
        text.begin(), text.end(), [](char letter) { return std::strchr("[]|.", letter) != nullptr; }, ' ');
    return Words(text).TakeRest();
}

std::vector<std::string> FixedWords(Command const& command)
{
    std::vector<std::string> words = ArgumentWords(command);
    auto const isPlaceholder = [](std::string const& word) {
        return std::any_of(word.begin(), word.end(), [](unsigned char letter) { return std::isupper(letter) != 0; });
    };
    words.erase(std::remove_if(words.begin(), words.end(), isPlaceholder), words.end());
    return words;
}

std::vector<std::string> QosNames(Session const& session)
{
    return NamesOf(session.GetPlatform().qos, [](QosEntry const& entry) { return entry.name; });
}

std::vector<std::string> NodeNames(Session const& session)
{
    return NamesOf(NodesOf(session.GetPlatform()), [](PlatformNode const& node) { return node.name; });
}

std::vector<std::string> HintNames(Session const& session)
{
    return NamesOf(session.GetPlatform().hints, [](NamedHint const& hint) { return hint.name; });
}

bool IsNode(Session const& session, std::string const& node)
{
    auto const names = NodeNames(session);
    return std::find(names.begin(), names.end(), node) != names.end();
}

void ExpectNode(Session const& session, std::string const& node)
{
    if (!IsNode(session, node)) {
        throw UnknownName("no resource of the platform has a node " + node + DidYouMean(node, NodeNames(session)));
    }
}
