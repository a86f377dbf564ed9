// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <map>
#include <string>
#include <vector>

/** A chip of the family that one description serves. 0 fits every chip; the other values are the client's own. */
enum ChipTypeAvailableValue : unsigned int {
    CHIP_TYPE_ANY = 0,
    /** The chip whose lowest frequencies "persist.vendor.cpub_min_freq_skip" can take away. */
    CHIP_TYPE_FREQ_SKIP = 2,
};

struct PerfConfigControlInfo;

/** Texts to write for each level, one text per node. */
using LevelToValueMap = std::map<int, std::vector<std::string>>;

/**
 * One arbitrated value of a resource: its range, its defaults and the nodes that it is written to.
 *
 * Values are in the unit of the node (kHz, a level, ...). A group is built only if every node path is non-empty,
 * availableMin <= boostBase <= limitBase <= availableMax. A description may hold several variants of one group for
 * different chips; GetGroupConfigByChipType selects among them.
 */
class CORVANE_EXPORT PerfGroupConfig {
public:
    PerfGroupConfig(std::string const& name, bool clampOutOfRange, int availableMin, int availableMax, int boostBase,
                    int limitBase, std::vector<std::string>&& nodePathVec, ChipTypeAvailableValue chipType);

    /** For values whose maxima are found out at run time: availableMax and limitBase stay 0 until revised. */
    PerfGroupConfig(std::string const& name, bool clampOutOfRange, int availableMin, int boostBase,
                    std::vector<std::string>&& nodePathVec, ChipTypeAvailableValue chipType);

    /** A level-mapped group: the range is that of the levels, boostBase is the default level. */
    PerfGroupConfig(std::string const& name, int boostBase, std::vector<std::string> const& nodePathVec,
                    LevelToValueMap const& level2ValueMap, ChipTypeAvailableValue chipType);

    PerfGroupConfig(unsigned int groupId, std::string const& name, int boostBase,
                    std::vector<std::string>&& nodePathVec, ChipTypeAvailableValue chipType);

    PerfGroupConfig(unsigned int groupId, std::string const& name, int availableMin, int availableMax, int boostBase,
                    int limitBase, std::vector<std::string> const& nodePathVec, ChipTypeAvailableValue chipType);

    /** A level-mapped group with its id: the range is that of the levels, boostBase is the default level. */
    PerfGroupConfig(unsigned int groupId, std::string const& name, int boostBase,
                    std::vector<std::string> const& nodePathVec, LevelToValueMap const& level2ValueMap,
                    ChipTypeAvailableValue chipType);

    // The same three for a literal name: beside a literal 0 as id it could be taken for a flag behind a null name, and
    // the call would be ambiguous. So it would with paths by const&, as a list in braces prefers those above with &&.
    PerfGroupConfig(unsigned int groupId, char const* name, int boostBase, std::vector<std::string> nodePathVec,
                    ChipTypeAvailableValue chipType);
    PerfGroupConfig(unsigned int groupId, char const* name, int availableMin, int availableMax, int boostBase,
                    int limitBase, std::vector<std::string> nodePathVec, ChipTypeAvailableValue chipType);
    PerfGroupConfig(unsigned int groupId, char const* name, int boostBase, std::vector<std::string> nodePathVec,
                    LevelToValueMap const& level2ValueMap, ChipTypeAvailableValue chipType);

    PerfGroupConfig(PerfGroupConfig const&) = default;
    PerfGroupConfig(PerfGroupConfig&&) = default;
    PerfGroupConfig& operator=(PerfGroupConfig const&) = default;
    PerfGroupConfig& operator=(PerfGroupConfig&&) = default;
    virtual ~PerfGroupConfig();

    /** Sets availableMin to the lowest level, availableMax and limitBase to the highest; nothing without levels. */
    void DeriveRangeFromLevels();

    std::string name;                     ///< shown in every log line of the group
    unsigned int groupId = 0;             ///< must equal the position in the group list
    bool clampOutOfRange = false;         ///< clamp a value outside the range instead of refusing it
    int availableMin = 0;                 ///< lowest value ever set
    int availableMax = 0;                 ///< highest value ever set
    int boostBase = 0;                    ///< lower value (or level) when nobody asks for anything
    int limitBase = 0;                    ///< upper value when nobody asks for anything
    std::vector<std::string> nodePathVec; ///< empty: the whole resource does not exist on this platform
    LevelToValueMap level2ValueMap;       ///< empty for plain numeric groups
    ChipTypeAvailableValue chipType = CHIP_TYPE_ANY;
};

/**
 * The description of one resource.
 *
 * The creator calls GetGroupConfigByChipType, then ReviseGroupConfigValue, then hands it to ConfigManager::Init, which
 * copies what it needs. The name string must outlive it. Not locked: one thread.
 */
class CORVANE_EXPORT PerfQosConfig {
public:
    PerfQosConfig(std::string const& qosName, std::vector<PerfGroupConfig> groupConfigs);
    PerfQosConfig(std::string&& qosName, std::vector<PerfGroupConfig> groupConfigs) = delete;
    PerfQosConfig(PerfQosConfig const&) = default;
    PerfQosConfig& operator=(PerfQosConfig const&) = delete;
    virtual ~PerfQosConfig();

    /**
     * Fits the values to the running device. Here: the range of each level-mapped group becomes that of its levels.
     * @return 0, or -1 after one error line; the configuration must then not be handed to Init.
     */
    virtual int ReviseGroupConfigValue(unsigned int chipType);

    /**
     * Keeps the variants that fit controlInfo.chipType. A list of one is left as it is. A list that still holds several
     * entries once the other chips' are gone loses every generic entry, even when no specific one matched.
     */
    virtual void GetGroupConfigByChipType(unsigned int unused, PerfConfigControlInfo const& controlInfo);

    std::string const& qosName; ///< not owned
    std::vector<PerfGroupConfig> groupConfigs;
};

/** A resource of frequencies (and the DDR resource, which may turn a frequency into a bandwidth). */
class CORVANE_EXPORT PerfQosFreqConfig : public PerfQosConfig {
public:
    PerfQosFreqConfig(std::string const& qosName, std::vector<PerfGroupConfig> groupConfigs, std::string freqListNode,
                      bool overwriteMaxFreq, float freqToBandwidthCoefficient = 0.0f);
    PerfQosFreqConfig(std::string&& qosName, std::vector<PerfGroupConfig> groupConfigs, std::string freqListNode,
                      bool overwriteMaxFreq, float freqToBandwidthCoefficient = 0.0f) = delete;
    ~PerfQosFreqConfig() override;

    /** Pulls the range of the one group inside the frequencies that the device lists; -1 leaves it untouched. */
    int ReviseGroupConfigValue(unsigned int chipType) override;

    /**
     * Reads white-space separated decimal numbers up to the first token that is none.
     * @param freqs replaced by the numbers, ascending, each once; unchanged on -1.
     */
    int GetAvlFreqs(std::string const& path, std::vector<int>& freqs);

    /** Raises availableMin and boostBase to the frequency that the system property names, on CHIP_TYPE_FREQ_SKIP only.
     */
    void AdjustFreqsByProperty(unsigned int chipType, std::vector<int> const& freqs);

    /** Pulls the range and the bases inside freqs (ascending, not empty). */
    void AdjustMinMax(std::vector<int>& freqs);

    std::string freqListNode;                ///< the node that lists the available frequencies
    bool overwriteMaxFreq = false;           ///< set both maxima to the highest available frequency
    float freqToBandwidthCoefficient = 0.0f; ///< DDR only; 0 or less writes the frequency itself
};

/** The IPA sustainable-power resource. */
class CORVANE_EXPORT PerfQosIpaPowerConfig : public PerfQosConfig {
public:
    PerfQosIpaPowerConfig(std::string const& qosName, std::vector<PerfGroupConfig> groupConfigs, int socThreshold,
                          int boardThreshold);
    PerfQosIpaPowerConfig(std::string&& qosName, std::vector<PerfGroupConfig> groupConfigs, int socThreshold,
                          int boardThreshold) = delete;
    ~PerfQosIpaPowerConfig() override;

    /** Only checks that there is exactly one group. */
    int ReviseGroupConfigValue(unsigned int chipType) override;

    int socThreshold = 0;
    int boardThreshold = 0;
};

/** What one EAS level means. */
struct EasValue {
    int schedtuneBoost = 0;       ///< the value written to the boost nodes
    unsigned int globalBoost = 0; ///< 0 or 1
};

/** The EAS resource: levels, and a global-boost switch that is on while some boosted level asks for it. */
class CORVANE_EXPORT PerfQosEasConfig : public PerfQosConfig {
public:
    PerfQosEasConfig(std::string const& qosName, std::vector<PerfGroupConfig> groupConfigs,
                     std::map<int, EasValue> levelToValueMap, int boostMin, int boostMax, std::string globalBoostNode);
    PerfQosEasConfig(std::string&& qosName, std::vector<PerfGroupConfig> groupConfigs,
                     std::map<int, EasValue> levelToValueMap, int boostMin, int boostMax,
                     std::string globalBoostNode) = delete;
    ~PerfQosEasConfig() override;

    /**
     * Turns the level table into the texts and ranges of every group. On -1 the groups are untouched, but
     * globalBoostMap keeps the levels before the faulty one.
     */
    int ReviseGroupConfigValue(unsigned int chipType) override;

    /** Does nothing: EAS groups have no chip variants. */
    void GetGroupConfigByChipType(unsigned int unused, PerfConfigControlInfo const& controlInfo) override;

    std::map<int, EasValue> levelToValueMap;
    std::map<int, unsigned int> globalBoostMap; ///< level to switch value; filled by the revision
    int reserved = 0;                           ///< not read
    int boostMin = 0;                           ///< lowest allowed schedtuneBoost
    int boostMax = 0;                           ///< highest allowed schedtuneBoost
    std::string globalBoostNode;
};

/** Switches that steer which resources are built and how. */
struct PerfConfigControlInfo {
    PerfWorkMode workMode = PERF_WORK_MODE_DEFAULT; ///< in force until the first mode request or release
    /** Turns board switching of the IPA power resource on, and the IPA switch-temperature resource. */
    bool ipaResourceFlag = false;
    bool singleNodeQosEnable = false;      ///< builds PERF_QOS_SINGLE_NODE
    unsigned int chipType = CHIP_TYPE_ANY; ///< the running chip
};

/**
 * The whole platform. The client owns the map and the configurations; the map must be a variable that outlives this
 * record.
 */
struct PerfDefaultConfig {
    unsigned int reserved = 0; ///< not read
    std::map<PerfQosId, PerfQosConfig*> const& qosConfigs;
    PerfConfigControlInfo controlInfo;
};
