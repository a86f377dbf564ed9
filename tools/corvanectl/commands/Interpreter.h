// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>

/**
 * The command language of scripts and of the terminal: one command a line, which calls the library as a client would,
 * and then waits until the workers have done what it brought about.
 * A command that cannot be read throws InputError. A refusal by the library and a write that fails are answers like any
 * other at a prompt; in a script they are failures, unless it says that they are meant.
 */
class Interpreter {
public:
    Interpreter(Session& running, bool isOfAScript) : session(running), isScript(isOfAScript) {}

    /** Empty lines and lines that begin with '#' do nothing. */
    void Execute(std::string const& line);

    bool HasQuit() const { return quit; }
    /** Whether an expectation was not met, or something failed in a script that was not meant to. */
    bool HasFailed() const { return failed; }

    // for the commands
    Session& CurrentSession() { return session; }
    void Quit() { quit = true; }
    void Fail() { failed = true; }
    void ExpectRefusal() { expectsRefusal = true; }
    void ExpectFailedWrite() { expectsFailedWrite = true; }

private:
    /** Looks at what has come of a command. */
    void Judge();

    Session& session;
    bool const isScript;
    bool expectsRefusal = false;     ///< of the current command
    bool expectsFailedWrite = false; ///< likewise
    bool quit = false;
    bool failed = false;
};
