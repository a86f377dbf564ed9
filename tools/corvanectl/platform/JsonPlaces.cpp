// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/JsonPlaces.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>

namespace {

using Json = nlohmann::json;

/** The paths that are looked for, as a tree; entry 0 is the whole text. */
class Wanted {
public:
    static constexpr std::size_t NOT_WANTED = static_cast<std::size_t>(-1);

    std::size_t Add(std::string const& path)
    {
        std::size_t place = 0;
        for (std::size_t begin = 0; begin < path.size();) {
            begin += path[begin] == '.' ? 1 : 0;
            std::size_t const end = std::min(path.find_first_of(".[", begin + 1), path.size());
            auto const [child, isNew] = places[place].children.emplace(path.substr(begin, end - begin), places.size());
            std::size_t const next = child->second;
            if (isNew) {
                places.push_back({place, 0, {}});
            }
            place = next;
            begin = end;
        }
        return place;
    }

    std::size_t Child(std::size_t place, std::string const& step) const
    {
        auto const found = places[place].children.find(step);
        return found == places[place].children.end() ? NOT_WANTED : found->second;
    }

    void SetLine(std::size_t place, unsigned int line) { places[place].line = line; }

    unsigned int Line(std::size_t place) const
    {
        while (places[place].line == 0 && place != 0) {
            place = places[place].parent;
        }
        return std::max(places[place].line, 1U);
    }

private:
    struct Place {
        std::size_t parent;
        unsigned int line; ///< 0: not met
        std::map<std::string, std::size_t> children;
    };
    std::vector<Place> places{{0, 0, {}}};
};

struct LineCount {
    unsigned int line = 1;
    bool ended = false; ///< the last character that was read has ended the line
};

/** Counts lines as they are read. A number is known to end only when what follows it has been read, maybe a new line.
 */
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    CountingIterator(char const* from, LineCount& counted) : at(from), count(&counted) {}

    reference operator*() const { return *at; }
    CountingIterator& operator++()
    {
        count->line += count->ended ? 1 : 0;
        count->ended = *at == '\n';
        ++at;
        return *this;
    }
    bool operator==(CountingIterator const& other) const { return at == other.at; }
    bool operator!=(CountingIterator const& other) const { return at != other.at; }

private:
    char const* at;
    LineCount* count;
};

/** Walks through the text and the tree together. */
class Walk : public nlohmann::json_sax<Json> {
public:
    Walk(Wanted& tree, LineCount const& counted) : wanted(tree), count(counted) {}

    bool null() override { return Meet(); }
    bool boolean(bool /*value*/) override { return Meet(); }
    bool number_integer(number_integer_t /*value*/) override { return Meet(); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return Meet(); }
    bool number_float(number_float_t /*value*/, string_t const& /*text*/) override { return Meet(); }
    bool string(string_t& /*value*/) override { return Meet(); }
    bool binary(binary_t& /*value*/) override { return Meet(); }

    bool start_object(std::size_t /*elements*/) override { return Enter(false); }
    bool start_array(std::size_t /*elements*/) override { return Enter(true); }
    bool end_object() override { return Leave(); }
    bool end_array() override { return Leave(); }

    bool key(string_t& name) override
    {
        next = Below(name);
        if (next != Wanted::NOT_WANTED) {
            wanted.SetLine(next, count.line);
        }
        return true;
    }

    bool parse_error(std::size_t /*position*/, std::string const& /*token*/, Json::exception const& /*error*/) override
    {
        return false;
    }

private:
    struct Frame {
        std::size_t place;
        bool isArray;
        std::size_t index;
    };

    std::size_t Below(std::string const& step) const
    {
        std::size_t const place = frames.back().place;
        return place == Wanted::NOT_WANTED ? place : wanted.Child(place, step);
    }

    bool Meet()
    {
        if (!frames.empty() && frames.back().isArray) {
            std::size_t const index = frames.back().index++;
            next = frames.back().place == Wanted::NOT_WANTED ? Wanted::NOT_WANTED
                                                             : Below("[" + std::to_string(index) + "]");
            if (next != Wanted::NOT_WANTED) {
                wanted.SetLine(next, count.line);
            }
        }
        return true;
    }

    bool Enter(bool isArray)
    {
        Meet();
        frames.push_back({next, isArray, 0});
        return true;
    }

    bool Leave()
    {
        frames.pop_back();
        return true;
    }

    Wanted& wanted;
    LineCount const& count;
    std::vector<Frame> frames;
    std::size_t next = 0; ///< what the next value of an object is in the tree
};

} // namespace

std::vector<unsigned int> LinesOf(std::string const& text, std::vector<std::string> const& paths)
{
    Wanted wanted;
    std::vector<std::size_t> places;
    places.reserve(paths.size());
    for (std::string const& path : paths) {
        places.push_back(wanted.Add(path));
    }
    LineCount count;
    Walk walk(wanted, count);
    char const* const begin = text.data();
    Json::sax_parse(CountingIterator(begin, count), CountingIterator(begin + text.size(), count), &walk);
    std::vector<unsigned int> lines;
    lines.reserve(places.size());
    for (std::size_t const place : places) {
        lines.push_back(wanted.Line(place));
    }
    return lines;
}
