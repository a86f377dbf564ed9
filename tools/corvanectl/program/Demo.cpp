// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/program/EmbeddedFiles.h"
#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Program.h"

#include <memory>

namespace {

int Demo(PlayOptions const& options)
{
    return Play(options, SAMPLE_PLATFORM, std::make_unique<SandboxNodes>(), EmbeddedSource("demo script", DEMO_SCRIPT));
}

} // namespace

Verb AddDemo(CLI::App& app)
{
    auto* const verb = app.add_subcommand("demo", "Play a script on a sample platform in a sandbox");
    auto const options = std::make_shared<PlayOptions>();
    options->platform.file = "sample platform";
    options->brief = true;
    options->AddTo(*verb);
    verb->footer("Example:\n  corvanectl demo --plot demo.svg");
    return {verb, [options] { return Demo(*options); }};
}
