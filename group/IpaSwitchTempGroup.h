// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/SingleNodeValueGroup.h"

/** The IPA switch temperature: a single node that is left alone on platforms without the IPA resource. */
class IpaSwitchTempGroup : public SingleNodeValueGroup {
public:
    /** @param enabled false: neither writes nor describes anything. */
    IpaSwitchTempGroup(PerfGroupConfig const& config, PerfWorkMode workMode, bool enabled);

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;

private:
    bool const enabled; // constant after construction
};
