// SPDX-License-Identifier: Apache-2.0

#include "catalogue/ScenarioManager.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

TEST(ScenarioManager, OneFaultDiscardsEveryScenario)
{
    LogCapture log;
    GroupInfo const plain{0, {{static_cast<PerfOperationType>(2), 300}}};
    GroupInfo const repeated{0, {{PERF_OPERATION_LIMIT, 5}, {PERF_OPERATION_LIMIT, 6}}};
    std::pair<ConfigurableScenario, char const*> const rows[] = {
        {{6, {{4, {plain}}}}, "Init: invalid scenario id: 6"},
        {{1, {}}, "Init: duplicate scenario id: 1"},
        {{0, {{4, {}}}}, "Init: LoadGroupInfo fail!"},
        {{0, {{4, {plain}}, {3, {plain}}, {4, {plain}}}}, "Init: duplicate qos id: 4"},
        {{0, {{4, {{1, {}}, plain, {1, {}}}}}}, "LoadGroupInfo: scenario init duplicate group id: 1"},
        {{0, {{4, {repeated}}}}, "LoadGroupInfo: scenario init duplicate operation type: 1"},
    };
    for (auto const& [scenario, reason] : rows) {
        EXPECT_TRUE(ScenarioManager().Init({{1, {{4, {plain}}}}, scenario, {2, {}}}).empty()) << reason;
        EXPECT_EQ(log.TakeReason(), std::string("PF_SCEN_MGR ") + reason);
    }
    EXPECT_EQ(ScenarioManager().Init({{1, {{4, {plain}}, {3, {plain}}}}, {2, {}}}).size(), 2u);
}
