// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

/** The words of one command line, taken one by one. What is missing or cannot be read throws InputError. */
class Words {
public:
    explicit Words(std::string const& line);

    /** From now on nothing is taken that does not stand in these arguments, as help shows them. */
    void Follow(char const* commandArguments) { arguments = commandArguments; }

    bool Empty() const { return next == words.size(); }
    bool NextIs(std::string const& word) const { return !Empty() && words[next] == word; }
    /** @return whether the next word is this one; if so, takes it. */
    bool TakeIf(std::string const& word);
    /** @param placeholder of the command's arguments, which says what the word should be. */
    std::string Take(char const* placeholder);
    int TakeInt(char const* placeholder);
    unsigned int TakeUnsigned(char const* placeholder);
    std::vector<unsigned int> TakeUnsigneds(char const* placeholder);
    /** Takes "start" or "stop". @return whether it was the first. */
    bool TakeStart();
    std::vector<std::string> TakeRest();
    /** Throws if a word is left. */
    void End() const;

private:
    /** @throws std::logic_error: help and completion would not say what the command takes. */
    void ExpectInArguments(std::string const& word) const;

    std::string arguments;
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
