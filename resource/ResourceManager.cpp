// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_RES_MGR"

#include "resource/ResourceManager.h"

#include "resource/DdrResource.h"
#include "resource/EasResource.h"
#include "resource/FrequencyResource.h"
#include "resource/IpaSustainablePowerResource.h"
#include "resource/IpaSwitchTempResource.h"
#include "resource/LevelMapResource.h"
#include "resource/MemLatTargetRatioResource.h"
#include "resource/ResourceKind.h"
#include "resource/SingleNodeValueResource.h"
#include "sys/Log.h"

#include <algorithm>

ResourceManager::ResourceManager(std::size_t slots, unsigned int delay) : resources(slots), rewriteDelay(delay) {}

ResourceManager::~ResourceManager()
{
    TellWorkersToExit();
}

void ResourceManager::TellWorkersToExit()
{
    for (auto const& resource : resources) {
        if (resource != nullptr) {
            resource->TellToExit();
        }
    }
}

int ResourceManager::Init(PerfDefaultConfig const& config)
{
    if (config.controlInfo.workMode >= PERF_WORK_MODE_COUNT) {
        PF_LOGE("[%s:%d] invalid workMode: %u", config.controlInfo.workMode);
        return -1;
    }
    for (auto const& [qosId, qosConfig] : config.qosConfigs) {
        if (InitEntry(__func__, qosId, qosConfig, config.controlInfo) != 0) {
            return -1;
        }
    }
    for (auto const& resource : resources) {
        if (resource != nullptr) {
            resource->InitThread();
        }
    }
    return 0;
}

int ResourceManager::InitEntry(char const* method, PerfQosId qosId, PerfQosConfig* config,
                               PerfConfigControlInfo const& controlInfo)
{
    if (config == nullptr) {
        PF_LOGE_AS(method, "[%s:%d] config is NULL for qos id %u", qosId);
        return -1;
    }
    char const* const qosName = config->qosName.c_str();
    if (!IsSupportQos(config->groupConfigs)) {
        PF_LOGI_AS(method, "[%s:%d] not support %s on this platform", qosName);
        return 0;
    }
    if (qosId >= resources.size()) {
        PF_LOGE_AS(method, "[%s:%d] invalid qos id: %u", qosId);
        return -1;
    }
    ResConstructParam param{qosId, config->qosName, controlInfo.workMode, rewriteDelay};
    bool handled = false;
    auto resource = BuildSpecialResource(param, *config, controlInfo, handled);
    if (resource == nullptr && handled) {
        PF_LOGI_VERBOSE_AS(method, "[%s:%d] not support resource for qos = %u name = %s", qosId, qosName);
        return 0;
    }
    if (resource == nullptr) {
        resource = BuildSharedResource(param, *config);
    }
    if (resource == nullptr) {
        PF_LOGE_AS(method, "[%s:%d] fail to Init resource for qos = %u name = %s", qosId, qosName);
        return -1;
    }
    if (resource->InitResource(*config) != 0) {
        PF_LOGE_AS(method, "[%s:%d] Init resource group Fail!");
        return -1;
    }
    resources[qosId] = std::move(resource);
    return 0;
}

bool ResourceManager::IsSupportQos(std::vector<PerfGroupConfig> const& groups) const
{
    for (PerfGroupConfig const& group : groups) {
        if (group.nodePathVec.empty()) {
            PF_LOGI("[%s:%d] not support %s on this platform", group.name.c_str());
            return false;
        }
    }
    return true;
}

std::shared_ptr<PerfResource> ResourceManager::BuildSpecialResource(ResConstructParam& param, PerfQosConfig&,
                                                                    PerfConfigControlInfo const& controlInfo,
                                                                    bool& handled) const
{
    switch (FixedKindOf(param.qosId)) {
    case ResourceKind::DDR:
        return std::make_shared<DdrResource>(param);
    case ResourceKind::IPA_POWER:
        return std::make_shared<IpaSustainablePowerResource>(param, controlInfo.ipaResourceFlag);
    case ResourceKind::IPA_SWITCH_TEMP:
        return std::make_shared<IpaSwitchTempResource>(param, controlInfo.ipaResourceFlag);
    case ResourceKind::SINGLE_VALUE:
        handled = true;
        return controlInfo.singleNodeQosEnable ? std::make_shared<SingleNodeValueResource>(param) : nullptr;
    case ResourceKind::EAS:
        return std::make_shared<EasResource>(param);
    case ResourceKind::MEM_LAT:
        return std::make_shared<MemLatTargetRatioResource>(param);
    default:
        return nullptr;
    }
}

std::shared_ptr<PerfResource> ResourceManager::BuildSharedResource(ResConstructParam& param,
                                                                   PerfQosConfig& config) const
{
    switch (SharedKindOf(config.groupConfigs)) {
    case ResourceKind::LEVEL_MAP:
        return std::make_shared<LevelMapResource>(param);
    case ResourceKind::SINGLE_VALUE:
        return std::make_shared<SingleNodeValueResource>(param);
    case ResourceKind::FREQUENCY:
        return std::make_shared<FrequencyResource>(param);
    default:
        PF_LOGI("[%s:%d] invalid resource config: %s", config.qosName.c_str());
        return nullptr;
    }
}

int ResourceManager::SendCmdToResources(CommandWrapper const& wrapper) const
{
    if (wrapper.commands.empty()) {
        PF_LOGE("[%s:%d] empty command wrapper");
        return -1;
    }
    for (auto const& item : wrapper.commands) {
        if (item == nullptr) {
            PF_LOGE("[%s:%d] command ptr is NULL!");
            return -1;
        }
        auto const& resource = GetResourcePtr(item->qosId);
        if (resource == nullptr) {
            PF_LOGE("[%s:%d] resource ptr is NULL for qos id %u", item->qosId);
            return -1;
        }
        resource->MoveToFifoQ({wrapper.cmdType, item});
    }
    return 0;
}

bool ResourceManager::CanSendCmdToResources(CommandWrapper const& wrapper) const
{
    auto const hasResource = [this](auto const& item) { return item != nullptr && HasResource(item->qosId); };
    return !wrapper.commands.empty() && std::all_of(wrapper.commands.begin(), wrapper.commands.end(), hasResource);
}

int ResourceManager::SendWorkModeCmd(CommandWrapper const& wrapper) const
{
    if (wrapper.commands.empty()) {
        PF_LOGE("[%s:%d] empty command wrapper");
        return -1;
    }
    if (wrapper.commands[0] == nullptr) {
        PF_LOGE("[%s:%d] command ptr is NULL!");
        return -1;
    }
    for (auto const& resource : resources) {
        if (resource != nullptr) {
            resource->SendCommandToFifoQ({wrapper.cmdType, wrapper.commands[0]});
        }
    }
    return 0;
}

std::shared_ptr<PerfResource> const& ResourceManager::GetResourcePtr(PerfQosId qosId) const
{
    static std::shared_ptr<PerfResource> const none;
    if (qosId >= resources.size()) {
        PF_LOGE("[%s:%d] invalid qos id: %u", qosId);
        return none;
    }
    return resources[qosId];
}

void ResourceManager::GetResourceIds(unsigned long long mask, std::vector<PerfQosId>& out) const
{
    for (PerfQosId id = 0; id < resources.size() && id < 64; ++id) {
        if (((mask >> id) & 1) != 0 && HasResource(id)) {
            out.push_back(id);
        }
    }
}
