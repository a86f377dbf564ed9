// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/commands/Words.h"

#include <corvane/PerfTypes.h>

#include <string>
#include <vector>

class Interpreter;
class Session;

/** One command of the language. */
struct Command {
    char const* name;
    char const* arguments; ///< as help shows them, of Placeholders; they bound what run may take and feed completion
    std::string meaning;
    char const* example;
    void (*run)(Interpreter&, Words&);
    bool speaksForItself = false; ///< what it shows need not stand below the command

    void Run(Interpreter& interpreter, Words& words) const
    {
        words.Follow(arguments);
        run(interpreter, words);
    }
};

/** @return the id of a resource that is given by name or id. @throws InputError */
PerfQosId ToQosId(Session const& session, std::string const& text);

/** All commands, in the order in which help lists them: a list for each topic, one behind the other. */
std::vector<Command> const& AllCommands();
/** @return the command of this name. @throws InputError */
Command const& FindCommand(std::string const& name);

/** What a client may ask of the library. */
std::vector<Command> ClientCommands();
/** What a platform gives names to. */
std::vector<Command> HintCommands();
/** What the library and the tool say of themselves. */
std::vector<Command> ShowCommands();
/** What concerns the nodes. */
std::vector<Command> NodeCommands();
/** The course of a script. */
std::vector<Command> ScriptCommands();
