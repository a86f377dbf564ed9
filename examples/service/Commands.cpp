#include "Commands.h"

#include <charconv>
#include <sstream>

namespace {

char const* const OK = "ok";
char const* const REFUSED = "error refused; the log says why";
char const* const NOT_ALLOWED = "error not allowed";

std::string Usage(char const* usage)
{
    return std::string("error usage: ") + usage;
}

/** The whole word must be a number of this type: no sign for an unsigned one, nothing behind it. */
template <typename Number> bool Parse(std::string_view word, Number& number)
{
    char const* const end = word.data() + word.size();
    auto const [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc{} && stop == end;
}

/** Every word from the second on; empty if there is none, or one is no number. */
std::vector<unsigned int> ParseIds(Commands::Words const& words)
{
    std::vector<unsigned int> ids;
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        if (!Parse(*word, ids.emplace_back())) {
            return {};
        }
    }
    return ids;
}

bool ParseOperation(std::string_view word, PerfOperationType& operation)
{
    operation = word == "limit" ? PERF_OPERATION_LIMIT : PERF_OPERATION_BOOST;
    return word == "limit" || word == "boost";
}

std::string Answer(int result)
{
    return result == 0 ? OK : REFUSED;
}

} // namespace

Commands::Words Commands::Split(std::string_view line)
{
    Words words;
    for (size_t begin = line.find_first_not_of(' '); begin != std::string_view::npos;) {
        size_t const end = line.find(' ', begin);
        words.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(' ', end);
    }
    return words;
}

std::string Commands::Execute(Asker const& asker, std::string_view line)
{
    static std::map<std::string_view, std::string (Commands::*)(Asker const&, Words const&)> const commands = {
        {"request", &Commands::Request}, {"release", &Commands::Release}, {"scenario", &Commands::Scenario},
        {"mode", &Commands::Mode},       {"event", &Commands::Event},     {"suspend", &Commands::Suspend},
        {"resume", &Commands::Resume},
    };
    Words const words = Split(line);
    auto const command = words.empty() ? commands.end() : commands.find(words.front());
    return command == commands.end() ? "error unknown command" : (this->*command->second)(asker, words);
}

std::string Commands::Request(Asker const& asker, Words const& words)
{
    char const* const usage = "request MS QOS GROUP boost|limit VALUE ...";
    unsigned int duration = 0;
    if (words.size() < 6 || words.size() % 4 != 2 || !Parse(words[1], duration)) {
        return Usage(usage);
    }
    std::vector<PerfRequestInfo> infos;
    for (auto word = words.begin() + 2; word != words.end(); word += 4) {
        PerfRequestInfo& info = infos.emplace_back();
        GroupInfo& group = info.groupInfos.emplace_back();
        auto& [operation, value] = group.operations.emplace_back();
        if (!Parse(word[0], info.qosId) || !Parse(word[1], group.groupId) || !ParseOperation(word[2], operation) ||
            !Parse(word[3], value)) {
            return Usage(usage);
        }
    }
    unsigned long long handle = NO_HANDLE;
    int const result = manager.PerfRequest(asker.pid, duration, infos, handle);
    return Granted(asker, result, handle);
}

std::string Commands::Granted(Asker const& asker, int result, unsigned long long handle)
{
    if (result == 0) {
        return OK + (" " + std::to_string(handle));
    }
    // A refused call may have left a handle: it was recorded, and then named no resource of this device.
    if (handle != NO_HANDLE && handle != INVALID_HANDLE) {
        manager.PerfRelease(asker.pid, handle);
    }
    return REFUSED;
}

std::string Commands::Release(Asker const& asker, Words const& words)
{
    unsigned long long handle = 0;
    if (words.size() == 2 && words[1] == "all") {
        return Answer(manager.PerfReleaseAll(asker.pid));
    }
    if (words.size() != 2 || !Parse(words[1], handle)) {
        return Usage("release HANDLE|all");
    }
    return Answer(manager.PerfRelease(asker.pid, handle)); // others' handles are unknown under this process
}

std::string Commands::Scenario(Asker const& asker, Words const& words)
{
    std::vector<unsigned int> const ids = ParseIds(words);
    if (ids.size() != 1) {
        return Usage("scenario ID");
    }
    unsigned long long handle = NO_HANDLE;
    int const result = manager.PerfSetScenario(asker.pid, ids.front(), handle);
    return Granted(asker, result, handle);
}

std::string Commands::Mode(Asker const& asker, Words const& words)
{
    std::vector<unsigned int> const ids = ParseIds(words);
    if (ids.size() != 1) {
        return Usage("mode ID");
    }
    unsigned long long handle = NO_HANDLE;
    int const result = manager.PerfSetMode(asker.pid, ids.front(), handle);
    return Granted(asker, result, handle);
}

// By the event's own calls: through PerfEvent a client could reach suspend and the probe by their numbers.
std::string Commands::Event(Asker const&, Words const& words)
{
    PerfEventId event = 0;
    unsigned int duration = 0; // 0: the event's own timing
    if (words.size() < 2 || words.size() > 3 || !Parse(words[1], event)) {
        return Usage("event ID [MS|stop]");
    }
    if (words.size() == 2) {
        return Answer(manager.StartEvent(event, 0));
    }
    if (words[2] == "stop") {
        manager.StopEvent(event);
        return OK;
    }
    if (!Parse(words[2], duration) || duration < PERF_DURATION_MIN_MS || duration > PERF_DURATION_MAX_MS) {
        return Usage("event ID [MS|stop]");
    }
    return Answer(manager.StartEvent(event, duration));
}

std::string Commands::Suspend(Asker const& asker, Words const& words)
{
    if (!asker.trusted) {
        return NOT_ALLOWED;
    }
    std::vector<unsigned int> params = ParseIds(words);
    if (params.empty()) {
        return Usage("suspend QOS ...");
    }
    std::vector<unsigned int> const ids = params;
    params.insert(params.begin(), 1);
    int const result = manager.PerfSetSuspend(params);
    if (result == 0) {
        for (PerfQosId const id : ids) {
            suspendedBy[id].insert(asker.pid);
        }
    }
    return Answer(result);
}

std::string Commands::Resume(Asker const& asker, Words const& words)
{
    std::vector<unsigned int> const ids = ParseIds(words);
    if (ids.empty()) {
        return Usage("resume QOS ...");
    }
    for (PerfQosId const id : ids) {
        ResumeFor(asker.pid, id);
    }
    return OK;
}

void Commands::ResumeFor(pid_t pid, PerfQosId id)
{
    auto const suspended = suspendedBy.find(id);
    if (suspended == suspendedBy.end() || suspended->second.erase(pid) == 0 || !suspended->second.empty()) {
        return; // not this one's, or somebody else still wants it
    }
    suspendedBy.erase(suspended);
    manager.PerfSetSuspend({0, id});
}

void Commands::Forget(pid_t pid)
{
    manager.PerfReleaseAll(pid);
    for (auto next = suspendedBy.begin(); next != suspendedBy.end();) {
        ResumeFor(pid, (next++)->first);
    }
}

void Commands::WindUp()
{
    for (auto const& suspended : suspendedBy) {
        manager.PerfSetSuspend({0, suspended.first});
    }
    suspendedBy.clear();
    manager.Reset();
    // The calls above only queue, and the destructor drops what is queued. A dump returns when every worker has come to
    // it, and so has done what was queued before.
    std::ostringstream unused;
    manager.Dump(unused, {"--task"});
}
