// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tests/support/PlatformBuilder.h"
#include "tests/world/NaiveResource.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/**
 * The whole library, told again in the plainest way: lists of what is outstanding, searched from end to end. It offers
 * the calls of the facade and says when what is written. Catalogues are taken to be valid.
 *
 * What is asked is done when time is let go on, be it by nothing, as the real workers do in virtual time.
 */
class NaiveFacade {
public:
    using Handle = unsigned long long;
    struct Write {
        std::string node;
        std::string bytes;
        PerfTimePoint time;
    };
    /** What stands behind a handle. */
    struct Held {
        int pid;
        PerfEventId event; ///< REQUEST_EVENT_ID for what is neither an event nor a probe
        PerfCommandType type;
        PerfTimePoint end{};
        std::vector<PerfCommandItem> items{};
    };

    NaiveFacade(PlatformBuilder const& built, PerfTimePoint const& time)
        : platform(built), start(time), now(time), nextHandle(built.options.commandLimits.firstHandle),
          mode(built.control.workMode)
    {
        auto const put = [this](std::string const& node, std::string const& bytes) {
            writes.push_back({node, bytes, now});
            return refusing.count(node) == 0;
        };
        for (auto const& [id, config] : platform.qosConfigs) {
            std::chrono::milliseconds const delay(platform.options.rewriteDelay);
            resources.try_emplace(id, id, *config, platform.control, delay, put);
        }
    }

    // Requests

    int PerfRequest(int pid, unsigned int duration, std::vector<PerfRequestInfo> const& infos, Handle& handle)
    {
        auto const bases = std::count_if(infos.begin(), infos.end(),
                                         [](PerfRequestInfo const& info) { return info.qosId == PERF_QOS_EAS_BASE; });
        if ((duration != 0 && (duration < 20 || duration > 60000 || bases != 0)) ||
            (bases != 0 && static_cast<std::size_t>(bases) != infos.size())) {
            return -1;
        }
        std::map<PerfQosId, PerfGroupTable> request;
        for (PerfRequestInfo const& info : infos) {
            for (auto const& [group, values] : Folded(info.groupInfos)) {
                request[bases != 0 ? PERF_QOS_EAS : info.qosId][group].insert(values.begin(), values.end());
            }
        }
        Held entry{pid, REQUEST_EVENT_ID, PERF_COMMAND_LONG_START};
        if (bases != 0) {
            entry.type = PERF_COMMAND_BASE_SET;
        } else if (duration != 0) {
            entry.type = PERF_COMMAND_SHORT_START;
            entry.end = now + std::chrono::milliseconds(duration);
        }
        for (auto& [qosId, groups] : request) {
            auto const resource = resources.find(qosId);
            if (resource != resources.end()) {
                if (resource->second.Validate(entry.type, groups) != 0) {
                    return -1;
                }
                entry.items.push_back({qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, {}, entry.end, groups});
            }
        }
        if (request.empty() || pid <= 0) {
            return -1;
        }
        if (entry.type == PERF_COMMAND_BASE_SET) {
            handle = NO_HANDLE;
            return Send(entry.type, entry.items);
        }
        return Start(entry, handle);
    }

    int PerfSetScenario(int pid, unsigned int scenarioId, Handle& handle)
    {
        auto const scenario =
            std::find_if(platform.scenarios.begin(), platform.scenarios.end(),
                         [=](ConfigurableScenario const& one) { return one.scenarioId == scenarioId; });
        if (scenario == platform.scenarios.end() || scenario->qosItems.empty() || pid <= 0) {
            return -1;
        }
        Held entry{pid, REQUEST_EVENT_ID, PERF_COMMAND_LONG_START};
        for (ScenarioQosItem const& item : scenario->qosItems) {
            AddPhase(entry, item.qosId, item.groupInfos, {}, {});
        }
        return Start(entry, handle);
    }

    int PerfSetMode(int pid, unsigned int modeId, Handle& handle)
    {
        if (modeId > 2 || pid <= 0) {
            return -1;
        }
        Expire();
        handle = Hold({pid, REQUEST_EVENT_ID, PERF_COMMAND_MODE_START});
        if (handle == INVALID_HANDLE) {
            return -1;
        }
        modes.emplace_back(static_cast<PerfWorkMode>(modeId), handle);
        UseHighestMode();
        return 0;
    }

    int PerfRelease(int pid, Handle handle)
    {
        Expire();
        auto const gone =
            Take([&](auto one, Held const& entry) { return pid > 0 && one == handle && entry.pid == pid; });
        return gone.empty() ? 0 : SendStop(handle, gone[0].second);
    }

    int PerfReleaseAll(int pid)
    {
        Expire();
        return SendStops(Take([pid](auto, Held const& entry) { return pid > 0 && entry.pid == pid; }), false);
    }

    void Reset()
    {
        Expire();
        probes.clear();
        std::set<int> pids;
        for (auto const& entry : held) {
            pids.insert(entry.second.pid);
        }
        for (int const pid : pids) {
            SendStops(Take([pid](auto, Held const& entry) { return entry.pid == pid; }), true);
        }
        console.clear();
    }

    // Events and probes

    int PerfEvent(unsigned int eventId, std::vector<unsigned int> const& params, std::string const&)
    {
        if (eventId == SUSPEND_EVENT_ID) {
            return SetSuspend(params);
        }
        if (eventId == PROBE_EVENT_ID) {
            if (params.size() != 3 || params[0] > 1) {
                return -1;
            }
            int const tid = static_cast<int>(params[2]);
            return params[0] == 1 ? StartProbe(tid) : StopProbe(tid);
        }
        if (params == std::vector<unsigned int>{0}) {
            Expire();
            SendStops(Take([eventId](auto, Held const& entry) {
                          return entry.event == eventId && eventId < REQUEST_EVENT_ID;
                      }),
                      false);
            return 0;
        }
        return !params.empty() && params[0] != 1 ? -1 : StartEvent(eventId, params.size() == 2 ? params[1] : 0);
    }

    // The console

    int DebugSet(std::ostringstream& out, std::string const& option)
    {
        std::vector<std::string> const words{"--game_mode",   "--benchmark_mode",  "--game_mode_2",
                                             "--onfire_mode", "--game_start_mode", "--power_saving_mode"};
        for (unsigned int id = 0; id < words.size(); ++id) {
            Handle& slot = console.try_emplace(id, NO_HANDLE).first->second;
            if (option == words[id] + "_enable") {
                if (slot != NO_HANDLE) {
                    out << "debug cmd is in effect, delete it first\n";
                } else if (PerfSetScenario(platform.options.debugClientPid, id, slot) != 0) {
                    out << "set scenario " << id << " fail, ret = -1\n";
                    slot = NO_HANDLE;
                }
                return 1;
            }
            if (option == words[id] + "_disable") {
                if (slot == NO_HANDLE) {
                    out << "release scenario " << id << ", fail, handle invalid.\n";
                }
                PerfRelease(platform.options.debugClientPid, std::exchange(slot, NO_HANDLE));
                return 1;
            }
        }
        return 0;
    }

    /** "--task", "--workMode" and "--limit_history", once what was asked is done. */
    int Dump(std::ostringstream& out, std::vector<std::string> const& args)
    {
        Settle();
        if (args[0] == "--workMode") {
            out << "\ncurrent mode = " << mode << ", modeNum(" << modes.size() + 1 << ") <value, handle>:\n";
            for (int shown = 2; shown >= 0; --shown) {
                out << (shown == 0 ? "<0,*>" : "");
                for (auto const& [asked, handle] : modes) {
                    if (static_cast<int>(asked) == shown) {
                        out << "<" << handle << ", " << asked << "> ";
                    }
                }
            }
            out << "\n";
            return 0;
        }
        for (auto const& [id, resource] : resources) {
            if (args[0] == "--task") {
                resource.Dump(out);
            } else if (id < PERF_QOS_LIMIT_HISTORY_COUNT) {
                resource.DumpHistory(out, start);
            }
        }
        return 0;
    }

    // Time and nodes

    void AdvanceBy(std::chrono::milliseconds duration)
    {
        PerfTimePoint const limit = now + duration;
        for (Settle(); NextTime() <= limit; Settle()) {
            now = NextTime();
        }
        now = limit;
    }

    /** Lets a node refuse every write, or take them again. */
    void Refuse(std::string const& node, bool on, bool /* takesNothing */)
    {
        on ? void(refusing.insert(node)) : void(refusing.erase(node));
    }

    std::size_t OpenNodes() const
    {
        std::size_t nodes = 0;
        for (auto const& resource : resources) {
            nodes += resource.second.OpenNodes();
        }
        return nodes;
    }

    std::map<Handle, Held> held;
    std::vector<Write> writes;

private:
    struct Bound {
        int tid;
        PerfTimePoint from, to;
    };
    using Released = std::vector<std::pair<Handle, Held>>;

    // What is asked for

    /** A later mention of a group replaces an earlier one, unless it is without operations. */
    static PerfGroupTable Folded(std::vector<GroupInfo> const& infos)
    {
        PerfGroupTable table;
        for (GroupInfo const& group : infos) {
            if (!group.operations.empty()) {
                table[group.groupId].clear();
            }
            for (auto const& [operation, value] : group.operations) {
                table[group.groupId][operation] = value;
            }
        }
        return table;
    }

    /** Adds what a catalogue asks of a resource, if there is one. */
    void AddPhase(Held& entry, PerfQosId qosId, std::vector<GroupInfo> const& infos, PerfTimePoint const& from,
                  PerfTimePoint const& to)
    {
        auto const resource = resources.find(qosId);
        if (resource != resources.end()) {
            PerfGroupTable groups;
            for (GroupInfo const& info : infos) {
                groups[info.groupId] = {info.operations.begin(), info.operations.end()};
            }
            resource->second.Validate(entry.type, groups);
            entry.items.push_back({qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, from, to, groups});
            entry.end = std::max(entry.end, to);
        }
    }

    int SetSuspend(std::vector<unsigned int> const& params)
    {
        if (params.size() < 2) {
            return -1;
        }
        std::vector<PerfCommandItem> items;
        for (auto id = params.begin() + 1; id != params.end(); ++id) {
            if (resources.count(*id) != 0 && (*id < PERF_QOS_MEM_LAT_FIRST || *id > PERF_QOS_MEM_LAT_LAST)) {
                items.emplace_back().qosId = *id;
            }
        }
        return Send(params[0] != 0 ? PERF_COMMAND_SUSPEND_ON : PERF_COMMAND_SUSPEND_OFF, items);
    }

    int StartEvent(PerfEventId eventId, unsigned int duration)
    {
        Held entry{0, eventId, PERF_COMMAND_SHORT_START};
        for (ConfigurableEvent const& event : platform.events) {
            for (QosCommand const& command : event.qosCommands) {
                std::chrono::milliseconds from{0};
                for (EventPhase const& phase : command.phases) {
                    std::chrono::milliseconds const to = from + std::chrono::milliseconds(phase.duration);
                    bool const isFirst = from.count() == 0;
                    if (event.eventId == eventId && (duration == 0 || isFirst)) {
                        PerfTimePoint const end = now + (duration == 0 ? to : std::chrono::milliseconds(duration));
                        AddPhase(entry, command.qosId, phase.groupInfos, now + from, end);
                    }
                    from = to;
                }
            }
        }
        Handle handle = NO_HANDLE;
        return entry.items.empty() ? 0 : Start(entry, handle);
    }

    // What is held

    /** @return the new handle, or INVALID_HANDLE where a quota is used up. */
    Handle Hold(Held entry)
    {
        CommandLimits const& limits = platform.options.commandLimits;
        std::map<int, unsigned int> perProcess;
        for (auto const& other : held) {
            ++perProcess[other.second.pid];
        }
        bool const isKnown = perProcess.count(entry.pid) != 0;
        if (entry.pid < 0 || held.size() >= limits.maxTotalHandleNum ||
            (isKnown ? perProcess[entry.pid] >= limits.maxHandleNumPerProcess
                     : perProcess.size() >= limits.maxProcessNum)) {
            return INVALID_HANDLE;
        }
        for (PerfCommandItem& item : entry.items) {
            item.handle = nextHandle;
        }
        held.emplace(nextHandle, std::move(entry));
        return nextHandle++;
    }

    int Start(Held const& entry, Handle& handle)
    {
        Expire();
        handle = Hold(entry);
        return handle == INVALID_HANDLE ? -1 : Send(entry.type, held.at(handle).items);
    }

    static bool IsTimed(Held const& entry) { return entry.type == PERF_COMMAND_SHORT_START; }

    /** Forgets what is over. */
    void Expire()
    {
        for (auto const& gone : Take([this](auto, Held const& entry) { return IsTimed(entry) && entry.end <= now; })) {
            if (gone.second.event == PROBE_EVENT_ID) {
                probes.erase(gone.second.pid);
            }
        }
    }

    /** Takes everything that fits out of what is held, by handles. */
    template <typename Fits> Released Take(Fits const& fits)
    {
        Released taken;
        for (auto it = held.begin(); it != held.end();) {
            bool const goes = fits(it->first, it->second);
            if (goes) {
                taken.emplace_back(*it);
            }
            it = goes ? held.erase(it) : std::next(it);
        }
        return taken;
    }

    int Send(PerfCommandType type, std::vector<PerfCommandItem> const& items)
    {
        for (PerfCommandItem const& item : items) {
            if (resources.count(item.qosId) == 0) {
                return -1;
            }
            resources.at(item.qosId).Send(type, item);
        }
        return items.empty() ? -1 : 0;
    }

    int SendStop(Handle handle, Held const& entry)
    {
        if (entry.type != PERF_COMMAND_MODE_START) {
            return Send(IsTimed(entry) ? PERF_COMMAND_SHORT_STOP : PERF_COMMAND_LONG_STOP, entry.items);
        }
        modes.erase(
            std::find_if(modes.begin(), modes.end(), [handle](auto const& asked) { return asked.second == handle; }));
        UseHighestMode();
        return 0;
    }

    /** What could not be sent whole goes last, and what is empty behind that. @return at the first failure, or 0. */
    int SendStops(Released released, bool goesOn)
    {
        auto const rank = [this](Held const& entry) {
            bool const isWhole = std::all_of(entry.items.begin(), entry.items.end(),
                                             [this](auto const& item) { return resources.count(item.qosId) != 0; });
            return entry.type == PERF_COMMAND_MODE_START ? 0 : entry.items.empty() ? 2 : isWhole ? 0 : 1;
        };
        std::stable_sort(released.begin(), released.end(),
                         [&](auto const& left, auto const& right) { return rank(left.second) < rank(right.second); });
        for (auto const& [handle, entry] : released) {
            if (SendStop(handle, entry) != 0 && !goesOn) {
                return -1;
            }
        }
        return 0;
    }

    void UseHighestMode()
    {
        PerfWorkMode highest = PERF_WORK_MODE_DEFAULT;
        for (auto const& asked : modes) {
            highest = std::max(highest, asked.first);
        }
        if (std::exchange(mode, highest) != highest) {
            PerfCommandItem item;
            item.workMode = highest;
            for (auto& resource : resources) {
                resource.second.Send(PERF_COMMAND_MODE_START, item);
            }
        }
    }

    // Whose threads are bound

    int StartProbe(int tid)
    {
        ProbeEvent const probe = platform.events.empty() ? ProbeEvent{} : platform.probe;
        PerfTimePoint const from = now + std::chrono::milliseconds(probe.startDelay);
        PerfTimePoint const to = from + std::chrono::milliseconds(probe.duration);
        Held entry{tid, PROBE_EVENT_ID, PERF_COMMAND_SHORT_START, to};
        for (auto const& [qosId, value] :
             {std::pair(PERF_QOS_CPU_M, probe.cpuM), {PERF_QOS_CPU_B, probe.cpuB}, {PERF_QOS_GPU, probe.gpu}}) {
            if (value != 0) {
                PerfGroupTable const groups{{0, {{PERF_OPERATION_BOOST, static_cast<int>(value)}}}};
                entry.items.push_back({qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, from, to, groups});
            }
        }
        Expire();
        if (probes.count(tid) != 0) {
            return 0;
        }
        Handle handle = NO_HANDLE;
        int const result = Start(entry, handle);
        if (handle != INVALID_HANDLE) {
            probes[tid] = handle;
        }
        if (result == 0 && bindings.insert(tid).second) {
            toBind.push_back({tid, from, to});
        }
        return result;
    }

    int StopProbe(int tid)
    {
        Expire();
        auto const known = probes.find(tid);
        if (known != probes.end()) {
            auto const gone = Take([&](auto handle, auto const&) { return handle == known->second; });
            probes.erase(known);
            if (!gone.empty() && SendStop(gone[0].first, gone[0].second) == 0) {
                Unbind(tid);
            }
        }
        return 0;
    }

    void Unbind(int tid)
    {
        auto const isHis = [tid](Bound const& binding) { return binding.tid == tid; };
        toBind.erase(std::remove_if(toBind.begin(), toBind.end(), isHis), toBind.end());
        auto const found = std::find_if(bound.begin(), bound.end(), isHis);
        if (found != bound.end()) {
            bound.erase(found);
            stopped.push_back(tid);
        }
        bindings.erase(tid);
    }

    void Bind()
    {
        auto const write = [this](std::string const& path, int tid) {
            writes.push_back({"binder", path + "|" + std::to_string(tid), now});
        };
        for (int const tid : std::exchange(stopped, {})) {
            write("FF", tid);
        }
        std::stable_sort(toBind.begin(), toBind.end(),
                         [](auto const& one, auto const& two) { return one.from < two.from; });
        while (!toBind.empty() && toBind[0].from <= now) {
            if (now < toBind[0].to) { // otherwise it stays known, unwritten
                write(platform.probe.threadBinderPath, toBind[0].tid);
                bound.push_back(toBind[0]);
            }
            toBind.erase(toBind.begin());
        }
        std::stable_sort(bound.begin(), bound.end(), [](auto const& one, auto const& two) { return one.to < two.to; });
        while (!bound.empty() && bound[0].to <= now) {
            write("FF", bound[0].tid);
            bindings.erase(bound[0].tid);
            bound.erase(bound.begin());
        }
    }

    // Time

    void Settle()
    {
        for (auto& resource : resources) {
            resource.second.Work(now);
        }
        Bind();
    }

    PerfTimePoint NextTime() const
    {
        PerfTimePoint next =
            Earlier(toBind.empty() ? PerfTimePoint{} : toBind[0].from, bound.empty() ? PerfTimePoint{} : bound[0].to);
        for (auto const& resource : resources) {
            next = Earlier(next, resource.second.NextWakeUp());
        }
        return next == PerfTimePoint{} ? PerfTimePoint::max() : next;
    }

    PlatformBuilder const& platform;
    PerfTimePoint const start;
    PerfTimePoint now;
    std::map<PerfQosId, NaiveResource> resources;
    std::set<std::string> refusing;

    Handle nextHandle;
    std::map<int, Handle> probes;
    std::vector<std::pair<PerfWorkMode, Handle>> modes; ///< as they came
    PerfWorkMode mode;
    std::map<unsigned int, Handle> console; ///< by the scenario's id

    std::set<int> bindings;
    std::vector<Bound> toBind, bound; ///< by their start, and by their end
    std::vector<int> stopped;
};
