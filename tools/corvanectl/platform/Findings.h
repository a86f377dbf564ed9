// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
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

/** "qos[2]" */
inline std::string Indexed(std::string const& list, std::size_t index)
{
    return list + "[" + std::to_string(index) + "]";
}

/** Of what is wrong or different, so much is listed; whoever needs more than that needs another file. */
constexpr std::size_t MOST_LISTED = 100;

/** @return what stands behind a list: "and 7 more", on a line of its own, or nothing. */
inline std::string AndMore(std::size_t count)
{
    return count > MOST_LISTED ? "and " + std::to_string(count - MOST_LISTED) + " more\n" : "";
}

/** @return why the last call of the system failed, in its words. */
inline std::string SystemReason()
{
    return std::generic_category().message(errno);
}

/** On which line of a text each of its values stands. */
struct LineTree {
    unsigned int line = 1;
    std::string key; ///< of a field; empty of an element of a list
    std::vector<LineTree> below;

    /** @return the line of a path, as in "qos[2].groups[0].limitBase"; of what is not there, that of what it is in. */
    unsigned int LineOf(std::string const& path) const;
};

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

    void SetLines(LineTree tree) { lines = std::make_shared<LineTree const>(std::move(tree)); }
    unsigned int LineOf(std::string const& path) const { return lines->LineOf(path); }
    /** @return none, on the same text. */
    Findings ForSameText() const
    {
        Findings others;
        others.lines = lines;
        return others;
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
    std::shared_ptr<LineTree const> lines = std::make_shared<LineTree const>();
};
