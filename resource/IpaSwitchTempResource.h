// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** The switch temperature of the thermal governor. Without the flag it arbitrates, but writes nothing. */
class IpaSwitchTempResource : public PerfResource {
public:
    IpaSwitchTempResource(ResConstructParam const& param, bool ipaFlag);
    ~IpaSwitchTempResource() override;

    int InitGroups(PerfQosConfig& config) override;

private:
    bool const ipaFlag; // constant after construction
};
