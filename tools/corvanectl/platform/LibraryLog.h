// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

/** Where the library's log goes: to whoever catches the lines of a thread, and to one receiver. */
namespace LibraryLog {

using Receiver = void (*)(int priority, char const* tag, std::string const& line);

/** From now on, with lines of every priority, without their ends; nullptr drops them. */
void SendTo(Receiver receiver);

/** @return the field of a platform file that an error line is about, as in ".levels"; empty where it does not tell. */
std::string FieldOf(std::string const& line);

} // namespace LibraryLog

/** The lines that the library says on this thread while this lives. They may be nested; the innermost one hears. */
class CaughtLines {
public:
    enum class Mode {
        ASIDE, ///< what is only asked, with debug lines: nobody else hears of it
        ALONG  ///< what really happens: everybody else hears it as well
    };

    explicit CaughtLines(Mode mode = Mode::ASIDE);
    CaughtLines(CaughtLines const&) = delete;
    CaughtLines& operator=(CaughtLines const&) = delete;
    ~CaughtLines();

    /**
     * The first error line: the later ones say only who called. Where it names no bound, the debug line right before it
     * does; where it is dark, its meaning follows. Without the method and the name in brackets; empty if there was
     * none.
     */
    std::string Why() const;
    /** The name in brackets of that error line: of the group or the resource. Empty if it has none. */
    std::string Name() const;

    /** @return whether nobody else is to hear the line. */
    bool Take(int priority, std::string const& message);

private:
    struct Line {
        int priority;
        std::string name;
        std::string text;
    };

    std::size_t FirstError() const;

    Mode const mode;
    CaughtLines* const outer;
    unsigned int const switchBefore;
    std::vector<Line> lines;
};
