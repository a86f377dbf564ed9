// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/platform/Findings.h"

#include <chrono>

namespace {

void Sleep(Interpreter& interpreter, Words& words)
{
    std::chrono::milliseconds const time(words.TakeUnsigned("MS"));
    words.End();
    interpreter.CurrentSession().Sleep(time);
}

void Say(Interpreter& interpreter, Words& words)
{
    std::string title;
    for (std::string const& word : words.TakeRest()) {
        title += (title.empty() ? "" : " ") + word;
    }
    interpreter.CurrentSession().Publish(Marked{title});
}

void ExpectRefused(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    std::string const name = words.Take("COMMAND");
    FindCommand(name).Run(interpreter, words);
    if (!session.GetLedger().LastResult()) {
        throw InputError("\"" + name + "\" is nothing that the library could refuse");
    }
    interpreter.ExpectRefusal();
}

void ExpectFailure(Interpreter& interpreter, Words& words)
{
    FindCommand(words.Take("COMMAND")).Run(interpreter, words);
    interpreter.ExpectFailedWrite();
}

void Quit(Interpreter& interpreter, Words& words)
{
    words.End();
    interpreter.Quit();
}

} // namespace

std::vector<Command> ScriptCommands()
{
    return {
        {"sleep", "MS", "let time pass", "sleep 500", Sleep},
        {"say", "TEXT", "print a line", "say The camera starts", Say, true},
        {"expect-refused", "COMMAND ...", "fail unless the library refuses this command",
         "expect-refused scenario 7 99", ExpectRefused},
        {"expect-failure", "COMMAND ...", "fail unless a write that comes of this command does",
         "expect-failure request 100 0 qos=TOUCH_RATE boost=120", ExpectFailure},
        {"quit", "", "end", "quit", Quit},
        {"exit", "", "the same as quit", "exit", Quit},
    };
}
