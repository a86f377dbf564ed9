// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_DDR_RES"

#include "resource/DdrResource.h"

#include "group/DdrGroup.h"
#include "sys/Log.h"

DdrResource::DdrResource(ResConstructParam const& param) : FrequencyResource(param) {}

DdrResource::~DdrResource()
{
    StopThread();
}

int DdrResource::InitGroups(PerfQosConfig& config)
{
    auto const* const freqConfig = dynamic_cast<PerfQosFreqConfig*>(&config);
    if (freqConfig == nullptr) {
        PF_LOGE("[%s:%d] [%s] qos %s needs a PerfQosFreqConfig", name.c_str(), config.qosName.c_str());
        return -1;
    }
    float const coefficient = freqConfig->freqToBandwidthCoefficient;
    if (coefficient == 0.0f) {
        PF_LOGI("[%s:%d] freq to bandwidth coefficience is 0, will write MinFreq NodePath");
    }
    return BuildGroups<DdrGroup>(config, coefficient) == nullptr ? 0 : -1;
}
