#include "tools/corvanectl/commands/Interpreter.h"

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/platform/Findings.h"

void Interpreter::Execute(std::string const& line)
{
    Words words(line);
    if (words.Empty()) {
        return;
    }
    std::string const name = words.Take("the command");
    if (name.front() == '#') {
        return;
    }
    Command const& command = FindCommand(name);
    if (!command.speaksForItself) {
        session.Tell(Asked{line});
    }
    try {
        command.run(*this, words);
    } catch (UnknownName const& error) {
        throw UnknownName(name + ": " + error.what());
    } catch (InputError const& error) {
        throw InputError(name + ": " + error.what());
    }
    if (!command.speaksForItself) {
        session.Settle();
    }
}
