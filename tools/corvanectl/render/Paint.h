// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ostream>
#include <string>

/** @return a variable of the environment; empty where it is not set. */
std::string Environment(char const* name);
/** @return whether TERM says that a terminal takes colours and moves of the cursor. */
bool TakesControls();
/** @return how wide the terminal on standard output is; if there is none, or it does not say, something else. */
std::size_t ColumnsOfOutput(std::size_t otherwise);

/** Colours for what goes to a terminal; anywhere else, text stays as it is. */
class Paint {
public:
    /** For a stream: there are colours if it is a standard one on a terminal that has them, and NO_COLOR is not set. */
    explicit Paint(std::ostream const& stream);

    std::string Red(std::string const& text) const { return In("31", text); }
    std::string Yellow(std::string const& text) const { return In("33", text); }
    std::string Bold(std::string const& text) const { return In("1", text); }
    std::string Dim(std::string const& text) const { return In("2", text); }

private:
    std::string In(char const* code, std::string const& text) const
    {
        return isSeen ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
    }

    bool const isSeen;
};
