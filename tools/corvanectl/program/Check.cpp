// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/DeviceCheck.h"
#include "tools/corvanectl/nodes/RealNodes.h"
#include "tools/corvanectl/platform/Summary.h"
#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/program/Program.h"

#include <iostream>
#include <memory>
#include <string>

namespace {

struct CheckOptions {
    PlatformInput platform;
    std::string root;
    bool device = false;
    bool strict = false;
};

int Check(CheckOptions const& options)
{
    PlatformInput const& input = options.platform;
    auto const isFault = [&](Findings const& found) { return found.HasErrors() || (options.strict && !found.Empty()); };
    Findings findings;
    Platform const platform = input.Read(findings);
    input.Print(findings, std::cout);
    if (isFault(findings)) {
        return STATUS_BAD_INPUT;
    }
    SummarisePlatform(platform, std::cout);
    if (!options.device) {
        return STATUS_OK;
    }
    Findings misfits = findings.ForSameText();
    CheckDevice(
        platform, [&](std::string const& node) { return PathBelow(options.root, node); }, misfits);
    input.Print(misfits, std::cout);
    return isFault(misfits) ? STATUS_NOT_AS_EXPECTED : STATUS_OK;
}

} // namespace

Verb AddCheck(CLI::App& app)
{
    auto* const verb = app.add_subcommand("check", "Say what is wrong with a platform file");
    auto const options = std::make_shared<CheckOptions>();
    options->platform.AddTo(*verb);
    verb->add_flag("--strict", options->strict, "Let a warning fail, too");
    auto* const device = verb->add_flag("--device", options->device, "Say as well what is wrong with the nodes here");
    AddRoot(*verb, options->root)->needs(device);
    verb->footer("Example:\n  corvanectl check platforms/sample.json --strict");
    return {verb, [options] { return Check(*options); }};
}
