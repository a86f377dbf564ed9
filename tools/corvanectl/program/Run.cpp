// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/RealNodes.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"

#include <memory>
#include <vector>

#include <android-base/properties.h>

namespace {

struct RunOptions : PlayOptions {
    std::string scriptFile;
    std::string root;
    std::vector<std::string> properties;
    bool sandbox = false;
    bool keep = false;
};

void SetProperties(std::vector<std::string> const& properties)
{
    for (std::string const& property : properties) {
        std::size_t const equals = property.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw InputError("--property " + property + ": must be of the form KEY=VALUE");
        }
        android::base::SetProperty(property.substr(0, equals), property.substr(equals + 1));
    }
}

std::unique_ptr<Nodes> NodesFor(RunOptions const& options)
{
    if (options.sandbox) {
        return std::make_unique<SandboxNodes>();
    }
    return std::make_unique<RealNodes>(options.root, options.keep);
}

int Run(RunOptions const& options)
{
    std::string const platformText = ReadTextFile(options.platform.file);
    SetProperties(options.properties);
    CommandSource const source = options.scriptFile.empty() ? StandardInput() : ScriptSource(options.scriptFile);
    return Play(options, platformText, NodesFor(options), source);
}

} // namespace

Verb AddRun(CLI::App& app)
{
    auto* const verb = app.add_subcommand("run", R"(Take commands on a platform; "help" lists them)");
    auto const options = std::make_shared<RunOptions>();
    options->platform.AddTo(*verb);
    verb->add_option("--script", options->scriptFile, "Take the commands from this file, not from standard input");
    auto* const sandbox = verb->add_flag("--sandbox", options->sandbox, "Make every node in a temporary folder");
    AddRoot(*verb, options->root)->excludes(sandbox);
    verb->add_flag("--keep", options->keep, "Leave real nodes with what they were written last")->excludes(sandbox);
    verb->add_option("--property", options->properties, "Set a system property, KEY=VALUE, before the start");
    verb->add_option("--log", options->logBits, std::string("Show ") + SWITCHED_LINES);
    verb->add_option("--expect", options->expectFile, "Fail unless the writes are those of this record");
    options->AddTo(*verb);
    verb->footer("Example:\n  corvanectl run platforms/sample.json --sandbox --script platforms/tour.txt");
    return {verb, [options] { return Run(*options); }};
}
