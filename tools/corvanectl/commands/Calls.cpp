// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"

#include "command/CommandWrapper.h"
#include "tools/corvanectl/platform/LibraryLog.h"
#include "tools/corvanectl/session/LibraryState.h"
#include "tools/corvanectl/session/Reasons.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

/** @return what the platform's scenario of this id asks for, if there is one. */
std::vector<PerfRequestInfo> InfosOf(Platform const& platform, unsigned int scenario)
{
    std::vector<PerfRequestInfo> infos;
    for (ConfigurableScenario const& described : platform.scenarios) {
        for (ScenarioQosItem const& item : described.qosItems) {
            if (described.scenarioId == scenario) {
                infos.push_back({item.qosId, item.groupInfos});
            }
        }
    }
    return infos;
}

/** An answer of the library, with the error line that it said. */
struct Answer {
    int result;
    std::string said;
    PerfTimePoint called;
};

template <typename Call> Answer Ask(Call const& call)
{
    CaughtLines const lines(CaughtLines::Mode::ALONG);
    PerfTimePoint const called = SessionTime::Now();
    int const result = call();
    return {result, lines.Why(), called};
}

int Call(ConfigManager& manager, Held& asked)
{
    if (asked.what == "scenario") {
        return manager.PerfSetScenario(asked.pid, asked.id, asked.handle);
    }
    if (asked.what == "mode") {
        return manager.PerfSetMode(asked.pid, asked.id, asked.handle);
    }
    return manager.PerfRequest(asked.pid, asked.duration, asked.infos, asked.handle);
}

int Call(ConfigManager& manager, Released const& what)
{
    if (what.handle) {
        return manager.PerfRelease(*what.pid, *what.handle);
    }
    if (what.pid) {
        return manager.PerfReleaseAll(*what.pid);
    }
    manager.Reset();
    return 0;
}

Triggered ProbeOf(Platform const& platform, unsigned int thread, bool starts)
{
    ProbeEvent const& probe = platform.probe;
    Triggered triggered{"probe", thread, starts, probe.startDelay, 0, {}};
    for (auto const& [id, boost] : ProbeBoosts(probe.cpuM, probe.cpuB, probe.gpu)) {
        if (boost != 0) {
            GroupInfo const floor{0, {{PERF_OPERATION_BOOST, static_cast<int>(boost)}}};
            triggered.commands.push_back({id, {{probe.duration, {floor}}}});
        }
    }
    return triggered;
}

Triggered EventOf(Platform const& platform, PerfEventId id, std::vector<unsigned int> const& params)
{
    bool const starts = params.empty() || params[0] == 1;
    if (id == PROBE_EVENT_ID && params.size() == 3) {
        return ProbeOf(platform, params[2], starts);
    }
    Triggered event{"event", id, starts, 0, params.size() == 2 ? params[1] : 0, {}};
    for (ConfigurableEvent const& described : platform.events) {
        if (described.eventId == id) {
            event.commands = described.qosCommands;
        }
    }
    for (NamedHint const& hint : platform.hints) {
        if (hint.event == id && event.name.empty()) {
            event.name = hint.name;
        }
    }
    return event;
}

/** The handles of what runs without a process: events, and probes. */
std::set<unsigned long long> UnnamedHandles(Session& session)
{
    std::set<unsigned long long> handles;
    auto const state = LibraryState::Handles(session.Manager());
    auto const add = [&handles](auto const& each) { handles.insert(each.second); };
    std::for_each(state.events.begin(), state.events.end(), add);
    std::for_each(state.probes.begin(), state.probes.end(), add);
    return handles;
}

/** @return the one that was not there before, or NO_HANDLE. */
unsigned long long NewOf(std::set<unsigned long long> const& before, std::set<unsigned long long> const& now)
{
    auto const isNew = [&before](unsigned long long handle) { return before.count(handle) == 0; };
    auto const found = std::find_if(now.begin(), now.end(), isNew);
    return found == now.end() ? NO_HANDLE : *found;
}

} // namespace

void CallFor(Session& session, Held asked)
{
    if (asked.what == "scenario") {
        asked.infos = InfosOf(session.GetPlatform(), asked.id);
    }
    auto const [result, said, called] = Ask([&] { return Call(session.Manager(), asked); });
    session.Publish(Answered{result, asked.handle, ReasonsFor(session, asked, result, said)});
    if (result == 0 && asked.handle != NO_HANDLE) {
        session.PublishAt(called, asked);
    }
}

void CallRelease(Session& session, Released const& what)
{
    auto const [result, said, called] = Ask([&] { return Call(session.Manager(), what); });
    bool const isNobodys = what.pid && *what.pid <= EVENT_PID; // refused with an error line, and 0
    session.Publish(Answered{result, std::nullopt, std::vector<std::string>(isNobodys ? 1 : 0, said)});
    if (result == 0 && !isNobodys) {
        session.PublishAt(called, what);
    }
}

void CallSuspend(Session& session, Suspended asked)
{
    std::vector<unsigned int> params{asked.on ? 1U : 0U};
    params.insert(params.end(), asked.ids.begin(), asked.ids.end());
    auto const [result, said, called] = Ask([&] { return session.Manager().PerfSetSuspend(params); });
    session.Publish(Answered{result, std::nullopt, ReasonsFor(session, asked, result, said)});
    if (result == 0) {
        auto const isIdle = [&](PerfQosId id) { return !CanSuspend(session.GetPlatform(), id); };
        asked.ids.erase(std::remove_if(asked.ids.begin(), asked.ids.end(), isIdle), asked.ids.end());
        session.PublishAt(called, asked);
    }
}

void CallEvent(Session& session, PerfEventId id, std::vector<unsigned int> const& params)
{
    if (id == SUSPEND_EVENT_ID && !params.empty()) {
        CallSuspend(session, {{params.begin() + 1, params.end()}, params[0] != 0});
        return;
    }
    Triggered asked = EventOf(session.GetPlatform(), id, params);
    auto const before = UnnamedHandles(session);
    auto const [result, said, called] = Ask([&] { return session.Manager().PerfEvent(id, params, "corvanectl"); });
    asked.handle = NewOf(before, UnnamedHandles(session));
    session.Publish(Answered{result, std::nullopt, ReasonsFor(session, asked, result, said)});
    // A start that is refused may be in force in part.
    if (asked.starts ? asked.handle != NO_HANDLE : result == 0) {
        session.PublishAt(called, asked);
    }
}
