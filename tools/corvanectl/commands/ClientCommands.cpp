// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"

#include <sstream>

PerfQosId ToQosId(Session const& session, std::string const& text)
{
    for (QosEntry const& entry : session.Described().qos) {
        if (entry.name == text) {
            return entry.id;
        }
    }
    auto const names = QosNames(session);
    return ToUnsigned(text, "the id or name of a resource", &names);
}

namespace {

/** Adds "qos=ID", "group=N", "boost=V" or "limit=V" to what stands before it. */
void AddPart(Session const& session, std::string const& word, std::vector<PerfRequestInfo>& infos)
{
    std::string const key = word.substr(0, word.find('='));
    if (key.size() + 1 >= word.size()) {
        throw InputError("\"" + word + "\" is not of the form key=value");
    }
    std::string const value = word.substr(key.size() + 1);
    if (key == "qos") {
        infos.push_back({ToQosId(session, value), {}});
        return;
    }
    if (infos.empty()) {
        throw InputError("\"" + word + "\" must stand behind a qos=");
    }
    auto& groups = infos.back().groupInfos;
    if (key == "group") {
        groups.push_back({ToUnsigned(value, "the number of a group"), {}});
        return;
    }
    if (key != "boost" && key != "limit") {
        throw InputError("\"" + key + "\" is none of qos, group, boost and limit");
    }
    if (groups.empty()) {
        groups.push_back({});
    }
    groups.back().operations.emplace_back(key == "boost" ? PERF_OPERATION_BOOST : PERF_OPERATION_LIMIT,
                                          ToInt(value, "a value"));
}

/** Takes "as NAME" if it is there, and the end of the line. */
std::string TakeName(Words& words)
{
    std::string name = words.TakeIf("as") ? words.Take("the name") : "";
    words.End();
    return name;
}

unsigned long long TakeHandle(Session const& session, int pid, Words& words)
{
    std::string const text = words.Take("the handle");
    if (text == "last") {
        if (auto const last = session.Claims().LastOf(pid)) {
            return *last;
        }
        throw InputError("process " + std::to_string(pid) + " has had no handle yet");
    }
    auto const named = session.Claims().Named(text);
    return named ? *named : ToHandle(text, "a handle, nor the name of one", session.Claims().Names());
}

void Request(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.Live();
    Held held;
    held.what = "request";
    held.pid = words.TakeInt("the process id");
    held.duration = words.TakeUnsigned("a number of ms");
    while (!words.Empty() && !words.NextIs("as")) {
        AddPart(session, words.Take("a value"), held.infos);
    }
    held.name = TakeName(words);
    CallFor(session, held);
}

void Release(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.Live();
    int const pid = words.TakeInt("the process id");
    unsigned long long const handle = TakeHandle(session, pid, words);
    words.End();
    CallRelease(session, {pid, handle});
}

void ReleaseAll(Interpreter& interpreter, Words& words)
{
    int const pid = words.TakeInt("the process id");
    words.End();
    CallRelease(interpreter.Live(), {pid, std::nullopt});
}

void Reset(Interpreter& interpreter, Words& words)
{
    words.End();
    CallRelease(interpreter.Live(), {});
}

/** A scenario or a mode, held until its handle is released. */
void Hold(Session& session, Words& words, char const* what, char const* idMeaning)
{
    Held held;
    held.what = what;
    held.pid = words.TakeInt("the process id");
    held.id = words.TakeUnsigned(idMeaning);
    held.name = TakeName(words);
    CallFor(session, held);
}

void Scenario(Interpreter& interpreter, Words& words)
{
    Hold(interpreter.Live(), words, "scenario", "the id of a scenario");
}

void Mode(Interpreter& interpreter, Words& words)
{
    Hold(interpreter.Live(), words, "mode", "a work mode");
}

void SetSuspend(Session& session, bool on, Words& words)
{
    Suspended suspended{{}, on};
    do {
        suspended.ids.push_back(ToQosId(session, words.Take("the id or name of a resource")));
    } while (!words.Empty());
    CallSuspend(session, suspended);
}

void Suspend(Interpreter& interpreter, Words& words)
{
    SetSuspend(interpreter.Live(), true, words);
}

void Resume(Interpreter& interpreter, Words& words)
{
    SetSuspend(interpreter.Live(), false, words);
}

void Event(Interpreter& interpreter, Words& words)
{
    unsigned int const id = words.TakeUnsigned("the id of an event");
    CallEvent(interpreter.Live(), id, words.TakeUnsigneds("a parameter"));
}

void Probe(Interpreter& interpreter, Words& words)
{
    bool const start = words.TakeIf("start");
    if (!start && !words.TakeIf("stop")) {
        throw InputError("neither start nor stop");
    }
    unsigned int const tid = words.TakeUnsigned("a thread id");
    words.End();
    CallEvent(interpreter.Live(), PROBE_EVENT_ID, {start ? 1U : 0U, 0, tid});
}

void Debug(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.Live();
    std::string const option = words.Take("the option");
    words.End();
    std::ostringstream text;
    int const known = session.Manager().DebugSet(text, option);
    session.Tell(Told{text.str() + (known == 1 ? "" : "    no option of the debug console")});
    session.Tell(Answered{known == 1 ? 0 : -1});
}

} // namespace

std::vector<Command> ClientCommands()
{
    return {
        {"request", "PID MS qos=ID [group=N] [boost=V] [limit=V] ... [as NAME]",
         "ask for floors and ceilings, for MS ms or (0) until released",
         "request 100 0 qos=CPU_L boost=1401600 as camera", Request},
        {"release", "PID HANDLE|NAME|last", "give a request, scenario or mode back", "release 100 camera", Release},
        {"release-all", "PID", "give back all that a process holds", "release-all 100", ReleaseAll},
        {"reset", "", "give back all that anybody holds", "reset", Reset},
        {"scenario", "PID ID [as NAME]", "hold a scenario", "scenario 7 0 as game", Scenario},
        {"mode", "PID ID [as NAME]", "ask for work mode 0, 1 (boost first) or 2 (limit first)",
         "mode 500 1 as boost-first", Mode},
        {"suspend", "QOS ...", "stop the writes of resources", "suspend DDR GPU", Suspend},
        {"resume", "QOS ...", "let the writes go on", "resume DDR GPU", Resume},
        {"event", "ID [1 [MS] | 0]", "start or (0) stop an event", "event 0", Event},
        {"probe", "start|stop TID", "boost for a thread and bind it", "probe start 4242", Probe},
        {"debug", "--OPTION", "switch a debug scenario, as in --game_mode_enable", "debug --game_mode_enable", Debug},
    };
}
