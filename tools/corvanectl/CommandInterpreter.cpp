#include "tools/corvanectl/CommandInterpreter.h"

#include "tools/corvanectl/Findings.h"
#include "tools/corvanectl/LogLines.h"

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <thread>
#include <utility>

std::vector<CommandInterpreter::Command> const& CommandInterpreter::Commands()
{
    using Self = CommandInterpreter;
    static std::vector<Command> const commands = {
        {"request", "PID MS qos=ID [group=N] [boost=V] [limit=V] ... [as NAME]",
         "ask for floors and ceilings, for MS ms or (0) until released", &Self::Request},
        {"release", "PID HANDLE|NAME|last", "give a request, scenario or mode back", &Self::Release},
        {"release-all", "PID", "give back all that a process holds", &Self::ReleaseAll},
        {"reset", "", "give back all that anybody holds", &Self::Reset},
        {"scenario", "PID ID [as NAME]", "hold a scenario", &Self::Scenario},
        {"mode", "PID ID [as NAME]", "ask for work mode 0, 1 (boost first) or 2 (limit first)", &Self::Mode},
        {"suspend", "QOS ...", "stop the writes of resources", &Self::Suspend},
        {"resume", "QOS ...", "let the writes go on", &Self::Resume},
        {"event", "ID [1 [MS] | 0]", "start or (0) stop an event", &Self::Event},
        {"probe", "start|stop TID", "boost for a thread and bind it", &Self::Probe},
        {"dump", "--task|--base_info|--event|--scenario|--workMode|--limit_history", "print the state", &Self::Dump},
        {"debug", "--OPTION", "switch a debug scenario, as in --game_mode_enable", &Self::Debug},
        {"version", "", "print the version of the library", &Self::Version},
        {"log", "BITS", "show info (1) and debug (2) lines of the library", &Self::Log},
        {"sleep", "MS", "let time pass", &Self::Sleep},
        {"node", "PATH fail ERROR [TIMES] | fail short BYTES | fail open | delay MS | clear",
         "make a node of the sandbox misbehave", &Self::Node},
        {"expect-base", "", "fail unless every node is at its base", &Self::ExpectBase},
        {"say", "TEXT", "print a line", &Self::Say},
        {"help", "", "print this", &Self::Help},
        {"quit", "", "end", &Self::Quit},
    };
    return commands;
}

void CommandInterpreter::Execute(std::string const& line)
{
    Words words(line);
    if (words.Empty()) {
        return;
    }
    std::string const name = words.Take("the command");
    if (name.front() == '#') {
        return;
    }
    auto const& commands = Commands();
    auto const found =
        std::find_if(commands.begin(), commands.end(), [&](Command const& command) { return command.name == name; });
    if (found == commands.end()) {
        throw InputError("unknown command \"" + name + "\"; \"help\" lists them");
    }
    if (echoes && found->run != &CommandInterpreter::Say) {
        workbench.Shown().Say("> " + line);
    }
    try {
        (this->*found->run)(words);
    } catch (InputError const& error) {
        throw InputError(name + ": " + error.what());
    }
    workbench.ShowWorkerWrites();
}

std::string CommandInterpreter::TakeName(Words& words)
{
    std::string name = words.TakeIf("as") ? words.Take("the name") : "";
    words.End();
    return name;
}

void CommandInterpreter::Answer(int result)
{
    workbench.Shown().Say(result == 0 ? "    ok" : "    refused (" + std::to_string(result) + ")");
}

void CommandInterpreter::AnswerWithHandle(int result, int pid, unsigned long long handle, std::string const& name)
{
    if (result != 0) {
        Answer(result);
        return;
    }
    if (handle == NO_HANDLE) {
        workbench.Shown().Say("    ok, no handle");
        return;
    }
    last[pid] = handle;
    if (!name.empty()) {
        named[name] = handle;
    }
    workbench.Shown().Say("    ok, handle " + std::to_string(handle));
}

PerfQosId CommandInterpreter::ToQosId(std::string const& text) const
{
    for (QosEntry const& entry : workbench.Described().qos) {
        if (entry.name == text) {
            return entry.id;
        }
    }
    return ToUnsigned(text, "the id or name of a resource");
}

std::vector<PerfRequestInfo> CommandInterpreter::TakeInfos(Words& words) const
{
    std::vector<PerfRequestInfo> infos;
    while (!words.Empty() && !words.NextIs("as")) {
        std::string const word = words.Take("a value");
        std::string const key = word.substr(0, word.find('='));
        if (key.size() + 1 >= word.size()) {
            throw InputError("\"" + word + "\" is not of the form key=value");
        }
        std::string const value = word.substr(key.size() + 1);
        if (key == "qos") {
            infos.push_back({ToQosId(value), {}});
            continue;
        }
        if (infos.empty()) {
            throw InputError("\"" + word + "\" must stand behind a qos=");
        }
        auto& groups = infos.back().groupInfos;
        if (key == "group") {
            groups.push_back({ToUnsigned(value, "the number of a group"), {}});
            continue;
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
    return infos;
}

void CommandInterpreter::Request(Words& words)
{
    int const pid = words.TakeInt("the process id");
    unsigned int const duration = words.TakeUnsigned("a number of ms");
    auto const infos = TakeInfos(words);
    std::string const name = TakeName(words);
    unsigned long long handle = NO_HANDLE;
    int const result = workbench.Manager().PerfRequest(pid, duration, infos, handle);
    AnswerWithHandle(result, pid, handle, name);
}

unsigned long long CommandInterpreter::TakeHandle(int pid, Words& words) const
{
    std::string const text = words.Take("the handle");
    if (text == "last") {
        auto const found = last.find(pid);
        if (found == last.end()) {
            throw InputError("process " + std::to_string(pid) + " has had no handle yet");
        }
        return found->second;
    }
    auto const found = named.find(text);
    return found != named.end() ? found->second : ToHandle(text, "a handle, nor the name of one");
}

void CommandInterpreter::Release(Words& words)
{
    int const pid = words.TakeInt("the process id");
    unsigned long long const handle = TakeHandle(pid, words);
    words.End();
    Answer(workbench.Manager().PerfRelease(pid, handle));
}

void CommandInterpreter::ReleaseAll(Words& words)
{
    int const pid = words.TakeInt("the process id");
    words.End();
    Answer(workbench.Manager().PerfReleaseAll(pid));
}

void CommandInterpreter::Reset(Words& words)
{
    words.End();
    workbench.Manager().Reset();
    Answer(0);
}

void CommandInterpreter::Hold(Words& words, char const* what, HoldCall call)
{
    int const pid = words.TakeInt("the process id");
    unsigned int const id = words.TakeUnsigned(what);
    std::string const name = TakeName(words);
    unsigned long long handle = NO_HANDLE;
    int const result = (workbench.Manager().*call)(pid, id, handle);
    AnswerWithHandle(result, pid, handle, name);
}

void CommandInterpreter::Scenario(Words& words)
{
    Hold(words, "the id of a scenario", &ConfigManager::PerfSetScenario);
}

void CommandInterpreter::Mode(Words& words)
{
    Hold(words, "a work mode", &ConfigManager::PerfSetMode);
}

void CommandInterpreter::SetSuspend(unsigned int on, Words& words)
{
    std::vector<unsigned int> params{on};
    do {
        params.push_back(ToQosId(words.Take("the id or name of a resource")));
    } while (!words.Empty());
    Answer(workbench.Manager().PerfSetSuspend(params));
}

void CommandInterpreter::Suspend(Words& words)
{
    SetSuspend(1, words);
}

void CommandInterpreter::Resume(Words& words)
{
    SetSuspend(0, words);
}

void CommandInterpreter::Event(Words& words)
{
    unsigned int const id = words.TakeUnsigned("the id of an event");
    Answer(workbench.Manager().PerfEvent(id, words.TakeUnsigneds("a parameter"), "corvanectl"));
}

void CommandInterpreter::Probe(Words& words)
{
    bool const start = words.TakeIf("start");
    if (!start && !words.TakeIf("stop")) {
        throw InputError("neither start nor stop");
    }
    unsigned int const tid = words.TakeUnsigned("a thread id");
    words.End();
    Answer(workbench.Manager().PerfEvent(PROBE_EVENT_ID, {start ? 1U : 0U, 0, tid}, "corvanectl"));
}

void CommandInterpreter::Dump(Words& words)
{
    std::ostringstream text;
    workbench.Manager().Dump(text, words.TakeRest());
    workbench.Shown().Say(text.str());
}

void CommandInterpreter::Debug(Words& words)
{
    std::string const option = words.Take("the option");
    words.End();
    std::ostringstream text;
    int const known = workbench.Manager().DebugSet(text, option);
    workbench.Shown().Say(text.str() + (known == 1 ? "    ok" : "    no option of the debug console"));
}

void CommandInterpreter::Version(Words& words)
{
    words.End();
    std::ostringstream text;
    workbench.Manager().DumpCoreVersion(text);
    workbench.Shown().Say(text.str());
}

void CommandInterpreter::Log(Words& words)
{
    unsigned int const bits = words.TakeUnsigned("a number of bits");
    words.End();
    LogLines::Switch(bits);
}

void CommandInterpreter::Sleep(Words& words)
{
    std::chrono::milliseconds const time(words.TakeUnsigned("a number of ms"));
    words.End();
    std::this_thread::sleep_for(time);
    workbench.ShowAllWrites();
}

void CommandInterpreter::Node(Words& words)
{
    std::string const node = words.Take("the path of a node");
    workbench.RequireNode(node);
    if (words.TakeIf("clear")) {
        words.End();
        workbench.Box().ClearFaults(node);
    } else if (words.TakeIf("delay")) {
        std::chrono::milliseconds const time(words.TakeUnsigned("a number of ms"));
        words.End();
        workbench.Box().FailNode(node, Fault::Delay(time));
    } else if (words.TakeIf("fail")) {
        FailNode(node, words);
    } else {
        throw InputError("none of fail, delay and clear");
    }
}

void CommandInterpreter::FailNode(std::string const& node, Words& words)
{
    static std::map<std::string, int> const errors = {{"EINVAL", EINVAL}, {"EBUSY", EBUSY}, {"EIO", EIO},
                                                      {"EACCES", EACCES}, {"EPERM", EPERM}, {"ENOSPC", ENOSPC}};
    std::string const how = words.Take("the fault");
    auto const fault = [&]() -> Fault {
        if (how == "ENODEV") {
            return Fault::Stale();
        }
        if (how == "open") {
            return Fault::OpenError(EACCES);
        }
        if (how == "short") {
            return Fault::ShortCount(words.TakeUnsigned("a number of bytes"));
        }
        auto const error = errors.find(how);
        if (error == errors.end()) {
            throw InputError("\"" + how +
                             "\" is none of ENODEV, EINVAL, EBUSY, EIO, EACCES, EPERM, ENOSPC, short, open");
        }
        return Fault::Error(error->second,
                            words.Empty() ? Fault::UNTIL_CLEARED : words.TakeUnsigned("a number of times"));
    }();
    words.End();
    workbench.Box().FailNode(node, fault);
}

void CommandInterpreter::ExpectBase(Words& words)
{
    words.End();
    failed = !workbench.ReportBase() || failed;
}

void CommandInterpreter::Say(Words& words)
{
    std::string line;
    for (std::string const& word : words.TakeRest()) {
        line += (line.empty() ? "" : " ") + word;
    }
    workbench.Shown().Say("\n== " + line);
}

void CommandInterpreter::Help(Words& words)
{
    words.End();
    std::ostringstream text;
    for (Command const& command : Commands()) {
        text << "    " << command.name << " " << command.arguments << "\n        " << command.meaning << "\n";
    }
    workbench.Shown().Say(text.str());
}

void CommandInterpreter::Quit(Words& words)
{
    words.End();
    quit = true;
}

void RunCommands(std::istream& in, std::string const& name, bool isTerminal, CommandInterpreter& interpreter)
{
    std::string line;
    for (unsigned int number = 1; !interpreter.HasQuit(); ++number) {
        if (isTerminal) {
            std::cout << "> " << std::flush;
        }
        if (!std::getline(in, line)) {
            return;
        }
        try {
            interpreter.Execute(line);
        } catch (InputError const& error) {
            if (!isTerminal) {
                throw InputError(name + ":" + std::to_string(number) + ": " + error.what());
            }
            std::cerr << error.what() << "\n";
        }
    }
}
