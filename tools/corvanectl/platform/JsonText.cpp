// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/JsonText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

std::string PositionOf(std::string const& name, std::string const& text, std::size_t byte)
{
    std::size_t const end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    auto const line = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n') + 1;
    std::size_t const lineEnd = text.rfind('\n', end == 0 ? 0 : end - 1);
    std::size_t const column = lineEnd == std::string::npos || end == 0 ? end + 1 : end - lineEnd;
    return name + ":" + std::to_string(line) + ":" + std::to_string(column);
}

/** "[json.exception.parse_error.101] parse error at line 1, column 2: what" without all but the last. */
std::string WhatOnly(std::string const& message)
{
    std::size_t const colon = message.find(": ");
    return colon == std::string::npos ? message : message.substr(colon + 2);
}

struct LineCount {
    unsigned int line = 1;
    bool ended = false; ///< the last character that was read has ended the line
};

/** Counts lines as they are read. A number is known to end only when what follows it has been read, maybe a line end.
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

/**
 * Builds the value of a text, and notices keys that are given twice. Each list and object is filled when it ends: one
 * that grows would look for each key among all before it, and copy all that is below.
 */
class Builder : public nlohmann::json_sax<Json> {
public:
    Builder(std::string const& called, std::string const& whole, LineCount const& counted, Findings& list)
        : name(called), text(whole), count(counted), findings(list)
    {
    }

    Json Take()
    {
        findings.SetLines(std::move(rootLines));
        return std::move(root);
    }

    bool null() override { return Put(nullptr); }
    bool boolean(bool value) override { return Put(value); }
    bool number_integer(number_integer_t value) override { return Put(value); }
    bool number_unsigned(number_unsigned_t value) override { return Put(value); }
    bool number_float(number_float_t value, string_t const& /*text*/) override { return Put(value); }
    bool string(string_t& value) override { return Put(std::move(value)); }
    bool binary(binary_t& value) override { return Put(std::move(value)); }

    bool start_object(std::size_t /*elements*/) override { return Begin(false); }
    bool start_array(std::size_t /*elements*/) override { return Begin(true); }

    bool key(string_t& value) override
    {
        frames.back().key = value;
        frames.back().keyLine = count.line;
        if (!frames.back().keys.insert(value).second) {
            findings.Add(Path(), "the key is given twice");
        }
        return true;
    }

    bool end_object() override
    {
        Json object = Json::object();
        Json::object_t::Container& fields = object.get_ref<Json::object_t&>();
        fields.reserve(frames.back().values.size());
        for (auto& [field, value] : frames.back().values) {
            fields.emplace_back(std::move(field), std::move(value));
        }
        return End(std::move(object));
    }

    bool end_array() override
    {
        Json array = Json::array();
        auto& elements = array.get_ref<Json::array_t&>();
        elements.reserve(frames.back().values.size());
        for (auto& element : frames.back().values) {
            elements.push_back(std::move(element.second));
        }
        return End(std::move(array));
    }

    bool parse_error(std::size_t position, std::string const& /*token*/, Json::exception const& error) override
    {
        if (dynamic_cast<Json::parse_error const*>(&error) != nullptr) {
            throw InputError(PositionOf(name, text, position) + ": " + WhatOnly(error.what()));
        }
        throw InputError(name + ": " + error.what()); // a number beyond every range
    }

private:
    struct Frame {
        bool isArray;
        LineTree lines;  ///< of what is built, and what is in it
        std::string key; ///< of the value that comes next
        unsigned int keyLine = 0;
        std::vector<std::pair<std::string, Json>> values;
        std::unordered_set<std::string> keys;
    };

    /** Of the value that begins here: a field is where its key is. */
    LineTree LinesHere() const
    {
        bool const isField = !frames.empty() && !frames.back().isArray;
        return {isField ? frames.back().keyLine : count.line, isField ? frames.back().key : "", {}};
    }

    bool Put(Json value) { return Put(std::move(value), LinesHere()); }

    bool Put(Json value, LineTree lines)
    {
        if (frames.empty()) {
            root = std::move(value);
            rootLines = std::move(lines);
        } else {
            frames.back().lines.below.push_back(std::move(lines));
            frames.back().values.emplace_back(std::move(frames.back().key), std::move(value));
        }
        return true;
    }

    bool Begin(bool isArray)
    {
        frames.push_back({isArray, LinesHere(), {}, 0, {}, {}});
        return true;
    }

    bool End(Json value)
    {
        LineTree lines = std::move(frames.back().lines);
        frames.pop_back();
        return Put(std::move(value), std::move(lines));
    }

    std::string Path() const
    {
        std::string path;
        for (Frame const& frame : frames) {
            if (frame.isArray) {
                path += "[" + std::to_string(frame.values.size()) + "]";
            } else {
                path += (path.empty() ? "" : ".") + frame.key;
            }
        }
        return path;
    }

    std::string const& name;
    std::string const& text;
    LineCount const& count;
    Findings& findings;
    Json root;
    LineTree rootLines;
    std::vector<Frame> frames;
};

} // namespace

unsigned int LineTree::LineOf(std::string const& path) const
{
    if (path.empty()) {
        return line;
    }
    std::size_t const end = std::min(path.find_first_of(".[", 1), path.size());
    LineTree const* next = nullptr;
    if (path.front() == '[') {
        std::size_t index = below.size();
        std::from_chars(path.data() + 1, path.data() + end, index);
        next = index < below.size() ? &below[index] : nullptr;
    } else {
        auto const isIt = [&](LineTree const& each) { return path.compare(0, end, each.key) == 0; };
        auto const found = std::find_if(below.rbegin(), below.rend(), isIt); // the last, of a key that is given twice
        next = found == below.rend() ? nullptr : &*found;
    }
    bool const isField = end < path.size() && path[end] == '.';
    return next == nullptr ? line : next->LineOf(path.substr(end + (isField ? 1 : 0)));
}

Json ParseJson(std::string const& name, std::string const& text, Findings& findings)
{
    LineCount count;
    Builder builder(name, text, count, findings);
    Json::sax_parse(CountingIterator(text.data(), count), CountingIterator(text.data() + text.size(), count), &builder);
    return builder.Take();
}
