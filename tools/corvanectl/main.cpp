#include "tools/corvanectl/CommandInterpreter.h"
#include "tools/corvanectl/EmbeddedFiles.h"
#include "tools/corvanectl/Findings.h"
#include "tools/corvanectl/LogLines.h"
#include "tools/corvanectl/PlatformCheck.h"
#include "tools/corvanectl/PlatformFile.h"
#include "tools/corvanectl/Trace.h"
#include "tools/corvanectl/Transcript.h"
#include "tools/corvanectl/Workbench.h"

#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <android-base/properties.h>
#include <unistd.h>

namespace {

constexpr int STATUS_OK = 0;
constexpr int STATUS_NOT_AS_EXPECTED = 1;
constexpr int STATUS_BAD_INPUT = 2;

struct Options {
    std::string platformFile;
    std::string scriptFile;
    std::string root;
    std::string traceFile;
    std::vector<std::string> properties;
    unsigned int chipType = 0;
    unsigned int logBits = 0;
    bool chipTypeGiven = false;
    bool sandbox = false;
    bool live = false;
};

void PrintFindings(std::string const& file, Findings const& findings, std::ostream& out)
{
    for (Finding const& finding : findings.All()) {
        out << file << ": " << finding.path << (finding.path.empty() ? "" : ": ") << finding.text << "\n";
    }
}

Platform ReadAndCheck(Options const& options, std::string const& text, Findings& findings)
{
    Platform platform = ReadPlatform(options.platformFile, text, findings);
    if (options.chipTypeGiven) {
        platform.control.chipType = options.chipType;
    }
    CheckPlatform(platform, findings);
    return platform;
}

int Check(Options const& options)
{
    LogLines const log;
    Findings findings;
    Platform const platform = ReadAndCheck(options, ReadTextFile(options.platformFile), findings);
    PrintFindings(options.platformFile, findings, std::cout);
    if (!findings.Empty()) {
        return STATUS_BAD_INPUT;
    }
    SummarisePlatform(platform, std::cout);
    return STATUS_OK;
}

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

NodePlace PlaceOf(Options const& options)
{
    if (options.sandbox) {
        return {NodePlace::Kind::SANDBOX, ""};
    }
    return {options.root.empty() ? NodePlace::Kind::REAL : NodePlace::Kind::ROOT, options.root};
}

/** Plays commands on a platform. */
int Play(Options const& options, std::string const& platformText, std::istream& commands, std::string const& name,
         bool isTerminal)
{
    SetProperties(options.properties);
    LogLines const log;
    Findings findings;
    Platform platform = ReadAndCheck(options, platformText, findings);
    if (!findings.Empty()) {
        PrintFindings(options.platformFile, findings, std::cerr);
        return STATUS_BAD_INPUT;
    }
    LogLines::Switch(options.logBits);
    std::optional<Trace> trace;
    if (!options.traceFile.empty()) {
        trace.emplace(options.traceFile);
    }
    Transcript transcript(std::cout, options.live || isTerminal);
    Workbench workbench(std::move(platform), PlaceOf(options), transcript);
    CommandInterpreter interpreter(workbench, !isTerminal);
    transcript.StartClock();
    RunCommands(commands, name, isTerminal, interpreter);
    return interpreter.HasFailed() ? STATUS_NOT_AS_EXPECTED : STATUS_OK;
}

int Run(Options const& options)
{
    std::string const platformText = ReadTextFile(options.platformFile);
    if (options.scriptFile.empty()) {
        return Play(options, platformText, std::cin, "standard input", isatty(STDIN_FILENO) == 1);
    }
    std::istringstream script(ReadTextFile(options.scriptFile));
    return Play(options, platformText, script, options.scriptFile, false);
}

int Demo(Options options)
{
    options.platformFile = "sample platform";
    options.sandbox = true;
    options.live = true;
    std::istringstream script(DEMO_SCRIPT);
    return Play(options, SAMPLE_PLATFORM, script, "demo script", false);
}

void AddRunOptions(CLI::App& run, Options& options)
{
    run.add_option("PLATFORM", options.platformFile, "The platform file")->required();
    run.add_option("--script", options.scriptFile, "Take the commands from this file, not from standard input");
    auto* const sandbox = run.add_flag("--sandbox", options.sandbox, "Make every node in a temporary folder");
    run.add_option("--root", options.root, "Put this folder before every path")->excludes(sandbox);
    run.add_option("--property", options.properties, "Set a system property, KEY=VALUE, before the start");
    run.add_option("--log", options.logBits, "Show info (1) and debug (2) lines of the library");
    run.add_flag("--live", options.live, "Show writes as they happen, also when a script runs");
}

int Main(int argc, char** argv)
{
    CLI::App app("Drives libcorvane from a terminal.");
    app.require_subcommand(1);
    Options options;

    auto* const demo = app.add_subcommand("demo", "Play a scripted minute on a sample platform in a sandbox");
    auto* const run = app.add_subcommand("run", "Take commands on a platform; \"help\" lists them");
    auto* const check = app.add_subcommand("check", "Say what is wrong with a platform file");
    AddRunOptions(*run, options);
    check->add_option("PLATFORM", options.platformFile, "The platform file")->required();
    for (auto* const command : {demo, run}) {
        command->add_option("--trace", options.traceFile, "Write a Chrome-JSON trace to this file");
    }
    std::vector<CLI::Option*> chipTypes;
    for (auto* const command : {run, check}) {
        chipTypes.push_back(command->add_option("--chip-type", options.chipType, "Run as this chip"));
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // help was asked for
        }
        throw InputError(std::string(error.what()) + "; see --help");
    }
    for (CLI::Option const* const chipType : chipTypes) {
        options.chipTypeGiven = options.chipTypeGiven || chipType->count() != 0;
    }
    if (demo->parsed()) {
        return Demo(options);
    }
    return run->parsed() ? Run(options) : Check(options);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return Main(argc, argv);
    } catch (InputError const& error) {
        std::cerr << "corvanectl: " << error.what() << "\n";
    } catch (std::exception const& error) {
        std::cerr << "corvanectl: failed: " << error.what() << "\n";
    }
    return STATUS_BAD_INPUT;
}
