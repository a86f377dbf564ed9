// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_DDR_GRP"

#include "group/DdrGroup.h"

#include "sys/Log.h"

#include <limits>

namespace {

/** Truncates toward zero; what does not fit an int saturates, and what is no number becomes 0. */
int ToInt(float value)
{
    // The highest int is no float: its nearest one is already too large.
    constexpr auto beyond = static_cast<float>(std::numeric_limits<int>::max());
    if (value >= beyond) {
        return std::numeric_limits<int>::max();
    }
    if (value <= -beyond) {
        return std::numeric_limits<int>::min();
    }
    return value == value ? static_cast<int>(value) : 0;
}

} // namespace

DdrGroup::DdrGroup(PerfGroupConfig const& config, PerfWorkMode mode, float coefficient)
    : SingleNodeValueGroup(config, mode), freqToBandwidthCoefficient(coefficient)
{
}

void DdrGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    SingleNodeValueGroup::DumpBaseValueAfterMapping(out); // the frequency, not the bandwidth
}

void DdrGroup::DoConfig(int boostValue, int limitValue)
{
    if (!(freqToBandwidthCoefficient > 0.0f)) {
        SingleNodeValueGroup::DoConfig(boostValue, limitValue);
        return;
    }
    int const bandwidth = ToInt(BandwidthOf(freqToBandwidthCoefficient, boostValue));
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write: bandwidth=%d, min=%d \n", name.c_str(), bandwidth,
                    boostValue);
    WriteUint(nodes[0], bandwidth);
}
