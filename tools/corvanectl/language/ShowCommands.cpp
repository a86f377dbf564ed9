#include "tools/corvanectl/language/Command.h"
#include "tools/corvanectl/language/Interpreter.h"
#include "tools/corvanectl/session/LibraryVoice.h"

#include <sstream>

namespace {

void Dump(Interpreter& interpreter, Words& words)
{
    std::ostringstream text;
    interpreter.Live().Manager().Dump(text, words.TakeRest());
    interpreter.Live().Tell(Told{text.str()});
}

void ShowChart(Interpreter& interpreter, Words& words)
{
    words.End();
    interpreter.Live().Tell(Told{interpreter.Live().Drawn().Text()});
}

void Version(Interpreter& interpreter, Words& words)
{
    words.End();
    std::ostringstream text;
    interpreter.Live().Manager().DumpCoreVersion(text);
    interpreter.Live().Tell(Told{text.str()});
}

void Log(Interpreter& /* interpreter */, Words& words)
{
    unsigned int const bits = words.TakeUnsigned("a number of bits");
    words.End();
    LibraryVoice::Switch(bits);
}

void Help(Interpreter& interpreter, Words& words)
{
    words.End();
    std::ostringstream text;
    for (Command const& command : AllCommands()) {
        text << "    " << command.name << " " << command.arguments << "\n        " << command.meaning << "\n";
    }
    interpreter.Live().Tell(Told{text.str()});
}

} // namespace

std::vector<Command> ShowCommands()
{
    return {
        {"dump", "--task|--base_info|--event|--scenario|--workMode|--limit_history", "print the state", Dump},
        {"chart", "", "draw what the nodes held so far, a row each", ShowChart},
        {"version", "", "print the version of the library", Version},
        {"log", "BITS", "show info (1) and debug (2) lines of the library", Log},
        {"help", "", "print this", Help},
    };
}
