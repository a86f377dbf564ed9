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

} // namespace

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
    return NamesOf(session.Described().qos, [](QosEntry const& entry) { return entry.name; });
}

std::vector<std::string> NodeNames(Session const& session)
{
    return NamesOf(NodesOf(session.Described()), [](PlatformNode const& node) { return node.name; });
}

std::vector<std::string> HintNames(Session const& session)
{
    return NamesOf(session.Described().hints, [](NamedHint const& hint) { return hint.name; });
}

UnknownName NoSuchNode(Session const& session, std::string const& node)
{
    return UnknownName("no resource of the platform has a node " + node + DidYouMean(node, NodeNames(session)));
}
