#include "catalogue/ScenarioManager.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

TEST(ScenarioManager, OneFaultDiscardsEveryScenario)
{
    LogCapture const log;
    GroupInfo const plain{0, {{static_cast<PerfOperationType>(2), 300}}};
    ConfigurableScenario const rows[] = {
        {6, {{4, {plain}}}},
        {1, {}}, // the id is taken
        {0, {{4, {}}}},
        {0, {{4, {plain}}, {3, {plain}}, {4, {plain}}}},
        {0, {{4, {plain, {1, {}}, plain}}}},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_TRUE(ScenarioManager().Init({{1, {{4, {plain}}}}, rows[i], {2, {}}}).empty()) << i;
    }
    EXPECT_EQ(ScenarioManager().Init({{1, {{4, {plain}}, {3, {plain}}}}, {2, {}}}).size(), 2u);
}
