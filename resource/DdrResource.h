// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/FrequencyResource.h"

/** DDR bandwidth, asked for as a frequency. Needs a PerfQosFreqConfig. */
class DdrResource : public FrequencyResource {
public:
    explicit DdrResource(ResConstructParam const& param);
    ~DdrResource() override;

    int InitGroups(PerfQosConfig& config) override;
};
