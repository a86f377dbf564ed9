#include "tests/frontend/PlatformFixture.h"

#include <ctime>

namespace {

using namespace std::chrono_literals;

using RealExpiry = RealTimePlatformTest;

/** What this process has computed so far, in ms. */
double ComputedMs()
{
    return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

} // namespace

TEST_F(RealExpiry, WhatIsTimedEndsByItselfNeverEarlyAndNeverLostAndWaitsWithoutComputing)
{
    // On three resources at once, each end uncovers the next lower value.
    constexpr int COUNT = 12;
    Start();
    Settle();
    sandbox.TakeWrites();
    auto const duration = [](int i) { return 60 + 40 * i; };
    auto const before = std::chrono::steady_clock::now();
    for (int i = 0; i < COUNT; ++i) {
        Request(static_cast<unsigned int>(duration(i)),
                {Boost(CPU_M, 2000 - 100 * i), Boost(CPU_B, 2000 - 100 * i), Boost(GPU, 90 - i)});
    }
    double const computed = ComputedMs();
    EXPECT_TRUE(sandbox.WaitForWrites((3 + 3 + 1) * (COUNT + 1)));
    double const real = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
    EXPECT_LT(ComputedMs() - computed, real / 2);
    for (auto const& [node, highest, step, base] :
         {std::tuple{"cpu_m/min", 2000, 100, 300}, {"cpu_b/min", 2000, 100, 400}, {"gpu/floor", 90, 1, 10}}) {
        auto const writes = sandbox.Writes(node);
        ASSERT_EQ(writes.size(), static_cast<std::size_t>(COUNT + 1)) << node;
        for (int i = 0; i <= COUNT; ++i) {
            NodeWrite const& write = writes[static_cast<std::size_t>(i)];
            EXPECT_EQ(write.bytes, std::to_string(i < COUNT ? highest - step * i : base));
            EXPECT_GE(write.time, before + std::chrono::milliseconds(i == 0 ? 0 : duration(i - 1)));
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, 60s);
}
