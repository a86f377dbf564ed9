// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Suggestion.h"
#include "tools/corvanectl/session/SessionTime.h"

#include <algorithm>

namespace {

constexpr int HINT_PID = 1; // hints have one client, whoever it is

NamedHint const& FindHint(Session const& session, std::string const& name)
{
    auto const& hints = session.Described().hints;
    auto const found =
        std::find_if(hints.begin(), hints.end(), [&name](NamedHint const& hint) { return hint.name == name; });
    if (found == hints.end()) {
        throw UnknownName("the platform has no hint \"" + name + "\"" + DidYouMean(name, HintNames(session)));
    }
    return *found;
}

/** A hint that is held already is held on: its name stands for one handle. */
void Start(Session& session, NamedHint const& hint)
{
    for (Ledger::Entry const& entry : session.Claims().Outstanding(SessionTime::Now())) {
        if (entry.held.name == hint.name) {
            session.Tell(Told{"    " + hint.name + " is held already"});
            return;
        }
    }
    Held held;
    held.name = hint.name;
    held.pid = HINT_PID;
    if (hint.scenario) {
        held.what = "scenario";
        held.id = *hint.scenario;
    } else {
        held.what = "request";
        held.duration = hint.duration;
        held.infos = hint.infos;
    }
    CallFor(session, held);
}

void Stop(Session& session, NamedHint const& hint)
{
    auto const handle = session.Claims().Named(hint.name);
    if (!handle) {
        throw InputError(hint.name + " has not been started");
    }
    CallRelease(session, {HINT_PID, *handle});
}

void Hint(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.Live();
    NamedHint const& hint = FindHint(session, words.Take("the name of a hint"));
    bool const start = words.TakeIf("start");
    if (!start && !words.TakeIf("stop")) {
        throw InputError("neither start nor stop");
    }
    words.End();
    if (hint.event) {
        CallEvent(session, *hint.event, {start ? 1U : 0U});
    } else if (start) {
        Start(session, hint);
    } else {
        Stop(session, hint);
    }
}

} // namespace

std::vector<Command> HintCommands()
{
    return {
        {"hint", "NAME start|stop", "start or stop what the platform knows by this name", "hint LAUNCH start", Hint}};
}
