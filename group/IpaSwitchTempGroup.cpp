// SPDX-License-Identifier: Apache-2.0

#include "group/IpaSwitchTempGroup.h"

IpaSwitchTempGroup::IpaSwitchTempGroup(PerfGroupConfig const& config, PerfWorkMode mode, bool enable)
    : SingleNodeValueGroup(config, mode), enabled(enable)
{
}

void IpaSwitchTempGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    if (enabled) {
        SingleNodeValueGroup::DumpBaseValueAfterMapping(out);
    }
}

void IpaSwitchTempGroup::DoConfig(int boostValue, int limitValue)
{
    if (enabled) {
        SingleNodeValueGroup::DoConfig(boostValue, limitValue);
    }
}
