// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Suggestion.h"
#include "tools/corvanectl/session/SessionTime.h"

#include <algorithm>
#include <optional>
#include <set>

namespace {

constexpr int HINT_PID = 1; // hints have one client, whoever it is

NamedHint const& FindHint(Session const& session, std::string const& name)
{
    auto const& hints = session.GetPlatform().hints;
    auto const found =
        std::find_if(hints.begin(), hints.end(), [&name](NamedHint const& hint) { return hint.name == name; });
    if (found == hints.end()) {
        throw UnknownName("the platform has no hint \"" + name + "\"" + DidYouMean(name, HintNames(session)));
    }
    return *found;
}

/** @return the handle under which the hint is held, if it is. */
std::optional<unsigned long long> HandleOf(Session const& session, NamedHint const& hint)
{
    for (Ledger::Entry const& entry : session.GetLedger().Outstanding(SessionTime::Now())) {
        if (entry.held.name == hint.name && entry.held.pid == HINT_PID) {
            return entry.held.handle;
        }
    }
    return std::nullopt;
}

/** What has a duration begins anew: what is asked for first, so that no node falls back between. */
void StartHeld(Session& session, NamedHint const& hint)
{
    auto const before = HandleOf(session, hint);
    if (before && hint.duration == 0) {
        session.Publish(Output{"    " + hint.name + " is held already"});
        return;
    }
    Held held;
    held.name = hint.name;
    held.pid = HINT_PID;
    held.what = hint.scenario ? "scenario" : "request";
    held.id = hint.scenario.value_or(0);
    held.duration = hint.duration;
    held.infos = hint.infos;
    CallFor(session, held);
    if (before) {
        CallRelease(session, {HINT_PID, *before});
    }
}

bool IsRunning(Session const& session, PerfEventId event)
{
    auto const running = session.GetLedger().Running(SessionTime::Now());
    return std::any_of(running.begin(), running.end(), [event](Ledger::Trigger const& trigger) {
        return trigger.triggered.what == "event" && trigger.triggered.id == event;
    });
}

/** Stops what the hint itself is, if that has not ended. */
void StopOwn(Session& session, NamedHint const& hint)
{
    auto const handle = HandleOf(session, hint);
    if (hint.event && IsRunning(session, *hint.event)) {
        CallEvent(session, *hint.event, {0});
    } else if (handle) {
        CallRelease(session, {HINT_PID, *handle});
    } else {
        session.Publish(Output{"    " + hint.name + " is not held"});
    }
}

using Names = std::set<std::string>;

/** @param passed have had their turn: hints may start one another in a circle. */
void StopHint(Session& session, NamedHint const& hint, Names& passed)
{
    if (!passed.insert(hint.name).second) {
        return;
    }
    if (hint.event || hint.scenario || !hint.infos.empty()) {
        StopOwn(session, hint);
    }
    for (std::string const& other : hint.starts) {
        StopHint(session, FindHint(session, other), passed);
    }
}

void StartHint(Session& session, NamedHint const& hint, Names& passed)
{
    if (!passed.insert(hint.name).second) {
        return;
    }
    for (std::string const& other : hint.ends) {
        Names stopped;
        StopHint(session, FindHint(session, other), stopped);
    }
    if (hint.event) {
        CallEvent(session, *hint.event, {1});
    } else if (hint.scenario || !hint.infos.empty()) {
        StartHeld(session, hint);
    }
    for (std::string const& other : hint.starts) {
        StartHint(session, FindHint(session, other), passed);
    }
}

void Hint(Interpreter& interpreter, Words& words)
{
    NamedHint const& hint = FindHint(interpreter.CurrentSession(), words.Take("HINT"));
    bool const start = words.TakeStart();
    words.End();
    Names passed;
    (start ? StartHint : StopHint)(interpreter.CurrentSession(), hint, passed);
}

} // namespace

std::vector<Command> HintCommands()
{
    return {
        {"hint", "HINT start|stop", "start or stop what the platform knows by this name", "hint LAUNCH start", Hint}};
}
