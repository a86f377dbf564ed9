// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

/** The words of one command line, taken one by one. What is missing or cannot be read throws InputError. */
class Words {
public:
    explicit Words(std::string const& line);

    bool Empty() const { return next == words.size(); }
    bool NextIs(std::string const& word) const { return !Empty() && words[next] == word; }
    /** @return whether the next word is this one; if so, takes it. */
    bool TakeIf(std::string const& word);
    /** @param what the word should be, for the error. */
    std::string Take(std::string const& what);
    int TakeInt(std::string const& what);
    unsigned int TakeUnsigned(std::string const& what);
    std::vector<unsigned int> TakeUnsigneds(std::string const& what);
    std::vector<std::string> TakeRest();
    /** Throws if a word is left. */
    void End() const;

private:
    std::vector<std::string> words;
    std::size_t next = 0;
};

/**
 * @param names that could have stood there instead.
 * @throws InputError if the text is no whole number of the type; UnknownName where it could be a name.
 */
int ToInt(std::string const& text, std::string const& what);
unsigned int ToUnsigned(std::string const& text, std::string const& what,
                        std::vector<std::string> const* names = nullptr);
unsigned long long ToHandle(std::string const& text, std::string const& what, std::vector<std::string> const& names);
