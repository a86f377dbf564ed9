// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

/** Input that cannot be worked with: the text says where and what, in one line. The tool ends with status 2. */
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** A name that stands for nothing here, and may do so on another platform. */
class UnknownName : public InputError {
public:
    using InputError::InputError;
};

/** "1 node", "2 nodes" */
inline std::string Count(std::size_t count, std::string const& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/** Of what is wrong or different, so much is listed; whoever needs more than that needs another file. */
constexpr std::size_t MOST_LISTED = 100;

/** @return what stands behind a list: "and 7 more", on a line of its own, or nothing. */
inline std::string AndMore(std::size_t count)
{
    return count > MOST_LISTED ? "and " + std::to_string(count - MOST_LISTED) + " more\n" : "";
}

/** One thing that is wrong with a platform file. */
struct Finding {
    std::string path; ///< the field, as in "qos[2].groups[0].limitBase"
    std::string text;
    bool isWarning; ///< legal, and hardly meant
};

/** Everything that is wrong with a platform file, in the order in which it was found. */
class Findings {
public:
    void Add(std::string const& path, std::string const& text) { findings.push_back({path, text, false}); }
    void Warn(std::string const& path, std::string const& text) { findings.push_back({path, text, true}); }
    /** Of a field that has no value which a further rule could look at. */
    void AddUnreadable(std::string const& path, std::string const& text)
    {
        Add(path, text);
        unreadable.insert(path);
    }

    bool Empty() const { return findings.empty(); }
    bool HasErrors() const
    {
        return std::any_of(findings.begin(), findings.end(), [](Finding const& each) { return !each.isWarning; });
    }
    std::vector<Finding> const& All() const { return findings; }

    /** @return whether a field is unreadable that stands under this path: rules on its neighbours would mislead. */
    bool AnyUnreadableUnder(std::string const& path) const
    {
        auto const next = unreadable.lower_bound(path);
        return next != unreadable.end() && next->compare(0, path.size(), path) == 0;
    }

private:
    std::vector<Finding> findings;
    std::set<std::string> unreadable; ///< paths
};
