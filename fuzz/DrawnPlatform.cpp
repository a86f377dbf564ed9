// SPDX-License-Identifier: Apache-2.0

#include "fuzz/DrawnPlatform.h"

#include <algorithm>
#include <utility>

namespace {

constexpr unsigned int DURATIONS[] = {20, 25, 100, 1000, 59999, PERF_DURATION_MAX_MS, 19, 60001};

std::vector<std::string> Nodes(QosEntry const& entry, std::size_t count)
{
    // Some are sysctls, which mind the position of a write.
    std::string const folder = entry.id % 5 == 2 ? "/proc/sys/" : "/sys/";
    std::vector<std::string> nodes;
    for (std::size_t i = 0; i < count; ++i) {
        nodes.push_back(folder + entry.name + "/" + std::to_string(entry.groups.size()) + "/" + std::to_string(i));
    }
    return nodes;
}

PerfGroupConfig Group(QosEntry const& entry, std::size_t nodes)
{
    auto const id = static_cast<unsigned int>(entry.groups.size());
    return {id, entry.name + std::to_string(id), 0, Nodes(entry, nodes), CHIP_TYPE_ANY};
}

void AddRange(FuzzBytes& bytes, QosEntry& entry, std::size_t nodes)
{
    static constexpr int STEPS[] = {1, 100, 1000, 1000000};
    PerfGroupConfig group = Group(entry, nodes);
    int const step = bytes.Pick(STEPS);
    group.availableMin = bytes.Chance(8) ? -step : step;
    group.availableMax = group.availableMin + step * static_cast<int>(bytes.Below(16));
    group.boostBase = bytes.Within(group.availableMin, group.availableMax);
    group.limitBase = bytes.Chance(2) ? bytes.Within(group.boostBase, group.availableMax) : group.availableMax;
    group.clampOutOfRange = bytes.Chance(3);
    entry.groups.push_back(group);
}

void AddLevels(FuzzBytes& bytes, QosEntry& entry, int lowest, unsigned int count, std::size_t nodes)
{
    PerfGroupConfig group = Group(entry, nodes);
    for (unsigned int i = 0; i < count; ++i) {
        int const level = lowest + static_cast<int>(i);
        group.level2ValueMap[level].assign(nodes, "level " + std::to_string(level));
    }
    group.DeriveRangeFromLevels();
    group.boostBase = bytes.Within(group.availableMin, group.availableMax);
    group.clampOutOfRange = bytes.Chance(3);
    entry.groups.push_back(group);
}

void MakeFrequencies(FuzzBytes& bytes, QosEntry& entry)
{
    unsigned int const groups = 1 + bytes.Below(2);
    for (unsigned int i = 0; i < groups; ++i) {
        AddRange(bytes, entry, 2);
    }
    if (groups > 1 || bytes.Chance(2)) {
        return;
    }
    entry.freqListNode = "/sys/" + entry.name + "/list";
    entry.overwriteMaxFreq = bytes.Chance(3);
    auto const& group = entry.groups.front();
    for (unsigned int i = bytes.Below(4); i > 0; --i) {
        entry.frequencies.push_back(bytes.Around(group.availableMin, group.availableMax));
    }
}

void MakeBandwidth(FuzzBytes& bytes, QosEntry& entry)
{
    static constexpr float COEFFICIENTS[] = {0.0f, -1.0f, 0.5f, 9331.5f};
    AddRange(bytes, entry, 1);
    entry.freqListNode = "/sys/" + entry.name + "/list";
    entry.freqToBandwidthCoefficient = bytes.Pick(COEFFICIENTS);
}

void MakeSingleValues(FuzzBytes& bytes, QosEntry& entry)
{
    for (unsigned int i = 1 + bytes.Below(3); i > 0; --i) {
        AddRange(bytes, entry, 1);
    }
}

void MakeIpaPower(FuzzBytes& bytes, QosEntry& entry)
{
    AddRange(bytes, entry, 3);
    auto const& group = entry.groups.front();
    entry.socThreshold = bytes.Around(group.availableMin, group.availableMax);
    entry.boardThreshold = bytes.Around(group.availableMin, group.availableMax);
}

void MakeLevels(FuzzBytes& bytes, QosEntry& entry)
{
    for (unsigned int i = 1 + bytes.Below(2); i > 0; --i) {
        AddLevels(bytes, entry, bytes.Chance(3) ? -2 : 0, 1 + bytes.Below(4), 3);
    }
}

void MakeMemoryLatency(FuzzBytes& bytes, QosEntry& entry)
{
    AddLevels(bytes, entry, 0, 1 + bytes.Below(4), 1);
    AddLevels(bytes, entry, 0, 2, 1 + bytes.Below(2));
}

void MakeEas(FuzzBytes& bytes, QosEntry& entry)
{
    entry.boostMax = 100;
    entry.globalBoostNode = "/sys/" + entry.name + "/global";
    int const levels = 1 + static_cast<int>(bytes.Below(4));
    for (int level = 0; level < levels; ++level) {
        entry.easLevels[level] = {level * 10, bytes.Below(2)};
    }
    for (int i = 0; i < 8; ++i) {
        PerfGroupConfig group = Group(entry, 1);
        group.boostBase = bytes.Within(0, levels - 1);
        entry.groups.push_back(group);
    }
}

/** What makes a platform unsound. */
void Spoil(FuzzBytes& bytes, QosEntry& entry)
{
    PerfGroupConfig& group = bytes.Pick(entry.groups);
    switch (bytes.Below(7)) {
    case 0:
        group.nodePathVec.clear();
        break;
    case 1:
        group.nodePathVec.pop_back();
        break;
    case 2:
        std::swap(group.availableMin, group.availableMax);
        break;
    case 3:
        group.boostBase = bytes.Around(group.availableMin, group.availableMax);
        break;
    case 4:
        group.groupId = bytes.Below(256);
        break;
    case 5:
        group.level2ValueMap[1].clear();
        break;
    default:
        group.chipType = CHIP_TYPE_FREQ_SKIP;
        break;
    }
}

/** What a file must say of a resource of this shape, even of one that is unsound. */
void KeepForm(QosEntry& entry)
{
    entry.freqListGiven = TraitsOf(KindOf(entry)).takesFrequencies;
    if (!entry.freqListGiven) {
        entry.freqListNode.clear();
        entry.frequencies.clear();
        entry.overwriteMaxFreq = false;
    }
}

QosEntry DrawResource(FuzzBytes& bytes, std::size_t position)
{
    struct Shape {
        PerfQosId id;
        void (*makeGroups)(FuzzBytes&, QosEntry&);
    };
    static constexpr Shape SHAPES[] = {{PERF_QOS_CPU_M, MakeFrequencies},
                                       {PERF_QOS_CPU_B, MakeFrequencies},
                                       {PERF_QOS_GPU, MakeSingleValues},
                                       {0, MakeFrequencies},
                                       {PERF_QOS_DDR, MakeBandwidth},
                                       {PERF_QOS_IPA_SUSTAINABLE_POWER, MakeIpaPower},
                                       {PERF_QOS_IPA_SWITCH_TEMP, MakeSingleValues},
                                       {PERF_QOS_SINGLE_NODE, MakeSingleValues},
                                       {PERF_QOS_EAS, MakeEas},
                                       {PERF_QOS_MEM_LAT_FIRST, MakeMemoryLatency},
                                       {PERF_QOS_MEM_LAT_LAST, MakeMemoryLatency},
                                       {20, MakeLevels},
                                       {PERF_QOS_ALWAYS_SUSPEND, MakeSingleValues},
                                       {PERF_QOS_EAS_BASE, MakeSingleValues},
                                       {47, MakeLevels},
                                       {PERF_QOS_ID_COUNT, MakeSingleValues}};
    Shape const& shape = bytes.Pick(SHAPES);
    QosEntry entry;
    entry.id = shape.id;
    entry.name = "r" + std::to_string(position);
    shape.makeGroups(bytes, entry);
    if (bytes.Chance(48)) {
        Spoil(bytes, entry);
    }
    KeepForm(entry);
    return entry;
}

QosEntry const& AnyResource(FuzzBytes& bytes, Platform const& platform)
{
    return bytes.Pick(platform.qos);
}

ConfigurableEvent DrawEvent(FuzzBytes& bytes, Platform const& platform, PerfEventId id)
{
    ConfigurableEvent event{id, {}};
    for (unsigned int i = 1 + bytes.Below(3); i > 0; --i) {
        QosEntry const& entry = AnyResource(bytes, platform);
        QosCommand command{entry.id, {}};
        for (unsigned int phase = 1 + bytes.Below(3); phase > 0; --phase) {
            unsigned int const duration = bytes.Chance(32) ? bytes.Pick(DURATIONS) : DURATIONS[bytes.Below(6)];
            command.phases.push_back({duration, DrawValues(bytes, entry, bytes.Chance(64))});
        }
        bool const known = std::any_of(event.qosCommands.begin(), event.qosCommands.end(),
                                       [&](QosCommand const& other) { return other.qosId == entry.id; });
        if (!known || bytes.Chance(64)) {
            event.qosCommands.push_back(command);
        }
    }
    return event;
}

ConfigurableScenario DrawScenario(FuzzBytes& bytes, Platform const& platform, PerfScenarioId id)
{
    ConfigurableScenario scenario{id, {}};
    for (unsigned int i = 1 + bytes.Below(3); i > 0; --i) {
        QosEntry const& entry = AnyResource(bytes, platform);
        bool const known = std::any_of(scenario.qosItems.begin(), scenario.qosItems.end(),
                                       [&](ScenarioQosItem const& other) { return other.qosId == entry.id; });
        if (!known || bytes.Chance(64)) {
            scenario.qosItems.push_back({entry.id, DrawValues(bytes, entry, bytes.Chance(64))});
        }
    }
    return scenario;
}

unsigned int ProbeValue(FuzzBytes& bytes, Platform const& platform, PerfQosId id)
{
    QosEntry const* const entry = FindQos(platform, id);
    if (entry == nullptr || bytes.Chance(3)) {
        return 0;
    }
    PerfGroupConfig const group = Revised(*entry, 0, SortedFrequencies(*entry), CHIP_TYPE_ANY);
    return static_cast<unsigned int>(std::max(0, bytes.Within(group.availableMin, group.availableMax)));
}

void DrawProbe(FuzzBytes& bytes, Platform& platform)
{
    platform.hasProbe = true;
    platform.probe.cpuM = ProbeValue(bytes, platform, PERF_QOS_CPU_M);
    platform.probe.cpuB = ProbeValue(bytes, platform, PERF_QOS_CPU_B);
    platform.probe.gpu = ProbeValue(bytes, platform, PERF_QOS_GPU);
    platform.probe.startDelay = bytes.Below(3) * 10;
    platform.probe.duration = bytes.Pick(DURATIONS);
    platform.probe.threadBinderPath = "0F";
    platform.threadBinderNode = "/proc/binder";
}

} // namespace

std::vector<GroupInfo> DrawValues(FuzzBytes& bytes, QosEntry const& entry, bool around)
{
    std::vector<GroupInfo> infos;
    for (std::size_t i = 0; i < entry.groups.size(); ++i) {
        if (i != 0 && !bytes.Chance(3)) {
            continue;
        }
        PerfGroupConfig const group = Revised(entry, i, SortedFrequencies(entry), CHIP_TYPE_ANY);
        auto const value = [&](int min) {
            return around ? bytes.Around(min, group.availableMax) : bytes.Within(min, group.availableMax);
        };
        GroupInfo info{around && bytes.Chance(16) ? bytes.Below(16) : static_cast<unsigned int>(i), {}};
        int lowest = group.availableMin;
        if (!bytes.Chance(3)) {
            lowest = value(lowest);
            info.operations.emplace_back(PERF_OPERATION_BOOST, lowest);
        }
        bool const takesLimits = group.level2ValueMap.empty() || around;
        if (takesLimits && (info.operations.empty() || bytes.Chance(2))) {
            info.operations.emplace_back(PERF_OPERATION_LIMIT, value(lowest));
        }
        infos.push_back(info);
    }
    return infos;
}

Platform DrawPlatform(FuzzBytes& bytes)
{
    Platform platform;
    platform.name = "drawn";
    platform.control.workMode = static_cast<PerfWorkMode>(bytes.Chance(64) ? 3 : bytes.Below(3));
    platform.control.ipaResourceFlag = bytes.Chance(2);
    platform.control.singleNodeQosEnable = bytes.Chance(2);
    for (unsigned int i = 1 + bytes.Below(5); i > 0; --i) {
        QosEntry const entry = DrawResource(bytes, platform.qos.size());
        if (FindQos(platform, entry.id) == nullptr || bytes.Chance(64)) {
            platform.qos.push_back(entry);
        }
    }
    for (unsigned int i = bytes.Below(3); i > 0; --i) {
        platform.events.push_back(DrawEvent(bytes, platform, bytes.Chance(64) ? bytes.Below(256) : i - 1));
    }
    for (unsigned int i = bytes.Below(4); i > 0; --i) {
        platform.scenarios.push_back(DrawScenario(bytes, platform, bytes.Chance(64) ? bytes.Below(256) : i - 1));
    }
    if (bytes.Chance(2)) {
        DrawProbe(bytes, platform);
    }
    return platform;
}
