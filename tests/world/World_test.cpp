// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "tests/support/Random.h"
#include "tests/world/NaiveFacade.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

/** Random calls on the whole library and on the naive one, in virtual time. */
namespace {

using std::chrono::milliseconds;

/** The same for both, but for where the nodes are. What differs between worlds is drawn from the seed. */
void Furnish(PlatformBuilder& platform, std::uint64_t seed)
{
    Random random(seed);
    platform.AddFrequency(PERF_QOS_CPU_M, "cpu_m", {300, 3000, 300, 2500});
    if (!random.Chance(4)) { // without it a probe is sent in part
        platform.AddFrequency(PERF_QOS_CPU_B, "cpu_b", {400, 4000, 500, 4000}, true);
    }
    platform.AddResource(PERF_QOS_GPU, "gpu",
                         {platform.Group(0, "gpu_floor", {0, 100, 10, 100}, {"gpu/floor"}),
                          platform.Group(1, "gpu_power", {0, 100, 20, 90}, {"gpu/power"})});
    platform.AddDdr({0, 100, 10, 100}, random.Chance(2) ? 0.0F : 250000.0F);
    platform.AddIpaPower({0, 100, 10, 100}, 30, 50);
    platform.AddResource(PERF_QOS_IPA_SWITCH_TEMP, "temp",
                         {platform.Group(0, "temp", {0, 100, 40, 100}, {"temp/switch"})});
    platform.AddEas({0, 1, random.Below(5), 0, 0, 0, 0, 0}); // 3 is no level
    platform.AddMemoryLatency(15, random.Below(3), random.Below(2));
    platform.AddLevelMap(20, "level", 1, {{0, {"a", "x"}}, {1, {"b", "y"}}, {2, {"c", "z"}}, {4, {"d", "w"}}});
    platform.AddFrequency(PERF_QOS_ALWAYS_SUSPEND, "always", {0, 100, 10, 90});

    platform.AddEvent(0, PERF_QOS_CPU_M, {{20, 1500}, {20, 1500}, {30, 1800}});
    platform.AddEvent(0, PERF_QOS_GPU, {{40, 60}, {20, 30}});
    platform.AddEvent(0, 40, {{20, 1}});
    platform.AddEvent(1, PERF_QOS_EAS, {{20, 2}, {30, 1}});
    platform.AddEvent(1, 15, {{20, 1}, {20, 2}});
    platform.AddEvent(2, 40, {{20, 1}}); // on nothing that there is
    platform.events.push_back(
        {3, {{PERF_QOS_CPU_M, {{300, Limit(PERF_QOS_CPU_M, 1500).groupInfos}, {20, {{0, {}}}}}}}});
    platform.AddScenario(0, {Ask(PERF_QOS_CPU_M, {{PERF_OPERATION_BOOST, 1500}, {PERF_OPERATION_LIMIT, 1800}}),
                             Boost(PERF_QOS_GPU, 60, 1)});
    platform.AddScenario(1, {Boost(PERF_QOS_EAS, 2, 3), Limit(20, 1)});
    platform.AddScenario(3, {{PERF_QOS_GPU, {{0, {}}, {1, {{PERF_OPERATION_BOOST, 30}}}}}, Boost(PERF_QOS_DDR, 60)});
    platform.AddScenario(4, {});
    platform.probe = {1800,
                      random.Chance(2) ? 0U : 2500U,
                      random.Chance(3) ? 0U : 60U,
                      random.Chance(2) ? 0U : 20U,
                      random.Chance(4) ? 0U : 30U,
                      "0F"};
    if (random.Chance(8)) { // and so without a probe
        platform.events.clear();
    }
    platform.control.workMode = static_cast<PerfWorkMode>(random.Below(3));
    platform.control.ipaResourceFlag = random.Below(3) != 0;
    platform.options.commandLimits = {4, 6, 16, 0, 1020};
    platform.options.debugClientPid = random.Chance(2) ? 3 : 77;
    platform.options.rewriteDelay = random.Chance(3) ? 0 : random.Chance(2) ? 15 : 200;
}

class RealFacade : public ConfigManager {
public:
    RealFacade(ConfigManagerOptions const& options, VirtualTime& its, Sandbox& on)
        : ConfigManager(options), time(its), sandbox(on)
    {
    }
    void AdvanceBy(milliseconds duration) { time.AdvanceBy(duration); }
    void Refuse(std::string const& node, bool on, bool takesNothing)
    {
        sandbox.ClearFaults(node);
        if (on) {
            sandbox.FailNode(node, takesNothing ? Fault::ShortCount(0) : Fault::Error(EBUSY));
        }
    }

private:
    VirtualTime& time;
    Sandbox& sandbox;
};

/** One call, on either of the two. */
struct Call {
    std::string text;
    bool settles; ///< or more is asked before anything is done
    std::function<std::string(RealFacade&)> onReal;
    std::function<std::string(NaiveFacade&)> onNaive;
};
using Calls = std::vector<Call>;

std::string OutcomeText(int result, unsigned long long handle = 0)
{
    return std::to_string(result) + " " + std::to_string(handle);
}

std::string Shown(std::vector<PerfRequestInfo> const& infos)
{
    std::ostringstream out;
    for (PerfRequestInfo const& info : infos) {
        out << " {" << info.qosId;
        for (GroupInfo const& group : info.groupInfos) {
            out << " [" << group.groupId;
            for (auto const& [operation, value] : group.operations) {
                out << " " << operation << ":" << value;
            }
            out << "]";
        }
        out << "}";
    }
    return out.str();
}

/** Draws calls of which many hit what is outstanding: few clients, values and times. */
class Script {
public:
    explicit Script(std::uint64_t seed) : random(seed), platform([](std::string const& name) { return name; })
    {
        Furnish(platform, seed);
    }

    /** That many calls, and the dumps. */
    Calls Write(std::size_t count)
    {
        NaiveFacade naive(platform, PerfTimePoint{std::chrono::hours(1)});
        Calls script;
        while (script.size() < count) {
            script.push_back(Next(naive));
            script.back().onNaive(naive);
            if (script.back().settles) {
                naive.AdvanceBy(milliseconds(0));
            }
        }
        for (std::string const& option : dumps) {
            script.push_back(Dump(option));
        }
        return script;
    }

private:
    using Handle = unsigned long long;

    template <typename Body> Call Make(std::string const& text, Body const& body)
    {
        return {text, !random.Chance(4), body, body};
    }

    unsigned int Among(std::initializer_list<unsigned int> values)
    {
        std::vector<unsigned int> const all(values);
        return random.Pick(all);
    }

    int Pid() { return random.Chance(30) ? random.Below(2) - 1 : 1 + random.Below(4); }

    int Value(PerfQosId qosId)
    {
        if (random.Chance(40)) {
            return static_cast<int>(Among({5000, 200, 101, 3}));
        }
        switch (qosId) {
        case PERF_QOS_CPU_M:
        case PERF_QOS_CPU_B:
            return static_cast<int>(Among({500, 1500, 1800, 2500, 3000}));
        case PERF_QOS_EAS:
        case PERF_QOS_EAS_BASE:
        case 20:
            return static_cast<int>(Among({0, 1, 2, 4}));
        case 15:
            return random.Below(3);
        default:
            return static_cast<int>(Among({5, 20, 30, 50, 60, 80}));
        }
    }

    PerfRequestInfo Info(PerfQosId qosId)
    {
        PerfRequestInfo info{qosId, {}};
        bool const isEas = qosId == PERF_QOS_EAS || qosId == PERF_QOS_EAS_BASE;
        int const groups = isEas ? 8 : qosId == PERF_QOS_GPU || qosId == 15 ? 2 : 1;
        bool const each = random.Chance(10); // boosts of every group, lest they contradict one another
        do {
            int const next = each ? static_cast<int>(info.groupInfos.size()) : random.Below(groups);
            GroupInfo group{static_cast<unsigned int>(random.Chance(60) ? groups : next), {}};
            int const operations = random.Chance(30) ? 0 : 1 + random.Below(2);
            for (int i = 0; i < operations; ++i) {
                auto const operation = each ? 0 : random.Chance(80) ? 2 : random.Below(2);
                group.operations.emplace_back(static_cast<PerfOperationType>(operation), Value(qosId));
            }
            info.groupInfos.push_back(group);
        } while (each ? static_cast<int>(info.groupInfos.size()) < groups : random.Chance(4));
        return info;
    }

    Call Request()
    {
        bool const base = random.Chance(15);
        std::vector<PerfRequestInfo> infos;
        do {
            infos.push_back(Info(base && !random.Chance(10)
                                     ? PERF_QOS_EAS_BASE
                                     : Among({1, 1, 1, 2, 3, 3, 4, 6, 6, 7, 9, 15, 20, 44, 40})));
        } while (random.Chance(3));
        unsigned int const duration =
            base && !random.Chance(20) ? 0 : Among({0, 0, 0, 0, 20, 20, 30, 40, 40, 60000, 19});
        int const pid = Pid();
        return Make("PerfRequest pid " + std::to_string(pid) + " " + std::to_string(duration) + " ms" + Shown(infos),
                    [=](auto& facade) {
                        Handle handle = 7;
                        int const result = facade.PerfRequest(pid, duration, infos, handle);
                        return OutcomeText(result, handle);
                    });
    }

    Call Release(NaiveFacade const& naive)
    {
        Handle handle = NO_HANDLE;
        int pid = Pid();
        if (!naive.held.empty()) {
            auto chosen = naive.held.begin();
            std::advance(chosen, random.Below(static_cast<int>(naive.held.size())));
            handle = chosen->first - (random.Chance(20) ? 1 : 0);
            pid = random.Chance(20) ? pid : chosen->second.pid;
        }
        return Make("PerfRelease pid " + std::to_string(pid) + " handle " + std::to_string(handle),
                    [=](auto& facade) { return OutcomeText(facade.PerfRelease(pid, handle)); });
    }

    Call Event()
    {
        unsigned int const id = Among({0, 0, 1, 3, 3, 3, 2, 16});
        unsigned int const duration = Among({1, 20, 30, 70, 5000});
        std::vector<std::vector<unsigned int>> const forms{{},  {1}, {1, duration}, {1, duration},   {0},
                                                           {0}, {2}, {0, 5},        {1, duration, 7}};
        std::vector<unsigned int> const params = random.Pick(forms);
        return Numbered(id, params);
    }

    Call Numbered(unsigned int id, std::vector<unsigned int> const& params)
    {
        return Make("PerfEvent " + std::to_string(id) + " " + testing::PrintToString(params),
                    [=](auto& facade) { return OutcomeText(facade.PerfEvent(id, params, "")); });
    }

    Call Probe()
    {
        unsigned int const tid = random.Chance(30) ? Among({0, 0xFFFFFFFF}) : Among({1, 2, 77, 90});
        return Numbered(PROBE_EVENT_ID, {random.Chance(40) ? 2U : random.Chance(3) ? 0U : 1U, 5, tid});
    }

    Call Suspend()
    {
        std::vector<unsigned int> params{Among({0, 0, 0, 0, 1, 2})};
        while (!random.Chance(3)) {
            params.push_back(Among({1, 2, 3, 4, 6, 9, 15, 20, 33, 44, 44}));
        }
        return Numbered(SUSPEND_EVENT_ID, params);
    }

    Call Console()
    {
        Strings const words{"game_mode",   "benchmark_mode",  "game_mode_2",
                            "onfire_mode", "game_start_mode", "power_saving_mode"};
        Strings const ends{"_enable", "_enable", "_enable", "_disable", "_disable", ""};
        std::string const option = "--" + random.Pick(words) + random.Pick(ends);
        return Make("DebugSet " + option, [=](auto& facade) {
            std::ostringstream out;
            int const result = facade.DebugSet(out, option);
            return out.str() + OutcomeText(result);
        });
    }

    Call Dump(std::string const& option)
    {
        return Make("Dump " + option, [=](auto& facade) {
            facade.AdvanceBy(milliseconds(0));
            std::ostringstream out;
            static_cast<void>(facade.Dump(out, {option}));
            return out.str();
        });
    }

    Call Refusal()
    {
        Strings const nodes{"cpu_m/min", "cpu_m/max",     "ddr/bandwidth",  "ipa/power", "ipa/board",
                            "ipa/soc",   "eas/0",         "eas/global",     "gpu/power", "always/max",
                            "level/1",   "mem_lat/ratio", "mem_lat/monitor"};
        std::string const node = random.Pick(nodes);
        bool const on = random.Chance(3);
        bool const takesNothing = random.Chance(2);
        return Make(node + (on ? takesNothing ? " takes nothing" : " is busy" : " takes again"), [=](auto& facade) {
            facade.AdvanceBy(milliseconds(0));
            facade.Refuse(node, on, takesNothing);
            return OutcomeText(0);
        });
    }

    Call Next(NaiveFacade const& naive)
    {
        int const dice = random.Below(100);
        int const pid = Pid();
        if (dice < 34) {
            return Request();
        }
        if (dice < 50) {
            return Release(naive);
        }
        if (dice < 52) {
            return Make("PerfReleaseAll " + std::to_string(pid),
                        [pid](auto& facade) { return OutcomeText(facade.PerfReleaseAll(pid)); });
        }
        if (dice < 60) {
            bool const isMode = dice < 56;
            auto const id = static_cast<unsigned int>(random.Below(isMode ? 4 : 6));
            return Make((isMode ? "PerfSetMode pid " : "PerfSetScenario pid ") + std::to_string(pid) + " " +
                            std::to_string(id),
                        [=](auto& facade) {
                            Handle handle = 7;
                            int const result =
                                isMode ? facade.PerfSetMode(pid, id, handle) : facade.PerfSetScenario(pid, id, handle);
                            return OutcomeText(result, handle);
                        });
        }
        if (dice < 85) {
            return dice < 64   ? Suspend()
                   : dice < 72 ? Event()
                   : dice < 80 ? Probe()
                   : dice < 83 ? Console()
                               : Dump(random.Pick(dumps));
        }
        if (random.Chance(3)) {
            return Refusal();
        }
        if (dice == 85 && random.Chance(3)) {
            return Make("Reset", [](auto& facade) {
                facade.Reset();
                return OutcomeText(0);
            });
        }
        milliseconds const duration(random.Chance(15) ? 60000 : Among({1, 9, 10, 10, 20, 20, 30, 70}));
        return Make("time goes on by " + std::to_string(duration.count()) + " ms", [=](auto& facade) {
            facade.AdvanceBy(duration);
            return OutcomeText(0);
        });
    }

    Strings const dumps{"--task", "--workMode", "--limit_history"};
    Random random;
    PlatformBuilder platform;
};

/** Writes by resource, each with its time in ns. */
using Course = std::map<std::string, Strings>;

template <typename Writes> Course ByResource(Writes const& writes, PerfTimePoint const& begin)
{
    Course course;
    for (auto const& write : writes) {
        course[write.node.substr(0, write.node.find('/'))].push_back(
            "at " + std::to_string((write.time - begin).count()) + " " + write.node + " <- " + write.bytes);
    }
    return course;
}

struct Difference {
    std::size_t step; ///< the script's length if there is none
    std::string text;
    std::size_t writes = 0; ///< that were the same
};

/** Plays a script on both until they differ. */
Difference Play(std::uint64_t seed, Calls const& script)
{
    VirtualTime time(seed);
    PerfTimePoint const begin = time.Now();
    Sandbox sandbox;
    auto platform = std::make_unique<PlatformBuilder>([&](std::string const& name) { return sandbox.AddNode(name); });
    PlatformBuilder naivePlatform([](std::string const& name) { return name; });
    Furnish(*platform, seed);
    Furnish(naivePlatform, seed);
    platform->options.threadBinderNode = sandbox.AddNode("binder");
    RealFacade real(platform->options, time, sandbox);
    NaiveFacade naive(naivePlatform, begin);
    if (platform->Init(real) != 0) {
        return {0, "Init failed"};
    }
    platform.reset(); // Init has copied what it needs; the address sanitizer sees who believes otherwise
    time.Settle();
    std::size_t writes = 0;
    for (std::size_t step = 0; step < script.size(); ++step) {
        Call const& call = script[step];
        std::string const expected = call.onNaive(naive);
        std::string const told = call.onReal(real);
        if (told != expected) {
            return {step, "real: " + told + "\nnaive: " + expected};
        }
        if (!call.settles && step + 1 < script.size()) {
            continue;
        }
        time.Settle();
        naive.AdvanceBy(milliseconds(0));
        writes += naive.writes.size();
        Course const course = ByResource(sandbox.TakeWrites(), begin);
        Course const foreseen = ByResource(std::exchange(naive.writes, {}), begin);
        if (course != foreseen) {
            return {step, "real: " + testing::PrintToString(course) + "\nnaive: " + testing::PrintToString(foreseen)};
        }
        int const open = sandbox.OpenDescriptors() - sandbox.OpenDescriptors("binder");
        if (open != static_cast<int>(naive.OpenNodes())) {
            return {step, "real: " + std::to_string(open) + " open\nnaive: " + std::to_string(naive.OpenNodes())};
        }
    }
    return {script.size(), "", writes};
}

/** Leaves out whatever the difference does not need, in ever smaller pieces. */
Calls Shortened(std::uint64_t seed, Calls script)
{
    script.resize(Play(seed, script).step + 1);
    for (std::size_t piece = script.size() / 2; piece > 0; piece /= 2) {
        for (std::size_t begin = 0; begin + piece < script.size();) {
            Calls shorter = script;
            auto const first = shorter.begin() + static_cast<std::ptrdiff_t>(begin);
            shorter.erase(first, first + static_cast<std::ptrdiff_t>(piece));
            Difference const difference = Play(seed, shorter);
            if (difference.step < shorter.size()) {
                shorter.resize(difference.step + 1);
                script = shorter;
            } else {
                begin += piece;
            }
        }
    }
    return script;
}

std::uint64_t Setting(char const* name, std::uint64_t otherwise)
{
    char const* const set = std::getenv(name);
    return set == nullptr ? otherwise : std::strtoull(set, nullptr, 10);
}

// Fewer under the sanitizers, which are slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t OPERATIONS = 8'000;
#else
constexpr std::uint64_t OPERATIONS = 50'000;
#endif
constexpr std::uint64_t A_WORLD = 500;

TEST(World, TheLibraryDoesAsTheNaiveOneAtEveryStep)
{
    std::uint64_t const worlds = Setting("CORVANE_WORLD_OPERATIONS", OPERATIONS) / A_WORLD;
    std::uint64_t const first = Setting("CORVANE_WORLD_SEED", 1);
    std::size_t writes = 0;
    for (std::uint64_t seed = first; seed < first + worlds; ++seed) {
        Calls script = Script(seed).Write(A_WORLD);
        Difference const difference = Play(seed, script);
        writes += difference.writes;
        if (difference.step == script.size()) {
            continue;
        }
        script = Shortened(seed, std::move(script));
        std::string played;
        for (Call const& call : script) {
            played += "  " + call.text + (call.settles ? "" : " ...") + "\n";
        }
        FAIL() << "CORVANE_WORLD_SEED=" << seed << ", after\n" << played << Play(seed, script).text;
    }
    std::cout << worlds * A_WORLD << " calls, " << writes << " writes\n";
    EXPECT_GT(writes, worlds * A_WORLD) << "what is played hardly reaches the nodes";
}

TEST(World, AnHourOfTouchesBelowABoostThatIsRenewedLeavesNoTrace)
{
    Calls script;
    auto const add = [&](auto const& body) { script.push_back({"", true, body, body}); };
    auto const request = [&](int pid, unsigned int ms, int value) {
        add([=](auto& facade) {
            unsigned long long handle = 0;
            return OutcomeText(facade.PerfRequest(pid, ms, {Boost(PERF_QOS_GPU, value)}, handle), handle);
        });
    };
    constexpr int TOUCHES = 12'000;
    for (int touch = 0; touch < TOUCHES; ++touch) {
        if (touch % 100 == 0) {
            request(1, 60000, 80);
        }
        request(2, 80, 30 + touch % 3);
        add([](auto& facade) {
            facade.AdvanceBy(milliseconds(300));
            return OutcomeText(0);
        });
        if (touch % 1000 == 0) {
            add([](auto& facade) {
                std::ostringstream out;
                static_cast<void>(facade.Dump(out, {"--task"}));
                EXPECT_LT(out.str().size(), 10'000U);
                return out.str();
            });
        }
    }
    Difference const difference = Play(1, script);
    EXPECT_EQ(difference.step, script.size()) << difference.text;
}

} // namespace
