#include "resource/EasResource.h"
#include "resource/MemLatTargetRatioResource.h"

#include "tests/resource/ResourceTestSupport.h"

namespace {

class EasResourceTest : public testing::Test {
protected:
    /** Groups on the nodes e0, e1, …; the level of each is its default. Levels 0, 1, 2 and 4 mean 0, 20, 40 and 41. */
    std::unique_ptr<EasResource> Build(std::vector<int> const& defaultLevels)
    {
        std::vector<PerfGroupConfig> groups;
        for (unsigned int i = 0; i < defaultLevels.size(); ++i) {
            Strings const node{sandbox.AddNode("e" + std::to_string(i))};
            groups.emplace_back(i, "g", defaultLevels[i], node, LevelToValueMap{}, CHIP_TYPE_ANY);
        }
        std::map<int, EasValue> const levels{{0, {0, 0}}, {1, {20, 0}}, {2, {40, 1}}, {4, {41, 1}}};
        PerfQosEasConfig config(NAME, groups, levels, 0, 100, sandbox.AddNode("global"));
        EXPECT_EQ(config.ReviseGroupConfigValue(0), 0);
        auto resource = std::make_unique<EasResource>(ResConstructParam{PERF_QOS_EAS, NAME, PERF_WORK_MODE_DEFAULT});
        EXPECT_EQ(resource->InitResource(config), 0);
        return resource;
    }

    Sandbox sandbox;
    LogCapture const log;
};

constexpr unsigned int RATIO = 0;
constexpr unsigned int MONITOR = 1;

/** A memory-latency governor with the nodes ratio and monitor, without a worker. */
class MemLatTest : public testing::Test {
protected:
    MemLatTest()
    {
        LevelToValueMap const ratios{{0, {"r0"}}, {1, {"r1"}}, {2, {"r2"}}};
        LevelToValueMap const states{{0, {"run"}}, {1, {"halt"}}, {2, {"?"}}};
        PerfQosConfig config(NAME,
                             {{RATIO, "ratio", 0, Strings{sandbox.AddNode("ratio")}, ratios, CHIP_TYPE_ANY},
                              {MONITOR, "monitor", 0, Strings{sandbox.AddNode("monitor")}, states, CHIP_TYPE_ANY}});
        EXPECT_EQ(resource.InitResource(config), 0);
    }

    Sandbox sandbox;
    LogCapture const log;
    MemLatTargetRatioResource resource{{14, NAME, PERF_WORK_MODE_DEFAULT}};
};

PerfGroupTable Boost(unsigned int group, int value)
{
    return {{group, {{BOOST, value}}}};
}

} // namespace

TEST_F(EasResourceTest, ARequestIsExtendedByWhatItsLevelsMeanForTheGlobalSwitch)
{
    struct Row {
        PerfGroupTable groups;
        std::map<PerfOperationType, int> global; ///< empty: refused
    };
    Row const rows[] = {
        {{{0, {{BOOST, 2}}}}, {{BOOST, 1}}},
        {{{0, {{BOOST, 1}}}, {7, {{BOOST, 0}}}}, {{BOOST, 0}}},
        {{{0, {{BOOST, 1}}}, {7, {{BOOST, 4}}}}, {{BOOST, 1}}},
        {{{3, {{LIMIT, 2}}}}, {{LIMIT, 1}}},
        {{{3, {{LIMIT, 2}}}, {4, {{LIMIT, 1}}}}, {{LIMIT, 0}}},
        {{{3, {{BOOST, 2}, {LIMIT, 4}}}}, {{BOOST, 1}, {LIMIT, 1}}},
        {{{3, {{BOOST, 0}, {LIMIT, 1}}}}, {{BOOST, 0}, {LIMIT, 0}}},
        {{{3, {{BOOST, 2}}}, {4, {{LIMIT, 1}}}}, {}}, // they contradict one another
        {{}, {}},
        {{{8, {{BOOST, 1}}}}, {}},
        {{{0, {{BOOST, 3}}}}, {}}, // no level
    };
    auto const resource = Build(std::vector<int>(8));
    for (Row const& row : rows) {
        auto expected = row.groups;
        if (!row.global.empty()) {
            expected[8] = row.global;
        }
        auto groups = row.groups;
        EXPECT_EQ(resource->RequestValidate(PERF_COMMAND_SHORT_START, groups), row.global.empty() ? -1 : 0);
        EXPECT_EQ(groups, expected);
    }
}

TEST_F(EasResourceTest, ALevelIsWrittenWithTheGlobalSwitchAndTakenBackWithIt)
{
    auto const resource = Build(std::vector<int>(8));
    auto const play = [&](PerfCommandType type, unsigned long long handle, PerfGroupTable groups) {
        EXPECT_EQ(resource->RequestValidate(type, groups), 0);
        EXPECT_EQ(resource->CommandDispath({type, Item(handle, groups)}), 0);
        return TakeLines(sandbox);
    };
    EXPECT_EQ(play(PERF_COMMAND_SHORT_START, 1, {{0, {{BOOST, 2}}}}), (Strings{"e0 <- 40", "global <- 1"}));
    EXPECT_EQ(play(PERF_COMMAND_SHORT_START, 2, {{7, {{BOOST, 1}}}}), Strings{"e7 <- 20"});
    EXPECT_EQ(play(PERF_COMMAND_SHORT_STOP, 1, {{0, {{BOOST, 2}}}}), (Strings{"e0 <- 0", "global <- 0"}));
    EXPECT_EQ(play(PERF_COMMAND_SHORT_STOP, 2, {{7, {{BOOST, 1}}}}), (Strings{"e7 <- 0", "global <- 0"}));
}

TEST_F(EasResourceTest, TheSwitchIsOnByDefaultWhenSomeDefaultLevelAsksForIt)
{
    auto const resumed = [&](EasResource& resource) {
        resource.SetSuspend(true);
        resource.SetSuspend(false);
        return sandbox.Read("global");
    };
    EXPECT_EQ(resumed(*Build(std::vector<int>(8))), "0");
    EXPECT_EQ(resumed(*Build({0, 0, 0, 2, 0, 0, 0, 1})), "1");

    // A default between two levels counts as 0, also as the limit of a request.
    auto const resource = Build({0, 0, 3, 0, 0, 0, 0, 0});
    EXPECT_EQ(resumed(*resource), "0");
    EXPECT_EQ(resource->BuildGlobalBoostCommand({{0, {{LIMIT, 3}}}}).at(LIMIT), 0);
    EXPECT_EQ(resource->BuildGlobalBoostCommand({{0, {{LIMIT, 99}}}}).at(LIMIT), 1);
}

TEST_F(MemLatTest, TheNodesFollowTheRatioAndTheMonitorTogether)
{
    struct Step {
        PerfGroupTable groups;
        Strings writes;
        int result = 0;
    };
    Step const steps[] = {
        {Boost(RATIO, 2), {"monitor <- run", "ratio <- r2"}},
        {Boost(RATIO, 1), {"ratio <- r1"}},
        {Boost(RATIO, 1), {}},
        {Boost(RATIO, 0), {"monitor <- halt"}},
        {Boost(MONITOR, 1), {}},
        {Boost(RATIO, 2), {}},
        {Boost(RATIO, 1), {}},
        {Boost(MONITOR, 0), {"monitor <- run"}},
        {Boost(MONITOR, 1), {"monitor <- halt"}},
        {Boost(RATIO, 0), {}},
        {Boost(MONITOR, 0), {}},
        {Boost(RATIO, 1), {"monitor <- run", "ratio <- r1"}},
        {Boost(MONITOR, 2), {"monitor <- run"}}, // whatever is not 1 lets it run
        {Boost(RATIO, 2), {"ratio <- r2"}},
        // A change of both is refused after the groups have taken it: they differ from the nodes until one is back.
        {{{0, {{BOOST, 1}}}, {1, {{BOOST, 1}}}}, {}, -1},
        {Boost(RATIO, 0), {}, -1},
        {Boost(MONITOR, 2), {"monitor <- halt"}},
        {Boost(RATIO, 1), {"monitor <- run", "ratio <- r1"}},
    };
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        EXPECT_EQ(resource.CommandDispath({PERF_COMMAND_BASE_SET, Item(NO_HANDLE, steps[i].groups)}), steps[i].result);
        EXPECT_EQ(TakeLines(sandbox), steps[i].writes);
    }
}

TEST_F(MemLatTest, AWorkModeThatMovesTheRatioIsProcessedLikeACommand)
{
    EXPECT_EQ(resource.CommandDispath({PERF_COMMAND_LONG_START, Item(1, Boost(RATIO, 2))}), 0);
    EXPECT_EQ(resource.CommandDispath({PERF_COMMAND_LONG_START, Item(2, {{0, {{LIMIT, 1}}}})}), 0);
    EXPECT_EQ(TakeLines(sandbox), (Strings{"monitor <- run", "ratio <- r2", "ratio <- r1"}));
    EXPECT_EQ(resource.CommandDispath({PERF_COMMAND_MODE_START, ModeItem(PERF_WORK_MODE_BOOST_FIRST)}), 0);
    EXPECT_EQ(resource.CommandDispath({PERF_COMMAND_MODE_START, ModeItem(3)}), -1);
    EXPECT_EQ(TakeLines(sandbox), Strings{"ratio <- r2"});
}
