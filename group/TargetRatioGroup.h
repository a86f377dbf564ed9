// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/LevelMapGroup.h"

/** The target ratio of a memory-latency governor. Arbitrates, but writes only what its resource decides. */
class TargetRatioGroup : public LevelMapGroup {
public:
    TargetRatioGroup(PerfGroupConfig const& config, PerfWorkMode workMode);

    void RelatedGroupDoConfig(int value) override;
    void DoConfig(int boostValue, int limitValue) override;
};
