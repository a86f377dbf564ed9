// SPDX-License-Identifier: Apache-2.0

#include "Commands.h"

#include <charconv>
#include <iterator>
#include <sstream>
#include <utility>

namespace {

char const* const OK = "ok";
char const* const REFUSED = "error refused; the log says why";
char const* const NOT_ALLOWED = "error not allowed";
char const* const TOO_MANY = "error too many";

/** The whole word must be a number of this type: no sign for an unsigned one, nothing behind it. */
template <typename Number> bool Parse(std::string_view word, Number& number)
{
    char const* const end = word.data() + word.size();
    auto const [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc{} && stop == end;
}

/** Every word from the second on; empty if there is none, or one is no number. */
template <typename Words> std::vector<unsigned int> ParseIds(Words const& words)
{
    std::vector<unsigned int> ids;
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        if (!Parse(*word, ids.emplace_back())) {
            return {};
        }
    }
    return ids;
}

} // namespace

Commands::Commands(ConfigManager& configManager, std::vector<ConfigurableEvent> const& events) : manager(configManager)
{
    for (ConfigurableEvent const& event : events) {
        for (QosCommand const& command : event.qosCommands) {
            Milliseconds end{0};
            for (EventPhase const& phase : command.phases) {
                end += Milliseconds(phase.duration);
            }
            eventLengths[event.eventId] = std::max(eventLengths[event.eventId], end);
        }
    }
}

Commands::Words Commands::Split(std::string_view line)
{
    std::istringstream words{std::string(line)};
    return {std::istream_iterator<std::string>(words), {}};
}

std::string Commands::Execute(Asker const& asker, std::string_view line)
{
    struct Command {
        std::string (Commands::*execute)(Asker const&, Words const&);
        bool forTrusted;
        char const* usage;
    };
    static std::map<std::string_view, Command> const commands = {
        {"request", {&Commands::Request, false, "request MS QOS GROUP boost|limit VALUE ..."}},
        {"release", {&Commands::Release, false, "release HANDLE|all"}},
        {"scenario", {&Commands::Preset, false, "scenario ID"}},
        {"mode", {&Commands::Preset, true, "mode ID"}},
        {"event", {&Commands::Event, true, "event ID [MS|stop]"}},
        {"suspend", {&Commands::Suspend, true, "suspend QOS ..."}},
        {"resume", {&Commands::Suspend, true, "resume QOS ..."}},
        {"dump", {&Commands::Dump, true, "dump OPTION"}},
    };
    Words const words = Split(line);
    auto const found = words.empty() ? commands.end() : commands.find(words.front());
    if (found == commands.end()) {
        return "error unknown command";
    }
    auto const& [execute, forTrusted, usage] = found->second;
    std::string const answer = forTrusted && !asker.trusted ? NOT_ALLOWED : (this->*execute)(asker, words);
    return answer.empty() ? std::string("error usage: ") + usage : answer;
}

std::string Commands::Request(Asker const& asker, Words const& words)
{
    unsigned int duration = 0;
    if (words.size() < 6 || words.size() % 4 != 2 || !Parse(words[1], duration)) {
        return {};
    }
    std::vector<PerfRequestInfo> infos;
    for (auto word = words.begin() + 2; word != words.end(); word += 4) {
        PerfRequestInfo& info = infos.emplace_back();
        GroupInfo& group = info.groupInfos.emplace_back();
        auto& [operation, value] = group.operations.emplace_back();
        operation = word[2] == "limit" ? PERF_OPERATION_LIMIT : PERF_OPERATION_BOOST;
        if (!Parse(word[0], info.qosId) || !Parse(word[1], group.groupId) || !Parse(word[3], value) ||
            (word[2] != "limit" && word[2] != "boost")) {
            return {};
        }
        if (info.qosId == PERF_QOS_EAS_BASE && !asker.trusted) {
            return NOT_ALLOWED;
        }
    }
    Milliseconds const ms(duration);
    return HasRoomFor(asker) ? Keep(asker, ms, PerfHold::Request(manager, asker.owner, ms, infos)) : TOO_MANY;
}

bool Commands::HasRoomFor(Asker const& asker)
{
    SettleEvents(); // what has ended makes room
    return HasRoom(HANDLES, held, asker);
}

std::string Commands::Keep(Asker const& asker, Milliseconds duration, PerfHold hold, std::optional<PerfEventId> event)
{
    if (!hold && !event) {
        return REFUSED;
    }
    unsigned long long const handle = hold.Handle();
    auto const end = duration == Milliseconds::zero() ? Clock::time_point::max() : Clock::now() + duration;
    if (handle != NO_HANDLE || event) { // not for base values
        held.emplace(handle, Held{asker, std::move(hold), event, true, end});
    }
    return handle == NO_HANDLE ? OK : OK + (" " + std::to_string(handle));
}

std::string Commands::Release(Asker const& asker, Words const& words)
{
    unsigned long long handle = NO_HANDLE;
    bool const all = words.size() == 2 && words[1] == "all";
    if (!all && (words.size() != 2 || !Parse(words[1], handle))) {
        return {};
    }
    // An unknown handle, or somebody else's, is no error.
    EraseIf(held, [&](auto const& entry) {
        bool const isOwn = entry.second.asker.owner == asker.owner && !entry.second.event;
        return isOwn && (all || entry.first == handle);
    });
    return OK;
}

std::string Commands::Preset(Asker const& asker, Words const& words)
{
    std::vector<unsigned int> const ids = ParseIds(words);
    if (ids.size() != 1) {
        return {};
    }
    auto const set = words[0] == "mode" ? PerfHold::Mode : PerfHold::Scenario;
    return HasRoomFor(asker) ? Keep(asker, {}, set(manager, asker.owner, ids.front())) : TOO_MANY;
}

// By the event's own calls: through PerfEvent a client could reach suspend and the probe by their numbers.
std::string Commands::Event(Asker const& asker, Words const& words)
{
    PerfEventId id = 0;
    unsigned int duration = 0; // 0: the event's own timing
    if (words.size() < 2 || words.size() > 3 || !Parse(words[1], id)) {
        return {};
    }
    if (words.size() == 3 && words[2] == "stop") {
        Unwant(asker.owner, id);
        return OK;
    }
    if (words.size() == 3 &&
        (!Parse(words[2], duration) || duration < PERF_DURATION_MIN_MS || duration > PERF_DURATION_MAX_MS)) {
        return {};
    }
    if (!HasRoomFor(asker)) {
        return TOO_MANY;
    }
    auto const length = eventLengths.find(id);
    if (manager.StartEvent(id, duration) != 0 || length == eventLengths.end()) { // nothing starts of an unknown one
        return REFUSED;
    }
    return Keep(asker, duration == 0 ? length->second : Milliseconds(duration), {}, id);
}

void Commands::Unwant(int owner, std::optional<PerfEventId> id)
{
    for (auto [run, end] = held.equal_range(NO_HANDLE); run != end; ++run) {
        bool const isMeant = run->second.asker.owner == owner && run->second.event == id.value_or(*run->second.event);
        run->second.wanted = run->second.wanted && !isMeant;
    }
    SettleEvents();
}

bool Commands::SettleEvents()
{
    EraseIf(held, [now = Clock::now()](auto const& entry) { return entry.second.end <= now; });
    std::map<PerfEventId, bool> running; // and whether somebody wants it
    for (auto [run, end] = held.equal_range(NO_HANDLE); run != end; ++run) {
        running[*run->second.event] |= run->second.wanted;
    }
    for (auto const& [id, isWanted] : running) {
        if (!isWanted) {
            manager.StopEvent(id);
            EraseIf(held, [id = id](auto const& entry) { return entry.second.event == id; });
        }
    }
    return std::any_of(held.begin(), held.end(), [](auto const& entry) { return !entry.second.wanted; });
}

std::string Commands::Suspend(Asker const& asker, Words const& words)
{
    std::vector<unsigned int> const ids = ParseIds(words);
    for (PerfQosId const id : ids) {
        if (words[0] == "resume") {
            Resume(asker.owner, id);
        } else if (manager.PerfSetSuspend({1, id}) == 0) {
            suspends.emplace(id, asker.owner);
        } else {
            return REFUSED;
        }
    }
    return ids.empty() ? "" : OK;
}

void Commands::Resume(int owner, PerfQosId id)
{
    bool const was = suspends.erase({id, owner}) != 0;
    auto const other = suspends.lower_bound({id, 0});
    if (was && (other == suspends.end() || other->first != id)) {
        static_cast<void>(manager.PerfSetSuspend({0, id})); // what could be suspended can be resumed
    }
}

std::string Commands::Dump(Asker const&, Words const& words)
{
    std::ostringstream text;
    if (words.size() != 2) {
        return {};
    }
    bool const known = manager.Dump(text, {words[1]}) == 0;
    return text.str() + (known ? OK : REFUSED);
}

bool Commands::WaitsForWorkers(Asker const& asker, std::string_view line)
{
    Words const words = Split(line);
    return asker.trusted && (words == Words{"dump", "--task"} || words == Words{"dump", "--base_info"});
}

void Commands::Forget(int owner)
{
    EraseIf(held, [&](auto const& entry) { return entry.second.asker.owner == owner && !entry.second.event; });
    Unwant(owner, {});
    for (auto next = suspends.begin(); next != suspends.end();) {
        auto const [id, who] = *next++;
        if (who == owner) {
            Resume(owner, id);
        }
    }
}
