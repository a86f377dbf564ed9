// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/Reader.h"

#include "tools/corvanectl/platform/JsonObject.h"

#include <utility>

namespace {

void ReadControl(JsonObject& json, PerfConfigControlInfo& control)
{
    control.workMode = static_cast<PerfWorkMode>(json.Unsigned("workMode", PERF_WORK_MODE_DEFAULT));
    control.ipaResourceFlag = json.Bool("ipaResourceFlag", false);
    control.singleNodeQosEnable = json.Bool("singleNodeQosEnable", false);
    control.chipType = json.Unsigned("chipType", CHIP_TYPE_ANY);
}

LevelToValueMap ReadLevelTexts(JsonObject& json)
{
    LevelToValueMap texts;
    json.Levels("levels",
                [&](JsonObject& levels, int level, std::string const& key) { texts[level] = levels.Texts(key); });
    return texts;
}

/** @param maxFromDevice whether the highest frequency of the device replaces both maxima, which may then be left out.
 */
void ReadRange(JsonObject& json, bool maxFromDevice, PerfGroupConfig& group)
{
    group.availableMin = json.Int("availableMin");
    group.availableMax = maxFromDevice ? json.Int("availableMax", 0) : json.Int("availableMax");
    group.boostBase = json.Int("boostBase", group.availableMin);
    group.limitBase = json.Int("limitBase", group.availableMax);
}

PerfGroupConfig ReadGroup(JsonObject& json, QosEntry const& entry)
{
    std::string const name = json.Text("name", entry.name);
    auto const chipType = static_cast<ChipTypeAvailableValue>(json.Unsigned("chipType", CHIP_TYPE_ANY));
    PerfGroupConfig group(json.Unsigned("id", 0), name, 0, json.Texts("nodes"), chipType);
    group.clampOutOfRange = json.Bool("clampOutOfRange", false);
    if (FixedKindOf(entry.id) == ResourceKind::EAS) {
        group.boostBase = json.Int("boostBase", entry.easLevels.empty() ? 0 : entry.easLevels.begin()->first);
    } else if (json.Has("levels")) {
        group.level2ValueMap = ReadLevelTexts(json);
        group.DeriveRangeFromLevels();
        group.boostBase = json.Int("boostBase", group.availableMin);
    } else {
        ReadRange(json, entry.overwriteMaxFreq, group);
    }
    return group;
}

void ReadEas(JsonObject& json, QosEntry& entry)
{
    json.Levels("levelToValueMap", [&](JsonObject& levels, int level, std::string const& key) {
        levels.Object(key, [&](JsonObject& value) {
            entry.easLevels[level] = {value.Int("schedtuneBoost"), value.Unsigned("globalBoost")};
        });
    });
    entry.boostMin = json.Int("boostMin");
    entry.boostMax = json.Int("boostMax");
    entry.globalBoostNode = json.Text("globalBoostNode");
}

void ReadFrequencies(JsonObject& json, QosEntry& entry)
{
    entry.freqListGiven = json.Has("freqListNode");
    if (!json.IsNull("freqListNode")) {
        entry.freqListNode = json.Text("freqListNode", "");
    }
    entry.frequencies = json.Ints("frequencies");
    entry.overwriteMaxFreq = json.Bool("overwriteMaxFreq", false);
}

QosEntry ReadQos(JsonObject& json)
{
    QosEntry entry;
    entry.id = json.Unsigned("id");
    entry.name = json.Text("name");
    ResourceKind const kind = FixedKindOf(entry.id);
    if (kind == ResourceKind::EAS) {
        ReadEas(json, entry);
    } else if (kind == ResourceKind::IPA_POWER) {
        entry.socThreshold = json.Int("socThreshold");
        entry.boardThreshold = json.Int("boardThreshold");
    } else {
        ReadFrequencies(json, entry);
    }
    if (kind == ResourceKind::DDR) {
        entry.freqToBandwidthCoefficient = json.Float("freqToBandwidthCoefficient", 0.0f);
    }
    json.Objects("groups", [&](JsonObject& group) { entry.groups.push_back(ReadGroup(group, entry)); });
    return entry;
}

std::vector<GroupInfo> ReadGroupInfos(JsonObject& json)
{
    std::vector<GroupInfo> infos;
    json.Objects("groups", [&](JsonObject& group) {
        GroupInfo info;
        info.groupId = group.Unsigned("id", 0);
        for (PerfOperationType const operation : {PERF_OPERATION_BOOST, PERF_OPERATION_LIMIT}) {
            if (group.Has(OperationName(operation))) {
                info.operations.emplace_back(operation, group.Int(OperationName(operation)));
            }
        }
        infos.push_back(std::move(info));
    });
    return infos;
}

ConfigurableEvent ReadEvent(JsonObject& json)
{
    ConfigurableEvent event;
    event.eventId = json.Unsigned("id");
    json.Objects("qos", [&](JsonObject& qos) {
        QosCommand command;
        command.qosId = qos.Unsigned("id");
        qos.Objects("phases", [&](JsonObject& phase) {
            command.phases.push_back({phase.Unsigned("duration"), ReadGroupInfos(phase)});
        });
        event.qosCommands.push_back(std::move(command));
    });
    return event;
}

ConfigurableScenario ReadScenario(JsonObject& json)
{
    ConfigurableScenario scenario;
    scenario.scenarioId = json.Unsigned("id");
    json.Objects("qos", [&](JsonObject& qos) {
        scenario.qosItems.push_back({qos.Unsigned("id"), ReadGroupInfos(qos)});
    });
    return scenario;
}

NamedHint ReadHint(JsonObject& json)
{
    NamedHint hint;
    hint.name = json.Text("name");
    if (json.Has("event")) {
        hint.event = json.Unsigned("event");
    } else if (json.Has("scenario")) {
        hint.scenario = json.Unsigned("scenario");
    } else {
        hint.duration = json.Unsigned("duration", 0);
        json.Objects("qos", [&](JsonObject& qos) { hint.infos.push_back({qos.Unsigned("id"), ReadGroupInfos(qos)}); });
    }
    for (auto const& [key, names] : {std::pair("starts", &hint.starts), {"ends", &hint.ends}}) {
        if (json.Has(key)) {
            *names = json.Texts(key);
        }
    }
    return hint;
}

void ReadProbe(JsonObject& json, Platform& platform)
{
    platform.hasProbe = true;
    platform.probe.cpuM = json.Unsigned("cpuM", 0);
    platform.probe.cpuB = json.Unsigned("cpuB", 0);
    platform.probe.gpu = json.Unsigned("gpu", 0);
    platform.probe.startDelay = json.Unsigned("startDelay", 0);
    platform.probe.duration = json.Unsigned("duration");
    platform.probe.threadBinderPath = json.Text("threadBinderPath");
    platform.threadBinderNode = json.Text("threadBinderNode");
}

} // namespace

Platform ReadPlatform(std::string const& name, std::string const& text, Findings& findings)
{
    Json const file = ParseJson(name, text, findings);
    JsonObject json(file, "", findings);
    Platform platform;
    platform.name = json.Text("name", "");
    json.Object("control", [&](JsonObject& control) { ReadControl(control, platform.control); });
    json.Objects("qos", [&](JsonObject& qos) { platform.qos.push_back(ReadQos(qos)); });
    json.Objects("events", [&](JsonObject& event) { platform.events.push_back(ReadEvent(event)); });
    json.Objects("scenarios", [&](JsonObject& scenario) { platform.scenarios.push_back(ReadScenario(scenario)); });
    json.Objects("hints", [&](JsonObject& hint) { platform.hints.push_back(ReadHint(hint)); });
    json.Object("probe", [&](JsonObject& probe) { ReadProbe(probe, platform); });
    json.RejectUnknownKeys();
    return platform;
}
