// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

/** What the log switch lets through. */
constexpr char const* SWITCHED_LINES = "info (1) and debug (2) lines of the library";

/**
 * Lets the library's log lines and trace labels into a story while it lives: warnings and errors, and what the log
 * switch lets through. One at a time, made before the library starts threads and gone after they have ended.
 */
class LibraryVoice {
public:
    explicit LibraryVoice(Story& published);
    LibraryVoice(LibraryVoice const&) = delete;
    LibraryVoice& operator=(LibraryVoice const&) = delete;
    ~LibraryVoice();

    /** Sets the library's log switch: bit 0 lets info lines through, bit 1 debug lines as well. */
    static void Switch(unsigned int bits);
};
