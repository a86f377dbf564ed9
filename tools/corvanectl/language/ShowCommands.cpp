#include "tools/corvanectl/language/Command.h"
#include "tools/corvanectl/language/Interpreter.h"
#include "tools/corvanectl/session/Explain.h"
#include "tools/corvanectl/session/LibraryVoice.h"

#include <optional>
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

void ExplainQos(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.Live();
    PerfQosId const qos = ToQosId(session, words.Take("the id or name of a resource"));
    auto const group = words.Empty() ? std::nullopt : std::optional(words.TakeUnsigned("the number of a group"));
    words.End();
    session.Tell(Told{Explain(session, qos, group)});
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
        {"explain", "QOS [GROUP]", "say who holds the floor and the ceiling, and what waits behind", ExplainQos},
        {"version", "", "print the version of the library", Version},
        {"log", "BITS", "show info (1) and debug (2) lines of the library", Log},
        {"help", "", "print this", Help},
    };
}
