// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** The sustainable power and its switches. Needs a PerfQosIpaPowerConfig; the flag turns board switching on. */
class IpaSustainablePowerResource : public PerfResource {
public:
    IpaSustainablePowerResource(ResConstructParam const& param, bool ipaFlag);
    ~IpaSustainablePowerResource() override;

    int InitGroups(PerfQosConfig& config) override;

private:
    bool const ipaFlag; // constant after construction
};
