#pragma once

#include <functional>

#include <CLI/CLI.hpp>

// What the tool ends with.
constexpr int STATUS_OK = 0;
constexpr int STATUS_NOT_AS_EXPECTED = 1;
constexpr int STATUS_BAD_INPUT = 2;
constexpr int STATUS_CANNOT_WRITE = 3;

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
