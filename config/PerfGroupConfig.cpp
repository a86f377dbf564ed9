// SPDX-License-Identifier: Apache-2.0

#include <corvane/PerfConfig.h>

#include <utility>

PerfGroupConfig::PerfGroupConfig(std::string const& groupName, bool clamp, int avlMin, int avlMax, int baseMin,
                                 int baseMax, std::vector<std::string>&& nodes, ChipTypeAvailableValue chip)
    : name(groupName), clampOutOfRange(clamp), availableMin(avlMin), availableMax(avlMax), boostBase(baseMin),
      limitBase(baseMax), nodePathVec(std::move(nodes)), chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(std::string const& groupName, bool clamp, int avlMin, int baseMin,
                                 std::vector<std::string>&& nodes, ChipTypeAvailableValue chip)
    : name(groupName), clampOutOfRange(clamp), availableMin(avlMin), boostBase(baseMin), nodePathVec(std::move(nodes)),
      chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(std::string const& groupName, int baseMin, std::vector<std::string> const& nodes,
                                 LevelToValueMap const& levels, ChipTypeAvailableValue chip)
    : name(groupName), boostBase(baseMin), nodePathVec(nodes), level2ValueMap(levels), chipType(chip)
{
    DeriveRangeFromLevels();
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, std::string const& groupName, int baseMin,
                                 std::vector<std::string>&& nodes, ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), boostBase(baseMin), nodePathVec(std::move(nodes)), chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, std::string const& groupName, int avlMin, int avlMax, int baseMin,
                                 int baseMax, std::vector<std::string> const& nodes, ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), availableMin(avlMin), availableMax(avlMax), boostBase(baseMin), limitBase(baseMax),
      nodePathVec(nodes), chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, std::string const& groupName, int baseMin,
                                 std::vector<std::string> const& nodes, LevelToValueMap const& levels,
                                 ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), boostBase(baseMin), nodePathVec(nodes), level2ValueMap(levels), chipType(chip)
{
    DeriveRangeFromLevels();
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, char const* groupName, int baseMin, std::vector<std::string> nodes,
                                 ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), boostBase(baseMin), nodePathVec(std::move(nodes)), chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, char const* groupName, int avlMin, int avlMax, int baseMin,
                                 int baseMax, std::vector<std::string> nodes, ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), availableMin(avlMin), availableMax(avlMax), boostBase(baseMin), limitBase(baseMax),
      nodePathVec(std::move(nodes)), chipType(chip)
{
}

PerfGroupConfig::PerfGroupConfig(unsigned int id, char const* groupName, int baseMin, std::vector<std::string> nodes,
                                 LevelToValueMap const& levels, ChipTypeAvailableValue chip)
    : name(groupName), groupId(id), boostBase(baseMin), nodePathVec(std::move(nodes)), level2ValueMap(levels),
      chipType(chip)
{
    DeriveRangeFromLevels();
}

PerfGroupConfig::~PerfGroupConfig() = default;

void PerfGroupConfig::DeriveRangeFromLevels()
{
    if (!level2ValueMap.empty()) {
        availableMin = level2ValueMap.begin()->first;
        availableMax = level2ValueMap.rbegin()->first;
        limitBase = availableMax;
    }
}
