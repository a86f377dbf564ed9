// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_SINGLE_NODE_VALUE_GRP"

#include "group/SingleNodeValueGroup.h"

#include "sys/Log.h"

SingleNodeValueGroup::SingleNodeValueGroup(PerfGroupConfig const& config, PerfWorkMode mode) : PerfGroup(config, mode)
{
}

bool SingleNodeValueGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    if (config.nodePathVec.size() != 1) {
        PF_LOGE("[%s:%d] [%s] SysNodePath num invalid: %zu", config.name.c_str(), config.nodePathVec.size());
        return false;
    }
    return PerfGroup::GroupParametersValidate(config);
}

void SingleNodeValueGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    out.push_back({std::to_string(BoostBaseValue()), "", nodes[0].path, ""});
}

void SingleNodeValueGroup::DoConfig(int boostValue, int)
{
    std::string const text = std::to_string(boostValue);
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write (%s) \n", name.c_str(), text.c_str());
    WriteText(nodes[0], text);
}

void SingleNodeValueGroup::CloseAllFds()
{
    CloseNodes();
}
