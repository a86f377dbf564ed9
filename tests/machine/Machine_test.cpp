// SPDX-License-Identifier: Apache-2.0

#include "tests/support/Wait.h"
#include "tests/world/RandomCalls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <thread>

#include <android/log.h>
#include <sys/wait.h>
#include <unistd.h>

/**
 * The library on frequency policies and thermal zones of a stock kernel. scripts/in-machine gives it a machine of its
 * own, whose hardware machine.asl describes.
 */
namespace {

using std::chrono::milliseconds;

constexpr PerfQosId LITTLE = PERF_QOS_CPU_M;
constexpr PerfQosId BIG = PERF_QOS_CPU_B;
constexpr PerfQosId POWER = PERF_QOS_IPA_SUSTAINABLE_POWER; ///< below 30 the governor of thermal zone 0 is enabled
constexpr PerfQosId SKIN = 20;                              ///< levels over the mode and the policy of thermal zone 1

/** A frequency policy: where it is, and its steps. */
struct Policy {
    std::string folder;
    std::vector<int> steps;

    std::string Min() const { return folder + "scaling_min_freq"; }
    std::string Max() const { return folder + "scaling_max_freq"; }
};
Policy const LITTLE_POLICY{"/sys/devices/system/cpu/cpufreq/policy0/", {500000, 800000, 1100000, 1500000, 1800000}};
Policy const BIG_POLICY{"/sys/devices/system/cpu/cpufreq/policy2/",
                        {700000, 1000000, 1400000, 1700000, 2200000, 2600000}};
constexpr int FIRMWARE_LIMIT = 1700000; ///< of the big cluster
std::string const ZONE = "/sys/class/thermal/thermal_zone";

std::string Read(std::string const& node)
{
    std::string text;
    std::getline(std::ifstream(node), text);
    return text;
}

void Write(std::string const& node, std::string const& text)
{
    ASSERT_TRUE(std::ofstream(node) << text << std::flush) << node;
}

void Online(int cpu, bool on)
{
    Write("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/online", on ? "1" : "0");
}

void LimitByFirmware(bool on)
{
    // Each look at this zone's temperature switches, and shows what to.
    ASSERT_TRUE(WaitUntil([on] { return Read(ZONE + "2/temp") == (on ? "32000" : "30000"); }));
}

struct ShellOutcome {
    int status;
    std::string output;
};

ShellOutcome Shell(std::string const& command)
{
    ShellOutcome outcome{-1, ""};
    FILE* const pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    std::array<char, 4096> part{};
    for (std::size_t count = 0; (count = fread(part.data(), 1, part.size(), pipe)) > 0;) {
        outcome.output.append(part.data(), count);
    }
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
}

/** What the kernel makes of the two limits that it is asked for. */
std::string InForce(Policy const& policy, int min, int max, bool isLimited)
{
    auto const& steps = policy.steps;
    max = std::clamp(max, steps.front(), isLimited ? std::min(FIRMWARE_LIMIT, steps.back()) : steps.back());
    min = std::clamp(min, steps.front(), max);
    auto const atLeast = std::lower_bound(steps.begin(), steps.end(), min); // a minimum is rounded up
    // A maximum is rounded down, unless there is no step between the two.
    return std::to_string(*atLeast) + "~" +
           std::to_string(*atLeast > max ? *atLeast : *std::prev(std::upper_bound(steps.begin(), steps.end(), max)));
}

/** What the nodes hold: both policies, and the switches of the thermal zones. */
std::string Nodes()
{
    std::string text;
    for (Policy const& policy : {LITTLE_POLICY, BIG_POLICY}) {
        text += Read(policy.Min()) + "~" + Read(policy.Max()) + " ";
    }
    return text + Read(ZONE + "0/mode") + " " + Read(ZONE + "1/mode") + " " + Read(ZONE + "1/policy");
}

std::string NodesWith(std::string const& little, std::string const& big)
{
    return little + " " + big + " enabled enabled step_wise";
}

std::string NodesWithBig(std::string const& big)
{
    return NodesWith("500000~1800000", big);
}

std::string const BASE = NodesWithBig("700000~2600000");

/** What the nodes hold once they have been offered this. @param rounded counts the pairs that they do not hold so. */
std::string Foreseen(std::map<std::string, std::string> const& asked, bool isLimited, int& rounded)
{
    auto const held = [&](std::string const& node, std::string const& base) {
        auto const found = asked.find(node);
        return found == asked.end() ? base : found->second;
    };
    std::string nodes;
    for (Policy const* policy : {&LITTLE_POLICY, &BIG_POLICY}) {
        auto const min = held(policy->Min(), std::to_string(policy->steps.front()));
        auto const max = held(policy->Max(), std::to_string(policy->steps.back()));
        auto const inForce = InForce(*policy, std::stoi(min), std::stoi(max), isLimited && policy == &BIG_POLICY);
        rounded += inForce == min + "~" + max ? 0 : 1;
        nodes += inForce + " ";
    }
    return nodes + held(ZONE + "0/mode", "enabled") + " " + held(ZONE + "1/mode", "enabled") + " " +
           held(ZONE + "1/policy", "step_wise");
}

/** A limit may be seen only when a work item of the kernel has run, after the write has returned. */
testing::AssertionResult Become(std::string const& expected)
{
    std::string nodes;
    if (WaitUntil([&] { return (nodes = Nodes()) == expected; }, milliseconds(1000))) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "the nodes hold " << nodes << ", not " << expected;
}

/** The pairs that a facade says it has handed to the nodes, once its workers have done what was asked of them. */
template <typename Facade> std::string PairsOf(Facade& facade)
{
    std::ostringstream tasks;
    static_cast<void>(facade.Dump(tasks, {"--task"}));
    std::istringstream lines(tasks.str());
    std::string pairs;
    for (std::string line; std::getline(lines, line);) {
        pairs += line.substr(std::min(line.rfind("final: "), line.size()));
    }
    return pairs;
}

std::string PathOf(std::string const& node)
{
    static std::map<std::string, std::string> const paths{
        {"little/min", LITTLE_POLICY.Min()}, {"little/max", LITTLE_POLICY.Max()}, {"big/min", BIG_POLICY.Min()},
        {"big/max", BIG_POLICY.Max()},       {"ipa/soc", ZONE + "0/mode"},        {"skin/0", ZONE + "1/mode"},
        {"skin/1", ZONE + "1/policy"},
    };
    auto const path = paths.find(node);
    return path == paths.end() ? "/nowhere" : path->second;
}

class Machine : public testing::Test, protected PlatformBuilder {
protected:
    Machine() : PlatformBuilder(PathOf)
    {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT); // random calls are refused by the dozen
        AddFrequency(LITTLE, "little", {500000, 1800000, 500000, 1800000});
        AddFrequency(BIG, "big", {700000, 2600000, 700000, 2600000}, true);
        AddIpaPower({0, 100, 10, 100}, 30, 50);
        AddLevelMap(SKIN, "skin", 0,
                    {{0, {"enabled", "step_wise"}}, {1, {"enabled", "fair_share"}}, {2, {"disabled", "user_space"}}});
        AddEvent(0, LITTLE, {{20, 1500000}, {20, 1000000}});
        AddEvent(0, BIG, {{30, 2000000}});
        AddEvent(1, BIG, {{60000, 1500000}});
        AddScenario(0, {Ask(BIG, {{PERF_OPERATION_BOOST, 1200000}, {PERF_OPERATION_LIMIT, 2300000}}), Boost(SKIN, 1)});
        AddScenario(1, {Limit(LITTLE, 900000), Boost(POWER, 40)});
    }

    void SetUp() override
    {
        LimitByFirmware(false);
        ASSERT_TRUE(Become(BASE));
    }
    void TearDown() override
    {
        EXPECT_TRUE(Become(BASE)) << "left so for whoever comes next";
        manager.reset();
    }

    void Start()
    {
        manager = std::make_unique<ConfigManager>(options);
        ASSERT_EQ(Init(*manager), 0);
    }

    unsigned long long Request(std::vector<PerfRequestInfo> const& infos, unsigned int ms = 0)
    {
        unsigned long long handle = INVALID_HANDLE;
        EXPECT_EQ(manager->PerfRequest(PID, ms, infos, handle), 0);
        return handle;
    }
    void Release(unsigned long long handle) { EXPECT_EQ(manager->PerfRelease(PID, handle), 0); }

    std::string Tasks()
    {
        std::ostringstream tasks;
        static_cast<void>(manager->Dump(tasks, {"--task"}));
        return tasks.str();
    }

    static constexpr int PID = 100;

    std::unique_ptr<ConfigManager> manager;
};

/**
 * Random calls on the library, on the naive one, and on the firmware. After each the library's dump says the same pairs
 * as the naive one's, and the nodes hold what the kernel makes of them.
 */
TEST_F(Machine, HoldsWhatIsForeseenThroughRandomCalls)
{
    constexpr int CALLS = 40;
    constexpr milliseconds LONGER_THAN_WHAT_ENDS(50);
    int rounded = 0;
    for (std::uint64_t seed = 1; seed <= 4 && !HasFailure(); ++seed) {
        Random random(seed);
        control.workMode = static_cast<PerfWorkMode>(random.Below(3));
        Start();
        NaiveFacade naive(*this, PerfTimePoint{std::chrono::hours(1)});
        RandomCalls<ConfigManager> any(seed, *this, {LITTLE, LITTLE, BIG, BIG, POWER, SKIN});
        any.durations = {0, 0, 60000, 20};
        any.dumps = {"--workMode"};
        std::map<std::string, std::string> asked; // the last text by node
        bool isLimited = false;
        std::string played = "seed " + std::to_string(seed) + "\n";
        auto const call = [&](RandomCalls<ConfigManager>::Call const& one) {
            played += one.Text() + "\n";
            EXPECT_EQ(one.onReal(*manager).Text(), one.onNaive(naive).Text()) << played;
        };
        for (int i = 0; i <= CALLS && !HasFailure(); ++i) {
            if (i == CALLS || random.Chance(20)) {
                isLimited = i < CALLS && !isLimited;
                LimitByFirmware(isLimited);
            }
            if (i == CALLS) { // everybody leaves
                call(any.NumberedEvent(SUSPEND_EVENT_ID, {0, LITTLE, BIG, POWER, SKIN}));
                call(any.Reset());
            } else {
                call(any.Any(naive));
            }
            naive.AdvanceBy(LONGER_THAN_WHAT_ENDS);
            std::this_thread::sleep_for(LONGER_THAN_WHAT_ENDS);
            for (NaiveFacade::Write const& write : std::exchange(naive.writes, {})) {
                asked[write.node] = write.bytes;
            }
            // What has ended leaves when its worker looks.
            EXPECT_TRUE(WaitUntil([&] { return PairsOf(*manager) == PairsOf(naive); }, milliseconds(1000)))
                << PairsOf(*manager) << " instead of " << PairsOf(naive) << ", after " << played;
            EXPECT_TRUE(Become(Foreseen(asked, isLimited, rounded))) << played;
        }
    }
    EXPECT_GT(rounded, 0);
}

TEST_F(Machine, FollowsACpuThatGoesOffAndComesBack)
{
    Start();
    for (int const cpu : {2, 3}) { // the one that the policy is named after, and the other one
        auto const before = Request({Boost(BIG, 1400000)});
        ASSERT_TRUE(Become(NodesWithBig("1400000~2600000")));
        Online(cpu, false);
        auto const meanwhile = Request({Boost(BIG, 2200000)});
        EXPECT_TRUE(Become(NodesWithBig("2200000~2600000")));
        Online(cpu, true);
        EXPECT_TRUE(Become(NodesWithBig("2200000~2600000")));
        Release(meanwhile);
        EXPECT_TRUE(Become(NodesWithBig("1400000~2600000")));
        Release(before);
        EXPECT_TRUE(Become(BASE));
    }
}

TEST_F(Machine, IsRightWhenAClusterIsBackWithItsBoostAskedForReleasedOrOver)
{
    options.rewriteDelay = 5; // so at most 300 ms lie between two tries
    Start();
    for (std::string const change : {"asked for", "released", "over"}) {
        SCOPED_TRACE(change);
        unsigned long long held = NO_HANDLE;
        if (change == "released") {
            held = Request({Boost(BIG, 1400000)});
            ASSERT_TRUE(Become(NodesWithBig("1400000~2600000")));
        } else if (change == "over") {
            Request({Boost(BIG, 1400000)}, 3000);
            ASSERT_TRUE(Become(NodesWithBig("1400000~2600000")));
        }
        Online(2, false);
        Online(3, false);
        if (change == "asked for") {
            held = Request({Boost(BIG, 1400000)});
        } else if (change == "released") {
            Release(held);
        } else {
            EXPECT_TRUE(WaitUntil([this] { return Tasks().find("boost(") == std::string::npos; })) << Tasks();
        }
        EXPECT_NE(Nodes(), BASE) << "a policy without a CPU says nothing";
        Online(2, true);
        Online(3, true);
        bool const isBoosted = change == "asked for";
        EXPECT_TRUE(Become(isBoosted ? NodesWithBig("1400000~2600000") : BASE));
        if (isBoosted) {
            Release(held);
            EXPECT_TRUE(Become(BASE));
        }
    }
}

TEST_F(Machine, ReachesADriverThatWasAwayAndIsBack)
{
    Start();
    auto const before = Request({Boost(BIG, 1400000)});
    ASSERT_TRUE(Become(NodesWithBig("1400000~2600000")));
    // The nodes are new ones behind the descriptor that is held.
    ASSERT_EQ(Shell("rmmod acpi-cpufreq && insmod acpi-cpufreq.ko").status, 0);
    auto const again = Request({Boost(BIG, 2200000)});
    EXPECT_TRUE(Become(NodesWithBig("2200000~2600000")));
    // And now there are none while something is asked for.
    ASSERT_EQ(Shell("rmmod acpi-cpufreq").status, 0);
    Release(again);
    Tasks();
    ASSERT_EQ(Shell("insmod acpi-cpufreq.ko").status, 0);
    auto const after = Request({Boost(BIG, 1700000)});
    EXPECT_TRUE(Become(NodesWithBig("1700000~2600000")));
    Release(before);
    Release(after);
}

TEST_F(Machine, ShowsABoostOnceTheFirmwareAllowsIt)
{
    Start();
    LimitByFirmware(true);
    auto const boost = Request({Boost(BIG, 2200000)});
    EXPECT_TRUE(Become(NodesWithBig("1700000~1700000")));
    LimitByFirmware(false);
    EXPECT_TRUE(Become(NodesWithBig("2200000~2600000"))) << "without another write";
    LimitByFirmware(true);
    Release(boost);
    LimitByFirmware(false);
}

/** The tool on the nodes that the machine has, with the platform file and the script that scripts/demo --machine shows.
 */
class Tool : public Machine {
protected:
    static constexpr char const* RUN = "./corvanectl run machine.json --script ";

    /** A run that boosts the big cluster and gets a signal once that is seen, and another command has been run. */
    static ShellOutcome EndedInABoost(std::string const& meanwhile)
    {
        return Shell("(echo 'request 1 0 qos=BIG boost=1400000'; echo 'sleep 60000') >boost.txt; " + std::string(RUN) +
                     "boost.txt & until grep -q 1400000 " + BIG_POLICY.Min() + "; do sleep 0.1; done; sleep 0.5; " +
                     meanwhile + "; kill -TERM $!; wait $!");
    }

    static testing::AssertionResult Says(ShellOutcome const& outcome, int status, std::vector<std::string> const& texts)
    {
        for (std::string const& text : texts) {
            if (outcome.output.find(text) == std::string::npos) {
                return testing::AssertionFailure() << "no \"" << text << "\" in\n" << outcome.output;
            }
        }
        return outcome.status == status ? testing::AssertionSuccess()
                                        : testing::AssertionFailure() << "status " << outcome.status << " of\n"
                                                                      << outcome.output;
    }
};

TEST_F(Tool, LeavesTheMachineAsItFoundIt)
{
    EXPECT_TRUE(Says(Shell("./corvanectl check machine.json --device --strict"), 0, {"3 resources"}));
    EXPECT_TRUE(Says(Shell(std::string(RUN) + "machine.txt"), 0, {"left as found: 6 nodes"}));
    EXPECT_TRUE(Become(BASE));
    EXPECT_TRUE(Says(EndedInABoost("true"), 128 + SIGTERM, {"left as found: 2 nodes"}));
}

TEST_F(Tool, LeavesNoLimitThatItWasStartedUnder)
{
    LimitByFirmware(true);
    auto const limit = BIG_POLICY.Max() + " is left with 2600000, and held 1700000 whatever it was written";
    EXPECT_TRUE(Says(EndedInABoost("cat " + ZONE + "2/temp"), 128 + SIGTERM, {limit, "left as found: 1 node\n"}));
}

TEST_F(Tool, SaysWhyAClusterThatIsOffCannotBeRead)
{
    Online(2, false);
    Online(3, false);
    EXPECT_TRUE(Says(Shell("./corvanectl check machine.json --device"), 1,
                     {BIG_POLICY.Max() + " cannot be read: Device or resource busy",
                      "policy2/scaling_available_frequencies cannot be read: Device or resource busy"}));
    Online(2, true);
    Online(3, true);
}

} // namespace
