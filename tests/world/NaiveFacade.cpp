// SPDX-License-Identifier: Apache-2.0

#include "tests/world/NaiveFacade.h"

#include <algorithm>

using std::chrono::milliseconds;

namespace {

PerfGroupTable Table(std::vector<GroupInfo> const& infos)
{
    PerfGroupTable table;
    for (GroupInfo const& info : infos) {
        table[info.groupId] = {info.operations.begin(), info.operations.end()};
    }
    return table;
}

} // namespace

NaiveFacade::NaiveFacade(PlatformBuilder const& built, PerfTimePoint const& time)
    : platform(built), start(time), now(time), nextHandle(built.options.commandLimits.firstHandle),
      mode(built.control.workMode)
{
    auto const put = [this](std::string const& node, std::string const& bytes) {
        writes.push_back({node, bytes, now});
        return refusing.count(node) == 0;
    };
    for (auto const& [id, config] : platform.qosConfigs) {
        resources.emplace(
            std::piecewise_construct, std::tuple(id),
            std::forward_as_tuple(id, *config, platform.control, milliseconds(platform.options.rewriteDelay), put));
    }
    for (ConfigurableEvent const& event : platform.events) {
        auto& phases = events[event.eventId];
        for (QosCommand const& command : event.qosCommands) {
            milliseconds from{0};
            for (EventPhase const& phase : command.phases) {
                milliseconds const to = from + milliseconds(phase.duration);
                PerfGroupTable groups = Table(phase.groupInfos);
                if (resources.count(command.qosId) != 0) {
                    resources.at(command.qosId).Validate(PERF_COMMAND_SHORT_START, groups);
                    phases.push_back({from, to, command.qosId, groups});
                }
                from = to;
            }
        }
        std::stable_sort(phases.begin(), phases.end(),
                         [](Phase const& left, Phase const& right) { return left.qosId < right.qosId; });
    }
    for (ConfigurableScenario const& scenario : platform.scenarios) {
        for (ScenarioQosItem const& item : scenario.qosItems) {
            PerfGroupTable& groups = scenarios[scenario.scenarioId][item.qosId] = Table(item.groupInfos);
            resources.at(item.qosId).Validate(PERF_COMMAND_LONG_START, groups);
        }
    }
}

// Handles

void NaiveFacade::Expire()
{
    for (auto const& gone : Take([this](auto, Held const& entry) { return IsTimed(entry) && entry.end <= now; })) {
        if (gone.second.event == PROBE_EVENT_ID) {
            probes.erase(gone.second.pid);
        }
    }
}

template <typename Fits>
std::vector<std::pair<unsigned long long, NaiveFacade::Held>> NaiveFacade::Take(Fits const& fits)
{
    std::vector<std::pair<unsigned long long, Held>> taken;
    for (auto it = held.begin(); it != held.end();) {
        bool const goes = fits(it->first, it->second);
        if (goes) {
            taken.emplace_back(it->first, it->second);
        }
        it = goes ? held.erase(it) : std::next(it);
    }
    return taken;
}

unsigned long long NaiveFacade::Hold(Held entry)
{
    CommandLimits const& limits = platform.options.commandLimits;
    std::map<int, unsigned int> perProcess;
    for (auto const& other : held) {
        ++perProcess[other.second.pid];
    }
    bool const known = perProcess.count(entry.pid) != 0;
    if (entry.pid < 0 || held.size() >= limits.maxTotalHandleNum ||
        (known ? perProcess[entry.pid] >= limits.maxHandleNumPerProcess : perProcess.size() >= limits.maxProcessNum)) {
        return INVALID_HANDLE;
    }
    for (PerfCommandItem& item : entry.items) {
        item.handle = nextHandle;
    }
    held.emplace(nextHandle, std::move(entry));
    return nextHandle++;
}

int NaiveFacade::HoldAndSend(Held const& entry, unsigned long long& handle)
{
    if (entry.pid <= 0) {
        return -1;
    }
    Expire();
    handle = Hold(entry);
    return handle == INVALID_HANDLE ? -1 : Send(entry.type, held.at(handle).items);
}

int NaiveFacade::Send(PerfCommandType type, std::vector<PerfCommandItem> const& items)
{
    for (PerfCommandItem const& item : items) {
        if (resources.count(item.qosId) == 0) {
            return -1;
        }
        resources.at(item.qosId).Send(type, item);
    }
    return items.empty() ? -1 : 0;
}

int NaiveFacade::SendStop(unsigned long long handle, Held const& entry)
{
    if (entry.type != PERF_COMMAND_MODE_START) {
        return Send(IsTimed(entry) ? PERF_COMMAND_SHORT_STOP : PERF_COMMAND_LONG_STOP, entry.items);
    }
    modes.erase(
        std::find_if(modes.begin(), modes.end(), [handle](auto const& asked) { return asked.second == handle; }));
    UseHighestMode();
    return 0;
}

int NaiveFacade::SendStops(std::vector<std::pair<unsigned long long, Held>> released, bool goesOn)
{
    std::stable_sort(released.begin(), released.end(), [this](auto const& left, auto const& right) {
        auto const rank = [this](Held const& entry) {
            bool const whole = std::all_of(entry.items.begin(), entry.items.end(),
                                           [this](auto const& item) { return resources.count(item.qosId) != 0; });
            return entry.type == PERF_COMMAND_MODE_START ? 0 : entry.items.empty() ? 2 : whole ? 0 : 1;
        };
        return rank(left.second) < rank(right.second);
    });
    for (auto const& [handle, entry] : released) {
        if (SendStop(handle, entry) != 0 && !goesOn) {
            return -1;
        }
    }
    return 0;
}

void NaiveFacade::Reset()
{
    Expire();
    probes.clear();
    std::map<int, std::vector<std::pair<unsigned long long, Held>>> processes;
    for (auto const& gone : Take([](auto, auto const&) { return true; })) {
        processes[gone.second.pid].push_back(gone);
    }
    for (auto const& process : processes) {
        SendStops(process.second, true);
    }
    console.assign(6, NO_HANDLE);
}

int NaiveFacade::PerfRelease(int pid, unsigned long long handle)
{
    Expire();
    auto const gone = Take([&](auto one, Held const& entry) { return pid > 0 && one == handle && entry.pid == pid; });
    return gone.empty() ? 0 : SendStop(handle, gone[0].second);
}

int NaiveFacade::PerfReleaseAll(int pid)
{
    Expire();
    return SendStops(Take([pid](auto, Held const& entry) { return pid > 0 && entry.pid == pid; }), false);
}

// Requests

int NaiveFacade::PerfRequest(int pid, unsigned int duration, std::vector<PerfRequestInfo> const& infos,
                             unsigned long long& handle)
{
    auto const bases = std::count_if(infos.begin(), infos.end(),
                                     [](PerfRequestInfo const& info) { return info.qosId == PERF_QOS_EAS_BASE; });
    if ((duration != 0 && (duration < 20 || duration > 60000 || bases != 0)) ||
        (bases != 0 && static_cast<std::size_t>(bases) != infos.size())) {
        return -1;
    }
    auto const type = bases != 0      ? PERF_COMMAND_BASE_SET
                      : duration != 0 ? PERF_COMMAND_SHORT_START
                                      : PERF_COMMAND_LONG_START;
    std::map<PerfQosId, PerfGroupTable> request;
    for (PerfRequestInfo const& info : infos) {
        PerfGroupTable table;
        for (GroupInfo const& group : info.groupInfos) {
            for (auto const& [operation, value] : group.operations) {
                if (&operation == &group.operations[0].first) {
                    table[group.groupId].clear();
                }
                table[group.groupId][operation] = value;
            }
        }
        for (auto const& [group, values] : table) {
            request[info.qosId == PERF_QOS_EAS_BASE ? PERF_QOS_EAS : info.qosId][group].insert(values.begin(),
                                                                                               values.end());
        }
    }
    PerfTimePoint const end = duration == 0 ? PerfTimePoint{} : now + milliseconds(duration);
    Held entry{pid, REQUEST_EVENT_ID, type, end, {}};
    for (auto& [qosId, groups] : request) {
        auto const resource = resources.find(qosId);
        if (resource != resources.end()) {
            if (resource->second.Validate(type, groups) != 0) {
                return -1;
            }
            entry.items.push_back({qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, {}, end, groups});
        }
    }
    if (request.empty() || pid <= 0) {
        return -1;
    }
    if (type == PERF_COMMAND_BASE_SET) {
        handle = NO_HANDLE;
        return Send(type, entry.items);
    }
    return HoldAndSend(entry, handle);
}

int NaiveFacade::PerfSetScenario(int pid, unsigned int scenarioId, unsigned long long& handle)
{
    if (scenarios.count(scenarioId) == 0) {
        return -1;
    }
    Held entry{pid, REQUEST_EVENT_ID, PERF_COMMAND_LONG_START, {}, {}};
    for (auto const& [qosId, groups] : scenarios[scenarioId]) {
        entry.items.push_back({qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, {}, {}, groups});
    }
    return HoldAndSend(entry, handle);
}

int NaiveFacade::PerfSetMode(int pid, unsigned int modeId, unsigned long long& handle)
{
    if (modeId > 2 || pid <= 0) {
        return -1;
    }
    Expire();
    handle = Hold({pid, REQUEST_EVENT_ID, PERF_COMMAND_MODE_START, {}, {}});
    if (handle == INVALID_HANDLE) {
        return -1;
    }
    modes.emplace_back(static_cast<PerfWorkMode>(modeId), handle);
    UseHighestMode();
    return 0;
}

void NaiveFacade::UseHighestMode()
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

int NaiveFacade::PerfSetSuspend(std::vector<unsigned int> const& params)
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

// Events and probes

int NaiveFacade::PerfEvent(unsigned int eventId, std::vector<unsigned int> const& params, std::string const&)
{
    if (eventId == PROBE_EVENT_ID) {
        if (params.size() != 3 || params[0] > 1) {
            return -1;
        }
        int const tid = static_cast<int>(params[2]);
        return params[0] == 1 ? StartProbe(tid) : (StopProbe(tid), 0);
    }
    if (eventId == SUSPEND_EVENT_ID) {
        return PerfSetSuspend(params);
    }
    if (params == std::vector<unsigned int>{0}) {
        StopEvent(eventId);
        return 0;
    }
    return !params.empty() && params[0] != 1 ? -1 : StartEvent(eventId, params.size() == 2 ? params[1] : 0);
}

int NaiveFacade::StartEvent(PerfEventId eventId, unsigned int duration)
{
    if (events[eventId].empty()) {
        return 0;
    }
    Held entry{0, eventId, PERF_COMMAND_SHORT_START, now, {}};
    for (Phase const& phase : events[eventId]) {
        PerfTimePoint const end = now + (duration == 0 ? phase.to : milliseconds(duration));
        if (duration == 0 || phase.from == milliseconds(0)) {
            entry.items.push_back(
                {phase.qosId, NO_HANDLE, PERF_WORK_MODE_DEFAULT, now + phase.from, end, phase.groups});
            entry.end = std::max(entry.end, end);
        }
    }
    Expire();
    unsigned long long const handle = Hold(entry);
    return handle == INVALID_HANDLE ? -1 : Send(entry.type, held.at(handle).items);
}

void NaiveFacade::StopEvent(PerfEventId eventId)
{
    Expire();
    SendStops(Take([eventId](auto, Held const& entry) { return entry.event == eventId && eventId < REQUEST_EVENT_ID; }),
              false);
}

int NaiveFacade::StartProbe(int tid)
{
    ProbeEvent const probe = platform.events.empty() ? ProbeEvent{} : platform.probe;
    PerfTimePoint const from = now + milliseconds(probe.startDelay);
    PerfTimePoint const to = from + milliseconds(probe.duration);
    Held entry{tid, PROBE_EVENT_ID, PERF_COMMAND_SHORT_START, to, {}};
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
    unsigned long long const handle = Hold(entry);
    if (handle == INVALID_HANDLE) {
        return -1;
    }
    probes[tid] = handle;
    if (Send(entry.type, held.at(handle).items) != 0) {
        return -1;
    }
    if (bindings.emplace(tid, Bound{tid, from, to}).second) {
        toBind.push_back({tid, from, to});
    }
    return 0;
}

void NaiveFacade::StopProbe(int tid)
{
    Expire();
    auto const known = probes.find(tid);
    if (known == probes.end()) {
        return;
    }
    auto const gone = Take([&](auto handle, auto const&) { return handle == known->second; });
    probes.erase(known);
    if (!gone.empty() && SendStop(gone[0].first, gone[0].second) == 0) {
        Unbind(tid);
    }
}

void NaiveFacade::Unbind(int tid)
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

void NaiveFacade::Bind()
{
    auto const write = [this](bool bind, int tid) {
        writes.push_back({"binder", (bind ? platform.probe.threadBinderPath : "FF") + "|" + std::to_string(tid), now});
    };
    for (int const tid : std::exchange(stopped, {})) {
        write(false, tid);
    }
    auto const byStart = [](Bound const& left, Bound const& right) { return left.from < right.from; };
    auto const byEnd = [](Bound const& left, Bound const& right) { return left.to < right.to; };
    std::stable_sort(toBind.begin(), toBind.end(), byStart);
    while (!toBind.empty() && toBind[0].from <= now) {
        if (now < toBind[0].to) { // otherwise it stays known, unwritten
            write(true, toBind[0].tid);
            bound.push_back(toBind[0]);
        }
        toBind.erase(toBind.begin());
    }
    std::stable_sort(bound.begin(), bound.end(), byEnd);
    while (!bound.empty() && bound[0].to <= now) {
        write(false, bound[0].tid);
        bindings.erase(bound[0].tid);
        bound.erase(bound.begin());
    }
}

// The console

int NaiveFacade::DebugSet(std::ostringstream& out, std::string const& option)
{
    std::vector<std::string> const words{"game", "benchmark", "game_2", "onfire", "game_start", "power_saving"};
    for (unsigned int id = 0; id < words.size(); ++id) {
        std::string const mode_ = words[id] == "game_2" ? "--game_mode_2" : "--" + words[id] + "_mode";
        unsigned long long& slot = console[id];
        if (option == mode_ + "_enable") {
            if (slot != NO_HANDLE) {
                out << "debug cmd is in effect, delete it first\n";
            } else if (PerfSetScenario(platform.options.debugClientPid, id, slot) != 0) {
                out << "set scenario " << id << " fail, ret = -1\n";
                slot = NO_HANDLE;
            }
            return 1;
        }
        if (option == mode_ + "_disable") {
            if (slot == NO_HANDLE) {
                out << "release scenario " << id << ", fail, handle invalid.\n";
            }
            PerfRelease(platform.options.debugClientPid, slot);
            slot = NO_HANDLE;
            return 1;
        }
    }
    return 0;
}

int NaiveFacade::Dump(std::ostringstream& out, std::vector<std::string> const& args)
{
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

// Time

void NaiveFacade::Refuse(std::string const& node, bool on, bool /* takesNothing */)
{
    on ? void(refusing.insert(node)) : void(refusing.erase(node));
}

std::size_t NaiveFacade::OpenNodes() const
{
    std::size_t nodes = 0;
    for (auto const& resource : resources) {
        nodes += resource.second.OpenNodes();
    }
    return nodes;
}

void NaiveFacade::Settle()
{
    for (auto& resource : resources) {
        resource.second.Work(now);
    }
    Bind();
}

PerfTimePoint NaiveFacade::NextTime() const
{
    PerfTimePoint next = PerfTimePoint::max();
    for (auto const& resource : resources) {
        PerfTimePoint const time = resource.second.NextWakeUp();
        next = time == PerfTimePoint{} ? next : std::min(next, time);
    }
    next = toBind.empty() ? next : std::min(next, toBind[0].from);
    return bound.empty() ? next : std::min(next, bound[0].to);
}

void NaiveFacade::AdvanceBy(milliseconds duration)
{
    PerfTimePoint const limit = now + duration;
    for (Settle(); NextTime() <= limit; Settle()) {
        now = NextTime();
    }
    now = limit;
}
