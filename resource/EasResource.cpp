// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_EAS_RES"

#include "resource/EasResource.h"

#include "group/LevelMapGroup.h"
#include "group/SingleNodeValueGroup.h"
#include "sys/Log.h"

#include <algorithm>
#include <iterator>
#include <utility>

EasResource::EasResource(ResConstructParam const& param) : PerfResource(param) {}

EasResource::~EasResource()
{
    StopThread();
}

int EasResource::InitGroups(PerfQosConfig& config)
{
    auto const* const easConfig = dynamic_cast<PerfQosEasConfig*>(&config);
    if (easConfig == nullptr) {
        PF_LOGE("[%s:%d] [%s] qos %s needs a PerfQosEasConfig", name.c_str(), config.qosName.c_str());
        return -1;
    }
    if (BuildGroups<LevelMapGroup>(config) != nullptr) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", name.c_str());
        return -1;
    }
    globalBoostTable = easConfig->globalBoostMap;
    PerfGroupConfig switchConfig(globalBoostGroupId, globalBoostName, 0, 1, DefaultGlobalBoost(config.groupConfigs), 1,
                                 {easConfig->globalBoostNode}, CHIP_TYPE_ANY);
    if (!SingleNodeValueGroup::GroupParametersValidate(switchConfig)) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", name.c_str());
        return -1;
    }
    groups.push_back(std::make_shared<SingleNodeValueGroup>(switchConfig, workMode));
    return 0;
}

/** A default level that the table lacks enters it with 0, so that a request for that level counts as 0 as well. */
int EasResource::DefaultGlobalBoost(std::vector<PerfGroupConfig> const& configs)
{
    int on = 0;
    for (PerfGroupConfig const& config : configs) {
        if (globalBoostTable[config.boostBase] == 1) {
            on = 1;
        }
    }
    return on;
}

int EasResource::RequestValidate(PerfCommandType type, PerfGroupTable& groupMap)
{
    if (groupMap.size() > globalBoostGroupId) {
        PF_LOGE("[%s:%d] [%s] invalid group num: %zu", name.c_str(), groupMap.size());
        return -1;
    }
    if (!groupMap.empty()) {
        unsigned int const greatest = std::prev(groupMap.end())->first;
        if (greatest >= globalBoostGroupId) {
            PF_LOGE("[%s:%d] [%s] invalid group id: %u", name.c_str(), greatest);
            return -1;
        }
    }
    if (GroupValidate(type, groupMap) != 0) {
        PF_LOGE("[%s:%d] [%s] GroupValidate failed", name.c_str());
        return -1;
    }
    auto operations = BuildGlobalBoostCommand(groupMap);
    if (operations.empty()) {
        PF_LOGE("[%s:%d] [%s] BuildGlobalBoostCommand failed", name.c_str());
        return -1;
    }
    groupMap[globalBoostGroupId] = std::move(operations);
    return 0;
}

int EasResource::GetEasCommandLevel(PerfGroupTable const& groupMap, std::vector<int>& boostValues,
                                    std::vector<int>& limitValues) const
{
    for (auto const& [groupId, operations] : groupMap) {
        for (auto const& [operation, value] : operations) {
            if (operation == PERF_OPERATION_BOOST) {
                boostValues.push_back(value);
            } else if (operation == PERF_OPERATION_LIMIT) {
                limitValues.push_back(value);
            } else {
                PF_LOGE("[%s:%d] [%s] invalid operation type: %u", name.c_str(), operation);
                return -1;
            }
        }
    }
    return 0;
}

std::map<PerfOperationType, int> EasResource::BuildGlobalBoostCommand(PerfGroupTable const& groupMap) const
{
    std::vector<int> boostValues;
    std::vector<int> limitValues;
    if (GetEasCommandLevel(groupMap, boostValues, limitValues) != 0) {
        PF_LOGE("[%s:%d] [%s] GetEasCommandLevel failed", name.c_str());
        return {};
    }
    int const boost = IsAnyMappedTo(boostValues, 1) ? 1 : 0;
    int const limit = IsAnyMappedTo(limitValues, 0) ? 0 : 1;
    if (boost > limit) {
        PF_LOGE("[%s:%d] [%s] boostValue(%u) larger than limitValue(%u)", name.c_str(), boost, limit);
        return {};
    }
    std::map<PerfOperationType, int> operations;
    if (!boostValues.empty()) {
        operations[PERF_OPERATION_BOOST] = boost;
    }
    if (!limitValues.empty()) {
        operations[PERF_OPERATION_LIMIT] = limit;
    }
    return operations;
}

bool EasResource::IsAnyMappedTo(std::vector<int> const& levels, unsigned int globalBoost) const
{
    return std::any_of(levels.begin(), levels.end(), [&](int level) {
        auto const found = globalBoostTable.find(level);
        return found != globalBoostTable.end() && found->second == globalBoost;
    });
}
