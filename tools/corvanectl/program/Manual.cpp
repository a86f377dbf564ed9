// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/program/Program.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr char const* DESCRIPTION =
    "libcorvane arbitrates what clients ask of a device's tunables, boosts and limits, and writes the outcome to "
    "kernel nodes. corvanectl is the library on a terminal: on the sample platform, on a platform file, on a sandbox "
    "of node "
    "files or on the device, whose nodes it leaves as it found them.";

/** What no option and no command says. */
constexpr char const* SURROUNDINGS = R"(.SH ENVIRONMENT
.TP
.B NO_COLOR
If it is set to anything, nothing is coloured. Elsewhere than on a terminal nothing is anyhow.
.TP
.B TMPDIR
Where the folder of a sandbox is made.
.SH FILES
.TP
.I $XDG_STATE_HOME/corvanectl/history
The last lines that were typed at a terminal; below
.I ~/.local/state
if the variable is not set.
.TP
.I ~/.editrc
How lines are edited:
.BR editrc (5).
)";

using Options = std::vector<CLI::Option const*>;

std::vector<CLI::App const*> VerbsOf(CLI::App const& app)
{
    return app.get_subcommands([](CLI::App const* /* any */) { return true; });
}

Options OptionsOf(CLI::App const& parser, bool positional)
{
    Options options = parser.get_options();
    auto const isOther = [positional](CLI::Option const* option) { return option->get_positional() != positional; };
    options.erase(std::remove_if(options.begin(), options.end(), isOther), options.end());
    return options;
}

/** Text as the manual takes it: a hyphen that can be copied, and nothing that reads as a request. */
std::string Roff(std::string const& text)
{
    std::string roff;
    for (char const letter : text) {
        if (letter == '-' || letter == '\\') {
            roff += letter == '-' ? "\\-" : "\\e";
        } else {
            roff += letter;
        }
    }
    return (roff.empty() || (roff.front() != '.' && roff.front() != '\'') ? "" : "\\&") + roff;
}

void PutItem(std::string const& title, std::string const& text, std::ostream& out)
{
    out << ".TP\n.B " << Roff(title) << "\n" << Roff(text) << "\n";
}

void PutVerb(CLI::App const& verb, std::ostream& out)
{
    out << ".SS corvanectl " << Roff(verb.get_name());
    for (CLI::Option const* const option : OptionsOf(verb, true)) {
        out << " " << Roff(option->get_name(true));
    }
    out << "\n" << Roff(verb.get_description()) << ".\n";
    for (CLI::Option const* const option : OptionsOf(verb, true)) {
        PutItem(option->get_name(true), option->get_description(), out);
    }
    for (CLI::Option const* const option : OptionsOf(verb, false)) {
        bool const takesValue = option->get_items_expected_max() > 0;
        PutItem(option->get_name(false, true) + (takesValue ? " VALUE" : ""), option->get_description(), out);
    }
}

/** @return the lines of a parser's footer that can be typed. */
std::vector<std::string> ExamplesOf(CLI::App const& parser)
{
    std::vector<std::string> examples;
    std::istringstream footer(parser.get_footer());
    for (std::string line; std::getline(footer, line);) {
        if (line.rfind("  corvanectl ", 0) == 0) {
            examples.push_back(line.substr(2));
        }
    }
    return examples;
}

void PutManual(CLI::App const& app, std::ostream& out)
{
    out << ".TH CORVANECTL 1 \"\" \"libcorvane\" \"User Commands\"\n.SH NAME\ncorvanectl \\- " << app.get_description()
        << "\n.SH SYNOPSIS\n.B corvanectl\n.I VERB\n.RI [ OPTION ...]\n.SH DESCRIPTION\n"
        << Roff(DESCRIPTION) << "\n.SH VERBS\n";
    for (CLI::App const* const verb : VerbsOf(app)) {
        PutVerb(*verb, out);
    }
    out << ".SH COMMANDS\nA script, and whoever types, gives one command a line to\n.BR \"corvanectl run\" :\n";
    for (Command const& command : AllCommands()) {
        PutItem(command.name + std::string(" ") + command.arguments, command.meaning, out);
    }
    out << SURROUNDINGS << ".SH EXIT STATUS\n";
    for (std::size_t status = 0; status < STATUS_MEANINGS.size(); ++status) {
        PutItem(std::to_string(status), STATUS_MEANINGS[status], out);
    }
    out << ".SH EXAMPLES\n.EX\n";
    for (CLI::App const* const verb : VerbsOf(app)) {
        for (std::string const& example : ExamplesOf(*verb)) {
            out << Roff(example) << "\n";
        }
    }
    out << ".EE\n";
}

std::string OptionWords(CLI::App const& parser)
{
    std::string words;
    for (std::string const& name : OptionNames(parser)) {
        words += (words.empty() ? "" : " ") + name;
    }
    return words;
}

void PutCompletion(CLI::App const& app, std::ostream& out)
{
    out << R"(# Completion of corvanectl in bash.

_corvanectl() {
    local word="${COMP_WORDS[COMP_CWORD]}" words
    case "${COMP_WORDS[1]:-}" in
)";
    std::string verbs;
    for (CLI::App const* const verb : VerbsOf(app)) {
        out << "    " << verb->get_name() << ") words=\"" << OptionWords(*verb) << "\" ;;\n";
        verbs += verb->get_name() + " ";
    }
    out << R"(    esac
    if ((COMP_CWORD == 1)); then
        words=")"
        << verbs << OptionWords(app) << R"("
    elif [[ "${COMP_WORDS[COMP_CWORD - 1]}" == --root ]]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
    elif [[ "$word" != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -o filenames -F _corvanectl corvanectl
)";
}

Verb AddPrinter(CLI::App& app, char const* name, char const* description,
                void (*print)(CLI::App const& app, std::ostream& out))
{
    auto* const verb = app.add_subcommand(name, description);
    verb->footer(std::string("Example:\n  corvanectl ") + name);
    return {verb, [&app, print] {
                print(app, std::cout);
                return STATUS_OK;
            }};
}

} // namespace

std::vector<std::string> OptionNames(CLI::App const& parser)
{
    std::vector<std::string> names;
    for (CLI::Option const* const option : parser.get_options()) {
        for (std::string const& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

Verb AddManual(CLI::App& app)
{
    return AddPrinter(app, "manual", "Print the manual page", PutManual);
}

Verb AddCompletion(CLI::App& app)
{
    return AddPrinter(app, "completion", "Print what lets bash complete verbs, options and files", PutCompletion);
}
