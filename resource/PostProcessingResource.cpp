// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_POST_PROCESSING_RES"

#include "resource/PostProcessingResource.h"

#include "sys/Log.h"

PostProcessingResource::PostProcessingResource(ResConstructParam const& param) : PerfResource(param) {}

PostProcessingResource::~PostProcessingResource()
{
    StopThread();
}

int PostProcessingResource::SetWorkMode(PerfCommandItem const& item)
{
    if (!SetGroupsWorkMode(item.workMode)) {
        PF_LOGE("[%s:%d] [%s] SetWorkMode failed", name.c_str());
        return -1;
    }
    if (CommandPostProcess() != 0) {
        PF_LOGE("[%s:%d] [%s] CommandPostProcess failed", name.c_str());
        return -1;
    }
    return 0;
}

int PostProcessingResource::CommandProcess(PerfCommandItem const& item, GroupOperation const& operation)
{
    if (NormalCommandProcess(item, operation) != 0) {
        PF_LOGE("[%s:%d] [%s] NormalCommandProcess failed", name.c_str());
        return -1;
    }
    if (CommandPostProcess() != 0) {
        PF_LOGE("[%s:%d] [%s] CommandPostProcess failed", name.c_str());
        return -1;
    }
    return 0;
}
