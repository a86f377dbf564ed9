#define LOG_TAG "PF_IPA_POWER_GRP"

#include "group/IpaSustainablePowerGroup.h"

#include "sys/Log.h"
#include "sys/SysWrapper.h"

IpaSustainablePowerGroup::IpaSustainablePowerGroup(PerfGroupConfig const& config, PerfWorkMode mode, bool switching,
                                                   int soc, int board)
    : SingleNodeValueGroup(config, mode), socThreshold(soc), boardThreshold(board),
      boardNodePath(config.nodePathVec[1]), socNodePath(config.nodePathVec[2]), boardSwitching(switching)
{
}

IpaSustainablePowerGroup::~IpaSustainablePowerGroup()
{
    SysWrapper::SysClose(boardFd);
    SysWrapper::SysClose(socFd);
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
        out.push_back({EnabledIf(value < socThreshold), "", socNodePath, ""});
        return;
    }
    out.push_back({std::to_string(value), "", nodePath, ""});
    out.push_back({EnabledIf(value < boardThreshold), "", boardNodePath, ""});
    out.push_back({EnabledIf(value <= boardThreshold), "", socNodePath, ""});
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
    } else if (boostValue == boardThreshold) {
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
    SysWrapper::SysClose(boardFd);
    SysWrapper::SysClose(socFd);
}

void IpaSustainablePowerGroup::BoardIpaSwitch(std::string const& text)
{
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write board ipa switch: %s \n", name.c_str(), text.c_str());
    SysWrapper::SysOpenAndWriteStr(name, boardNodePath, text, boardFd);
}

void IpaSustainablePowerGroup::SocIpaSwitch(std::string const& text)
{
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write soc ipa switch: %s \n", name.c_str(), text.c_str());
    SysWrapper::SysOpenAndWriteStr(name, socNodePath, text, socFd);
}
