// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

#include <optional>
#include <ostream>
#include <string>

#include <CLI/CLI.hpp>

// Options of several verbs.
CLI::Option* AddRoot(CLI::App& verb, std::string& root);
void AddChipType(CLI::App& verb, std::optional<unsigned int>& chipType);

/** The platform that a verb works on, as the command line names it. */
struct PlatformInput {
    std::string file;
    std::optional<unsigned int> chipType; ///< in place of the file's own

    void AddTo(CLI::App& verb);
    /** Reads and checks a text. @throws InputError if it is not JSON. */
    Platform Read(std::string const& text, Findings& findings) const;
    /** Likewise of the file itself. */
    Platform Read(Findings& findings) const;
    /** Prints each finding with its line. */
    void Print(Findings const& findings, std::ostream& out) const;
};
