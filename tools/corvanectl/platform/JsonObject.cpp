// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/JsonObject.h"

#include "tools/corvanectl/platform/Suggestion.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>
#include <utility>

namespace {

bool IsNumber(Json const& json)
{
    return json.is_number_integer();
}

template <typename Number> bool Fits(Json const& json)
{
    if (json.is_number_unsigned()) {
        return json.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<Number>::max());
    }
    auto const value = json.get<std::int64_t>();
    return value >= static_cast<std::int64_t>(std::numeric_limits<Number>::min()) &&
           value <= static_cast<std::int64_t>(std::numeric_limits<Number>::max());
}

std::optional<int> ToLevel(std::string const& text)
{
    int level = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), level);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return level;
}

} // namespace

JsonObject::JsonObject(Json const& object, std::string where, Findings& list)
    : json(object), path(std::move(where)), findings(list)
{
    if (!json.is_object()) {
        findings.AddUnreadable(path, std::string("must be an object, not ") + json.type_name());
        return;
    }
    for (auto const& [key, value] : json.get_ref<Json::object_t const&>()) {
        fields.emplace(key, &value);
    }
}

void JsonObject::RejectUnknownKeys()
{
    if (!json.is_object()) {
        return;
    }
    for (auto const& field : json.items()) {
        if (known.count(field.key()) == 0) {
            findings.Add(Path(field.key()), "unknown key" + DidYouMean(field.key(), {known.begin(), known.end()}));
        }
    }
}

std::string JsonObject::Path(std::string const& key) const
{
    return path.empty() ? key : path + "." + key;
}

bool JsonObject::Has(std::string const& key) const
{
    return fields.count(key) != 0;
}

bool JsonObject::IsNull(std::string const& key)
{
    known.insert(key);
    return Has(key) && fields.at(key)->is_null();
}

Json const* JsonObject::Field(std::string const& key, bool required, bool (Json::*accepts)() const noexcept,
                              char const* type)
{
    known.insert(key);
    if (!Has(key)) {
        if (required && json.is_object()) {
            findings.AddUnreadable(Path(key), std::string("missing; must be ") + type);
        }
        return nullptr;
    }
    Json const& field = *fields.at(key);
    if (!(field.*accepts)()) {
        findings.AddUnreadable(Path(key), std::string("must be ") + type + ", not " + field.type_name());
        return nullptr;
    }
    return &field;
}

template <typename Number> Number JsonObject::WholeNumber(std::string const& key, std::optional<Number> fallback)
{
    Json const* const field = Field(key, !fallback, &Json::is_number, "a whole number");
    if (field == nullptr) {
        return fallback.value_or(Number{});
    }
    if (!IsNumber(*field) || !Fits<Number>(*field)) {
        char const* const range =
            std::is_signed_v<Number> ? " is no whole number of 32 bits" : " is no whole number of 32 bits from 0 up";
        findings.AddUnreadable(Path(key), field->dump() + range);
        return fallback.value_or(Number{});
    }
    return field->get<Number>();
}

int JsonObject::Int(std::string const& key, std::optional<int> fallback)
{
    return WholeNumber<int>(key, fallback);
}

unsigned int JsonObject::Unsigned(std::string const& key, std::optional<unsigned int> fallback)
{
    return WholeNumber<unsigned int>(key, fallback);
}

float JsonObject::Float(std::string const& key, float fallback)
{
    Json const* const field = Field(key, false, &Json::is_number, "a number");
    if (field == nullptr) {
        return fallback;
    }
    if (std::abs(field->get<double>()) > std::numeric_limits<float>::max()) {
        findings.AddUnreadable(Path(key), field->dump() + " is beyond every float");
        return fallback;
    }
    return field->get<float>();
}

bool JsonObject::Bool(std::string const& key, bool fallback)
{
    Json const* const field = Field(key, false, &Json::is_boolean, "true or false");
    return field == nullptr ? fallback : field->get<bool>();
}

std::string JsonObject::Text(std::string const& key, std::optional<std::string> const& fallback)
{
    Json const* const field = Field(key, !fallback, &Json::is_string, "a text");
    return field == nullptr ? fallback.value_or("") : field->get<std::string>();
}

std::vector<std::string> JsonObject::Texts(std::string const& key)
{
    std::vector<std::string> texts;
    Json const* const field = Field(key, true, &Json::is_array, "a list of texts");
    for (std::size_t i = 0; field != nullptr && i < field->size(); ++i) {
        Json const& element = (*field)[i];
        if (element.is_string()) {
            texts.push_back(element.get<std::string>());
        } else {
            findings.AddUnreadable(Indexed(Path(key), i), std::string("must be a text, not ") + element.type_name());
        }
    }
    return texts;
}

std::vector<int> JsonObject::Ints(std::string const& key)
{
    std::vector<int> numbers;
    Json const* const field = Field(key, false, &Json::is_array, "a list of whole numbers");
    for (std::size_t i = 0; field != nullptr && i < field->size(); ++i) {
        Json const& element = (*field)[i];
        if (IsNumber(element) && Fits<int>(element)) {
            numbers.push_back(element.get<int>());
        } else {
            findings.AddUnreadable(Indexed(Path(key), i), "must be a whole number of 32 bits");
        }
    }
    return numbers;
}

void JsonObject::Object(std::string const& key, std::function<void(JsonObject&)> const& visit)
{
    Json const* const field = Field(key, false, &Json::is_object, "an object");
    if (field != nullptr) {
        JsonObject object(*field, Path(key), findings);
        visit(object);
        object.RejectUnknownKeys();
    }
}

void JsonObject::Objects(std::string const& key, std::function<void(JsonObject&)> const& visit)
{
    Json const* const field = Field(key, false, &Json::is_array, "a list of objects");
    for (std::size_t i = 0; field != nullptr && i < field->size(); ++i) {
        JsonObject object((*field)[i], Indexed(Path(key), i), findings);
        visit(object);
        object.RejectUnknownKeys();
    }
}

void JsonObject::Levels(std::string const& key, std::function<void(JsonObject&, int, std::string const&)> const& visit)
{
    Object(key, [&](JsonObject& levels) {
        for (auto const& entry : levels.json.items()) {
            if (auto const level = ToLevel(entry.key())) {
                visit(levels, *level, entry.key());
            } else {
                levels.known.insert(entry.key());
                findings.AddUnreadable(levels.Path(entry.key()), "a level must be a whole number");
            }
        }
    });
}
