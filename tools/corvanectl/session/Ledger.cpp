// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/Ledger.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace {

/** What is over is still known for a while: the library lets go of it when it wakes up next. */
constexpr std::chrono::seconds KEPT_AFTER_THE_END(1);

template <typename Key>
std::optional<unsigned long long> Find(std::map<Key, unsigned long long> const& handles, Key const& key)
{
    auto const found = handles.find(key);
    return found == handles.end() ? std::nullopt : std::optional<unsigned long long>(found->second);
}

} // namespace

void Ledger::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; },
                 [&](Asked const& asked) {
                     command = asked.line;
                     result.reset();
                 },
                 [&](Answered const& answered) { result = answered.result; },
                 [&](Held const& held) { Add(record.time, held); }, [&](Released const& released) { Remove(released); },
                 [&](Triggered const& triggered) { Note(record.time, triggered); },
                 [&](Suspended const& suspended) { Suspend(record.time, suspended); });
}

void Ledger::Add(PerfTimePoint time, Held const& held)
{
    if (entries.size() >= mostEntries) {
        ForgetUntil(time - KEPT_AFTER_THE_END);
    }
    entries.push_back({held, time, held.Until(time)});
    last[held.pid] = held.handle;
    if (!held.name.empty()) {
        named[held.name] = held.handle;
    }
}

void Ledger::ForgetUntil(PerfTimePoint time)
{
    auto const isLongOver = [time](Entry const& entry) { return entry.until && *entry.until < time; };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isLongOver), entries.end());
    mostEntries = std::max(mostEntries, 2 * entries.size());
}

void Ledger::Remove(Released const& released)
{
    auto const isGone = [&released](Entry const& entry) { return released.Covers(entry.held.pid, entry.held.handle); };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isGone), entries.end());
    if (released.Covers(EVENTS, NO_HANDLE)) {
        triggers.clear();
    }
}

/** A restart replaces the running entry. */
void Ledger::Note(PerfTimePoint time, Triggered const& triggered)
{
    auto const isSame = [&triggered](Trigger const& other) {
        return other.triggered.what == triggered.what && other.triggered.id == triggered.id;
    };
    triggers.erase(std::remove_if(triggers.begin(), triggers.end(), isSame), triggers.end());
    if (triggered.starts) {
        triggers.push_back({triggered, time, time + triggered.Length()});
    }
}

/** A second suspend keeps the first one's command. */
void Ledger::Suspend(PerfTimePoint time, Suspended const& suspended)
{
    for (PerfQosId const id : suspended.ids) {
        if (suspended.on) {
            suspensions.try_emplace(id, Suspension{time, command});
        } else {
            suspensions.erase(id);
        }
    }
}

std::optional<Ledger::Suspension> Ledger::SuspensionOf(PerfQosId id) const
{
    auto const found = suspensions.find(id);
    return found == suspensions.end() ? std::nullopt : std::optional(found->second);
}

std::vector<Ledger::Entry> Ledger::Outstanding(PerfTimePoint now) const
{
    std::vector<Entry> outstanding;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(outstanding),
                 [now](Entry const& entry) { return !entry.until || now < *entry.until; });
    return outstanding;
}

std::vector<Ledger::Trigger> Ledger::Running(PerfTimePoint now) const
{
    std::vector<Trigger> running;
    std::copy_if(triggers.begin(), triggers.end(), std::back_inserter(running),
                 [now](Trigger const& trigger) { return now < trigger.until; });
    return running;
}

std::optional<unsigned long long> Ledger::LastOf(int pid) const
{
    return Find(last, pid);
}

std::vector<std::string> Ledger::Names() const
{
    std::vector<std::string> names;
    std::transform(named.begin(), named.end(), std::back_inserter(names), [](auto const& each) { return each.first; });
    return names;
}

std::optional<unsigned long long> Ledger::Named(std::string const& name) const
{
    return Find(named, name);
}
