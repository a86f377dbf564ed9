// SPDX-License-Identifier: Apache-2.0

#include "tests/support/Wait.h"

#include <corvane/ConfigManager.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

/**
 * The shared object on nodes of a running kernel, without a sandbox: what counts is what the nodes say when read. These
 * refuse values, and what is written anywhere but at their beginning; tests/machine has the rest. scripts/in-namespaces
 * gives it nodes of its own.
 */
namespace {

std::string const SHMMNI = "/proc/sys/kernel/shmmni";
std::string const MTU = "/sys/class/net/lo/mtu";
std::string const SOMAXCONN = "/proc/sys/net/core/somaxconn";
std::string const FIRST_PORT = "/proc/sys/net/ipv4/ip_unprivileged_port_start";
std::string const LOCAL_PORTS = "/proc/sys/net/ipv4/ip_local_port_range";

constexpr PerfQosId SEGMENTS = 20; ///< a single node: 1..40000, of which the kernel takes 32768; at its base 4096
constexpr PerfQosId LOOPBACK = 21; ///< levels over two nodes; the kernel refuses the mtu of level 2
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
        for (auto const& [node, text] :
             {std::pair{SHMMNI, "4096"}, {MTU, "65536"}, {SOMAXCONN, "4096"}, {LOCAL_PORTS, "32768 60999"}}) {
            ASSERT_TRUE(std::ofstream(node) << text << std::flush) << node;
        }
        ASSERT_EQ(manager.Init(PerfDefaultConfig{0, platform, {}}, {}, {}, {}), 0);
    }

    unsigned long long Boost(PerfQosId qosId, int value)
    {
        unsigned long long handle = INVALID_HANDLE;
        EXPECT_EQ(manager.PerfRequest(PID, 0, {{qosId, {{0, {{PERF_OPERATION_BOOST, value}}}}}}, handle), 0);
        return handle;
    }

    void Release(unsigned long long handle) { EXPECT_EQ(manager.PerfRelease(PID, handle), 0); }

    /** What the nodes of all resources say, once the workers have done what was asked of them. */
    std::string Nodes()
    {
        std::ostringstream settled;
        static_cast<void>(manager.Dump(settled, {"--task"}));
        return Read(SHMMNI) + " " + Read(MTU) + "/" + Read(SOMAXCONN);
    }

    static constexpr int PID = 100;
    static constexpr char const* BASE = "4096 65536/4096";

    static std::string Read(std::string const& node)
    {
        std::string text;
        std::getline(std::ifstream(node), text);
        return text;
    }

    static ConfigManagerOptions Options()
    {
        ConfigManagerOptions options;
        options.rewriteDelay = 20; // ms
        return options;
    }

    ConfigManager manager{Options()};

private:
    static inline std::string const segmentsName = "SEGMENTS", loopbackName = "LOOPBACK", portsName = "PORTS";
    static inline PerfQosConfig segments{segmentsName,
                                         {{0U, segmentsName, 1, 40000, 4096, 40000, {SHMMNI}, CHIP_TYPE_ANY}}};
    static inline PerfQosConfig loopback{loopbackName,
                                         {{0U,
                                           loopbackName,
                                           0,
                                           {MTU, SOMAXCONN},
                                           {{0, {"65536", "4096"}}, {1, {"1500", "64"}}, {2, {"-1", "8"}}},
                                           CHIP_TYPE_ANY}}};
    static inline PerfQosConfig ports{portsName,
                                      {{0U, portsName, 1024, 65535, 1024, 65535, {FIRST_PORT}, CHIP_TYPE_ANY}}};
    static inline std::map<PerfQosId, PerfQosConfig*> const platform{
        {SEGMENTS, &segments}, {LOOPBACK, &loopback}, {PORTS, &ports}};
};

TEST_F(KernelNodes, TakeAGoodValueAfterOneThatTheyRefused)
{
    auto const held = Boost(SEGMENTS, 5000);
    auto const tooMany = Boost(SEGMENTS, 40000);
    auto const refused = Boost(LOOPBACK, 2);
    EXPECT_EQ(Nodes(), "5000 65536/8") << "a level goes on with its next node";
    Release(tooMany);
    Boost(SEGMENTS, 30000);
    Release(refused);
    Boost(LOOPBACK, 1);
    EXPECT_EQ(Nodes(), "30000 1500/64");
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
