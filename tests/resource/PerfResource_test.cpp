// SPDX-License-Identifier: Apache-2.0

#include "resource/SingleNodeValueResource.h"

#include "sandbox/VirtualTime.h"
#include "tests/resource/ResourceTestSupport.h"

namespace {

using namespace std::chrono_literals;

class PerfResourceTest : public testing::Test {
protected:
    /** Groups g0, g1, … on the nodes n0, n1, …; without a worker. */
    std::unique_ptr<PerfResource> Build(unsigned int groups)
    {
        PerfQosConfig config(NAME, {});
        for (unsigned int i = 0; i < groups; ++i) {
            std::string const number = std::to_string(i);
            config.groupConfigs.push_back(PlainGroup(i, "g" + number, {sandbox.AddNode("n" + number)}));
        }
        auto resource = std::make_unique<SingleNodeValueResource>(ResConstructParam{5, NAME, PERF_WORK_MODE_DEFAULT});
        EXPECT_EQ(resource->InitResource(config), 0);
        return resource;
    }

    VirtualTime time;
    Sandbox sandbox;
    LogCapture log;
};

} // namespace

TEST_F(PerfResourceTest, AFloodBehindAHangingNodeComesDownToWhatIsOutstanding)
{
    auto const resource = Build(1);
    EXPECT_EQ(resource->InitThread(), 0);
    NodeGate gate(sandbox, "n0");
    auto const send = [&](PerfCommandType type, std::shared_ptr<PerfCommandItem> const& item) {
        EXPECT_EQ(resource->SendCommandToFifoQ({type, item}), 0);
    };
    send(PERF_COMMAND_LONG_START, Item(1, {{0, {{BOOST, 50}}}}));
    time.Settle();
    auto const touch = [&](unsigned long long handle) {
        auto const item = Item(handle, {{0, {{BOOST, 60}}}});
        send(PERF_COMMAND_LONG_START, item);
        send(PERF_COMMAND_LONG_STOP, item);
    };
    for (unsigned long long handle = 2; handle < 2 + PerfCommandQueue::BOUND / 2; ++handle) {
        touch(handle);
    }
    EXPECT_TRUE(log.Lines().empty()) << "up to the bound everything waits";
    for (unsigned long long handle = 20'000; handle < 60'000; ++handle) {
        touch(handle);
    }
    send(PERF_COMMAND_LONG_START, Item(3, {{0, {{BOOST, 55}}}}));
    EXPECT_TRUE(log.Has("W PF_RES SendCommandToFifoQ: [" + NAME +
                        "] worker is behind, 16382 waiting commands that come to nothing left out"));
    gate.Release();
    time.Settle();
    EXPECT_EQ(sandbox.Read("n0"), "55");
    EXPECT_LT(sandbox.Writes().size(), PerfCommandQueue::BOUND + 3);
}

TEST_F(PerfResourceTest, ACommandWithoutAnItemIsRefused)
{
    auto const resource = Build(1);
    for (unsigned int type = 0; type < 16; ++type) {
        EXPECT_EQ(resource->CommandDispath({static_cast<PerfCommandType>(type), nullptr}), -1);
    }
}

TEST_F(PerfResourceTest, BehindAFloodTheNextOneIsOnASlowNodeInTime)
{
    auto const resource = Build(1);
    EXPECT_EQ(resource->InitThread(), 0);
    sandbox.FailNode("n0", Fault::Delay(5ms));
    unsigned long long handle = 0;
    auto const start = [&](int value) {
        auto const item = Item(++handle, {{0, {{BOOST, value}}}});
        resource->SendCommandToFifoQ({PERF_COMMAND_LONG_START, item});
        return item;
    };
    for (int ms = 0; ms < 1000; ++ms) {
        for (int i = 0; i < 50; ++i) {
            resource->SendCommandToFifoQ({PERF_COMMAND_LONG_STOP, start(60)});
        }
        time.AdvanceBy(1ms);
    }
    start(55);
    time.AdvanceBy(3s);
    EXPECT_EQ(sandbox.Read("n0"), "55");
    EXPECT_LT(log.Count(ANDROID_LOG_WARN), 20U) << "a line each time that their number has doubled";
}
