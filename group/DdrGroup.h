// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/SingleNodeValueGroup.h"

/** Turns the floor, a frequency, into a bandwidth and writes that as four raw bytes. */
class DdrGroup : public SingleNodeValueGroup {
public:
    /** @param coefficient bandwidth = coefficient * frequency / 1000000; 0 or less writes the frequency as text. */
    DdrGroup(PerfGroupConfig const& config, PerfWorkMode workMode, float coefficient);

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;

private:
    // constant after construction
    int const freqDivisor = 1000000;
    float const freqToBandwidthCoefficient;
};
