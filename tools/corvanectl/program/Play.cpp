#include "tools/corvanectl/program/Play.h"

#include "tools/corvanectl/commands/Completion.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Interrupts.h"
#include "tools/corvanectl/program/LineReader.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/program/Terminal.h"
#include "tools/corvanectl/render/Chart.h"
#include "tools/corvanectl/render/LogLines.h"
#include "tools/corvanectl/render/SvgWriter.h"
#include "tools/corvanectl/render/Trace.h"
#include "tools/corvanectl/render/Transcript.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/session/Session.h"
#include "tools/corvanectl/story/JsonLines.h"
#include "tools/corvanectl/story/Recording.h"
#include "tools/corvanectl/story/StoryDiff.h"

#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

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
        if (!options.recordFile.empty()) {
            record.emplace(
                options.recordFile, [](Recording const& heard, std::ostream& out) { heard.Write(out); }, story);
        }
    }

    /** Writes them. @return whether all could be written. */
    bool Finish()
    {
        bool const traceIsWhole = !trace || trace->Finish();
        bool const recordIsWhole = !record || record->Finish();
        return (!plot || plot->Finish()) && traceIsWhole && recordIsWhole;
    }

private:
    std::optional<StoryFile<Trace>> trace;
    std::optional<StoryFile<Chart>> plot;
    std::optional<StoryFile<Recording>> record;
};

/** A record that the writes of a play are held to. */
class Expectation {
public:
    /** @param name of the record's file; empty: there is nothing to be held to. */
    Expectation(std::string const& name, Story& story) : file(name)
    {
        if (!file.empty()) {
            expected = Read();
            story.Add(actual);
        }
    }

    /** @return whether the writes are those on record; if not, what differs has been shown. */
    bool IsMet(std::ostream& out) const
    {
        if (file.empty()) {
            return true;
        }
        std::ostringstream difference;
        std::size_t const count = ShowDifference(expected, actual.Writes(), difference);
        out << "\n" << file << ": ";
        if (count == 0) {
            out << "each of " << expected.size() << " writes is as expected\n";
        } else {
            out << "not as expected (-), but (+):\n" << difference.str();
        }
        return count == 0;
    }

private:
    std::vector<RecordedWrite> Read() const
    {
        std::string const text = ReadTextFile(file);
        try {
            return ReadRecording(text);
        } catch (std::invalid_argument const& error) {
            throw InputError(file + ":" + error.what());
        }
    }

    std::string const file;
    std::vector<RecordedWrite> expected;
    Recording actual;
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

} // namespace

void RunCommands(CommandSource const& source, StopSignal const& stop, Interpreter& interpreter)
{
    Completer const complete = [&interpreter](std::string const& typed) {
        return Completions(interpreter.Live(), typed);
    };
    std::string line;
    for (unsigned int number = 1; !interpreter.HasQuit() && std::cout; ++number) {
        if (stop.IsRaised() || !source.next(line, stop, complete)) {
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

void PlayOptions::AddTo(CLI::App& verb)
{
    verb.add_flag("--live", live, "Let time pass as it does, in a sandbox too, and show writes as they happen");
    verb.add_flag("--json", json, "Print what happens as JSON, an object a line, and nothing else");
    verb.add_option("--trace", traceFile, "Write a Chrome-JSON trace to this file");
    verb.add_option("--plot", plotFile, "Draw what the nodes held and who asked for it to this SVG file");
}

CommandSource ScriptSource(std::string const& name, std::string const& text)
{
    auto const script = std::make_shared<std::istringstream>(text);
    return {name, false, [script](std::string& line, StopSignal const& /* stop */, Completer const& /* complete */) {
                return static_cast<bool>(std::getline(*script, line));
            }};
}

CommandSource StandardInput()
{
    std::string const name = "standard input";
    bool const isTerminal = isatty(STDIN_FILENO) == 1;
#ifdef CORVANECTL_EDITS_LINES
    if (Terminal::IsThere()) {
        auto const terminal = std::make_shared<Terminal>();
        return {name, isTerminal, [terminal](std::string& line, StopSignal const& stop, Completer const& complete) {
                    return terminal->Next(line, stop, complete);
                }};
    }
#endif
    bool const prompts = isTerminal && isatty(STDOUT_FILENO) == 1;
    auto const lines = std::make_shared<LineReader>(STDIN_FILENO);
    return {name, isTerminal,
            [lines, prompts](std::string& line, StopSignal const& stop, Completer const& /* complete */) {
                std::cout << (prompts ? "> " : "") << std::flush;
                return lines->Next(line, stop);
            }};
}

int Play(PlayOptions const& options, std::string const& platformText, std::unique_ptr<Nodes> where,
         CommandSource const& given)
{
    StopSignal stop;
    Interrupts interrupts(stop); // outermost: a signal that came ends the process here
    SessionTime time(options.live || where->AreReal() ? SessionTime::Kind::DEVICE : SessionTime::Kind::VIRTUAL);
    std::unique_ptr<Nodes> const nodes = std::move(where);
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
    if (!time.IsVirtual() && !(options.recordFile.empty() && options.expectFile.empty())) {
        throw InputError("--record and --expect: times are exact only in a sandbox, and not with --live");
    }
    Expectation const expectation(options.expectFile, story);
    StoryFiles files(options, story);
    CommandSource source = given;
    source.isTerminal = source.isTerminal && !options.json;
    JsonLines lines(std::cout);
    bool const showAtOnce = options.live || source.isTerminal || time.IsVirtual();
    Transcript transcript(std::cout, {showAtOnce, !source.isTerminal, options.brief});
    if (options.json) {
        story.Add(lines);
    } else {
        story.Add(transcript);
    }
    LastResort const lastResort(interrupts, *nodes);
    Session session(std::move(platform), *nodes, story, time, stop);
    Interpreter interpreter(session);
    RunCommands(source, stop, interpreter);
    bool const isLeftWell = session.End();
    bool const isAsExpected =
        expectation.IsMet(options.json ? std::cerr : std::cout) && isLeftWell && !interpreter.HasFailed();
    if (!files.Finish()) {
        return STATUS_CANNOT_WRITE;
    }
    return isAsExpected ? STATUS_OK : STATUS_NOT_AS_EXPECTED;
}
