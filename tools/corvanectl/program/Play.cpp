#include "tools/corvanectl/program/Play.h"

#include "tools/corvanectl/language/Interpreter.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/session/Session.h"
#include "tools/corvanectl/story/LogLines.h"
#include "tools/corvanectl/story/Trace.h"
#include "tools/corvanectl/story/Transcript.h"

#include <iostream>
#include <optional>
#include <utility>

namespace {

/** The trace file of a play: written when the play is over, however it ends. */
class TraceFile {
public:
    TraceFile(std::string const& name, Story& story) : file(name) { story.Add(trace); }
    TraceFile(TraceFile const&) = delete;
    TraceFile& operator=(TraceFile const&) = delete;
    ~TraceFile()
    {
        trace.Write(file.Stream());
        file.Finish();
    }

private:
    OutputFile file;
    Trace trace;
};

void RunCommands(CommandSource const& source, Interpreter& interpreter)
{
    std::string line;
    for (unsigned int number = 1; !interpreter.HasQuit(); ++number) {
        if (source.isTerminal) {
            std::cout << "> " << std::flush;
        }
        if (!std::getline(source.lines, line)) {
            return;
        }
        try {
            interpreter.Execute(line);
        } catch (InputError const& error) {
            if (!source.isTerminal) {
                throw InputError(source.name + ":" + std::to_string(number) + ": " + error.what());
            }
            std::cerr << error.what() << "\n";
        }
    }
}

} // namespace

void PlayOptions::AddTrace(CLI::App& verb)
{
    verb.add_option("--trace", traceFile, "Write a Chrome-JSON trace to this file");
}

int Play(PlayOptions const& options, std::string const& platformText, std::unique_ptr<Nodes> nodes,
         CommandSource const& source)
{
    Story story;
    LogLines log(std::cerr);
    story.Add(log);
    LibraryVoice const voice(story);
    Findings findings;
    Platform platform = options.platform.Read(platformText, findings);
    if (!findings.Empty()) {
        options.platform.Print(findings, std::cerr);
        return STATUS_BAD_INPUT;
    }
    LibraryVoice::Switch(options.logBits);
    std::optional<TraceFile> trace;
    if (!options.traceFile.empty()) {
        trace.emplace(options.traceFile, story);
    }
    Transcript transcript(std::cout, {options.live || source.isTerminal, !source.isTerminal});
    story.Add(transcript);
    Session session(std::move(platform), std::move(nodes), story);
    Interpreter interpreter(session);
    RunCommands(source, interpreter);
    return interpreter.HasFailed() ? STATUS_NOT_AS_EXPECTED : STATUS_OK;
}
