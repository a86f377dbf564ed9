// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Explain.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Status.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Suggestion.h"
#include "tools/corvanectl/render/Paint.h"
#include "tools/corvanectl/session/LibraryVoice.h"

#include <algorithm>
#include <optional>
#include <sstream>

namespace {

constexpr std::size_t COLUMNS_OF_NO_TERMINAL = 112;

void Dump(Interpreter& interpreter, Words& words)
{
    std::ostringstream text;
    auto const options = words.TakeRest();
    if (interpreter.CurrentSession().Manager().Dump(text, options) != 0) {
        std::string const option = options.empty() ? "" : options.front();
        std::string const suggestion = DidYouMean(option, FixedWords(FindCommand("dump")));
        text << (suggestion.empty() ? "" : "    no such dump") << suggestion;
        interpreter.CurrentSession().Publish(Answered{-1});
    }
    interpreter.CurrentSession().Publish(Output{text.str()});
}

/** A command that takes nothing and shows a text. */
template <std::string (*TextOf)(Session&)> void Show(Interpreter& interpreter, Words& words)
{
    words.End();
    interpreter.CurrentSession().Publish(Output{TextOf(interpreter.CurrentSession())});
}

std::string ChartOf(Session& session)
{
    return session.GetChart().Text(ColumnsOfOutput(COLUMNS_OF_NO_TERMINAL));
}

std::string VersionOf(Session& session)
{
    std::ostringstream text;
    session.Manager().DumpCoreVersion(text);
    return text.str();
}

void ExplainQos(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    std::string const what = words.Take("QOS");
    if (what.front() == '/' || IsNode(session, what)) {
        words.End();
        ExpectNode(session, what);
        session.Publish(Output{ExplainNode(session, what)});
        return;
    }
    PerfQosId const qos = ToQosId(session, what);
    auto const group = words.Empty() ? std::nullopt : std::optional(words.TakeUnsigned("GROUP"));
    words.End();
    session.Publish(Output{Explain(session, qos, group)});
}

void Log(Interpreter& /* interpreter */, Words& words)
{
    unsigned int const bits = words.TakeUnsigned("BITS");
    words.End();
    LibraryVoice::Switch(bits);
}

void Help(Interpreter& interpreter, Words& words)
{
    std::ostringstream text;
    auto const describe = [&text](Command const& command) {
        text << "    " << command.name << " " << command.arguments << "\n        " << command.meaning << "\n";
    };
    if (words.Empty()) {
        std::for_each(AllCommands().begin(), AllCommands().end(), describe);
    } else {
        Command const& command = FindCommand(words.Take("COMMAND"));
        words.End();
        describe(command);
        text << "        example: " << command.example << "\n";
    }
    interpreter.CurrentSession().Publish(Output{text.str()});
}

} // namespace

std::vector<Command> ShowCommands()
{
    return {
        {"dump", "--task|--base_info|--event|--scenario|--workMode|--limit_history", "print the state", "dump --task",
         Dump},
        {"chart", "", "draw what the nodes held so far, a row each", "chart", Show<ChartOf>},
        {"explain", "QOS [GROUP] | NODE", "say who holds the floor and the ceiling, and what waits behind",
         "explain CPU_L", ExplainQos},
        {"nodes", "", "show of each node what it holds, its base and who holds it", "nodes", Show<NodeTable>},
        {"version", "", "print the version of the library", "version", Show<VersionOf>},
        {"log", "BITS", std::string("show ") + SWITCHED_LINES, "log 3", Log},
        {"status", "", "say what time it is, what is held and what is suspended", "status", Show<StatusOf>},
        {"help", "[COMMAND]", "list the commands, or show one with an example", "help request", Help},
        {"?", "[COMMAND]", "the same as help", "? request", Help},
    };
}
