// SPDX-License-Identifier: Apache-2.0

#include "resource/FrequencyResource.h"

#include "group/FrequencyGroup.h"

FrequencyResource::FrequencyResource(ResConstructParam const& param) : PerfResource(param) {}

FrequencyResource::~FrequencyResource()
{
    StopThread();
}

int FrequencyResource::InitGroups(PerfQosConfig& config)
{
    return BuildGroups<FrequencyGroup>(config) == nullptr ? 0 : -1;
}
