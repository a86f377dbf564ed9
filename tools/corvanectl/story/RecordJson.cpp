// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/RecordJson.h"

#include "tools/corvanectl/story/NodeText.h"

#include <array>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace {

using Json = nlohmann::ordered_json;

/** Puts fields into an object. */
class Writer {
public:
    static constexpr bool READS = false;

    explicit Writer(Json& object) : json(object) {}

    template <typename Value> void Field(char const* key, Value const& value) { json[key] = value; }
    /** Left out where there is none. */
    template <typename Value> void Field(char const* key, std::optional<Value> const& value)
    {
        if (value) {
            json[key] = *value;
        }
    }
    void Field(char const* key, std::map<int, std::string> const& texts)
    {
        for (auto const& [number, text] : texts) {
            json[key][std::to_string(number)] = text;
        }
    }
    template <typename Item, typename Visit> void List(char const* key, std::vector<Item>& items, Visit const& visit)
    {
        Json list = Json::array();
        for (Item& item : items) {
            Json object = Json::object();
            Writer writer(object);
            visit(writer, item);
            list.push_back(std::move(object));
        }
        json[key] = std::move(list);
    }
    void Bytes(std::string const& bytes)
    {
        json[IsText(bytes) ? "text" : "hex"] = IsText(bytes) ? bytes : HexOf(bytes);
        Field("value", NumberOf(bytes));
    }

private:
    Json& json;
};

/** Takes fields from an object, by their exact types: a number that would be cut to fit is none. */
class Reader {
public:
    static constexpr bool READS = true;

    explicit Reader(Json const& object) : json(object) {}

    template <typename Value> void Field(char const* key, Value& value) { value = As<Value>(json.at(key)); }
    template <typename Value> void Field(char const* key, std::optional<Value>& value)
    {
        if (json.contains(key)) {
            value = As<Value>(json.at(key));
        }
    }
    template <typename Value> void Field(char const* key, std::vector<Value>& values)
    {
        for (Json const& value : json.at(key).get_ref<Json::array_t const&>()) {
            values.push_back(As<Value>(value));
        }
    }
    void Field(char const* key, std::map<int, std::string>& texts)
    {
        if (json.contains(key)) {
            for (auto const& [number, text] : json.at(key).items()) {
                texts[NumberIn(number)] = text.get<std::string>();
            }
        }
    }
    template <typename Item, typename Visit> void List(char const* key, std::vector<Item>& items, Visit const& visit)
    {
        for (Json const& object : json.at(key)) {
            Reader reader(object);
            visit(reader, items.emplace_back());
        }
    }
    void Bytes(std::string& bytes)
    {
        auto const hex = json.find("hex");
        bytes = hex == json.end() ? json.at("text").get<std::string>() : BytesOf(hex->get<std::string>());
    }

private:
    static int NumberIn(std::string const& text)
    {
        Json const number = Json::parse(text);
        return As<int>(number);
    }

    template <typename Value> static Value As(Json const& value)
    {
        if constexpr (std::is_integral_v<Value> && !std::is_same_v<Value, bool>) {
            bool const isWhole = std::is_signed_v<Value> ? value.is_number_integer() : value.is_number_unsigned();
            auto const whole = isWhole ? value.get<Value>() : Value{};
            if (!isWhole || Json(whole) != value) {
                throw std::out_of_range(value.dump());
            }
        }
        return value.get<Value>();
    }

    Json const& json;
};

// The fields of each kind of record, told once for both directions. They stay as they are for what has been stored,
// whatever platforms and commands call them.

constexpr std::array<std::pair<char const*, PerfOperationType>, 2> OPERATIONS = {
    {{"boost", PERF_OPERATION_BOOST}, {"limit", PERF_OPERATION_LIMIT}}};

/** A second value of one operation begins another entry of the group. */
void Groups(Writer& form, std::vector<GroupInfo> const& groups)
{
    Json list = Json::array();
    for (GroupInfo const& group : groups) {
        list.push_back({{"id", group.groupId}});
        for (auto const& [operation, value] : group.operations) {
            char const* const key = OPERATIONS[operation == PERF_OPERATION_BOOST ? 0 : 1].first;
            if (list.back().contains(key)) {
                list.push_back({{"id", group.groupId}});
            }
            list.back()[key] = value;
        }
    }
    form.Field("groups", list);
}

void Groups(Reader& form, std::vector<GroupInfo>& groups)
{
    form.List("groups", groups, [](Reader& object, GroupInfo& group) {
        object.Field("id", group.groupId);
        for (auto const& [key, operation] : OPERATIONS) {
            std::optional<int> value;
            object.Field(key, value);
            if (value) {
                group.operations.emplace_back(operation, *value);
            }
        }
    });
}

template <typename Form> void Fields(Form& form, Began& began)
{
    form.Field("platform", began.platform);
    form.List("nodes", began.nodes, [](auto& object, Began::Node& node) {
        object.Field("node", node.name);
        node.bytes = SettingOf(node.bytes);
        object.Bytes(node.bytes);
        auto resource = node.resourceName.empty() ? std::nullopt : std::optional(node.resourceName);
        object.Field("resource", resource);
        if (resource) { // no thread binder's
            node.resourceName = *resource;
            object.Field("id", node.id);
            object.Field("group", node.group);
            object.Field("floors", node.showsFloors);
            object.Field("ceilings", node.showsCeilings);
            object.Field("levels", node.levels);
        }
    });
}

template <typename Form> void Fields(Form& form, Asked& asked)
{
    form.Field("line", asked.line);
}

template <typename Form> void Fields(Form& form, Answered& answered)
{
    if (answered.result != 0 || answered.handle == NO_HANDLE) {
        answered.handle.reset();
    }
    form.Field("result", answered.result);
    form.Field("handle", answered.handle);
    form.Field("reasons", answered.reasons);
}

template <typename Form> void Fields(Form& form, Held& held)
{
    form.Field("handle", held.handle);
    form.Field("pid", held.pid);
    form.Field("name", held.name);
    form.Field("command", held.what);
    form.Field("id", held.id);
    form.List("qos", held.infos, [](auto& object, PerfRequestInfo& info) {
        object.Field("id", info.qosId);
        Groups(object, info.groupInfos);
    });
    form.Field("duration", held.duration);
}

template <typename Form> void Fields(Form& form, Released& released)
{
    form.Field("pid", released.pid);
    form.Field("handle", released.handle);
}

template <typename Form> void Fields(Form& form, Triggered& triggered)
{
    form.Field("command", triggered.what);
    form.Field("id", triggered.id);
    form.Field("name", triggered.name);
    form.Field("starts", triggered.starts);
    form.Field("delay", triggered.delay);
    form.Field("duration", triggered.duration);
    auto handle = triggered.handle == NO_HANDLE ? std::nullopt : std::optional(triggered.handle);
    form.Field("handle", handle);
    triggered.handle = handle.value_or(NO_HANDLE);
    form.List("qos", triggered.commands, [](auto& object, QosCommand& command) {
        object.Field("id", command.qosId);
        object.List("phases", command.phases, [](auto& part, EventPhase& phase) {
            part.Field("duration", phase.duration);
            Groups(part, phase.groupInfos);
        });
    });
}

template <typename Form> void Fields(Form& form, Suspended& suspended)
{
    form.Field("qos", suspended.ids);
    form.Field("on", suspended.on);
}

template <typename Form> void Fields(Form& form, Wrote& wrote)
{
    NodeWrite& write = wrote.write;
    form.Field("node", write.node);
    form.Bytes(write.bytes);
    auto const length = static_cast<ssize_t>(write.bytes.size());
    std::optional<std::string> error;
    std::optional<ssize_t> taken;
    if (!Form::READS && write.error != 0) {
        error = ErrorName(write.error);
    } else if (!Form::READS && write.result < length) {
        taken = write.result;
    }
    form.Field("error", error);
    form.Field("taken", taken);
    write.error = error ? ErrorNumber(*error).value() : 0;
    write.result = error ? -1 : taken.value_or(length);
}

template <typename Form> void Fields(Form& form, Strayed& strayed)
{
    strayed.written = ReadableBytes(strayed.written);
    strayed.held = ReadableBytes(strayed.held);
    form.Field("node", strayed.node);
    form.Field("written", strayed.written);
    form.Field("held", strayed.held);
    form.Field("others", strayed.isByOthers);
}

template <typename Form> void Fields(Form& form, Output& output)
{
    form.Field("text", output.text);
}

template <typename Form> void Fields(Form& form, Marked& marked)
{
    form.Field("title", marked.title);
}

template <typename Form> void Fields(Form& form, Settled& settled)
{
    form.Field("binder", settled.binderToo);
}

// What is for people only, and not kept.
template <typename Form> void Fields(Form& /* form */, Labelled& /* labelled */) {}
template <typename Form> void Fields(Form& /* form */, Logged& /* logged */) {}
template <typename Form> void Fields(Form& /* form */, Warned& /* warned */) {}

/** The names of the kinds in the order of the variant; null of what is not kept. */
constexpr std::array<char const*, std::variant_size_v<StoryRecord::What>> NAMES = {
    "began",   "asked", "answered", "held",  "released", "triggered", "suspended", "wrote",
    "strayed", nullptr, nullptr,    nullptr, "told",     "marked",    "settled"};

template <std::size_t Index> bool ReadAs(std::string const& name, Json const& json, StoryRecord::What& what)
{
    if (NAMES[Index] == nullptr || name != NAMES[Index]) {
        return false;
    }
    Reader reader(json);
    Fields(reader, what.emplace<Index>());
    return true;
}

template <std::size_t... Index>
bool ReadAsAny(Json const& json, StoryRecord::What& what, std::index_sequence<Index...> /* all */)
{
    auto const name = json.at("what").get<std::string>();
    return (ReadAs<Index>(name, json, what) || ...);
}

} // namespace

Json JsonOf(StoryRecord::What const& what)
{
    if (NAMES[what.index()] == nullptr) {
        return nullptr;
    }
    Json json = {{"what", NAMES[what.index()]}};
    Writer writer(json);
    std::visit([&writer](auto record) { Fields(writer, record); }, what); // a copy, which it may make shorter
    return json;
}

StoryRecord::What RecordOf(Json const& json)
{
    StoryRecord::What what;
    if (!ReadAsAny(json, what, std::make_index_sequence<std::variant_size_v<StoryRecord::What>>())) {
        throw std::invalid_argument("what");
    }
    return what;
}
