// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Wait.h"

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
    // The first must not end before the last is asked for, however slow the machine: the base would be written between.
    auto const duration = [](int i) { return 500 + 40 * i; };
    auto const before = std::chrono::steady_clock::now();
    for (int i = 0; i < COUNT; ++i) {
        Request(static_cast<unsigned int>(duration(i)),
                {Boost(CPU_M, 2000 - 100 * i), Boost(CPU_B, 2000 - 100 * i), Boost(GPU, 90 - i)});
    }
    double const computed = ComputedMs();
    auto const isOver = [this] {
        return sandbox.Read("cpu_m/min") == "300" && sandbox.Read("cpu_b/min") == "400" &&
               sandbox.Read("gpu/floor") == "10";
    };
    EXPECT_TRUE(WaitUntil(isOver, 60s));
    double const real = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
    EXPECT_LT(ComputedMs() - computed, real / 2);
    for (auto const& [node, highest, step, base] :
         {std::tuple{"cpu_m/min", 2000, 100, 300}, {"cpu_b/min", 2000, 100, 400}, {"gpu/floor", 90, 1, 10}}) {
        // A worker that is held up passes several ends at once.
        int ended = -1;
        for (NodeWrite const& write : sandbox.Writes(node)) {
            int const value = std::stoi(write.bytes);
            int const i = value == base ? COUNT : (highest - value) / step;
            EXPECT_GT(i, ended) << node << " <- " << value;
            EXPECT_GE(write.time, before + std::chrono::milliseconds(i == 0 ? 0 : duration(i - 1)));
            ended = i;
        }
    }
}
