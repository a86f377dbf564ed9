// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Command.h"

#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Suggestion.h"

#include <algorithm>

std::vector<Command> const& AllCommands()
{
    static std::vector<Command> const all = [] {
        std::vector<Command> commands;
        for (auto const& topic : {ClientCommands(), HintCommands(), ShowCommands(), NodeCommands(), ScriptCommands()}) {
            commands.insert(commands.end(), topic.begin(), topic.end());
        }
        return commands;
    }();
    return all;
}

Command const& FindCommand(std::string const& name)
{
    auto const& all = AllCommands();
    auto const found =
        std::find_if(all.begin(), all.end(), [&](Command const& command) { return command.name == name; });
    if (found == all.end()) {
        std::string const suggestion = DidYouMean(name, CommandNames());
        throw InputError("unknown command \"" + name + "\"" +
                         (suggestion.empty() ? R"(; "help" lists them)" : suggestion));
    }
    return *found;
}
