// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/ResourceKind.h"

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfConfig.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

/** One resource as the file describes it, with every chip variant and unrevised; node paths are those of the device. */
struct QosEntry {
    PerfQosId id = 0;
    std::string name;
    std::vector<PerfGroupConfig> groups; ///< in the order of the file
    // frequency and DDR resources
    bool freqListGiven = false;   ///< whether the file names the node or says that there is none
    std::string freqListNode;     ///< empty: the range holds as it is written
    std::vector<int> frequencies; ///< what freqListNode holds in a sandbox; empty: not told
    bool overwriteMaxFreq = false;
    float freqToBandwidthCoefficient = 0.0f;
    // IPA power
    int socThreshold = 0;
    int boardThreshold = 0;
    // EAS
    std::map<int, EasValue> easLevels;
    int boostMin = 0;
    int boostMax = 0;
    std::string globalBoostNode;
};

/**
 * What is started and stopped by a name: an event or a scenario of the platform or, with neither, a request. It may
 * start other hints with it, which stop with it too, and end others when it starts.
 */
struct NamedHint {
    std::string name;
    std::optional<PerfEventId> event;
    std::optional<PerfScenarioId> scenario;
    unsigned int duration = 0; ///< ms; 0 until stopped
    std::vector<PerfRequestInfo> infos;
    std::vector<std::string> starts;
    std::vector<std::string> ends;
};

/** A platform file. */
struct Platform {
    std::string name;
    PerfConfigControlInfo control;
    std::vector<QosEntry> qos; ///< in the order of the file; ids may clash until checked
    std::vector<ConfigurableEvent> events;
    std::vector<ConfigurableScenario> scenarios;
    std::vector<NamedHint> hints;
    ProbeEvent probe;
    bool hasProbe = false;
    std::string threadBinderNode;
};

inline ResourceKind KindOf(QosEntry const& entry)
{
    return KindOf(entry.id, entry.groups);
}

/** @return the positions in the file of the groups that are left for the running chip. */
std::vector<std::size_t> SelectedGroups(QosEntry const& entry, PerfConfigControlInfo const& control);

/** @return whether the library builds this resource: every selected group has nodes, and nothing switches it off. */
bool IsBuilt(QosEntry const& entry, PerfConfigControlInfo const& control);

/**
 * @return the group as it is after the revision on a device with these frequencies.
 * @param frequencies ascending; empty leaves a frequency range as it is written.
 */
PerfGroupConfig Revised(QosEntry const& entry, std::size_t group, std::vector<int> frequencies, unsigned int chipType);

/** The known frequencies, ascending and each once; empty if the file does not tell them. */
std::vector<int> SortedFrequencies(QosEntry const& entry);

/** @return the resource of this id, or nullptr. */
QosEntry const* FindQos(Platform const& platform, PerfQosId id);

/** @return the name of the resource of this id; "resource 7" where there is none. */
std::string NameOf(Platform const& platform, PerfQosId id);

/** A node that the library writes for a platform. */
struct PlatformNode {
    std::string name;
    std::string path;         ///< where the file names it, as in "qos[2].groups[0].nodes[1]"
    std::size_t resource;     ///< position in Platform::qos; behind the last one of the thread binder
    std::size_t position = 0; ///< of its group in the file; behind the last one: the global boost's
    unsigned int group = 0;   ///< its id
    std::size_t index = 0;    ///< among the nodes of its group
    bool hasLevels = false;
    bool isBinder = false; ///< the thread binder's
};

/** @return whether a ceiling is seen on the node: on the second one of a frequency, else on the first, as a floor is.
 */
inline bool ShowsCeiling(QosEntry const& entry, PlatformNode const& node)
{
    return node.index == (KindOf(entry) == ResourceKind::FREQUENCY ? 1U : 0U);
}

/** What a part of a request is called in files and commands. */
inline char const* OperationName(PerfOperationType operation)
{
    return operation == PERF_OPERATION_BOOST ? "boost" : "limit";
}

/** What is said of a request that has neither. */
constexpr char const* ASKS_FOR_NOTHING = "asks for no boost and no limit";

/** "resource 7 (NAME)" */
inline std::string ResourceName(QosEntry const& entry)
{
    return "resource " + std::to_string(entry.id) + " (" + entry.name + ")";
}

/** The nodes of all resources, in the order of the file, and then the thread binder's. */
std::vector<PlatformNode> NodesOf(Platform const& platform);
/** Likewise without those of other chips' variants and of resources that are not built. */
std::vector<PlatformNode> WrittenNodesOf(Platform const& platform);
