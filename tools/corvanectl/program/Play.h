// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/Nodes.h"
#include "tools/corvanectl/program/PlatformInput.h"
#include "tools/corvanectl/session/StopSignal.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class Interpreter;

/** How commands are played on a platform. */
struct PlayOptions {
    PlatformInput platform;
    std::string traceFile;
    std::string plotFile;
    std::string recordFile; ///< for the writes
    std::string expectFile; ///< an earlier record
    unsigned int logBits = 0;
    bool brief = false; ///< without writes that repeat what a node holds
    bool live = false;  ///< in real time, in a sandbox too
    bool json = false;  ///< records on standard output, and nothing else

    void AddTo(CLI::App& verb);
};

/** @return what the last word of a line can become. */
using Completer = std::function<std::vector<std::string>(std::string const& line)>;

/** Where commands come from. */
struct CommandSource {
    std::string name;
    bool isTerminal;
    bool isScript; ///< and what fails in it without being meant to is a failure of the run
    /** Fetches the next line. @return false if there is none, or the signal has been raised meanwhile. */
    std::function<bool(std::string& line, StopSignal const& stop, Completer const& complete)> next;
    /** Takes a command, by its place, that names what the platform lacks. @return whether to go on without it. */
    std::function<bool(std::string const& place, std::string const& complaint)> passOver{};
};

/** Gives commands until there are none, or the signal is raised. @throws InputError with name and line. */
void RunCommands(CommandSource const& source, StopSignal const& stop, Interpreter& interpreter);

/** The commands of a script that is compiled in. */
CommandSource EmbeddedSource(std::string const& name, std::string const& text);
/** The commands of a file, read as they are needed. @throws InputError if there is no such file. */
CommandSource ScriptSource(std::string const& file);
/** The commands of standard input, as they come. */
CommandSource StandardInput();

/**
 * Plays commands to their end, to "quit" or until the process is asked to end; then the nodes are left, and the trace
 * and the picture are written. In a sandbox time is virtual, unless it is to be live. From a terminal, a command that
 * cannot be read is reported and the next one awaited; from a script, and for a program that reads JSON, it ends the
 * play.
 * @return the exit status. @throws InputError with name and line.
 */
int Play(PlayOptions const& options, std::string const& platformText, std::unique_ptr<Nodes> nodes,
         CommandSource const& source);
