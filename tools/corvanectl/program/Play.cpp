// SPDX-License-Identifier: Apache-2.0

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
#include "tools/corvanectl/story/StoryDiff.h"

#include <iostream>
#include <optional>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace {

/** A file that a listener writes while a play goes on, and ends with it, however that ends. */
template <typename Listener> class StoryFile {
public:
    StoryFile(std::string const& name, Story& story) : file(name), listener(file.Stream()) { story.Add(listener); }
    StoryFile(StoryFile const&) = delete;
    StoryFile& operator=(StoryFile const&) = delete;
    ~StoryFile() { Finish(); }

    /** Ends it, if that has not happened. @return whether it could be written. */
    bool Finish()
    {
        if (!std::exchange(finished, true)) {
            listener.End();
            whole = file.Finish();
        }
        return whole;
    }

private:
    OutputFile file;
    Listener listener;
    bool finished = false;
    bool whole = true;
};

/** The files that a play leaves. */
class StoryFiles {
public:
    StoryFiles(PlayOptions const& options, Story& story)
    {
        Add(trace, options.traceFile, story);
        Add(plot, options.plotFile, story);
        Add(record, options.recordFile, story);
    }

    /** Ends them. @return whether all could be written. */
    bool Finish()
    {
        bool const traceIsWhole = !trace || trace->Finish();
        bool const recordIsWhole = !record || record->Finish();
        return (!plot || plot->Finish()) && traceIsWhole && recordIsWhole;
    }

private:
    template <typename Listener>
    static void Add(std::optional<StoryFile<Listener>>& file, std::string const& name, Story& story)
    {
        if (!name.empty()) {
            file.emplace(name, story);
        }
    }

    std::optional<StoryFile<Trace>> trace;
    std::optional<StoryFile<Picture>> plot;
    std::optional<StoryFile<JsonLines>> record;
};

/** A record that the writes of a play are held to. */
class Expectation {
public:
    /** @throws RecordError if it is none. */
    Expectation(std::string const& name, Story& story)
        : file(name), in(OpenTextFile(name)), stored(name, in), diff(stored, Compared::WRITES, MOST_LISTED)
    {
        story.Add(diff);
    }

    /** @return whether the writes are those on record; what differs is shown. */
    bool IsMet(std::ostream& out)
    {
        diff.End();
        if (diff.Count() == 0) {
            out << "\n" << file << ": each of " << diff.CountExpected() << " writes is as expected\n";
        } else {
            out << "\n" << file << ": not as expected (-), but (+):\n" << diff.Text() << AndMore(diff.Count());
        }
        return diff.Count() == 0;
    }

private:
    std::string const file;
    std::ifstream in;
    StoredStory stored;
    StoryDiff diff;
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

CommandSource SourceOf(std::string const& name, std::shared_ptr<std::istream> const& script)
{
    return {name, false, true,
            [script](std::string& line, StopSignal const& /* stop */, Completer const& /* complete */) {
                return static_cast<bool>(std::getline(*script, line));
            }};
}

/** @throws InputError except at a terminal, where the next command is awaited. */
void Complain(CommandSource const& source, std::string const& place, InputError const& error)
{
    if (!source.isTerminal) {
        throw InputError(place + ": " + error.what());
    }
    std::cerr << error.what() << "\n";
}

} // namespace

void RunCommands(CommandSource const& source, StopSignal const& stop, Interpreter& interpreter)
{
    Completer const complete = [&interpreter](std::string const& typed) {
        return Completions(interpreter.CurrentSession(), typed);
    };
    std::string line;
    for (unsigned int number = 1; !interpreter.HasQuit() && std::cout; ++number) {
        if (stop.IsRaised() || !source.next(line, stop, complete)) {
            return;
        }
        std::string const place = source.name + ":" + std::to_string(number);
        try {
            interpreter.Execute(line);
        } catch (UnknownName const& error) {
            if (!source.passOver || !source.passOver(place, error.what())) {
                Complain(source, place, error);
            }
        } catch (InputError const& error) {
            Complain(source, place, error);
        }
    }
}

void PlayOptions::AddTo(CLI::App& verb)
{
    verb.add_flag("--live", live, "Let time pass as it does, in a sandbox too, and show writes as they happen");
    verb.add_flag("--json", json, "Print what happens as JSON, an object a line, and nothing else");
    verb.add_option("--trace", traceFile, "Write a Chrome-JSON trace to this file");
    verb.add_option("--plot", plotFile, "Draw what the nodes held and who asked for it to this SVG file");
    verb.add_option("--record", recordFile, "Keep what happens in this file, for --expect and plot");
}

CommandSource EmbeddedSource(std::string const& name, std::string const& text)
{
    return SourceOf(name, std::make_shared<std::istringstream>(text));
}

CommandSource ScriptSource(std::string const& file)
{
    return SourceOf(file, std::make_shared<std::ifstream>(OpenTextFile(file)));
}

CommandSource StandardInput()
{
    std::string const name = "standard input";
    bool const isTerminal = isatty(STDIN_FILENO) == 1;
#ifdef CORVANECTL_EDITS_LINES
    if (Terminal::IsThere()) {
        auto const terminal = std::make_shared<Terminal>();
        return {name, isTerminal, false,
                [terminal](std::string& line, StopSignal const& stop, Completer const& complete) {
                    return terminal->Next(line, stop, complete);
                }};
    }
#endif
    bool const prompts = isTerminal && isatty(STDOUT_FILENO) == 1;
    auto const lines = std::make_shared<LineReader>(STDIN_FILENO);
    return {name, isTerminal, false,
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
        options.platform.Print(findings, std::cerr);
        return STATUS_BAD_INPUT;
    }
    LibraryVoice::Switch(options.logBits);
    if (!time.IsVirtual() && !options.expectFile.empty()) {
        throw InputError("--expect: times are exact only in a sandbox, and not with --live");
    }
    std::optional<Expectation> expectation;
    if (!options.expectFile.empty()) {
        expectation.emplace(options.expectFile, story);
    }
    StoryFiles files(options, story);
    CommandSource source = given;
    source.isTerminal = source.isTerminal && !options.json;
    JsonLines lines(std::cout, true);
    bool const showAtOnce = options.live || source.isTerminal || time.IsVirtual();
    Transcript transcript(std::cout, {showAtOnce, !source.isTerminal, options.brief});
    if (options.json) {
        story.Add(lines);
    } else {
        story.Add(transcript);
    }
    LastResort const lastResort(interrupts, *nodes);
    Session session(std::move(platform), *nodes, story, time, stop);
    Interpreter interpreter(session, source.isScript);
    RunCommands(source, stop, interpreter);
    bool const isLeftWell = session.End();
    bool const isMet = !expectation || expectation->IsMet(options.json ? std::cerr : std::cout);
    bool const isAsExpected = isMet && isLeftWell && !interpreter.HasFailed();
    if (!files.Finish()) {
        return STATUS_CANNOT_WRITE;
    }
    return isAsExpected ? STATUS_OK : STATUS_NOT_AS_EXPECTED;
}
