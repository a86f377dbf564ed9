#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>

/**
 * The command language of scripts and of the terminal: one command a line, which calls the library as a client would,
 * and then waits until the workers have done what it brought about.
 * A refusal by the library is an answer like any other; a command that cannot be read throws InputError.
 */
class Interpreter {
public:
    explicit Interpreter(Session& running) : session(running) {}

    /** Empty lines and lines that begin with '#' do nothing. */
    void Execute(std::string const& line);

    bool HasQuit() const { return quit; }
    /** Whether an expectation of the script was not met. */
    bool HasFailed() const { return failed; }

    // for the commands
    Session& Live() { return session; }
    void Quit() { quit = true; }
    void Fail() { failed = true; }

private:
    Session& session;
    bool quit = false;
    bool failed = false;
};
