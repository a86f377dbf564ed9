// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/Ledger.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace {

/** What is over is still known for a while: the library lets go of it when it wakes up next. */
constexpr std::chrono::seconds KEPT_AFTER_THE_END(1);

template <typename Item, typename Predicate> void Erase(std::vector<Item>& items, Predicate const& predicate)
{
    items.erase(std::remove_if(items.begin(), items.end(), predicate), items.end());
}

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
                 [&](Answered const& answered) { result = std::min(result.value_or(0), answered.result); },
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
    Erase(entries, [time](Entry const& entry) { return entry.until && *entry.until < time; });
    mostEntries = std::max(mostEntries, 2 * entries.size());
}

void Ledger::Remove(Released const& released)
{
    Erase(entries, [&released](Entry const& entry) { return released.Covers(entry.held.pid, entry.held.handle); });
    Erase(triggers, [&released](Trigger const& trigger) {
        return released.Covers(trigger.triggered.Pid(), trigger.triggered.handle);
    });
}

/** An event may be started while it runs, and then runs twice. */
void Ledger::Note(PerfTimePoint time, Triggered const& triggered)
{
    Erase(triggers, [&](Trigger const& trigger) {
        bool const isStopped = !triggered.starts && trigger.triggered.Key() == triggered.Key();
        return isStopped || trigger.until < time - KEPT_AFTER_THE_END;
    });
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
