// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_LEVEL_MAP_RES"

#include "resource/LevelMapResource.h"

#include "group/LevelMapGroup.h"
#include "sys/Log.h"

LevelMapResource::LevelMapResource(ResConstructParam const& param) : PerfResource(param) {}

LevelMapResource::~LevelMapResource()
{
    StopThread();
}

int LevelMapResource::InitGroups(PerfQosConfig& config)
{
    if (BuildGroups<LevelMapGroup>(config) != nullptr) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate fail! ", name.c_str());
        return -1;
    }
    return 0;
}
