// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PfLogon.h>

#include <cstddef>
#include <string>
#include <vector>

#include <android/log.h>

/** One line of the log, its prefix "[method:line] " taken apart. */
struct LogLine {
    int priority;
    std::string tag;
    std::string method; ///< empty where the line does not begin with the prefix
    std::string text;   ///< without the prefix and without blanks and newlines at the end

    /** "E TAG Method: text" */
    std::string Render() const;
};

/**
 * Catches every log line of the process while it lives, debug lines included, from every thread and at any time; those
 * behind the log switch need a LogSwitch as well. Captures may be nested: each gets the line. Outside of every capture
 * the log is silent, so that errors that a test provokes do not hide its own output.
 */
class LogCapture {
public:
    LogCapture();
    LogCapture(LogCapture const&) = delete;
    ~LogCapture();

    /** Every line rendered, or those of one tag. */
    std::vector<std::string> Lines(std::string const& tag = "") const;
    /** @param line rendered. */
    bool Has(std::string const& line) const;
    /** @return how many lines of a priority were printed, whatever their tag. */
    std::size_t Count(int priority) const;
    void Clear();
    /**
     * Forgets the lines. @return the first of them, as "TAG Method: text", if they are all errors: the reason of a
     * refusal, of which each caller may have told on its own. "" where nothing was said.
     */
    std::string TakeReason();

    /** Called by the logger, one line at a time. */
    void Add(LogLine const& line) { entries.push_back(line); }

private:
    std::vector<LogLine> entries; ///< guarded by the lock that every capture shares
};

/** Sets the log switch while it lives: bit 0 lets the info lines through, bit 1 the debug lines. */
class LogSwitch {
public:
    explicit LogSwitch(unsigned int value) { PfLogonNamespace::PfLogonSet(value); }
    LogSwitch(LogSwitch const&) = delete;
    ~LogSwitch() { PfLogonNamespace::PfLogonSet(previous); }

private:
    unsigned int const previous = PfLogonNamespace::PfLogonGet();
};
