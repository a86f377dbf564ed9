#include "catalogue/WorkModeManager.h"

#include "tests/support/LogCapture.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

TEST(WorkModeManager, TheHighestOutstandingModeIsInForce)
{
    LogCapture log;
    Random random(3);
    WorkModeManager manager;
    EXPECT_EQ(manager.InitWorkMode(PERF_WORK_MODE_LIMIT_FIRST), 0);
    EXPECT_EQ(manager.InitWorkMode(static_cast<PerfWorkMode>(3)), -1);
    EXPECT_EQ(log.TakeReason(), "PF_WM_MGR InitWorkMode: Init invalid workMode 3");
    EXPECT_EQ(manager.GetCurrWorkMode(), PERF_WORK_MODE_LIMIT_FIRST);
    unsigned int current = PERF_WORK_MODE_LIMIT_FIRST; // the initial one holds only until the first change
    std::map<unsigned long long, unsigned int> outstanding;
    for (int step = 0; step < 1000; ++step) {
        SCOPED_TRACE(step);
        auto const handle = static_cast<unsigned long long>(random.Below(5)) - 1; // NO_HANDLE, too
        auto const mode = static_cast<unsigned int>(random.Below(4));
        bool const releases = handle == NO_HANDLE || random.Chance(2);
        bool const held = outstanding.count(handle) != 0;
        bool const refused = releases ? !held : held || mode >= PERF_WORK_MODE_COUNT;
        constexpr auto UNTOUCHED = static_cast<PerfWorkMode>(99);
        PerfWorkMode out = UNTOUCHED;
        int const result = releases ? manager.ReleaseWorkMode(handle, out) : manager.SetWorkMode(handle, mode, out);
        unsigned int const before = current;
        if (!refused) {
            releases ? void(outstanding.erase(handle)) : void(outstanding[handle] = mode);
            current = PERF_WORK_MODE_DEFAULT;
            for (auto const& other : outstanding) {
                current = std::max(current, other.second);
            }
        }
        EXPECT_EQ(result, refused ? -1 : current != before);
        EXPECT_EQ(out, refused ? UNTOUCHED : static_cast<PerfWorkMode>(current));
        EXPECT_EQ(manager.GetCurrWorkMode(), current);
        std::string const method = releases ? "PF_WM_MGR ReleaseWorkMode: " : "PF_WM_MGR SetWorkMode: ";
        EXPECT_EQ(log.TakeReason(), !refused           ? ""
                                    : releases || held ? method + "invalid handle: " + std::to_string(handle)
                                                       : method + "invalid mode id: " + std::to_string(mode));
    }
}
