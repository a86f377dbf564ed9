// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/JsonText.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/**
 * One object of a platform file: hands out its fields by type and notes what is wrong with them, each with its path.
 *
 * A field that is missing without a fallback, or has the wrong type, is a finding and reads as zero or empty.
 */
class JsonObject {
public:
    JsonObject(Json const& json, std::string path, Findings& findings);
    JsonObject(JsonObject const&) = delete;
    JsonObject& operator=(JsonObject const&) = delete;

    /** Notes every key that nobody has asked for. Nested objects do so when they have been visited. */
    void RejectUnknownKeys();

    /** "qos[2].name" */
    std::string Path(std::string const& key) const;
    bool Has(std::string const& key) const;
    /** Whether the field says that there is none. */
    bool IsNull(std::string const& key);

    int Int(std::string const& key, std::optional<int> fallback = std::nullopt);
    unsigned int Unsigned(std::string const& key, std::optional<unsigned int> fallback = std::nullopt);
    float Float(std::string const& key, float fallback);
    bool Bool(std::string const& key, bool fallback);
    std::string Text(std::string const& key, std::optional<std::string> const& fallback = std::nullopt);
    std::vector<std::string> Texts(std::string const& key);
    std::vector<int> Ints(std::string const& key);

    /** Visits a nested object; does nothing but note it if there is none. */
    void Object(std::string const& key, std::function<void(JsonObject&)> const& visit);
    /** Visits each object of a list; a missing list is empty. */
    void Objects(std::string const& key, std::function<void(JsonObject&)> const& visit);
    /** Visits each entry of an object whose keys are whole numbers, and gives it the number and the entry's key. */
    void Levels(std::string const& key,
                std::function<void(JsonObject& levels, int level, std::string const&)> const& visit);

private:
    /** @return the field, or nullptr after a finding if it is missing (and must not be) or not accepted. */
    Json const* Field(std::string const& key, bool required, bool (Json::*accepts)() const noexcept, char const* type);
    template <typename Number> Number WholeNumber(std::string const& key, std::optional<Number> fallback);

    Json const& json;
    std::unordered_map<std::string_view, Json const*> fields; ///< the object's own look-up walks through all
    std::string const path;
    Findings& findings;
    std::set<std::string> known; ///< the keys asked for
};
