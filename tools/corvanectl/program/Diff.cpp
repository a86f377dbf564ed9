// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Interrupts.h"
#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/story/StoryDiff.h"

#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

struct DiffOptions {
    std::string first;
    std::string second;
    std::string scriptFile;
    std::optional<unsigned int> chipType;
    bool held = false;
};

/** Plays a script on a platform, for a listener. @throws InputError naming the platform, too. */
void PlayFor(StoryListener& listener, PlatformInput const& input, CommandSource const& script)
try {
    StopSignal stop;
    Interrupts const interrupts(stop);
    SessionTime time(SessionTime::Kind::VIRTUAL);
    SandboxNodes nodes;
    Story story;
    LibraryVoice const voice(story);
    Findings findings;
    Platform platform = input.Read(findings);
    if (findings.HasErrors()) {
        throw InputError("no sound platform; \"corvanectl check\" says why");
    }
    story.Add(listener);
    Session session(std::move(platform), nodes, story, time, stop);
    Interpreter interpreter(session, false);
    RunCommands(script, stop, interpreter);
    session.End();
} catch (InputError const& error) {
    throw InputError(input.file + ": " + error.what());
}

/** The script of both. What one of the platforms lacks is said and passed over there; what both lack is a mistake. */
class SharedScript {
public:
    explicit SharedScript(std::string const& name) : file(name) {}

    void PlayOn(PlatformInput const& platform, StoryListener& listener)
    {
        std::set<std::string> const lacking = std::exchange(passedOver, {});
        CommandSource script = ScriptSource(file);
        script.passOver = [&](std::string const& place, std::string const& complaint) {
            std::cerr << "warning: " << platform.file << ": " << place << ": " << complaint << "; passed over\n";
            passedOver.insert(place);
            return lacking.count(place) == 0;
        };
        PlayFor(listener, platform, script);
    }

private:
    std::string const file;
    std::set<std::string> passedOver; ///< places
};

int Diff(DiffOptions const& options)
{
    SharedScript script(options.scriptFile);
    Sandbox const folder; // of the first one's record
    std::string const record = folder.Path("first");
    {
        std::ofstream out(record);
        JsonLines lines(out);
        script.PlayOn({options.first, options.chipType}, lines);
        if (!out.flush()) {
            throw OutputError(record + ": could not be written whole");
        }
    }
    std::ifstream in(record);
    StoredStory first(options.first, in);
    StoryDiff diff(first, options.held ? Compared::HELD : Compared::WRITES, MOST_LISTED);
    script.PlayOn({options.second, options.chipType}, diff);
    diff.End();
    if (diff.Count() == 0) {
        std::cout << "each of " << diff.CountExpected() << (options.held ? " values held" : " writes")
                  << " is the same\n";
        return STATUS_OK;
    }
    char const* const does = options.held ? " holds" : " writes";
    std::cout << "only " << options.first << does << " (-), only " << options.second << does << " (+):\n"
              << diff.Text() << AndMore(diff.Count());
    return STATUS_NOT_AS_EXPECTED;
}

} // namespace

Verb AddDiff(CLI::App& app)
{
    auto* const verb = app.add_subcommand("diff", "Say what a change of a platform file changes in the writes");
    auto const options = std::make_shared<DiffOptions>();
    verb->add_option("FIRST", options->first, "A platform file")->required();
    verb->add_option("SECOND", options->second, "Another one")->required();
    verb->add_option("--script", options->scriptFile, "The commands that both are to take, in a sandbox")->required();
    verb->add_flag("--held", options->held, "Compare what nodes hold over time, not each write");
    AddChipType(*verb, options->chipType);
    verb->footer("Example:\n  corvanectl diff platforms/sample.json changed.json --script platforms/tour.txt");
    return {verb, [options] { return Diff(*options); }};
}
