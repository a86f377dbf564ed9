// SPDX-License-Identifier: Apache-2.0

#include "catalogue/EventManager.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

GroupInfo const PLAIN{0, {{PERF_OPERATION_BOOST, 5}}};

} // namespace

TEST(EventManager, OneFaultDiscardsEveryEvent)
{
    LogCapture log;
    GroupInfo const repeated{0, {{PERF_OPERATION_LIMIT, 5}, {PERF_OPERATION_LIMIT, 6}}};
    auto const phase = [](unsigned int duration, std::vector<GroupInfo> const& groups) {
        return std::vector<QosCommand>{{4, {{duration, groups}}}};
    };
    std::pair<ConfigurableEvent, char const*> const rows[] = {
        {{17, phase(100, {PLAIN})}, "Init: invalid event id: 17"},
        {{4294967295, phase(100, {PLAIN})}, "Init: invalid event id: 4294967295"},
        {{1, phase(100, {PLAIN})}, "Init: duplicate event id: 1"},
        {{0, {}}, "Init: LoadQosToEventItem fail!"},
        {{0, {{4, {}}}}, "Init: LoadQosToEventItem fail!"},
        {{0, {{4, {{20, {PLAIN}}}}, {4, {}}}}, "LoadQosToEventItem: duplicate qos id: 4"},
        {{0, phase(19, {PLAIN})}, "LoadQosToEventItem: invalid duration: 19 ms"},
        {{0, phase(60001, {PLAIN})}, "LoadQosToEventItem: invalid duration: 60001 ms"},
        {{0, phase(100, {})}, "LoadQosToEventItem: LoadGroupInfo fail!"},
        {{0, phase(100, {PLAIN, repeated})}, "LoadGroupInfo: event init duplicate operation type: 1"},
        {{0, phase(100, {repeated})}, "LoadGroupInfo: event init duplicate operation type: 1"},
        {{0, phase(100, {{3, {}}, PLAIN, {3, {}}})}, "LoadGroupInfo: event init duplicate group id: 3"},
        {{0, {{4, std::vector<EventPhase>(71583, {60000, {PLAIN}})}}},
         "LoadQosToEventItem: phases of qos id 4 too long: 4294920000 ms and 60000 ms more"},
    };
    for (auto const& [event, reason] : rows) {
        EXPECT_TRUE(EventManager().Init({{1, phase(20, {PLAIN})}, event, {2, phase(20, {PLAIN})}}).empty()) << reason;
        EXPECT_EQ(log.TakeReason(), std::string("PF_EVENT_MGR ") + reason);
    }
}
