// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/program/EmbeddedFiles.h"
#include "tools/corvanectl/session/Ledger.h"
#include "tools/corvanectl/session/LibraryVoice.h"
#include "tools/corvanectl/session/Reasons.h"

#include <gtest/gtest.h>

#include <random>

TEST(Reasons, ForeseeEveryRefusalOfARequestAndEveryValueThatIsMoved)
{
    StopSignal const stop;
    SessionTime time(SessionTime::Kind::VIRTUAL);
    SandboxNodes nodes;
    Story story;
    LibraryVoice const voice(story); // to nobody
    Findings unread;
    Session session(ReadPlatform("sample", SAMPLE_PLATFORM, unread), nodes, story, time, stop);
    std::mt19937 random(5);
    auto const oneOf = [&random](std::vector<int> const& list) { return list[random() % list.size()]; };
    auto const id = [&oneOf](std::vector<int> const& list) { return static_cast<unsigned int>(oneOf(list)); };
    int granted = 0;
    int moved = 0;
    for (int i = 0; i < 3500; ++i) {
        Held asked;
        asked.what = "request";
        asked.pid = oneOf({1, 1, 1, 1, 1, 1, 1, 0});
        asked.duration = id({0, 0, 0, 0, 0, 0, 0, 60000, 20, 19, 60001});
        for (int parts = oneOf({0, 1, 1, 1, 1, 1, 2, 3}); parts > 0; --parts) {
            PerfQosId const qos = id({0, 0, 1, 2, 3, 4, 6, 7, 8, 9, 9, 10, 10, 11, 14, 45});
            auto const& range = session.Fitted().qosConfigs.at(qos == 45 ? 9 : qos)->groupConfigs[0];
            asked.infos.push_back({qos, {{id({0, 0, 0, 0, 0, 1, 8}), {}}}});
            for (int values = oneOf({0, 1, 1, 2}); values > 0; --values) {
                int const value = oneOf({range.availableMin, range.availableMax - 1, range.availableMax});
                asked.infos.back().groupInfos[0].operations.emplace_back(PerfOperationType(random() % 2),
                                                                         value + oneOf({-1, 0, 0, 0, 0, 1, 9}));
            }
        }
        auto const objection = ReasonsFor(session, asked, -1);
        CallFor(session, asked);
        ASSERT_EQ(session.Claims().LastResult() == 0, objection.empty()) << i;
        if (objection.empty()) {
            ++granted;
            auto const before = session.Manager().RequestFilter(asked.infos);
            auto after = before;
            PerfQosId left = 0;
            static_cast<void>(session.Manager().RequestValidate(PERF_COMMAND_LONG_START, after, left));
            bool const isAsAsked = std::equal(
                before.begin(), before.end(), after.begin(), [](QosInfoInt const& one, QosInfoInt const& other) {
                    return one.qosId == PERF_QOS_EAS || one.groupInfo == other.groupInfo; // its switch is added
                });
            ASSERT_EQ(ReasonsFor(session, asked, 0).empty(), isAsAsked) << i;
            moved += isAsAsked ? 0 : 1;
        }
    }
    EXPECT_GT(granted, 520);
    EXPECT_GT(moved, 30);
}

TEST(Ledger, CountsWhatEndsByItselfFromTheCallAsTheLibraryDoes)
{
    PerfTimePoint const call{std::chrono::hours(1)};
    Held held;
    held.duration = 100;
    Ledger ledger;
    ledger.Hear({call, Asked{"request"}});
    ledger.Hear({call + std::chrono::milliseconds(5), held});
    EXPECT_EQ(ledger.Outstanding(call + std::chrono::milliseconds(99)).size(), 1u);
    EXPECT_TRUE(ledger.Outstanding(call + std::chrono::milliseconds(100)).empty());
}
