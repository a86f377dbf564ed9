#include "tools/corvanectl/story/RecordJson.h"

#include "tools/corvanectl/story/NodeText.h"

#include <cerrno>
#include <map>
#include <stdexcept>

namespace {

using Json = nlohmann::ordered_json;

void PutBytes(Json& json, std::string const& bytes)
{
    if (IsText(bytes)) {
        json["text"] = bytes;
    } else {
        json["hex"] = HexOf(bytes);
    }
    if (auto const number = NumberOf(bytes)) {
        json["value"] = *number;
    }
}

std::string BytesIn(Json const& json)
{
    auto const hex = json.find("hex");
    return hex == json.end() ? json.at("text").get<std::string>() : BytesOf(hex->get<std::string>());
}

Json ToJson(std::vector<GroupInfo> const& groups)
{
    Json list = Json::array();
    for (GroupInfo const& group : groups) {
        Json object = {{"id", group.groupId}};
        for (auto const& [operation, value] : group.operations) {
            char const* const key = operation == PERF_OPERATION_BOOST ? "boost" : "limit";
            if (object.contains(key)) {
                list.push_back(object);
                object = {{"id", group.groupId}};
            }
            object[key] = value;
        }
        list.push_back(object);
    }
    return list;
}

Json ToJson(std::vector<PerfRequestInfo> const& infos)
{
    Json list = Json::array();
    for (PerfRequestInfo const& info : infos) {
        list.push_back({{"id", info.qosId}, {"groups", ToJson(info.groupInfos)}});
    }
    return list;
}

Json ToJson(std::vector<QosCommand> const& commands)
{
    Json list = Json::array();
    for (QosCommand const& command : commands) {
        Json phases = Json::array();
        for (EventPhase const& phase : command.phases) {
            phases.push_back({{"duration", phase.duration}, {"groups", ToJson(phase.groupInfos)}});
        }
        list.push_back({{"id", command.qosId}, {"phases", phases}});
    }
    return list;
}

Json ToJson(Began const& began)
{
    Json nodes = Json::array();
    for (Began::Node const& node : began.nodes) {
        nodes.push_back({{"node", node.name}});
        PutBytes(nodes.back(), SettingOf(node.bytes));
        if (!node.resourceName.empty()) {
            nodes.back().update({{"resource", node.resourceName},
                                 {"id", node.id},
                                 {"group", node.group},
                                 {"floors", node.showsFloors},
                                 {"ceilings", node.showsCeilings}});
        }
    }
    return {{"what", "began"}, {"nodes", nodes}};
}

Json ToJson(Asked const& asked)
{
    return {{"what", "asked"}, {"line", asked.line}};
}

Json ToJson(Answered const& answered)
{
    Json json = {{"what", "answered"}, {"result", answered.result}};
    if (answered.result == 0 && answered.handle && *answered.handle != NO_HANDLE) {
        json["handle"] = *answered.handle;
    }
    json["reasons"] = answered.reasons;
    return json;
}

Json ToJson(Held const& held)
{
    return {{"what", "held"},       {"handle", held.handle}, {"pid", held.pid},           {"name", held.name},
            {"command", held.what}, {"id", held.id},         {"qos", ToJson(held.infos)}, {"duration", held.duration}};
}

Json ToJson(Released const& released)
{
    Json json = {{"what", "released"}};
    if (released.pid) {
        json["pid"] = *released.pid;
    }
    if (released.handle) {
        json["handle"] = *released.handle;
    }
    return json;
}

Json ToJson(Triggered const& triggered)
{
    return {{"what", "triggered"},
            {"command", triggered.what},
            {"id", triggered.id},
            {"starts", triggered.starts},
            {"delay", triggered.delay},
            {"duration", triggered.duration},
            {"qos", ToJson(triggered.commands)}};
}

Json ToJson(Suspended const& suspended)
{
    return {{"what", "suspended"}, {"qos", suspended.ids}, {"on", suspended.on}};
}

Json ToJson(Wrote const& wrote)
{
    NodeWrite const& write = wrote.write;
    Json json = {{"what", "wrote"}, {"node", write.node}};
    PutBytes(json, write.bytes);
    if (write.error != 0) {
        json["error"] = ErrorName(write.error);
    } else if (static_cast<std::size_t>(write.result) < write.bytes.size()) {
        json["taken"] = write.result;
    }
    return json;
}

Json ToJson(Strayed const& strayed)
{
    return {{"what", "strayed"},
            {"node", strayed.node},
            {"written", ReadableBytes(strayed.written)},
            {"held", ReadableBytes(strayed.held)}};
}

Json ToJson(Told const& told)
{
    return {{"what", "told"}, {"text", told.text}};
}

Json ToJson(Marked const& marked)
{
    return {{"what", "marked"}, {"title", marked.title}};
}

Json ToJson(Settled const& settled)
{
    return {{"what", "settled"}, {"binder", settled.binderToo}};
}

Json ToJson(Labelled const& /* labelled */)
{
    return nullptr;
}

Json ToJson(Logged const& /* logged */)
{
    return nullptr;
}

Json ToJson(Warned const& /* warned */)
{
    return nullptr;
}

/** What is no whole number would be cut to one. */
template <typename Number> Number Whole(Json const& json, char const* key)
{
    Json const& value = json.at(key);
    if (!value.is_number_integer()) {
        throw std::invalid_argument(key);
    }
    return value.get<Number>();
}

template <typename Number> std::optional<Number> WholeIfThere(Json const& json, char const* key)
{
    return json.contains(key) ? std::optional(Whole<Number>(json, key)) : std::nullopt;
}

std::vector<GroupInfo> GroupsIn(Json const& json)
{
    std::vector<GroupInfo> groups;
    for (Json const& object : json.at("groups")) {
        groups.push_back({Whole<unsigned int>(object, "id"), {}});
        if (auto const boost = WholeIfThere<int>(object, "boost")) {
            groups.back().operations.emplace_back(PERF_OPERATION_BOOST, *boost);
        }
        if (auto const limit = WholeIfThere<int>(object, "limit")) {
            groups.back().operations.emplace_back(PERF_OPERATION_LIMIT, *limit);
        }
    }
    return groups;
}

StoryRecord::What ReadBegan(Json const& json)
{
    Began began;
    for (Json const& node : json.at("nodes")) {
        Began::Node begun{node.at("node").get<std::string>(), 0, node.value("resource", ""), BytesIn(node)};
        if (!begun.resourceName.empty()) {
            begun.id = Whole<PerfQosId>(node, "id");
            begun.group = Whole<unsigned int>(node, "group");
            begun.showsFloors = node.at("floors").get<bool>();
            begun.showsCeilings = node.at("ceilings").get<bool>();
        }
        began.nodes.push_back(begun);
    }
    return began;
}

StoryRecord::What ReadHeld(Json const& json)
{
    Held held;
    held.handle = Whole<unsigned long long>(json, "handle");
    held.pid = Whole<int>(json, "pid");
    held.name = json.at("name").get<std::string>();
    held.what = json.at("command").get<std::string>();
    held.id = Whole<unsigned int>(json, "id");
    for (Json const& qos : json.at("qos")) {
        held.infos.push_back({Whole<PerfQosId>(qos, "id"), GroupsIn(qos)});
    }
    held.duration = Whole<unsigned int>(json, "duration");
    return held;
}

StoryRecord::What ReadReleased(Json const& json)
{
    return Released{WholeIfThere<int>(json, "pid"), WholeIfThere<unsigned long long>(json, "handle")};
}

StoryRecord::What ReadTriggered(Json const& json)
{
    Triggered triggered{json.at("command").get<std::string>(), Whole<unsigned int>(json, "id"),
                        json.at("starts").get<bool>(),         Whole<unsigned int>(json, "delay"),
                        Whole<unsigned int>(json, "duration"), {}};
    for (Json const& qos : json.at("qos")) {
        QosCommand command{Whole<PerfQosId>(qos, "id"), {}};
        for (Json const& phase : qos.at("phases")) {
            command.phases.push_back({Whole<unsigned int>(phase, "duration"), GroupsIn(phase)});
        }
        triggered.commands.push_back(command);
    }
    return triggered;
}

StoryRecord::What ReadSuspended(Json const& json)
{
    return Suspended{json.at("qos").get<std::vector<PerfQosId>>(), json.at("on").get<bool>()};
}

StoryRecord::What ReadWrote(Json const& json)
{
    NodeWrite write;
    write.node = json.at("node").get<std::string>();
    write.bytes = BytesIn(json);
    write.result = static_cast<ssize_t>(write.bytes.size());
    if (json.contains("error")) {
        write.error = EIO;
        write.result = -1;
    }
    return Wrote{write};
}

StoryRecord::What ReadMarked(Json const& json)
{
    return Marked{json.at("title").get<std::string>()};
}

StoryRecord::What ReadSettled(Json const& json)
{
    return Settled{json.at("binder").get<bool>()};
}

} // namespace

nlohmann::ordered_json JsonOf(StoryRecord::What const& what)
{
    return std::visit([](auto const& record) { return ToJson(record); }, what);
}

StoryRecord::What RecordOf(nlohmann::ordered_json const& json)
{
    static std::map<std::string, StoryRecord::What (*)(Json const&)> const kinds = {
        {"began", ReadBegan},         {"held", ReadHeld},   {"released", ReadReleased}, {"triggered", ReadTriggered},
        {"suspended", ReadSuspended}, {"wrote", ReadWrote}, {"marked", ReadMarked},     {"settled", ReadSettled}};
    return kinds.at(json.at("what").get<std::string>())(json);
}
