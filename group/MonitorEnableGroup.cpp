// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_MONITOR_ENABLE_GRP"

#include "group/MonitorEnableGroup.h"

#include "sys/Log.h"

MonitorEnableGroup::MonitorEnableGroup(PerfGroupConfig const& config, PerfWorkMode mode) : LevelMapGroup(config, mode)
{
}

bool MonitorEnableGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    char const* const tag = config.name.c_str();
    if (config.level2ValueMap.empty()) {
        PF_LOGE("[%s:%d] [%s] level2value mapping is empty", tag);
        return false;
    }
    if (config.nodePathVec.empty()) {
        PF_LOGE("[%s:%d] [%s] nodePathVec is empty!", tag);
        return false;
    }
    if (!PerfGroup::GroupParametersValidate(config)) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", tag);
        return false;
    }
    return true;
}

void MonitorEnableGroup::RelatedGroupDoConfig(int value)
{
    LevelMapGroup::DoConfig(value, value);
}

void MonitorEnableGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>&) const {}

void MonitorEnableGroup::DoConfig(int, int) {}
