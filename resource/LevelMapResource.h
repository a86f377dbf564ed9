// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** Levels that each mean one text per node. */
class LevelMapResource : public PerfResource {
public:
    explicit LevelMapResource(ResConstructParam const& param);
    ~LevelMapResource() override;

    int InitGroups(PerfQosConfig& config) override;
};
