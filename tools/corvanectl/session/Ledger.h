// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/** What was asked for, by whom and until when, and what was suspended: the library's state as its clients know it. */
class Ledger : public StoryListener {
public:
    struct Entry {
        Held held;
        PerfTimePoint since;
        std::optional<PerfTimePoint> until; ///< of what ends by itself
    };

    struct Suspension {
        PerfTimePoint since;
        std::string command; ///< that asked for it
    };

    /** An event or a probe. */
    struct Trigger {
        Triggered triggered;
        PerfTimePoint since;
        PerfTimePoint until;
    };

    void Hear(StoryRecord const& record) override;

    /** When the platform started. */
    PerfTimePoint Start() const { return start; }
    /** @return what is neither released nor over at this time, in the order of asking. */
    std::vector<Entry> Outstanding(PerfTimePoint now) const;
    /** @return the events and probes that are neither stopped nor over at this time, in the order of starting. */
    std::vector<Trigger> Running(PerfTimePoint now) const;
    /** @return the suspend that the resource is under, if it is under one. */
    std::optional<Suspension> SuspensionOf(PerfQosId id) const;
    /** @return what the library answered to the current command, if anything: a refusal, if there was one. */
    std::optional<int> LastResult() const { return result; }
    /** @return the last handle that a process was given, be it still held or not. */
    std::optional<unsigned long long> LastOf(int pid) const;
    /** The names that handles were given. */
    std::vector<std::string> Names() const;
    /** @return the last handle that was given this name. */
    std::optional<unsigned long long> Named(std::string const& name) const;

private:
    void Add(PerfTimePoint time, Held const& held);
    void ForgetUntil(PerfTimePoint time);
    void Remove(Released const& released);
    void Note(PerfTimePoint time, Triggered const& triggered);
    void Suspend(PerfTimePoint time, Suspended const& suspended);

    // Changed by what the session's own thread tells, and asked by that thread.
    PerfTimePoint start{};
    std::vector<Entry> entries;
    std::size_t mostEntries = 1024; ///< before those that are long over are looked for
    std::vector<Trigger> triggers;
    std::map<PerfQosId, Suspension> suspensions;
    std::string command; ///< the current one
    std::optional<int> result;
    std::map<int, unsigned long long> last;
    std::map<std::string, unsigned long long> named;
};
