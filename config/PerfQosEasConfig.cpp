// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CONFIG"

#include <corvane/PerfConfig.h>

#include "sys/Log.h"

#include <utility>

PerfQosEasConfig::PerfQosEasConfig(std::string const& name, std::vector<PerfGroupConfig> groups,
                                   std::map<int, EasValue> levels, int lowest, int highest, std::string node)
    : PerfQosConfig(name, std::move(groups)), levelToValueMap(std::move(levels)), boostMin(lowest), boostMax(highest),
      globalBoostNode(std::move(node))
{
}

PerfQosEasConfig::~PerfQosEasConfig() = default;

int PerfQosEasConfig::ReviseGroupConfigValue(unsigned int)
{
    if (levelToValueMap.empty()) {
        PF_LOGE("[%s:%d] [%s] EAS levelToValueMap is empty!", qosName.c_str());
        return -1;
    }
    LevelToValueMap texts;
    for (auto const& [level, value] : levelToValueMap) {
        if (value.schedtuneBoost < boostMin || value.schedtuneBoost > boostMax) {
            PF_LOGE("[%s:%d] [%s] EAS schedtune.boost value : %d is out of bound!", qosName.c_str(),
                    value.schedtuneBoost);
            return -1;
        }
        if (value.globalBoost >= 2) {
            PF_LOGE("[%s:%d] [%s] EAS global boost value : %u is out of bound!", qosName.c_str(), value.globalBoost);
            return -1;
        }
        texts[level] = {std::to_string(value.schedtuneBoost)};
        globalBoostMap[level] = value.globalBoost;
    }
    for (PerfGroupConfig& config : groupConfigs) {
        config.level2ValueMap = texts;
        config.DeriveRangeFromLevels();
    }
    return 0;
}

void PerfQosEasConfig::GetGroupConfigByChipType(unsigned int, PerfConfigControlInfo const&) {}
