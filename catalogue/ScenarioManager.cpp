// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_SCEN_MGR"

#include "catalogue/ScenarioManager.h"

#include "catalogue/GroupTableLoader.h"
#include "sys/Log.h"

#include <utility>

ScenarioManager::ScenarioTable ScenarioManager::Init(std::vector<ConfigurableScenario> const& scenarios) const
{
    ScenarioTable table;
    for (ConfigurableScenario const& scenario : scenarios) {
        if (scenario.scenarioId >= PERF_SCENARIO_ID_COUNT) {
            PF_LOGE("[%s:%d] invalid scenario id: %u", scenario.scenarioId);
            return {};
        }
        ScenarioItems items;
        for (ScenarioQosItem const& item : scenario.qosItems) {
            PerfGroupTable groups = LoadGroupInfo(item.groupInfos);
            if (groups.empty()) {
                PF_LOGE("[%s:%d] LoadGroupInfo fail!");
                return {};
            }
            if (!items.emplace(item.qosId, std::move(groups)).second) {
                PF_LOGE("[%s:%d] duplicate qos id: %u", item.qosId);
                return {};
            }
        }
        if (!table.emplace(scenario.scenarioId, std::move(items)).second) {
            PF_LOGE("[%s:%d] duplicate scenario id: %u", scenario.scenarioId);
            return {};
        }
    }
    return table;
}

PerfGroupTable ScenarioManager::LoadGroupInfo(std::vector<GroupInfo> const& groupInfos) const
{
    GroupTableResult result = LoadGroupTable(groupInfos);
    switch (result.fault) {
    case GroupTableFault::DUPLICATE_OPERATION:
        PF_LOGE("[%s:%d] scenario init duplicate operation type: %u", result.id);
        break;
    case GroupTableFault::DUPLICATE_GROUP:
        PF_LOGE("[%s:%d] scenario init duplicate group id: %u", result.id);
        break;
    case GroupTableFault::NONE:
        break;
    }
    return std::move(result.table);
}

void ScenarioManager::Update(ScenarioTable const& scenarios)
{
    if (&scenarios != &scenarioTable) {
        scenarioTable = scenarios;
    }
}

ScenarioManager::ScenarioItems const& ScenarioManager::ScenarioIdToQosInfo(PerfScenarioId scenarioId) const
{
    static ScenarioItems const none;
    auto const it = scenarioTable.find(scenarioId);
    return it == scenarioTable.end() ? none : it->second;
}

int ScenarioManager::Dump(std::ostringstream& out) const
{
    for (auto const& [scenarioId, items] : scenarioTable) {
        out << std::endl << "scenarioId[" << scenarioId << "] qosNum: " << items.size() << std::endl;
        for (auto const& [qosId, groups] : items) {
            out << "  qosId[" << qosId << "] groupNum(" << groups.size() << ") <type, value>:" << std::endl;
            for (auto const& [groupId, operations] : groups) {
                out << "    grpId[" << groupId << "] valueNum(" << operations.size() << "): ";
                for (auto const& [operation, value] : operations) {
                    out << "<" << static_cast<unsigned int>(operation) << ", " << value << "> ";
                }
                out << std::endl;
            }
        }
    }
    return 0;
}
