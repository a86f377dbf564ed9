// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/powerhint/PowerHints.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/program/Program.h"

#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct ImportOptions {
    std::string file;
    std::string output;
};

int Import(ImportOptions const& options)
{
    PlatformInput source;
    source.file = options.file;
    Findings findings;
    PowerHints const hints = ReadPowerHints(options.file, WithoutComments(ReadTextFile(options.file)), findings);
    if (findings.HasErrors()) {
        source.Print(findings, std::cerr);
        return STATUS_BAD_INPUT;
    }
    std::filesystem::path const output(options.output);
    PlatformOfHints const imported = ImportPowerHints(hints, output.stem(), findings);
    source.Print(findings, std::cerr);
    std::string const script = std::filesystem::path(output).replace_extension(".txt");
    if (script == options.output) {
        throw InputError(script + ": is what the script beside the platform is to be called");
    }
    OutputFile platformFile(output);
    OutputFile scriptFile(script);
    platformFile.Stream() << imported.platform.dump(2) << "\n";
    scriptFile.Stream() << imported.script;
    bool const isWhole = platformFile.Finish() && scriptFile.Finish();
    std::cout << output.string() << ", " << script << ": " << Count(hints.nodes.size(), "node") << " in "
              << Count(imported.platform["qos"].size(), "resource") << ", "
              << Count(imported.platform["hints"].size(), "hint") << ": "
              << Count(imported.platform["events"].size(), "event") << ", "
              << Count(imported.platform["scenarios"].size(), "scenario") << ", the rest requests\n";
    return isWhole ? STATUS_OK : STATUS_CANNOT_WRITE;
}

} // namespace

Verb AddImport(CLI::App& app)
{
    auto* const verb = app.add_subcommand("import", "Make a platform file of a power-hint file");
    auto const options = std::make_shared<ImportOptions>();
    verb->add_option("POWERHINT", options->file, "The power-hint file")->required();
    verb->add_option("-o,--output", options->output, "The platform file; a script comes out beside it, as .txt")
        ->required();
    verb->footer("Example:\n  corvanectl import platforms/powerhint.json -o phone.json");
    return {verb, [options] { return Import(*options); }};
}
