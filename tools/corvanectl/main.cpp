#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/program/Program.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

int Main(int argc, char** argv)
{
    CLI::App app("Drives libcorvane from a terminal.");
    app.require_subcommand(1);
    std::vector<Verb> const verbs = {AddDemo(app), AddRun(app),  AddCheck(app), AddImport(app),
                                     AddCpp(app),  AddDiff(app), AddPlot(app)};
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // help was asked for
        }
        throw InputError(std::string(error.what()) + "; see --help");
    }
    for (Verb const& verb : verbs) {
        if (verb.parser->parsed()) {
            return verb.run();
        }
    }
    return STATUS_BAD_INPUT;
}

} // namespace

int main(int argc, char** argv)
{
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
    } catch (std::exception const& error) {
        std::cerr << "corvanectl: failed: " << error.what() << "\n";
    }
    return STATUS_BAD_INPUT;
}
