// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_IPA_POWER_GRP"

#include "group/IpaSustainablePowerGroup.h"

#include "sys/Log.h"

IpaSustainablePowerGroup::IpaSustainablePowerGroup(PerfGroupConfig const& config, PerfWorkMode mode, bool switching,
                                                   int soc, int board)
    : SingleNodeValueGroup(config, mode), socThreshold(soc), boardThreshold(board), boardSwitching(switching)
{
}

bool IpaSustainablePowerGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    if (config.nodePathVec.size() != 3) {
        PF_LOGE("[%s:%d] [%s] invalid path size %zu", config.name.c_str(), config.nodePathVec.size());
        return false;
    }
    return PerfGroup::GroupParametersValidate(config);
}

void IpaSustainablePowerGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    int const value = BoostBaseValue();
    if (!boardSwitching) {
        out.push_back({EnabledIf(value < socThreshold), "", nodes[SOC_SWITCH].path, ""});
        return;
    }
    out.push_back({std::to_string(value), "", nodes[POWER].path, ""});
    out.push_back({EnabledIf(value < boardThreshold), "", nodes[BOARD_SWITCH].path, ""});
    out.push_back({EnabledIf(value <= boardThreshold), "", nodes[SOC_SWITCH].path, ""});
}

void IpaSustainablePowerGroup::DoConfig(int boostValue, int limitValue)
{
    if (!boardSwitching) {
        SocIpaSwitch(EnabledIf(boostValue < socThreshold));
        return;
    }
    if (boostValue < boardThreshold) {
        if (boardOffLatch || atThresholdLatch) {
            boardOffLatch = false;
            atThresholdLatch = false;
            BoardIpaSwitch(enabledText);
            SocIpaSwitch(enabledText);
        }
        SingleNodeValueGroup::DoConfig(boostValue, limitValue);
        return;
    }
    nodes[POWER].failed = false; // from the threshold up nothing is offered to it
    if (boostValue == boardThreshold) {
        atThresholdLatch = true;
        BoardIpaSwitch(disabledText);
        SocIpaSwitch(enabledText);
    } else {
        BoardIpaSwitch(disabledText);
        SocIpaSwitch(disabledText);
        boardOffLatch = true;
    }
}

void IpaSustainablePowerGroup::CloseAllFds()
{
    CloseNodes(BOARD_SWITCH);
}

void IpaSustainablePowerGroup::WriteAnew()
{
    atThresholdLatch = true; // the switches, too, whatever they were last offered
    SingleNodeValueGroup::WriteAnew();
}

void IpaSustainablePowerGroup::BoardIpaSwitch(std::string const& text)
{
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write board ipa switch: %s \n", name.c_str(), text.c_str());
    WriteText(nodes[BOARD_SWITCH], text);
}

void IpaSustainablePowerGroup::SocIpaSwitch(std::string const& text)
{
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write soc ipa switch: %s \n", name.c_str(), text.c_str());
    WriteText(nodes[SOC_SWITCH], text);
}
