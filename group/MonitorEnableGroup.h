// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/LevelMapGroup.h"

/** The switch of a memory-latency monitor. Arbitrates, but writes only what its resource decides. */
class MonitorEnableGroup : public LevelMapGroup {
public:
    MonitorEnableGroup(PerfGroupConfig const& config, PerfWorkMode workMode);

    /** Levels and nodes, of whatever number. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    void RelatedGroupDoConfig(int value) override;
    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;
};
