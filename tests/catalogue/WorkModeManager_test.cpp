#include "catalogue/WorkModeManager.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

constexpr int RELEASE = -1;

struct Step {
    unsigned long long handle;
    int mode; ///< RELEASE or the mode to set
    int result;
    unsigned int modeInForce;
};

void Play(WorkModeManager& manager, std::vector<Step> const& steps)
{
    LogCapture const log;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        Step const& step = steps[i];
        auto const untouched = static_cast<PerfWorkMode>(99);
        PerfWorkMode out = untouched;
        int const result = step.mode == RELEASE
                               ? manager.ReleaseWorkMode(step.handle, out)
                               : manager.SetWorkMode(step.handle, static_cast<unsigned int>(step.mode), out);
        EXPECT_EQ(result, step.result);
        EXPECT_EQ(out, step.result < 0 ? untouched : static_cast<PerfWorkMode>(step.modeInForce));
        EXPECT_EQ(manager.GetCurrWorkMode(), step.modeInForce);
    }
}

} // namespace

TEST(WorkModeManager, TheHighestOutstandingModeIsInForce)
{
    WorkModeManager manager;
    Play(manager, {{1, 0, 0, 0},        // the default again
                   {2, 1, 1, 1},        // higher
                   {3, 2, 1, 2},        // higher still
                   {4, 1, 0, 2},        // lower than what is in force
                   {5, 2, 0, 2},        // the same
                   {5, 0, -1, 2},       // refusals change nothing: the handle is taken,
                   {6, 3, -1, 2},       // there is no such mode
                   {6, RELEASE, -1, 2}, // and no such handle
                   {NO_HANDLE, RELEASE, -1, 2},
                   {3, RELEASE, 0, 2}, // the other one still asks for it
                   {5, RELEASE, 1, 1}, // falls back by one
                   {2, RELEASE, 0, 1},
                   {4, RELEASE, 1, 0},
                   {1, RELEASE, 0, 0}});
}

TEST(WorkModeManager, AnInitialModeHoldsOnlyUntilTheFirstSetOrRelease)
{
    LogCapture const log;
    WorkModeManager manager;
    EXPECT_EQ(manager.InitWorkMode(PERF_WORK_MODE_LIMIT_FIRST), 0);
    EXPECT_EQ(manager.InitWorkMode(static_cast<PerfWorkMode>(3)), -1);
    EXPECT_EQ(manager.GetCurrWorkMode(), PERF_WORK_MODE_LIMIT_FIRST);
    Play(manager, {{1, 1, 1, 1}, {1, RELEASE, 1, 0}});
}
