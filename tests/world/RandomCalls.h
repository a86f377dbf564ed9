// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tests/support/Random.h"
#include "tests/world/NaiveFacade.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/** Resources of every kind, with catalogues. What differs between platforms is drawn from the seed. */
inline void Furnish(PlatformBuilder& platform, std::uint64_t seed)
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
    platform.AddIpaPower({0, 100, 10, 100}, 20, 60);
    platform.AddResource(PERF_QOS_IPA_SWITCH_TEMP, "temp",
                         {platform.Group(0, "temp", {0, 100, 40, 100}, {"temp/switch"})});
    platform.AddEas({0, 1, random.Below(5), 0, 0, 0, 0, 0}); // 3 is no level
    auto const ratio = random.Below(3);
    platform.AddMemoryLatency(15, ratio, random.Below(2));
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

/** What a call comes to. */
struct Outcome {
    int result = 0;
    unsigned long long handle = NO_HANDLE;
    std::string printed{};

    std::string Text() const { return std::to_string(result) + " " + std::to_string(handle) + "\n" + printed; }
};

/**
 * Draws calls of which many hit what is outstanding: few clients, values and times. Each may be made on the library and
 * on the naive one.
 *
 * @tparam Real the facade of the library, or what a test derives from it.
 */
template <typename Real> class RandomCalls {
public:
    using Handle = unsigned long long;
    struct Call {
        std::string name;
        int pid; ///< of the caller, where there is one
        std::function<Outcome(Real&)> onReal;
        std::function<Outcome(NaiveFacade&)> onNaive;
        std::vector<PerfRequestInfo> infos{}; ///< of a request, to be shown

        std::string Text() const
        {
            std::string text = name + (pid == 0 ? "" : " pid " + std::to_string(pid));
            for (PerfRequestInfo const& info : infos) {
                text += " {" + std::to_string(info.qosId);
                for (GroupInfo const& group : info.groupInfos) {
                    text += " " + std::to_string(group.groupId) + testing::PrintToString(group.operations);
                }
                text += "}";
            }
            return text;
        }
    };

    /** @param built must last as long. @param requested what is asked for; what stands there twice, more often. */
    RandomCalls(std::uint64_t seed, PlatformBuilder const& built, std::vector<PerfQosId> requested)
        : random(seed), platform(built), ids(std::move(requested))
    {
    }

    /** Any call of a client that knows what is held. */
    Call Any(NaiveFacade const& naive)
    {
        if (naive.held.empty()) {
            return Any(1, NO_HANDLE);
        }
        auto const& [handle, held] = random.Pick(naive.held);
        return Any(held.pid, handle);
    }

    /** @param handle what is released if it is a release, and its owner. */
    Call Any(int owner, Handle handle)
    {
        int const dice = random.Below(85);
        return random.Chance(300) ? Reset()
               : dice < 34        ? AnyRequest()
               : dice < 50        ? Release(owner, handle)
               : dice < 52        ? ReleaseAll()
               : dice < 56        ? Mode()
               : dice < 60        ? Scenario()
               : dice < 64        ? Suspend()
               : dice < 72        ? Event()
               : dice < 80        ? Probe()
               : dice < 83        ? Console()
                                  : Dump(random.Pick(dumps));
    }

    /** What a request asks of a resource, some of it wrong. */
    PerfRequestInfo Info(PerfQosId qosId)
    {
        auto const config = platform.qosConfigs.find(qosId == PERF_QOS_EAS_BASE ? PERF_QOS_EAS : qosId);
        if (config == platform.qosConfigs.end()) {
            return Boost(qosId, 1);
        }
        auto const& groups = config->second->groupConfigs;
        PerfRequestInfo info{qosId, {}};
        bool const each = random.Chance(10); // boosts of every group, lest they contradict one another
        do {
            PerfGroupConfig const& next = each ? groups[info.groupInfos.size()] : random.Pick(groups);
            GroupInfo group{next.groupId + (random.Chance(120) ? 1 : 0), {}};
            for (int left = random.Chance(30) ? 0 : 1 + random.Below(2); left > 0; --left) {
                int const operation = each ? 0 : random.Chance(80) ? 2 : random.Below(2);
                group.operations.emplace_back(static_cast<PerfOperationType>(operation), Value(next));
            }
            info.groupInfos.push_back(group);
        } while (each ? info.groupInfos.size() < groups.size() : random.Chance(4));
        return info;
    }

    static Call Request(int pid, unsigned int duration, std::vector<PerfRequestInfo> const& infos)
    {
        Call call =
            MakeStart("PerfRequest " + std::to_string(duration) + " ms", pid,
                      [=](auto& facade, Handle& handle) { return facade.PerfRequest(pid, duration, infos, handle); });
        call.infos = infos;
        return call;
    }

    static Call NumberedEvent(unsigned int id, std::vector<unsigned int> const& params)
    {
        return Make("PerfEvent " + std::to_string(id) + " " + testing::PrintToString(params), 0,
                    [=](auto& facade) { return Outcome{facade.PerfEvent(id, params, "")}; });
    }

    static Call Reset()
    {
        return Make("Reset", 0, [](auto& facade) {
            facade.Reset();
            return Outcome{};
        });
    }

    static Call Dump(std::string const& option)
    {
        return Make("Dump " + option, 0, [=](auto& facade) {
            std::ostringstream out;
            int const result = facade.Dump(out, {option});
            return Outcome{result, NO_HANDLE, out.str()};
        });
    }

    Strings dumps{"--task", "--workMode", "--limit_history"};
    std::vector<unsigned int> durations{0, 0, 0, 0, 20, 20, 30, 40, 40, 60000, 19}; ///< ms

protected:
    template <typename Body> static Call Make(std::string const& name, int pid, Body const& body)
    {
        return {name, pid, body, body};
    }

    /** For what gives a handle, or leaves the one that there is. */
    template <typename Body> static Call MakeStart(std::string const& name, int pid, Body const& body)
    {
        return Make(name, pid, [=](auto& facade) {
            Outcome outcome{0, 7};
            outcome.result = body(facade, outcome.handle);
            return outcome;
        });
    }

    unsigned int Among(std::initializer_list<unsigned int> const& values) { return random.Pick(values); }

    Random random;

private:
    int Pid() { return random.Chance(30) ? random.Below(2) - 1 : 1 + random.Below(4); }

    int Value(PerfGroupConfig const& config)
    {
        int const step = (config.availableMax - config.availableMin) / 5;
        if (random.Chance(40)) { // out of range, or no level
            return random.Chance(2) ? config.availableMin - 1 : config.availableMax + random.Below(3) - 1;
        }
        if (!config.level2ValueMap.empty()) {
            return random.Pick(config.level2ValueMap).first;
        }
        return random.Chance(8) ? config.limitBase : config.availableMin + step * random.Below(6);
    }

    Call AnyRequest()
    {
        bool const base = random.Chance(15);
        std::vector<PerfRequestInfo> infos;
        do {
            infos.push_back(Info(base && !random.Chance(10) ? PERF_QOS_EAS_BASE : random.Pick(ids)));
        } while (random.Chance(3));
        unsigned int const duration = base && !random.Chance(20) ? 0 : random.Pick(durations);
        return Request(Pid(), duration, infos);
    }

    Call Release(int owner, Handle handle)
    {
        Handle const released = handle - (random.Chance(20) ? 1 : 0);
        int const pid = random.Chance(20) ? Pid() : owner;
        return Make("PerfRelease " + std::to_string(released), pid,
                    [=](auto& facade) { return Outcome{facade.PerfRelease(pid, released)}; });
    }

    Call ReleaseAll()
    {
        int const pid = Pid();
        return Make("PerfReleaseAll", pid, [=](auto& facade) { return Outcome{facade.PerfReleaseAll(pid)}; });
    }

    Call Mode()
    {
        int const pid = Pid();
        auto const id = static_cast<unsigned int>(random.Below(4));
        return MakeStart("PerfSetMode " + std::to_string(id), pid,
                         [=](auto& facade, Handle& handle) { return facade.PerfSetMode(pid, id, handle); });
    }

    Call Scenario()
    {
        int const pid = Pid();
        auto const id = static_cast<unsigned int>(random.Below(6));
        return MakeStart("PerfSetScenario " + std::to_string(id), pid,
                         [=](auto& facade, Handle& handle) { return facade.PerfSetScenario(pid, id, handle); });
    }

    Call Event()
    {
        unsigned int const duration = random.Pick(durations);
        std::vector<std::vector<unsigned int>> const forms{{},  {1}, {1, duration}, {1, duration},   {0},
                                                           {0}, {2}, {0, 5},        {1, duration, 7}};
        return NumberedEvent(Among({0, 0, 1, 3, 3, 3, 2, 16}), random.Pick(forms));
    }

    Call Probe()
    {
        unsigned int const tid = random.Chance(30) ? Among({0, 0xFFFFFFFF}) : Among({1, 2, 77, 90});
        return NumberedEvent(PROBE_EVENT_ID, {random.Chance(40) ? 2U : random.Chance(3) ? 0U : 1U, 5, tid});
    }

    Call Suspend()
    {
        std::vector<unsigned int> params{Among({0, 0, 0, 0, 1, 2})};
        while (!random.Chance(3)) {
            params.push_back(random.Chance(10) ? 33 : random.Pick(ids));
        }
        return NumberedEvent(SUSPEND_EVENT_ID, params);
    }

    Call Console()
    {
        Strings const words{"game_mode",   "benchmark_mode",  "game_mode_2",
                            "onfire_mode", "game_start_mode", "power_saving_mode"};
        Strings const ends{"_enable", "_enable", "_enable", "_disable", "_disable", ""};
        std::string const option = "--" + random.Pick(words) + random.Pick(ends);
        return Make("DebugSet " + option, 0, [=](auto& facade) {
            std::ostringstream out;
            int const result = facade.DebugSet(out, option);
            return Outcome{result, NO_HANDLE, out.str()};
        });
    }

    PlatformBuilder const& platform;
    std::vector<PerfQosId> const ids;
};
