#pragma once

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfConfig.h>

#include <map>
#include <string>
#include <vector>

/** How a resource writes. Some ids have a fixed kind; the others take theirs from their first group. */
enum class ResourceKind { UNKNOWN, FREQUENCY, DDR, SINGLE_VALUE, LEVEL_MAP, IPA_POWER, IPA_SWITCH_TEMP, EAS, MEM_LAT };

char const* KindName(ResourceKind kind);

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

/** A platform file. */
struct Platform {
    std::string name;
    PerfConfigControlInfo control;
    std::vector<QosEntry> qos; ///< in the order of the file; ids may clash until checked
    std::vector<ConfigurableEvent> events;
    std::vector<ConfigurableScenario> scenarios;
    ProbeEvent probe;
    bool hasProbe = false;
    std::string threadBinderNode;
};

ResourceKind KindOf(QosEntry const& entry);

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
