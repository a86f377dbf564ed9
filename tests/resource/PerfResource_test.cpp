#include "resource/SingleNodeValueResource.h"

#include "tests/resource/ResourceTestSupport.h"

#include <future>

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

    Sandbox sandbox;
    LogCapture log;
};

} // namespace

TEST_F(PerfResourceTest, EveryCommandReachesItsGroupsUpToTheFirstThatFails)
{
    struct Row {
        unsigned int type;
        std::shared_ptr<PerfCommandItem> item;
        int result;
        Strings writes;
    };
    auto const shortItem = Item(1, {{0, {{BOOST, 50}}}});
    auto const longItem = Item(2, {{1, {{BOOST, 30}}}});
    auto const any = Item(9, {});
    PerfGroupTable const wrong{{0, {{static_cast<PerfOperationType>(2), 60}}}, {1, {{BOOST, 60}}}};
    Row const rows[] = {
        {PERF_COMMAND_SHORT_START, shortItem, 0, {"n0 <- 50"}},
        {PERF_COMMAND_LONG_START, longItem, 0, {"n1 <- 30"}},
        {PERF_COMMAND_MODE_START, ModeItem(PERF_WORK_MODE_BOOST_FIRST), 0, {"n0 <- 50", "n1 <- 30"}},
        {PERF_COMMAND_SHORT_STOP, shortItem, 0, {"n0 <- 10"}},
        {PERF_COMMAND_GET_LOG, any, 0, {}},
        {PERF_COMMAND_GET_BASE_INFO, any, 0, {}},
        {PERF_COMMAND_SUSPEND_ON, any, 0, {}},
        {PERF_COMMAND_LONG_STOP, longItem, 0, {}},
        {PERF_COMMAND_SUSPEND_OFF, any, 0, {"n0 <- 10", "n1 <- 10"}},
        {PERF_COMMAND_BASE_SET, Item(NO_HANDLE, {{0, {{BOOST, 20}}}, {1, {{BOOST, 21}}}}), 0, {"n0 <- 20", "n1 <- 21"}},
        {PERF_COMMAND_SHORT_START, nullptr, -1, {}},
        {10, shortItem, -1, {}},
        {PERF_COMMAND_LONG_START, any, -1, {}}, // names no group
        {PERF_COMMAND_LONG_START, Item(3, {{0, {{BOOST, 60}}}, {1, {}}, {2, {}}}), -1, {}},
        // What comes before the failing group stays, what comes after is not touched.
        {PERF_COMMAND_LONG_START, Item(4, {{0, {{BOOST, 60}}}, {7, {{BOOST, 60}}}}), -1, {"n0 <- 60"}},
        {PERF_COMMAND_LONG_START, Item(5, wrong), -1, {}},
        {PERF_COMMAND_MODE_START, ModeItem(3), -1, {}},
    };
    auto const resource = Build(2);
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE("row " + std::to_string(i));
        EXPECT_EQ(resource->CommandDispath({static_cast<PerfCommandType>(rows[i].type), rows[i].item}), rows[i].result);
        EXPECT_EQ(TakeLines(sandbox), rows[i].writes);
    }
}

TEST_F(PerfResourceTest, AWorkerSaysThatItEndsBeforeItGivesItsQueueUp)
{
    auto const resource = Build(1);
    std::promise<std::future<int>> sending;
    log.OnLine([&](LogLine const& line) {
        EXPECT_EQ(line.text, "[res] work thread exit");
        auto sent = std::async(std::launch::async, [&] { return resource->SendCommandToFifoQ({}); });
        EXPECT_EQ(sent.wait_for(100ms), std::future_status::timeout);
        sending.set_value(std::move(sent));
    });
    EXPECT_EQ(resource->InitThread(), 0);
    resource->TellToExit();
    EXPECT_EQ(sending.get_future().get().get(), 0);
    log.OnLine(nullptr);
}

TEST_F(PerfResourceTest, AFloodBehindAHangingNodeComesDownToWhatIsOutstanding)
{
    auto const resource = Build(1);
    EXPECT_EQ(resource->InitThread(), 0);
    NodeGate gate(sandbox, "n0");
    auto const send = [&](PerfCommandType type, std::shared_ptr<PerfCommandItem> const& item) {
        EXPECT_EQ(resource->SendCommandToFifoQ({type, item}), 0);
    };
    send(PERF_COMMAND_LONG_START, Item(1, {{0, {{BOOST, 50}}}}));
    ASSERT_TRUE(gate.WaitBlocked());
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
    EXPECT_TRUE(log.Has(ANDROID_LOG_WARN, "PF_RES", "SendCommandToFifoQ",
                        "[" + NAME + "] worker is behind, 16382 waiting commands that come to nothing left out"));
    gate.Release();
    EXPECT_TRUE(sandbox.WaitForContent("n0", "55"));
    EXPECT_LT(sandbox.WriteCount(), PerfCommandQueue::BOUND + 3);
}
