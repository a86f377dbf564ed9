#pragma once

#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/session/Nodes.h"

#include <istream>
#include <memory>
#include <string>

/** How commands are played on a platform. */
struct PlayOptions {
    PlatformInput platform;
    std::string traceFile;
    unsigned int logBits = 0;
    bool live = false;

    void AddTrace(CLI::App& verb);
};

/** Where commands come from. */
struct CommandSource {
    std::istream& lines;
    std::string name;
    bool isTerminal;
};

/**
 * Plays commands to their end or to "quit". From a terminal, a command that cannot be read is reported and the next one
 * awaited; from a script it ends the play.
 * @return the exit status. @throws InputError with name and line.
 */
int Play(PlayOptions const& options, std::string const& platformText, std::unique_ptr<Nodes> nodes,
         CommandSource const& source);
