// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/SingleNodeValueGroup.h"

/** Turns the floor, a frequency, into a bandwidth and writes that as four raw bytes. */
class DdrGroup : public SingleNodeValueGroup {
public:
    /** @param coefficient as in BandwidthOf; 0 or less writes the frequency as text. */
    DdrGroup(PerfGroupConfig const& config, PerfWorkMode workMode, float coefficient);

    /** @return the bandwidth of a frequency. What does not fit an int is cut off when it is written. */
    static float BandwidthOf(float coefficient, int frequency)
    {
        return coefficient * static_cast<float>(frequency) / static_cast<float>(freqDivisor);
    }

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;

private:
    static constexpr int freqDivisor = 1000000;

    // constant after construction
    float const freqToBandwidthCoefficient;
};
