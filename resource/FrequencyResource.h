// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** Frequency domains, each with a minimum and a maximum node. */
class FrequencyResource : public PerfResource {
public:
    explicit FrequencyResource(ResConstructParam const& param);
    ~FrequencyResource() override;

    int InitGroups(PerfQosConfig& config) override;
};
