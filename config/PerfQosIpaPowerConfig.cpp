// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CONFIG"

#include <corvane/PerfConfig.h>

#include "sys/Log.h"

#include <utility>

PerfQosIpaPowerConfig::PerfQosIpaPowerConfig(std::string const& name, std::vector<PerfGroupConfig> groups, int soc,
                                             int board)
    : PerfQosConfig(name, std::move(groups)), socThreshold(soc), boardThreshold(board)
{
}

PerfQosIpaPowerConfig::~PerfQosIpaPowerConfig() = default;

int PerfQosIpaPowerConfig::ReviseGroupConfigValue(unsigned int)
{
    if (groupConfigs.size() != 1) {
        PF_LOGE("[%s:%d] [%s] invalid group num: %zu", qosName.c_str(), groupConfigs.size());
        return -1;
    }
    return 0;
}
