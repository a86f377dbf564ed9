// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/SingleNodeValueGroup.h"

#include <string>

/**
 * The sustainable power of the thermal governor, with the two switches of the board's and the SoC's power allocation.
 *
 * The nodes are, in order: the power value, the board switch, the SoC switch. Without board switching only the SoC
 * switch is written. With it: at or above the board threshold the switches, each time; below it the power value, and
 * with the first one below it both switches on again.
 */
class IpaSustainablePowerGroup : public SingleNodeValueGroup {
public:
    IpaSustainablePowerGroup(PerfGroupConfig const& config, PerfWorkMode workMode, bool boardSwitching,
                             int socThreshold, int boardThreshold);

    /** Exactly three node paths. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DoConfig(int boostValue, int limitValue) override;
    /** Closes the two switches; the power node stays open across a suspend. */
    void CloseAllFds() override;
    /** The switches as well, where only the power value is in force. */
    void WriteAnew() override;

    void BoardIpaSwitch(std::string const& text);
    void SocIpaSwitch(std::string const& text);

private:
    enum NodeIndex { POWER, BOARD_SWITCH, SOC_SWITCH };

    std::string const& EnabledIf(bool enabled) const { return enabled ? enabledText : disabledText; }

    // constant after construction
    std::string const enabledText = "enabled";
    std::string const disabledText = "disabled";
    int const socThreshold;
    int const boardThreshold;
    bool const boardSwitching;

    // worker thread only
    /** The switches were left off or split; the next value below the threshold puts both on again. */
    bool boardOffLatch = false;
    bool atThresholdLatch = false;
};
