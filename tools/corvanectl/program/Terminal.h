// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/program/Play.h"
#include "tools/corvanectl/program/Speech.h"
#include "tools/corvanectl/session/StopSignal.h"

#include <string>

struct editline; // of libedit
struct history;

/**
 * A person at a terminal: lines are edited, completed and remembered. What is said on standard output or error while
 * a line is being typed, on whatever thread, stands above that line.
 *
 * Used by one thread, one at a time in a process.
 */
class Terminal {
public:
    Terminal();
    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;
    ~Terminal();

    /** @return whether standard input and output are a terminal on which a line can be edited. */
    static bool IsThere();

    /** Waits for the next line. @return false at the end of the input, or when asked to stop. */
    bool Next(std::string& line, StopSignal const& stop, Completer const& complete);

private:
    static Terminal& Of(editline* editor);
    static int ReadLetter(editline* editor, wchar_t* letter);
    static unsigned char CompleteWord(editline* editor, int key);
    int AwaitLetter(wchar_t& letter);
    int DecodeLetter(wchar_t& letter);
    void ShowAbove(std::string const& text);
    std::string TypedBeforeCursor() const;
    void Remember(std::string const& line);

    std::string const historyFile; ///< empty: nothing is kept
    editline* const editor;
    history* const past;
    StopSignal const* stopping = nullptr; ///< while a line is being typed
    Completer const* completing = nullptr;
    Speech speech; ///< last: nobody speaks by way of what is gone
};
