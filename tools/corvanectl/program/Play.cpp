#include "tools/corvanectl/program/Play.h"

#include "tools/corvanectl/language/Interpreter.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Interrupts.h"
#include "tools/corvanectl/program/LineReader.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/session/Session.h"
#include "tools/corvanectl/story/Chart.h"
#include "tools/corvanectl/story/LogLines.h"
#include "tools/corvanectl/story/SvgWriter.h"
#include "tools/corvanectl/story/Trace.h"
#include "tools/corvanectl/story/Transcript.h"

#include <iostream>
#include <optional>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace {

/** A file of what a listener heard: written when the play is over, however it ends. */
template <typename Listener> class StoryFile {
public:
    using Writer = void (*)(Listener const&, std::ostream&);

    StoryFile(std::string const& name, Writer writer, Story& story) : file(name), write(writer) { story.Add(listener); }
    StoryFile(StoryFile const&) = delete;
    StoryFile& operator=(StoryFile const&) = delete;
    ~StoryFile() { Finish(); }

    /** Writes it, if that has not happened. @return whether it could be written. */
    bool Finish()
    {
        if (!finished) {
            finished = true;
            write(listener, file.Stream());
            whole = file.Finish();
        }
        return whole;
    }

private:
    OutputFile file;
    Writer const write;
    Listener listener;
    bool finished = false;
    bool whole = true;
};

/** The files that a play leaves. */
class StoryFiles {
public:
    StoryFiles(PlayOptions const& options, Story& story)
    {
        if (!options.traceFile.empty()) {
            trace.emplace(
                options.traceFile, [](Trace const& heard, std::ostream& out) { heard.Write(out); }, story);
        }
        if (!options.plotFile.empty()) {
            plot.emplace(options.plotFile, WriteSvg, story);
        }
    }

    /** Writes them. @return whether all could be written. */
    bool Finish()
    {
        bool const traceIsWhole = !trace || trace->Finish();
        return (!plot || plot->Finish()) && traceIsWhole;
    }

private:
    std::optional<StoryFile<Trace>> trace;
    std::optional<StoryFile<Chart>> plot;
};

/** While it lives, a second signal leaves the nodes in a hurry. */
class LastResort {
public:
    LastResort(Interrupts& taking, Nodes& nodes) : interrupts(taking)
    {
        interrupts.SetLastResort([&nodes] { nodes.Abandon(); });
    }
    LastResort(LastResort const&) = delete;
    LastResort& operator=(LastResort const&) = delete;
    ~LastResort() { interrupts.SetLastResort({}); }

private:
    Interrupts& interrupts;
};

void RunCommands(CommandSource const& source, StopSignal const& stop, Interpreter& interpreter)
{
    std::string line;
    for (unsigned int number = 1; !interpreter.HasQuit() && std::cout; ++number) {
        if (source.isTerminal) {
            std::cout << "> " << std::flush;
        }
        if (stop.IsRaised() || !source.next(line, stop)) {
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

void PlayOptions::AddTo(CLI::App& verb)
{
    verb.add_flag("--live", live, "Let time pass as it does, in a sandbox too, and show writes as they happen");
    verb.add_option("--trace", traceFile, "Write a Chrome-JSON trace to this file");
    verb.add_option("--plot", plotFile, "Draw what the nodes held and who asked for it to this SVG file");
}

CommandSource ScriptSource(std::string const& name, std::string const& text)
{
    auto const script = std::make_shared<std::istringstream>(text);
    return {name, false, [script](std::string& line, StopSignal const& /* stop */) {
                return static_cast<bool>(std::getline(*script, line));
            }};
}

CommandSource StandardInput()
{
    auto const lines = std::make_shared<LineReader>(STDIN_FILENO);
    return {"standard input", isatty(STDIN_FILENO) == 1,
            [lines](std::string& line, StopSignal const& stop) { return lines->Next(line, stop); }};
}

int Play(PlayOptions const& options, std::string const& platformText, std::unique_ptr<Nodes> given,
         CommandSource const& source)
{
    StopSignal stop;
    Interrupts interrupts(stop); // outermost: a signal that came ends the process here
    SessionTime time(options.live || given->AreReal() ? SessionTime::Kind::DEVICE : SessionTime::Kind::VIRTUAL);
    std::unique_ptr<Nodes> const nodes = std::move(given);
    Story story;
    LogLines log(std::cerr);
    story.Add(log);
    LibraryVoice const voice(story);
    Findings findings;
    Platform platform = options.platform.Read(platformText, findings);
    if (findings.HasErrors()) {
        options.platform.Print(findings, platformText, std::cerr);
        return STATUS_BAD_INPUT;
    }
    LibraryVoice::Switch(options.logBits);
    StoryFiles files(options, story);
    bool const showAtOnce = options.live || source.isTerminal || time.IsVirtual();
    Transcript transcript(std::cout, {showAtOnce, !source.isTerminal, options.brief});
    story.Add(transcript);
    LastResort const lastResort(interrupts, *nodes);
    Session session(std::move(platform), *nodes, story, time, stop);
    Interpreter interpreter(session);
    RunCommands(source, stop, interpreter);
    bool const isAsExpected = session.End() && !interpreter.HasFailed();
    if (!files.Finish()) {
        return STATUS_CANNOT_WRITE;
    }
    return isAsExpected ? STATUS_OK : STATUS_NOT_AS_EXPECTED;
}
