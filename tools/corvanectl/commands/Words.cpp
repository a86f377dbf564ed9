// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Words.h"

#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Suggestion.h"

#include <charconv>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace {

/** @param names that could have stood there, where it need not be a number. */
template <typename Number>
Number Parse(std::string const& text, std::string const& what, std::vector<std::string> const* names = nullptr)
{
    Number number{};
    char const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc::result_out_of_range) {
        throw InputError("\"" + text + "\" is too large for " + what);
    }
    if (error != std::errc{} || stopped != end) {
        std::string const complaint = "\"" + text + "\" is not " + what;
        if (names != nullptr) {
            throw UnknownName(complaint + DidYouMean(text, *names));
        }
        throw InputError(complaint);
    }
    return number;
}

} // namespace

int ToInt(std::string const& text, std::string const& what)
{
    return Parse<int>(text, what);
}

unsigned int ToUnsigned(std::string const& text, std::string const& what, std::vector<std::string> const* names)
{
    return Parse<unsigned int>(text, what, names);
}

unsigned long long ToHandle(std::string const& text, std::string const& what, std::vector<std::string> const& names)
{
    return Parse<unsigned long long>(text, what, &names);
}

Words::Words(std::string const& line)
{
    std::istringstream in(line);
    words.assign(std::istream_iterator<std::string>(in), {});
}

void Words::ExpectInArguments(std::string const& word) const
{
    if (!arguments.empty() && arguments.find(word) == std::string::npos) {
        throw std::logic_error("\"" + word + "\" is not in \"" + arguments + "\"");
    }
}

bool Words::TakeIf(std::string const& word)
{
    ExpectInArguments(word);
    if (!NextIs(word)) {
        return false;
    }
    ++next;
    return true;
}

std::string Words::Take(char const* placeholder)
{
    ExpectInArguments(placeholder);
    if (Empty()) {
        throw InputError(std::string(FindPlaceholder(placeholder).meaning) + " is missing");
    }
    return words[next++];
}

int Words::TakeInt(char const* placeholder)
{
    return ToInt(Take(placeholder), FindPlaceholder(placeholder).meaning);
}

unsigned int Words::TakeUnsigned(char const* placeholder)
{
    return ToUnsigned(Take(placeholder), FindPlaceholder(placeholder).meaning);
}

bool Words::TakeStart()
{
    bool const start = TakeIf("start");
    if (!start && !TakeIf("stop")) {
        throw InputError("neither start nor stop");
    }
    return start;
}

std::vector<unsigned int> Words::TakeUnsigneds(char const* placeholder)
{
    std::vector<unsigned int> numbers;
    while (!Empty()) {
        numbers.push_back(TakeUnsigned(placeholder));
    }
    return numbers;
}

std::vector<std::string> Words::TakeRest()
{
    std::vector<std::string> rest(words.begin() + static_cast<std::ptrdiff_t>(next), words.end());
    next = words.size();
    return rest;
}

void Words::End() const
{
    if (!Empty()) {
        throw InputError("\"" + words[next] + "\" is one word too many");
    }
}
