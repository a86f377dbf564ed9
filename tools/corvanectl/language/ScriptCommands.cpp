#include "tools/corvanectl/language/Command.h"
#include "tools/corvanectl/language/Interpreter.h"

#include <chrono>

namespace {

void Sleep(Interpreter& interpreter, Words& words)
{
    std::chrono::milliseconds const time(words.TakeUnsigned("a number of ms"));
    words.End();
    interpreter.Live().Sleep(time);
}

void Say(Interpreter& interpreter, Words& words)
{
    std::string title;
    for (std::string const& word : words.TakeRest()) {
        title += (title.empty() ? "" : " ") + word;
    }
    interpreter.Live().Tell(Marked{title});
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
        {"sleep", "MS", "let time pass", Sleep},
        {"say", "TEXT", "print a line", Say, true},
        {"quit", "", "end", Quit},
    };
}
