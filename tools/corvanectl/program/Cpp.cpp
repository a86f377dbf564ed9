// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/CppWriter.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/program/Program.h"

#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct CppOptions {
    PlatformInput platform;
    std::string output;
};

int Cpp(CppOptions const& options)
{
    PlatformInput const& input = options.platform;
    Findings findings;
    Platform const platform = input.Read(findings);
    if (findings.HasErrors()) {
        input.Print(findings, std::cerr);
        return STATUS_BAD_INPUT;
    }
    std::string const source = std::filesystem::path(input.file).filename();
    if (options.output.empty()) {
        WriteCpp(platform, source, std::cout);
        return STATUS_OK;
    }
    OutputFile file(options.output);
    WriteCpp(platform, source, file.Stream());
    return file.Finish() ? STATUS_OK : STATUS_CANNOT_WRITE;
}

} // namespace

Verb AddCpp(CLI::App& app)
{
    auto* const verb = app.add_subcommand("cpp", "Write a platform as a C++ header for a service");
    auto const options = std::make_shared<CppOptions>();
    options->platform.AddTo(*verb);
    verb->add_option("-o,--output", options->output, "The header; standard output by default");
    verb->footer("Example:\n  corvanectl cpp platforms/sample.json -o sample_platform.h");
    return {verb, [options] { return Cpp(*options); }};
}
