// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/CppWriter.h"

#include "tools/corvanectl/platform/PlatformConfigs.h"

#include <cctype>
#include <iomanip>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace {

/** A text as C++ has it. Octal escapes have three digits, so that none takes in what follows. */
std::string Quoted(std::string const& text)
{
    std::ostringstream out;
    out << '"' << std::oct << std::setfill('0');
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out << '\\' << c;
        } else if (byte < 0x20 || byte >= 0x7f || c == '?') { // "??" begins a trigraph
            out << '\\' << std::setw(3) << static_cast<unsigned int>(byte);
        } else {
            out << c;
        }
    }
    out << '"';
    return out.str();
}

/** The lowest int cannot be written as a literal: the minus is an operator. */
std::string Literal(int value)
{
    return value == std::numeric_limits<int>::min() ? std::to_string(value + 1) + " - 1" : std::to_string(value);
}

std::string Literal(float value)
{
    std::ostringstream out;
    out << std::scientific << std::setprecision(std::numeric_limits<float>::max_digits10) << value << "f";
    return out.str();
}

std::string Literal(char const*) = delete; // it would be taken for true

std::string Literal(bool value)
{
    return value ? "true" : "false";
}

/** "{a, b}" of a list. */
template <typename List, typename Write> std::string Braced(List const& list, Write write)
{
    std::string text;
    for (auto const& element : list) {
        text += (text.empty() ? "" : ", ") + write(element);
    }
    return "{" + text + "}";
}

/** Likewise, a line for each. */
template <typename List, typename Write>
std::string BracedLines(std::string const& indent, List const& list, Write write)
{
    if (list.empty()) {
        return "{}";
    }
    std::string text;
    for (auto const& element : list) {
        text += "\n" + indent + "    " + write(element) + ",";
    }
    return "{" + text + "\n" + indent + "}";
}

std::string Texts(std::vector<std::string> const& texts)
{
    return "std::vector<std::string>" + Braced(texts, Quoted);
}

std::string Group(QosEntry const& entry, PerfGroupConfig const& group)
{
    std::string text = "PerfGroupConfig(" + std::to_string(group.groupId) + ", " + Quoted(group.name) + ", ";
    bool const hasLevels = !group.level2ValueMap.empty();
    if (hasLevels || KindOf(entry) == ResourceKind::EAS) {
        text += Literal(group.boostBase);
    } else {
        text += Literal(group.availableMin) + ", " + Literal(group.availableMax) + ", " + Literal(group.boostBase) +
                ", " + Literal(group.limitBase);
    }
    text += ", " + Texts(group.nodePathVec) + ", ";
    if (hasLevels) {
        text +=
            "LevelToValueMap" +
            Braced(group.level2ValueMap,
                   [](auto const& level) { return "{" + Literal(level.first) + ", " + Texts(level.second) + "}"; }) +
            ", ";
    }
    text += "static_cast<ChipTypeAvailableValue>(" + std::to_string(group.chipType) + "))";
    return group.clampOutOfRange ? "Clamped(" + text + ")" : text;
}

std::string Literal(std::map<int, EasValue> const& levels)
{
    return Braced(levels, [](auto const& level) {
        return "{" + Literal(level.first) + ", {" + Literal(level.second.schedtuneBoost) + ", " +
               std::to_string(level.second.globalBoost) + "}}";
    });
}

std::string Literal(NodePath node)
{
    return Quoted(node.path);
}

std::string Literal(ListPath list)
{
    return Quoted(list.path);
}

std::string Operation(std::pair<PerfOperationType, int> const& operation)
{
    return std::string(operation.first == PERF_OPERATION_BOOST ? "{PERF_OPERATION_BOOST, "
                                                               : "{PERF_OPERATION_LIMIT, ") +
           Literal(operation.second) + "}";
}

std::string Values(std::vector<GroupInfo> const& infos)
{
    return Braced(infos, [](GroupInfo const& info) {
        return "{" + std::to_string(info.groupId) + ", " + Braced(info.operations, Operation) + "}";
    });
}

/** Of a scenario or a request. */
template <typename Item> std::string Items(std::string const& indent, std::vector<Item> const& items)
{
    return BracedLines(indent, items, [](Item const& item) {
        return "{" + std::to_string(item.qosId) + ", " + Values(item.groupInfos) + "}";
    });
}

std::string Event(ConfigurableEvent const& event)
{
    std::string const indent = "        ";
    auto const phase = [](EventPhase const& each) {
        return "{" + std::to_string(each.duration) + ", " + Values(each.groupInfos) + "}";
    };
    return "{" + std::to_string(event.eventId) + ", " +
           BracedLines(indent, event.qosCommands,
                       [&](QosCommand const& command) {
                           return "{" + std::to_string(command.qosId) + ", " + Braced(command.phases, phase) + "}";
                       }) +
           "}";
}

std::string Scenario(ConfigurableScenario const& scenario)
{
    return "{" + std::to_string(scenario.scenarioId) + ", " + Items("        ", scenario.qosItems) + "}";
}

std::string Probe(ProbeEvent const& probe)
{
    std::string text = "{";
    for (unsigned int const value : {probe.cpuM, probe.cpuB, probe.gpu, probe.startDelay, probe.duration}) {
        text += std::to_string(value) + ", ";
    }
    return text + Quoted(probe.threadBinderPath) + "}";
}

std::string Request(NamedHint const& hint)
{
    return hint.infos.empty() ? "" : "{" + std::to_string(hint.duration) + ", " + Items("        ", hint.infos) + "}";
}

/** A line for each hint for which write gives any text: its name with that. */
template <typename Write> std::string OfHints(std::vector<NamedHint> const& hints, Write write)
{
    std::vector<std::string> lines;
    for (NamedHint const& hint : hints) {
        std::string const text = write(hint);
        if (!text.empty()) {
            lines.push_back("{" + Quoted(hint.name) + ", " + text + "}");
        }
    }
    return BracedLines("    ", lines, [](std::string const& line) { return line; });
}

template <typename Id> std::string Ids(std::vector<NamedHint> const& hints, std::optional<Id> NamedHint::*id)
{
    return OfHints(hints, [id](NamedHint const& hint) { return hint.*id ? std::to_string(*(hint.*id)) : ""; });
}

std::string OtherHints(std::vector<NamedHint> const& hints, std::vector<std::string> NamedHint::*others)
{
    return OfHints(
        hints, [others](NamedHint const& hint) { return (hint.*others).empty() ? "" : Braced(hint.*others, Quoted); });
}

void WriteHints(std::vector<NamedHint> const& hints, std::ostream& out)
{
    out << "\n    struct Request {\n        unsigned int duration; ///< ms; 0 until released\n"
           "        std::vector<PerfRequestInfo> infos;\n    };\n"
           "    // What the hints are, by name.\n"
        << "    std::map<std::string, PerfEventId> const eventHints = " << Ids(hints, &NamedHint::event) << ";\n"
        << "    std::map<std::string, PerfScenarioId> const scenarioHints = " << Ids(hints, &NamedHint::scenario)
        << ";\n"
        << "    std::map<std::string, Request> const requestHints = " << OfHints(hints, Request) << ";\n"
        << "    // What a hint starts and stops with itself, and what it ends when it starts.\n"
        << "    std::map<std::string, std::vector<std::string>> const startedHints = "
        << OtherHints(hints, &NamedHint::starts) << ";\n"
        << "    std::map<std::string, std::vector<std::string>> const endedHints = "
        << OtherHints(hints, &NamedHint::ends) << ";\n";
}

void WriteConfigs(Platform const& platform, std::ostream& out)
{
    for (QosEntry const& entry : platform.qos) {
        std::string const id = std::to_string(entry.id);
        auto const [type, rest] = WithRecord(entry, [](auto record, auto const&... arguments) {
            return std::pair{record.name, (std::string() + ... + (", " + Literal(arguments)))};
        });
        out << "    std::string const name" << id << " = " << Quoted(entry.name) << ";\n    " << type << " qos" << id
            << "{name" << id << ", "
            << BracedLines("    ", entry.groups, [&](PerfGroupConfig const& group) { return Group(entry, group); })
            << rest << "};\n";
    }
}

std::string Control(PerfConfigControlInfo const& control)
{
    return "{static_cast<PerfWorkMode>(" + std::to_string(control.workMode) + "), " + Literal(control.ipaResourceFlag) +
           ", " + Literal(control.singleNodeQosEnable) + ", " + std::to_string(control.chipType) + "}";
}

char const* const BEGINNING = R"(
    /**
     * Fits the platform to the device that it runs on. Once, and before it is handed to ConfigManager::Init.
     * @return whether it fits; if not, the log says what does not.
     */
    bool Fit()
    {
        for (PerfQosConfig* const config : built) {
            config->GetGroupConfigByChipType(0, control);
            if (config->ReviseGroupConfigValue(control.chipType) != 0) {
                return false;
            }
        }
        return true;
    }

    /** Refers to this object. */
    PerfDefaultConfig Config() const { return {0, qosConfigs, control}; }

)";

} // namespace

std::string CppNameOf(Platform const& platform)
{
    std::string name;
    bool begins = true;
    for (char const c : platform.name) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && std::isalnum(byte) != 0) {
            name += begins ? static_cast<char>(std::toupper(byte)) : c;
        }
        begins = byte >= 0x80 || std::isalnum(byte) == 0;
    }
    static std::set<std::string> const MEMBERS = {"Clamped", "Config", "Fit", "Request"};
    bool const isName = !name.empty() && std::isdigit(static_cast<unsigned char>(name.front())) == 0;
    return isName && MEMBERS.count(name) == 0 ? name : "Platform" + name;
}

void WriteCpp(Platform const& platform, std::string const& source, std::ostream& out)
{
    std::string const name = CppNameOf(platform);
    out << "// Made by \"corvanectl cpp\" from " << Quoted(source) << "; changes belong there.\n#pragma once\n\n"
        << "#include <corvane/PerfCatalogue.h>\n#include <corvane/PerfConfig.h>\n#include <corvane/PerfRequest.h>\n\n"
        << "#include <map>\n#include <string>\n#include <vector>\n\n"
        << "/** What ConfigManager::Init takes. The library refers to it, so that it must outlive the ConfigManager. "
           "*/\n"
        << "class " << name << " {\npublic:\n    " << name << "() = default;\n    " << name << "(" << name
        << " const&) = delete;\n    " << name << "& operator=(" << name << " const&) = delete;\n"
        << BEGINNING << "    PerfConfigControlInfo const control = " << Control(platform.control) << ";\n"
        << "    std::vector<ConfigurableEvent> const events = " << BracedLines("    ", platform.events, Event) << ";\n"
        << "    std::vector<ConfigurableScenario> const scenarios = "
        << BracedLines("    ", platform.scenarios, Scenario) << ";\n"
        << "    ProbeEvent const probe = " << Probe(platform.probe) << ";\n"
        << "    std::string const threadBinderNode = " << Quoted(platform.threadBinderNode)
        << "; ///< for ConfigManagerOptions\n";
    if (!platform.hints.empty()) {
        WriteHints(platform.hints, out);
    }
    out << "\nprivate:\n    static PerfGroupConfig Clamped(PerfGroupConfig group)\n    {\n"
        << "        group.clampOutOfRange = true;\n        return group;\n    }\n\n";
    WriteConfigs(platform, out);
    auto const reference = [](QosEntry const* entry) { return "&qos" + std::to_string(entry->id); };
    std::vector<QosEntry const*> all;
    std::vector<QosEntry const*> built;
    for (QosEntry const& entry : platform.qos) {
        all.push_back(&entry);
        if (IsBuilt(entry, platform.control)) {
            built.push_back(&entry);
        }
    }
    out << "    // Those that are not on this platform have nodes that are not, either.\n"
        << "    std::vector<PerfQosConfig*> const built = " << Braced(built, reference) << ";\n"
        << "\npublic:\n    std::map<PerfQosId, PerfQosConfig*> const qosConfigs = "
        << Braced(
               all,
               [&](QosEntry const* entry) { return "{" + std::to_string(entry->id) + ", " + reference(entry) + "}"; })
        << "; ///< by id\n};\n";
}
