#pragma once

#include <string>

/**
 * Shows the library's log lines on standard error while it lives: warnings and errors, and what the log switch lets
 * through. One at a time, made before the library starts threads.
 */
class LogLines {
public:
    LogLines();
    LogLines(LogLines const&) = delete;
    LogLines& operator=(LogLines const&) = delete;
    ~LogLines();

    /** Sets the library's log switch: bit 0 shows info lines, bit 1 debug lines as well. */
    static void Switch(unsigned int bits);
    /** Cuts this text out of every line: the folder of a sandbox. Before the library starts threads. */
    static void Hide(std::string const& text);
};

/** @return the text without any occurrence of the part. */
std::string Without(std::string text, std::string const& part);
