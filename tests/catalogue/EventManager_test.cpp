#include "catalogue/EventManager.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

GroupInfo const PLAIN{0, {{PERF_OPERATION_BOOST, 5}}};

} // namespace

TEST(EventManager, PhasesOfAResourceFollowOneAnotherWithoutAGap)
{
    auto const table = EventManager().Init({{16, {{7, {{20, {PLAIN}}, {60000, {PLAIN}}, {50, {PLAIN}}}}, {4, {}}}}});
    std::vector<unsigned int> bounds;
    for (auto const& [qosId, item] : table.at(16)) {
        bounds.insert(bounds.end(), {qosId, item.startTime, item.endTime});
    }
    EXPECT_EQ(bounds, (std::vector<unsigned int>{7, 0, 20, 7, 20, 60020, 7, 60020, 60070}));
}

TEST(EventManager, OneFaultDiscardsEveryEvent)
{
    LogCapture const log;
    GroupInfo const repeated{0, {{PERF_OPERATION_LIMIT, 5}, {PERF_OPERATION_LIMIT, 6}}};
    auto const phase = [](unsigned int duration, std::vector<GroupInfo> const& groups) {
        return std::vector<QosCommand>{{4, {{duration, groups}}}};
    };
    ConfigurableEvent const rows[] = {
        {17, phase(100, {PLAIN})},
        {4294967295, phase(100, {PLAIN})},
        {1, phase(100, {PLAIN})}, // the id is taken
        {0, {}},
        {0, {{4, {}}}},
        {0, {{4, {{20, {PLAIN}}}}, {4, {}}}},
        {0, phase(19, {PLAIN})},
        {0, phase(60001, {PLAIN})},
        {0, phase(100, {})},
        {0, phase(100, {PLAIN, repeated})},
        {0, phase(100, {repeated})},
        {0, phase(100, {PLAIN, {3, {}}, PLAIN})},
        {0, {{4, std::vector<EventPhase>(71583, {60000, {PLAIN}})}}}, // its end would wrap
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_TRUE(EventManager().Init({{1, phase(20, {PLAIN})}, rows[i], {2, phase(20, {PLAIN})}}).empty()) << i;
    }
}

TEST(EventManager, DumpKeepsItsRaggedLayout)
{
    GroupInfo const both{2, {{PERF_OPERATION_LIMIT, 9}, {PERF_OPERATION_BOOST, -5}}};
    GroupInfo const empty{1, {}};
    EventManager manager;
    auto const table = manager.Init(
        {{3, {{4, {{100, {both, {7, {}}, PLAIN}}, {60000, {empty}}}}}}, {2, {{14, {{100, {empty, both}}}}}}});
    EXPECT_TRUE(manager.EventIdToQosInfo(3).empty()) << "Init leaves the stored table alone";
    manager.Update(table, {1, 2, 3, 4, 5, "0F"});
    std::ostringstream out;
    EXPECT_EQ(manager.Dump(out), 0);
    std::string const heading = "   startTime   endTime  group  boost/limit          value\n     0: ";
    EXPECT_EQ(out.str(), "event(2)\n  qos:14" + heading +
                             "                   0       100      2            0             -5\n"
                             "           0       100      2            1              9\n"
                             "event(3)\n  qos: 4" +
                             heading +
                             "           0       100      0            0              5\n"
                             "                   0       100      2            0             -5\n"
                             "           0       100      2            1              9\n"
                             "          qos: 4" +
                             heading);
}
