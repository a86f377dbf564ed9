// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"

#include <string>
#include <vector>

/** Writes the floor, as decimal text, to one node. The ceiling is not used. */
class SingleNodeValueGroup : public PerfGroup {
public:
    SingleNodeValueGroup(PerfGroupConfig const& config, PerfWorkMode workMode);

    /** Exactly one node path. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;
    void CloseAllFds() override;
};
