// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/story/NodeText.h"

#include <sstream>

PerfQosId ToQosId(Session const& session, std::string const& text)
{
    for (QosEntry const& entry : session.GetPlatform().qos) {
        if (entry.name == text) {
            return entry.id;
        }
    }
    auto const names = QosNames(session);
    return ToUnsigned(text, FindPlaceholder("QOS").meaning, &names);
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
        groups.push_back({ToUnsigned(value, FindPlaceholder("GROUP").meaning), {}});
        return;
    }
    auto const operation = key == OperationName(PERF_OPERATION_BOOST) ? PERF_OPERATION_BOOST : PERF_OPERATION_LIMIT;
    if (key != OperationName(operation)) {
        throw InputError("\"" + key + "\" is none of qos, group, boost and limit");
    }
    if (groups.empty()) {
        groups.push_back({});
    }
    groups.back().operations.emplace_back(operation, ToInt(value, "a value"));
}

/** Takes "as NAME" if it is there, and the end of the line. */
std::string TakeName(Words& words)
{
    std::string name = words.TakeIf("as") ? words.Take("NAME") : "";
    words.End();
    return name;
}

unsigned long long TakeHandle(Session const& session, int pid, Words& words)
{
    std::string const text = words.Take("HANDLE");
    if (text == "last") {
        if (auto const last = session.GetLedger().LastOf(pid)) {
            return *last;
        }
        throw InputError("process " + std::to_string(pid) + " has had no handle yet");
    }
    auto const named = session.GetLedger().Named(text);
    return named ? *named : ToHandle(text, "a handle, nor the name of one", session.GetLedger().Names());
}

void Request(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    Held held;
    held.what = "request";
    held.pid = words.TakeInt("PID");
    held.duration = words.TakeUnsigned("MS");
    while (!words.Empty() && !words.NextIs("as")) {
        AddPart(session, words.Take("VALUE"), held.infos);
    }
    held.name = TakeName(words);
    CallFor(session, held);
}

void Release(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    int const pid = words.TakeInt("PID");
    unsigned long long const handle = TakeHandle(session, pid, words);
    words.End();
    CallRelease(session, {pid, handle});
}

void ReleaseAll(Interpreter& interpreter, Words& words)
{
    int const pid = words.TakeInt("PID");
    words.End();
    CallRelease(interpreter.CurrentSession(), {pid, std::nullopt});
}

void Reset(Interpreter& interpreter, Words& words)
{
    words.End();
    CallRelease(interpreter.CurrentSession(), {});
}

/** A scenario or a mode, held until its handle is released. */
void Hold(Interpreter& interpreter, Words& words, char const* what, char const* placeholder)
{
    Held held;
    held.what = what;
    held.pid = words.TakeInt("PID");
    held.id = words.TakeUnsigned(placeholder);
    held.name = TakeName(words);
    CallFor(interpreter.CurrentSession(), held);
}

template <bool ON> void SetSuspend(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    Suspended suspended{{}, ON};
    do {
        suspended.ids.push_back(ToQosId(session, words.Take("QOS")));
    } while (!words.Empty());
    CallSuspend(session, suspended);
}

void Event(Interpreter& interpreter, Words& words)
{
    unsigned int const id = words.TakeUnsigned("EVENT");
    CallEvent(interpreter.CurrentSession(), id, words.TakeUnsigneds("MS"));
}

void Probe(Interpreter& interpreter, Words& words)
{
    bool const start = words.TakeStart();
    unsigned int const tid = words.TakeUnsigned("TID");
    words.End();
    CallEvent(interpreter.CurrentSession(), PROBE_EVENT_ID, {start ? 1U : 0U, 0, tid});
}

void Debug(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    std::string const option = words.Take("--OPTION");
    words.End();
    std::ostringstream text;
    int const known = session.Manager().DebugSet(text, option);
    session.Publish(Output{text.str() + (known == 1 ? "" : "    no option of the debug console")});
    session.Publish(Answered{known == 1 ? 0 : -1});
}

} // namespace

std::vector<Command> ClientCommands()
{
    return {
        {"request", "PID MS qos=QOS [group=GROUP] [boost=VALUE] [limit=VALUE] ... [as NAME]",
         "ask for floors and ceilings, for MS ms or (0) until released",
         "request 100 0 qos=CPU_L boost=1401600 as camera", Request},
        {"release", "PID HANDLE|NAME|last", "give a request, scenario or mode back", "release 100 camera", Release},
        {"release-all", "PID", "give back all that a process holds", "release-all 100", ReleaseAll},
        {"reset", "", "give back all that anybody holds", "reset", Reset},
        {"scenario", "PID SCENARIO [as NAME]", "hold a scenario", "scenario 7 0 as game",
         [](Interpreter& interpreter, Words& words) { Hold(interpreter, words, "scenario", "SCENARIO"); }},
        {"mode", "PID MODE [as NAME]",
         "ask for work mode " + WorkModeText(PERF_WORK_MODE_DEFAULT) + ", " + WorkModeText(PERF_WORK_MODE_BOOST_FIRST) +
             " or " + WorkModeText(PERF_WORK_MODE_LIMIT_FIRST),
         "mode 500 1 as boost-first",
         [](Interpreter& interpreter, Words& words) { Hold(interpreter, words, "mode", "MODE"); }},
        {"suspend", "QOS ...", "stop the writes of resources", "suspend DDR GPU", SetSuspend<true>},
        {"resume", "QOS ...", "let the writes go on", "resume DDR GPU", SetSuspend<false>},
        {"event", "EVENT [1 [MS] | 0]", "start or (0) stop an event", "event 0", Event},
        {"probe", "start|stop TID", "boost for a thread and bind it", "probe start 4242", Probe},
        {"debug", "--OPTION", "switch a debug scenario, as in --game_mode_enable", "debug --game_mode_enable", Debug},
    };
}
