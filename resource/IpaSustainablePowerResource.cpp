// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_IPA_POWER_RES"

#include "resource/IpaSustainablePowerResource.h"

#include "group/IpaSustainablePowerGroup.h"
#include "sys/Log.h"

IpaSustainablePowerResource::IpaSustainablePowerResource(ResConstructParam const& param, bool flag)
    : PerfResource(param), ipaFlag(flag)
{
}

IpaSustainablePowerResource::~IpaSustainablePowerResource()
{
    StopThread();
}

int IpaSustainablePowerResource::InitGroups(PerfQosConfig& config)
{
    auto const* const ipaConfig = dynamic_cast<PerfQosIpaPowerConfig*>(&config);
    if (ipaConfig == nullptr) {
        PF_LOGE("[%s:%d] [%s] qos %s needs a PerfQosIpaPowerConfig", name.c_str(), config.qosName.c_str());
        return -1;
    }
    if (BuildGroups<IpaSustainablePowerGroup>(config, ipaFlag, ipaConfig->socThreshold, ipaConfig->boardThreshold) !=
        nullptr) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", name.c_str());
        return -1;
    }
    return 0;
}
