// SPDX-License-Identifier: Apache-2.0

#include "tests/support/Wait.h"

#include <corvane/ConfigManager.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

/**
 * The shared object on nodes of a running kernel, without a sandbox: what counts is what the nodes say when read.
 * scripts/in-namespaces gives it nodes of its own.
 */
namespace {

using Operations = std::vector<std::pair<PerfOperationType, int>>;

std::string const MSGMAX = "/proc/sys/kernel/msgmax";
std::string const MSGMNB = "/proc/sys/kernel/msgmnb";
std::string const SHMMNI = "/proc/sys/kernel/shmmni";
std::string const MTU = "/sys/class/net/lo/mtu";
std::string const SOMAXCONN = "/proc/sys/net/core/somaxconn";
std::string const FIRST_PORT = "/proc/sys/net/ipv4/ip_unprivileged_port_start";
std::string const LOCAL_PORTS = "/proc/sys/net/ipv4/ip_local_port_range";

constexpr PerfQosId QUEUE = 0;     ///< a frequency pair: messages of 1024..1048576 bytes, at its base 8192..16384
constexpr PerfQosId SEGMENTS = 20; ///< a single node: 1..40000, of which the kernel takes 32768; at its base 4096
constexpr PerfQosId LOOPBACK = 21; ///< levels over two nodes; the kernel refuses the mtu of level 3
constexpr PerfQosId PORTS = 22;    ///< a single node: the kernel refuses what reaches into the range of local ports

/** Nobody's nodes but our own are written. */
class OwnNamespaces : public testing::Environment {
public:
    void SetUp() override
    {
        ASSERT_NE(std::getenv("CORVANE_IN_NAMESPACES"), nullptr) << "run this by scripts/in-namespaces";
    }
};

testing::Environment* const ownNamespaces = testing::AddGlobalTestEnvironment(new OwnNamespaces);

class KernelNodes : public testing::Test {
protected:
    void SetUp() override
    {
        for (auto const& [node, text] : std::map<std::string, char const*>{{MSGMAX, "8192"},
                                                                           {MSGMNB, "16384"},
                                                                           {SHMMNI, "4096"},
                                                                           {MTU, "65536"},
                                                                           {SOMAXCONN, "4096"},
                                                                           {LOCAL_PORTS, "32768 60999"}}) {
            ASSERT_TRUE(std::ofstream(node) << text << std::flush) << node;
        }
        ASSERT_EQ(manager.Init(PerfDefaultConfig{0, platform, {}}, {}, {}, {}), 0);
    }

    unsigned long long Request(unsigned int ms, std::map<PerfQosId, Operations> const& asked)
    {
        std::vector<PerfRequestInfo> infos;
        for (auto const& [qosId, operations] : asked) {
            infos.push_back({qosId, {{0, operations}}});
        }
        unsigned long long handle = INVALID_HANDLE;
        EXPECT_EQ(manager.PerfRequest(PID, ms, infos, handle), 0);
        return handle;
    }

    unsigned long long Boost(PerfQosId qosId, int value)
    {
        return Request(0, {{qosId, {{PERF_OPERATION_BOOST, value}}}});
    }

    void Release(unsigned long long handle) { EXPECT_EQ(manager.PerfRelease(PID, handle), 0); }

    /** What the nodes of all resources say, once the workers have done what was asked of them. */
    std::string Nodes()
    {
        std::ostringstream settled;
        static_cast<void>(manager.Dump(settled, {"--task"}));
        return Read(MSGMAX) + "~" + Read(MSGMNB) + " " + Read(SHMMNI) + " " + Read(MTU) + "/" + Read(SOMAXCONN);
    }

    static constexpr int PID = 100;
    static constexpr char const* BASE = "8192~16384 4096 65536/4096";

    static ConfigManagerOptions Options()
    {
        ConfigManagerOptions options;
        options.rewriteDelay = 20;
        return options;
    }

    ConfigManager manager{Options()};

    static std::string Read(std::string const& node)
    {
        std::string text;
        std::getline(std::ifstream(node), text);
        return text;
    }

private:
    static inline std::string const queueName = "QUEUE", segmentsName = "SEGMENTS", loopbackName = "LOOPBACK",
                                    portsName = "PORTS";
    static inline PerfQosConfig queue{queueName,
                                      {{0U, queueName, 1024, 1048576, 8192, 16384, {MSGMAX, MSGMNB}, CHIP_TYPE_ANY}}};
    static inline PerfQosConfig segments{segmentsName,
                                         {{0U, segmentsName, 1, 40000, 4096, 40000, {SHMMNI}, CHIP_TYPE_ANY}}};
    static inline PerfQosConfig loopback{
        loopbackName,
        {{0U,
          loopbackName,
          0,
          {MTU, SOMAXCONN},
          {{0, {"65536", "4096"}}, {1, {"16384", "512"}}, {2, {"1500", "64"}}, {3, {"-1", "8"}}},
          CHIP_TYPE_ANY}}};
    static inline PerfQosConfig ports{portsName,
                                      {{0U, portsName, 1024, 65535, 1024, 65535, {FIRST_PORT}, CHIP_TYPE_ANY}}};
    static inline std::map<PerfQosId, PerfQosConfig*> const platform{
        {QUEUE, &queue}, {SEGMENTS, &segments}, {LOOPBACK, &loopback}, {PORTS, &ports}};
};

TEST_F(KernelNodes, HoldEachValueInItsTurn)
{
    auto const first = Boost(SEGMENTS, 20000);
    EXPECT_EQ(Nodes(), "8192~16384 20000 65536/4096");
    auto const second = Boost(SEGMENTS, 32768);
    EXPECT_EQ(Nodes(), "8192~16384 32768 65536/4096");
    Release(second);
    EXPECT_EQ(Nodes(), "8192~16384 20000 65536/4096");
    Release(first);
    EXPECT_EQ(Nodes(), BASE);
}

TEST_F(KernelNodes, HoldAPair)
{
    auto const cap = Request(0, {{QUEUE, {{PERF_OPERATION_LIMIT, 9000}}}});
    EXPECT_EQ(Nodes(), "8192~9000 4096 65536/4096");
    auto const both = Request(0, {{QUEUE, {{PERF_OPERATION_BOOST, 8500}, {PERF_OPERATION_LIMIT, 100000}}}});
    EXPECT_EQ(Nodes(), "8500~9000 4096 65536/4096");
    auto const timed = Request(60000, {{QUEUE, {{PERF_OPERATION_BOOST, 1000000}}}});
    EXPECT_EQ(Nodes(), "1000000~1048576 4096 65536/4096");
    Release(cap);
    Release(timed);
    EXPECT_EQ(Nodes(), "8500~16384 4096 65536/4096");
    Release(both);
    EXPECT_EQ(Nodes(), BASE);
}

TEST_F(KernelNodes, HoldEachTextOfALevel)
{
    auto const first = Boost(LOOPBACK, 1);
    EXPECT_EQ(Nodes(), "8192~16384 4096 16384/512");
    auto const second = Boost(LOOPBACK, 2);
    EXPECT_EQ(Nodes(), "8192~16384 4096 1500/64");
    Release(second);
    EXPECT_EQ(Nodes(), "8192~16384 4096 16384/512");
    Release(first);
    EXPECT_EQ(Nodes(), BASE);
}

TEST_F(KernelNodes, ReturnWhenATimedRequestEnds)
{
    std::map<PerfQosId, Operations> const asked = {{QUEUE, {{PERF_OPERATION_BOOST, 12000}}},
                                                   {SEGMENTS, {{PERF_OPERATION_BOOST, 5000}}},
                                                   {LOOPBACK, {{PERF_OPERATION_BOOST, 2}}}};
    auto const started = std::chrono::steady_clock::now();
    Request(1000, asked);
    EXPECT_EQ(Nodes(), "12000~1048576 5000 1500/64");
    EXPECT_TRUE(WaitUntil([&] { return Nodes() == BASE; })) << Nodes();
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
}

TEST_F(KernelNodes, KeepTheirValueWhileSuspended)
{
    auto const before = Boost(QUEUE, 12000);
    ASSERT_EQ(Nodes(), "12000~16384 4096 65536/4096");
    EXPECT_EQ(manager.PerfSetSuspend({1, QUEUE, SEGMENTS, LOOPBACK}), 0);
    EXPECT_EQ(Nodes(), "12000~16384 4096 65536/4096");
    auto const during = Request(0, {{QUEUE, {{PERF_OPERATION_BOOST, 15000}}},
                                    {SEGMENTS, {{PERF_OPERATION_BOOST, 9000}}},
                                    {LOOPBACK, {{PERF_OPERATION_BOOST, 1}}}});
    EXPECT_EQ(Nodes(), "12000~16384 4096 65536/4096");
    EXPECT_EQ(manager.PerfSetSuspend({0, QUEUE, SEGMENTS, LOOPBACK}), 0);
    EXPECT_EQ(Nodes(), "15000~16384 9000 16384/512");
    Release(during);
    Release(before);
    EXPECT_EQ(Nodes(), BASE);
}

TEST_F(KernelNodes, TakeAGoodValueAfterOneThatTheyRefused)
{
    auto const held = Boost(SEGMENTS, 5000);
    auto const tooMany = Boost(SEGMENTS, 40000);
    auto const refused = Boost(LOOPBACK, 3);
    EXPECT_EQ(Nodes(), "8192~16384 5000 65536/8") << "a level goes on with its next node";
    Release(tooMany);
    Boost(SEGMENTS, 30000);
    Release(refused);
    Boost(LOOPBACK, 2);
    EXPECT_EQ(Nodes(), "8192~16384 30000 1500/64");
    Release(held);
    EXPECT_EQ(manager.PerfReleaseAll(PID), 0);
    EXPECT_EQ(Nodes(), BASE);
}

TEST_F(KernelNodes, TakeWhatTheyHaveRefusedOnceTheyCan)
{
    auto const held = Boost(PORTS, 40000);
    Nodes();
    EXPECT_EQ(Read(FIRST_PORT), "1024") << "the range of local ports begins at 32768";
    ASSERT_TRUE(std::ofstream(LOCAL_PORTS) << "50000 60999" << std::flush);
    EXPECT_TRUE(WaitUntil([&] { return Read(FIRST_PORT) == "40000"; }));
    Release(held);
    EXPECT_TRUE(WaitUntil([&] { return Read(FIRST_PORT) == "1024"; }));
}

} // namespace
