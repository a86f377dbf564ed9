// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Completion.h"

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Vocabulary.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace {

using Known = std::set<std::string>;

void Add(std::vector<std::string> const& names, std::string const& before, Known& known)
{
    std::transform(names.begin(), names.end(), std::inserter(known, known.end()),
                   [&before](std::string const& name) { return before + name; });
}

/** Adds what may stand for an argument. */
void AddFor(std::string const& argument, Session const& session, Known& known)
{
    if (Placeholder const& placeholder = FindPlaceholder(argument); placeholder.names != nullptr) {
        Add(placeholder.names(session), "", known);
    } else if (std::size_t const equals = argument.find('='); equals != std::string::npos) {
        auto* const names = FindPlaceholder(argument.substr(equals + 1)).names;
        std::string const key = argument.substr(0, equals + 1);
        Add(names == nullptr ? std::vector<std::string>{""} : names(session), key, known);
    }
}

/** @param before the words in front of the one in question. */
Known KnownBehind(Session const& session, Words& before)
{
    Known known;
    if (before.Empty()) {
        Add(CommandNames(), "", known);
        return known;
    }
    std::string const name = before.Take("COMMAND");
    for (Command const& command : AllCommands()) {
        if (command.name == name && command.arguments == std::string("COMMAND ...")) {
            return KnownBehind(session, before);
        }
        if (command.name == name) {
            Add(FixedWords(command), "", known);
            for (std::string const& argument : ArgumentWords(command)) {
                AddFor(argument, session, known);
            }
        }
    }
    return known;
}

} // namespace

std::vector<std::string> Completions(Session const& session, std::string const& line)
{
    std::size_t const begin = line.find_last_of(" \t") + 1; // of the last word: npos + 1 is 0
    std::string const last = line.substr(begin);
    Words before(line.substr(0, begin));
    Known const known = KnownBehind(session, before);
    std::vector<std::string> found;
    std::copy_if(known.begin(), known.end(), std::back_inserter(found),
                 [&last](std::string const& word) { return word.compare(0, last.size(), last) == 0; });
    return found;
}
