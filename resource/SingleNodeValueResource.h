// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** Values that are each written to one node. */
class SingleNodeValueResource : public PerfResource {
public:
    explicit SingleNodeValueResource(ResConstructParam const& param);
    ~SingleNodeValueResource() override;

    int InitGroups(PerfQosConfig& config) override;
};
