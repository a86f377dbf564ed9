#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Interrupts.h"
#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/story/StoryDiff.h"

#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

struct DiffOptions {
    std::string first;
    std::string second;
    std::string scriptFile;
    std::optional<unsigned int> chipType;
};

/** @return the writes of a script on a platform. @throws InputError naming the platform, too. */
std::vector<RecordedWrite> WritesOf(PlatformInput const& input, CommandSource const& script)
try {
    StopSignal stop;
    Interrupts const interrupts(stop);
    SessionTime time(SessionTime::Kind::VIRTUAL);
    SandboxNodes nodes;
    Story story;
    LibraryVoice const voice(story);
    Findings findings;
    Platform platform = input.Read(ReadTextFile(input.file), findings);
    if (findings.HasErrors()) {
        throw InputError("no sound platform; \"corvanectl check\" says why");
    }
    Recording recording;
    story.Add(recording);
    Session session(std::move(platform), nodes, story, time, stop);
    Interpreter interpreter(session);
    RunCommands(script, stop, interpreter);
    session.End();
    return recording.Writes();
} catch (InputError const& error) {
    throw InputError(input.file + ": " + error.what());
}

int Diff(DiffOptions const& options)
{
    std::string const script = ReadTextFile(options.scriptFile);
    auto const writesOf = [&](std::string const& file) {
        return WritesOf({file, options.chipType}, ScriptSource(options.scriptFile, script));
    };
    auto const first = writesOf(options.first);
    auto const second = writesOf(options.second);
    std::ostringstream difference;
    if (ShowDifference(first, second, difference) == 0) {
        std::cout << "each of " << first.size() << " writes is the same\n";
        return STATUS_OK;
    }
    std::cout << "only " << options.first << " writes (-), only " << options.second << " writes (+):\n"
              << difference.str();
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
    verb->add_option("--chip-type", options->chipType, "Run both as this chip");
    verb->footer("Example:\n  corvanectl diff platforms/sample.json changed.json --script platforms/tour.txt");
    return {verb, [options] { return Diff(*options); }};
}
