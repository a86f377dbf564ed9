// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_SINGLE_NODE_VALUE_RES"

#include "resource/SingleNodeValueResource.h"

#include "group/SingleNodeValueGroup.h"
#include "sys/Log.h"

SingleNodeValueResource::SingleNodeValueResource(ResConstructParam const& param) : PerfResource(param) {}

SingleNodeValueResource::~SingleNodeValueResource()
{
    StopThread();
}

int SingleNodeValueResource::InitGroups(PerfQosConfig& config)
{
    if (BuildGroups<SingleNodeValueGroup>(config) != nullptr) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate fail! ", name.c_str());
        return -1;
    }
    return 0;
}
