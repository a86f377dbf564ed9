// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_IPA_SWITCH_TEMP_RES"

#include "resource/IpaSwitchTempResource.h"

#include "group/IpaSwitchTempGroup.h"
#include "sys/Log.h"

IpaSwitchTempResource::IpaSwitchTempResource(ResConstructParam const& param, bool flag)
    : PerfResource(param), ipaFlag(flag)
{
}

IpaSwitchTempResource::~IpaSwitchTempResource()
{
    StopThread();
}

int IpaSwitchTempResource::InitGroups(PerfQosConfig& config)
{
    PerfGroupConfig const* const faulty = BuildGroups<IpaSwitchTempGroup>(config, ipaFlag);
    if (faulty != nullptr) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", faulty->name.c_str());
        return -1;
    }
    return 0;
}
