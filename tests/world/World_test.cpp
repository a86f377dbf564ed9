// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "tests/world/RandomCalls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

/** Random calls on the whole library and on the naive one, in virtual time. */
namespace {

using std::chrono::milliseconds;

class RealFacade : public ConfigManager {
public:
    RealFacade(ConfigManagerOptions const& options, VirtualTime& its, Sandbox& on)
        : ConfigManager(options), time(its), sandbox(on)
    {
    }
    void AdvanceBy(milliseconds duration) { time.AdvanceBy(duration); }
    int Dump(std::ostringstream& out, Strings const& args)
    {
        time.Settle();
        return ConfigManager::Dump(out, args);
    }
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

struct Step {
    RandomCalls<RealFacade>::Call call;
    bool settles; ///< or more is asked before anything is done
};
using Steps = std::vector<Step>;

/** Draws what clients call, how time goes on and which nodes refuse what they are offered. */
class Script : public RandomCalls<RealFacade> {
public:
    Script(std::uint64_t seed, PlatformBuilder const& built)
        : RandomCalls(seed, built, {1, 1, 1, 2, 3, 3, 4, 6, 6, 7, 9, 15, 20, 44, 40}), platform(built)
    {
    }

    /** That many calls, and the dumps. */
    Steps Write(std::size_t count)
    {
        NaiveFacade naive(platform, PerfTimePoint{std::chrono::hours(1)});
        Steps script;
        while (script.size() < count) {
            script.push_back({Next(naive), !random.Chance(4)});
            script.back().call.onNaive(naive);
            if (script.back().settles) {
                naive.AdvanceBy(milliseconds(0));
            }
        }
        for (std::string const& option : dumps) {
            script.push_back({Dump(option), true});
        }
        return script;
    }

    static Call TimeGoesOn(milliseconds duration)
    {
        return Make("time goes on by " + std::to_string(duration.count()) + " ms", 0, [=](auto& facade) {
            facade.AdvanceBy(duration);
            return Outcome{};
        });
    }

private:
    Call Next(NaiveFacade const& naive)
    {
        if (random.Chance(20)) {
            return Refusal();
        }
        if (random.Chance(9)) {
            return TimeGoesOn(milliseconds(random.Chance(15) ? 60000 : Among({1, 9, 10, 10, 20, 20, 30, 70})));
        }
        return Any(naive);
    }

    Call Refusal()
    {
        Strings const nodes{"cpu_m/min", "cpu_m/max",     "ddr/bandwidth",  "ipa/power", "ipa/board",
                            "ipa/soc",   "eas/0",         "eas/global",     "gpu/power", "always/max",
                            "level/1",   "mem_lat/ratio", "mem_lat/monitor"};
        std::string const node = random.Pick(nodes);
        bool const on = random.Chance(3);
        bool const takesNothing = random.Chance(2);
        return Make(node + (on ? takesNothing ? " takes nothing" : " is busy" : " takes again"), 0, [=](auto& facade) {
            facade.AdvanceBy(milliseconds(0));
            facade.Refuse(node, on, takesNothing);
            return Outcome{};
        });
    }

    PlatformBuilder const& platform;
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
    std::size_t longestAnswer = 0;
};

/** Plays a script on both until they differ. */
Difference Play(std::uint64_t seed, Steps const& script)
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
    std::size_t longestAnswer = 0;
    for (std::size_t step = 0; step < script.size(); ++step) {
        auto const& [call, settles] = script[step];
        std::string const expected = call.onNaive(naive).Text();
        std::string const told = call.onReal(real).Text();
        longestAnswer = std::max(longestAnswer, told.size());
        if (told != expected) {
            return {step, "real: " + told + "\nnaive: " + expected};
        }
        if (!settles && step + 1 < script.size()) {
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
    return {script.size(), "", writes, longestAnswer};
}

/** Leaves out whatever the difference does not need, in ever smaller pieces. */
Steps Shortened(std::uint64_t seed, Steps script)
{
    script.resize(Play(seed, script).step + 1);
    for (std::size_t piece = script.size() / 2; piece > 0; piece /= 2) {
        for (std::size_t begin = 0; begin + piece < script.size();) {
            Steps shorter = script;
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
        PlatformBuilder platform([](std::string const& name) { return name; });
        Furnish(platform, seed);
        Steps script = Script(seed, platform).Write(A_WORLD);
        Difference const difference = Play(seed, script);
        writes += difference.writes;
        if (difference.step == script.size()) {
            continue;
        }
        script = Shortened(seed, std::move(script));
        std::string played;
        for (auto const& [call, settles] : script) {
            played += "  " + call.Text() + (settles ? "" : " ...") + "\n";
        }
        FAIL() << "CORVANE_WORLD_SEED=" << seed << ", after\n" << played << Play(seed, script).text;
    }
    std::cout << worlds * A_WORLD << " calls, " << writes << " writes\n";
    EXPECT_GT(writes, worlds * A_WORLD) << "what is played hardly reaches the nodes";
}

TEST(World, AnHourOfTouchesBelowABoostThatIsRenewedLeavesNoTrace)
{
    Steps script;
    auto const add = [&](Script::Call const& call) { script.push_back({call, true}); };
    for (int touch = 0; touch < 12'000; ++touch) {
        if (touch % 100 == 0) {
            add(Script::Request(1, 60000, {Boost(PERF_QOS_GPU, 80)}));
        }
        add(Script::Request(2, 80, {Boost(PERF_QOS_GPU, 30 + touch % 3)}));
        add(Script::TimeGoesOn(milliseconds(300)));
        if (touch % 1000 == 0) {
            add(Script::Dump("--task"));
        }
    }
    Difference const difference = Play(1, script);
    EXPECT_EQ(difference.step, script.size()) << difference.text;
    EXPECT_LT(difference.longestAnswer, 10'000U);
}

} // namespace
