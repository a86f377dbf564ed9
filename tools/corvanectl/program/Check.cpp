#include "tools/corvanectl/platform/Summary.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/story/LogLines.h"

#include <iostream>
#include <memory>

namespace {

int Check(PlatformInput const& input)
{
    Story story;
    LogLines log(std::cerr);
    story.Add(log);
    LibraryVoice const voice(story);
    Findings findings;
    Platform const platform = input.Read(ReadTextFile(input.file), findings);
    input.Print(findings, std::cout);
    if (!findings.Empty()) {
        return STATUS_BAD_INPUT;
    }
    SummarisePlatform(platform, std::cout);
    return STATUS_OK;
}

} // namespace

Verb AddCheck(CLI::App& app)
{
    auto* const verb = app.add_subcommand("check", "Say what is wrong with a platform file");
    auto const input = std::make_shared<PlatformInput>();
    input->AddTo(*verb);
    return {verb, [input] { return Check(*input); }};
}
