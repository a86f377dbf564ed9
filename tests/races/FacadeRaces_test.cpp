// SPDX-License-Identifier: Apache-2.0

#include "tests/frontend/PlatformFixture.h"

#include "tests/support/Wait.h"

#include <future>

namespace {

using std::chrono::milliseconds;

class FacadeRaces : public RealTimePlatformTest {
protected:
    void StartIdle()
    {
        Start();
        idle = Dump("--task");
    }

    /** Everything is as it was at the start once what is timed has ended: queues, modes, handles and nodes. */
    void ExpectIdle()
    {
        EXPECT_TRUE(WaitUntil([this] { return Dump("--task") == idle; })) << Dump("--task");
        EXPECT_EQ(Dump("--workMode"), "\ncurrent mode = 0, modeNum(1) <value, handle>:\n<0,*>\n");
        for (auto const& [node, base] : std::map<std::string, std::string>{{"cpu_m/min", "300"},
                                                                           {"cpu_m/max", "2500"},
                                                                           {"cpu_b/min", "400"},
                                                                           {"cpu_b/max", "4000"},
                                                                           {"gpu/floor", "10"},
                                                                           {"gpu/power", "20"}}) {
            std::string const content = sandbox.Read(node);
            EXPECT_TRUE(content == base || sandbox.Writes(node).empty()) << node << " holds " << content;
        }
    }

    std::string idle;
};

TEST_F(FacadeRaces, StoppedAndStartedAtOnceAThreadIsBoundInTheEnd)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {1500, 0, 0, 0, MINUTE, "0F"};
    StartIdle();
    sandbox.FailNode("binder", Fault::Delay(milliseconds(1))); // calls gather while the binder writes
    auto const restart = [this] {
        EXPECT_EQ(manager->StartProbe(7), 0);
        manager->StopProbe(7);
        EXPECT_EQ(manager->StartProbe(7), 0);
    };
    for (std::size_t const threads : {1u, 3u}) {
        for (int round = 0; round < 100; ++round) {
            std::vector<std::future<void>> clients;
            for (std::size_t i = 0; i < threads; ++i) {
                clients.push_back(std::async(std::launch::async, restart));
            }
            clients.clear();
            ASSERT_TRUE(sandbox.WaitForContent("binder", "0F|7")) << threads << " threads, round " << round;
        }
    }
    manager->StopProbe(7);
    EXPECT_TRUE(sandbox.WaitForContent("binder", "FF|7"));
    ExpectIdle();
}

TEST_F(FacadeRaces, DestructionTellsEveryThreadToEndBeforeItWaitsForOne)
{
    AddEvent(0, CPU_M, {{20, 400}});
    probe = {0, 0, 30, 0, MINUTE, "0F"};
    Start();
    LogCapture const log;
    std::future<void> destruction;
    NodeGate binder(sandbox, "binder");
    NodeGate cpu(sandbox, "cpu_m/max");
    EXPECT_EQ(manager->StartProbe(7), 0);
    for (int i = 0; i < 500; ++i) {
        Request(LONG, {Boost(CPU_M, 1000 + i)});
    }
    ASSERT_TRUE(binder.WaitBlocked() && cpu.WaitBlocked());
    destruction = std::async(std::launch::async, [this] { manager.reset(); });
    auto const hasEnded = [&log](std::string const& name) {
        return log.Has(ANDROID_LOG_INFO, "PF_RES", "WorkThread", "[" + name + "] work thread exit");
    };
    EXPECT_TRUE(WaitUntil([&] { return hasEnded("cpu_b") && hasEnded("gpu"); })) << "they have nothing to do";
    EXPECT_FALSE(hasEnded("cpu_m"));
    binder.Release();
    cpu.Release();
    destruction.get();
    EXPECT_EQ(Lines(sandbox.Writes("cpu_m/max")), (Strings{"cpu_m/max <- 2500", "cpu_m/max <- 2500"}))
        << "the command in progress came to its end, and no other began";
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

} // namespace
