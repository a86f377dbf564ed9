#include "tools/corvanectl/program/EmbeddedFiles.h"
#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/SandboxNodes.h"

#include <memory>
#include <sstream>

Verb AddDemo(CLI::App& app)
{
    auto* const verb = app.add_subcommand("demo", "Play a scripted minute on a sample platform in a sandbox");
    auto const options = std::make_shared<PlayOptions>();
    options->platform.file = "sample platform";
    options->live = true;
    options->AddTrace(*verb);
    return {
        verb, [options] {
            std::istringstream script(DEMO_SCRIPT);
            return Play(*options, SAMPLE_PLATFORM, std::make_unique<SandboxNodes>(), {script, "demo script", false});
        }};
}
