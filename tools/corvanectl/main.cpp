// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Suggestion.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/story/JsonLines.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

/** What help ends with. */
std::string Closing()
{
    std::string text = "Exit status:\n";
    for (std::size_t status = 0; status < STATUS_MEANINGS.size(); ++status) {
        text += "  " + std::to_string(status) + "  " + STATUS_MEANINGS[status] + "\n";
    }
    return text + "\nExamples:\n  corvanectl demo\n  corvanectl run --help";
}

/** @return a complaint about the first verb or option that there is not, or nothing. */
std::string Typo(CLI::App const& app, std::vector<Verb> const& verbs, std::vector<std::string> const& words)
{
    std::vector<std::string> verbNames;
    CLI::App const* parser = &app;
    std::transform(verbs.begin(), verbs.end(), std::back_inserter(verbNames),
                   [](Verb const& verb) { return verb.parser->get_name(); });
    for (std::string const& word : words) {
        bool const isOption = word.rfind("--", 0) == 0;
        std::string const name = isOption ? word.substr(0, word.find('=')) : word;
        auto const known = isOption ? OptionNames(*parser) : verbNames;
        auto const found = std::find(known.begin(), known.end(), name);
        if ((isOption || parser == &app) && found == known.end()) {
            return std::string("unknown ") + (isOption ? "option" : "command") + " \"" + name + "\"" +
                   DidYouMean(name, known);
        }
        if (!isOption && parser == &app) {
            parser = verbs[static_cast<std::size_t>(found - known.begin())].parser;
        }
    }
    return "";
}

int Main(int argc, char** argv)
{
    CLI::App app("Drives libcorvane from a terminal", "corvanectl");
    app.require_subcommand(1);
    app.set_version_flag("--version", "corvanectl " CORVANE_VERSION, "Print the version and exit");
    std::vector<Verb> const verbs = {AddDemo(app), AddRun(app),  AddCheck(app),  AddImport(app),    AddCpp(app),
                                     AddDiff(app), AddPlot(app), AddManual(app), AddCompletion(app)};
    app.footer(Closing());
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // help was asked for
        }
        std::string const typo = Typo(app, verbs, {argv + 1, argv + argc});
        bool const saysEnough = !typo.empty() && typo.back() == '?';
        throw InputError((typo.empty() ? error.what() : typo) + (saysEnough ? "" : "; see --help"));
    }
    for (Verb const& verb : verbs) {
        if (verb.parser->parsed()) {
            return verb.run();
        }
    }
    return STATUS_BAD_INPUT;
}

/** A stream that whoever started us has closed is at its end, and no other file gets its number. */
void OpenStreams()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor);
}

} // namespace

int main(int argc, char** argv)
{
    OpenStreams();
    std::signal(SIGPIPE, SIG_IGN); // a reader who leaves is a stream that fails
    try {
        int const status = Main(argc, argv);
        if (std::cout << std::flush) {
            return status;
        }
        std::cerr << "corvanectl: standard output cannot be written\n";
        return STATUS_CANNOT_WRITE;
    } catch (InputError const& error) {
        std::cerr << "corvanectl: " << error.what() << "\n";
    } catch (RecordError const& error) {
        std::cerr << "corvanectl: " << error.what() << "\n";
    } catch (OutputError const& error) {
        std::cerr << "corvanectl: " << error.what() << "\n";
        return STATUS_CANNOT_WRITE;
    } catch (std::exception const& error) {
        std::cerr << "corvanectl: failed: " << error.what() << "\n";
    }
    return STATUS_BAD_INPUT;
}
