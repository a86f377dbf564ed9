// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

// What the tool ends with.
constexpr int STATUS_OK = 0;
constexpr int STATUS_NOT_AS_EXPECTED = 1;
constexpr int STATUS_BAD_INPUT = 2;
constexpr int STATUS_CANNOT_WRITE = 3;
constexpr std::array<char const*, 4> STATUS_MEANINGS = {
    "all went well",
    "something is not as expected: a check, what a script does, two runs that differ, a node that cannot be put back",
    "bad input: an argument, a file or a command, said in one line with its place",
    "the output or a file cannot be written",
};

/** One verb of the command line, with its options in place. */
struct Verb {
    CLI::App* parser;
    std::function<int()> run; ///< once the parser has parsed. @return the exit status. @throws InputError
};

Verb AddDemo(CLI::App& app);
Verb AddRun(CLI::App& app);
Verb AddCheck(CLI::App& app);
Verb AddImport(CLI::App& app);
Verb AddCpp(CLI::App& app);
Verb AddDiff(CLI::App& app);
Verb AddPlot(CLI::App& app);
Verb AddManual(CLI::App& app);
Verb AddCompletion(CLI::App& app);

/** @return the options of a parser as they are typed, "--json". */
std::vector<std::string> OptionNames(CLI::App const& parser);
