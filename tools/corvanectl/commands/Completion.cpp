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
    if (argument == "QOS") {
        Add(QosNames(session), "", known);
    } else if (argument == "qos=ID") {
        Add(QosNames(session), "qos=", known);
    } else if (argument == "NODE" || argument == "PATH") {
        Add(NodeNames(session), "", known);
    } else if (argument == "COMMAND") {
        Add(CommandNames(), "", known);
    } else if (argument == "NAME") {
        Add(session.Claims().Names(), "", known);
        Add(HintNames(session), "", known);
    } else if (std::size_t const equals = argument.find('='); equals != std::string::npos) {
        known.insert(argument.substr(0, equals + 1));
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
    std::string const name = before.Take("the command");
    if (name == "expect-refused" || name == "expect-failure") {
        return KnownBehind(session, before);
    }
    for (Command const& command : AllCommands()) {
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
