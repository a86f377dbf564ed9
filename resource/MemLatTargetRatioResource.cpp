// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_MEM_LAT_TARGET_RATIO_RES"

#include "resource/MemLatTargetRatioResource.h"

#include "group/MonitorEnableGroup.h"
#include "group/TargetRatioGroup.h"
#include "sys/Log.h"

MemLatTargetRatioResource::MemLatTargetRatioResource(ResConstructParam const& param) : PostProcessingResource(param) {}

MemLatTargetRatioResource::~MemLatTargetRatioResource()
{
    StopThread();
}

int MemLatTargetRatioResource::InitGroups(PerfQosConfig& config)
{
    auto& configs = config.groupConfigs;
    if (configs.size() != 2) {
        PF_LOGE("[%s:%d] [%s] invalid group num %zu", name.c_str(), configs.size());
        return -1;
    }
    if (configs[0].groupId != 0 || configs[1].groupId != 1) {
        PF_LOGE("[%s:%d] [%s] group id is invalid, target ratio and monitor= %u, %u", name.c_str(), configs[0].groupId,
                configs[1].groupId);
        return -1;
    }
    if (!TargetRatioGroup::GroupParametersValidate(configs[0]) ||
        !MonitorEnableGroup::GroupParametersValidate(configs[1])) {
        return -1;
    }
    groups.push_back(std::make_shared<TargetRatioGroup>(configs[0], workMode));
    groups.push_back(std::make_shared<MonitorEnableGroup>(configs[1], workMode));
    currTargetRatio = static_cast<unsigned int>(RatioGroup().GetFinalBoostValue());
    currMonitorState = static_cast<unsigned int>(MonitorGroup().GetFinalBoostValue());
    newTargetRatio = currTargetRatio;
    newMonitorState = currMonitorState;
    return 0;
}

int MemLatTargetRatioResource::CommandPostProcess()
{
    newTargetRatio = static_cast<unsigned int>(RatioGroup().GetFinalBoostValue());
    newMonitorState = static_cast<unsigned int>(MonitorGroup().GetFinalBoostValue());
    targetRatioChanged = targetRatioChanged || newTargetRatio != currTargetRatio;
    monitorChanged = monitorChanged || newMonitorState != currMonitorState;

    if (targetRatioChanged && monitorChanged) {
        PF_LOGE("[%s:%d] [%s] only support one group command at a time", name.c_str());
        targetRatioChanged = false;
        monitorChanged = false;
        return -1;
    }
    if (targetRatioChanged) {
        ProcessTargetRatioCommand();
        targetRatioChanged = false;
    } else if (monitorChanged) {
        ProcessMonitorEnableCommand();
        monitorChanged = false;
    } else {
        PF_LOGD("[%s:%d] [%s] no new command to process", name.c_str());
    }
    return 0;
}

void MemLatTargetRatioResource::ProcessTargetRatioCommand()
{
    if (newTargetRatio == currTargetRatio) {
        PF_LOGD("[%s:%d] [%s] same as last command", name.c_str());
        return;
    }
    bool const wasClosed = currTargetRatio == targetRatioClosed;
    currTargetRatio = newTargetRatio;
    if (currMonitorState == 1) {
        PF_LOGD("[%s:%d] [%s] need to be closed", name.c_str());
        return;
    }
    if (newTargetRatio == targetRatioClosed) {
        MonitorGroup().RelatedGroupDoConfig(1);
        return;
    }
    if (wasClosed) {
        MonitorGroup().RelatedGroupDoConfig(0);
    }
    RatioGroup().RelatedGroupDoConfig(static_cast<int>(newTargetRatio));
}

void MemLatTargetRatioResource::ProcessMonitorEnableCommand()
{
    if (newMonitorState == currMonitorState) {
        PF_LOGD("[%s:%d] [%s] same as last command", name.c_str());
        return;
    }
    currMonitorState = newMonitorState;
    if (currTargetRatio != targetRatioClosed) {
        MonitorGroup().RelatedGroupDoConfig(newMonitorState == 1 ? 1 : 0);
    } else if (newMonitorState == 1) {
        PF_LOGD("[%s:%d] [%s] already closed", name.c_str());
    } else {
        PF_LOGD("[%s:%d] [%s] need to be closed", name.c_str());
    }
}
