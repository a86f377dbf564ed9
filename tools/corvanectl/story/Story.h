// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfRequest.h>
#include <corvane/PerfTypes.h>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// What happens in a session, as records. Nodes go by the names of the platform file, wherever they really are.

/** The platform is about to start: time is shown from here. */
struct Began {
    struct Node {
        std::string name;
        std::size_t resource;     ///< position in the platform file; behind the last one: the thread binder's
        std::string resourceName; ///< empty for the thread binder
        std::string bytes;        ///< what it holds
        PerfQosId id = 0;         ///< of the resource
        unsigned int group = 0;
        bool showsFloors = false; ///< whether floors of the group end up in this node
        bool showsCeilings = false;
        std::map<int, std::string> levels{}; ///< what a level of the group writes here; empty where there are none
    };
    std::vector<Node> nodes;
    std::string platform{}; ///< its name
};

/** Somebody gives a command. */
struct Asked {
    std::string line;
};

/** The library's answer to a call. */
struct Answered {
    int result = 0;
    std::optional<unsigned long long> handle{}; ///< where the call gives one: a real one, or NO_HANDLE
    std::vector<std::string> reasons{};         ///< of a refusal; else of what is granted otherwise than asked for
};

/** The library has granted something that is held until it is released or ends by itself. */
struct Held {
    unsigned long long handle = NO_HANDLE;
    int pid = 0;
    std::string name;                     ///< as the script calls it, or empty
    std::string what;                     ///< the command: request, scenario or mode
    unsigned int id = 0;                  ///< of the scenario or mode
    std::vector<PerfRequestInfo> infos{}; ///< of the request or scenario
    unsigned int duration = 0;            ///< ms; 0: until it is released

    /** @return when it ends by itself, if it does. @param since when the call came. */
    template <typename Time> std::optional<Time> Until(Time since) const
    {
        return duration == 0 ? std::nullopt : std::optional(since + std::chrono::milliseconds(duration));
    }
};

/** Something was given back: one handle, all of a process, or without a process all of everybody. */
struct Released {
    std::optional<int> pid{};
    std::optional<unsigned long long> handle{};

    /** @return whether that is among it. @param holder the process that it is booked under. */
    bool Covers(int holder, unsigned long long held) const
    {
        return (!pid || *pid == holder) && (!handle || *handle == held);
    }
};

/** No process has this id: the library books events under it (CommandLimits::eventPid). */
constexpr int EVENT_PID = 0;

/** An event or a probe was started, or stopped. */
struct Triggered {
    std::string what;
    unsigned int id = 0; ///< of the event, or the thread
    bool starts = true;
    unsigned int delay = 0;                ///< ms
    unsigned int duration = 0;             ///< ms that were asked for; 0: as the phases are described
    std::vector<QosCommand> commands{};    ///< as described; whoever follows them asks PhasesOf
    std::string name{};                    ///< what the platform calls the event, or empty
    unsigned long long handle = NO_HANDLE; ///< of this run, where one starts

    /** The process that the library books it under: a probe goes by its thread. */
    int Pid() const { return what == "probe" ? static_cast<int>(id) : EVENT_PID; }
    /** "event 3": of all its runs, which one stop ends. */
    std::string Key() const { return what + " " + std::to_string(id); }
    /** The phases that one of the commands comes to: with a duration of its own, the first one alone. */
    std::vector<EventPhase> PhasesOf(QosCommand const& command) const;

    /** "event 3", with its name in front if it has one */
    std::string Text() const;
    /** How long it lasts from the call on. */
    std::chrono::milliseconds Length() const;
};

/** Resources were suspended or resumed. */
struct Suspended {
    std::vector<PerfQosId> ids;
    bool on;
};

/** A node was written, or refused to be. */
struct Wrote {
    NodeWrite write;
};

/** A node does not hold what was written to it, or what it should hold again. */
struct Strayed {
    std::string node;
    std::string written;
    std::string held;        ///< instead
    bool isByOthers = false; ///< at first it held what it should
};

/** The library has marked what it does for a system trace. On the thread that does it. */
struct Labelled {
    std::string label;
};

/** A line of the library's log. */
struct Logged {
    int priority;
    std::string tag;
    std::string text;
};

/** Something about the device that a person should know before anything is done. */
struct Warned {
    std::string text;
};

/** Text of any number of lines that a command shows: a dump, a report. */
struct Output {
    std::string text;
};

/** The script begins a chapter. */
struct Marked {
    std::string title;
};

/** What was asked so far is done, by the workers and, if so said, by the thread binder too. */
struct Settled {
    bool binderToo;
};

/** One record of a story. What a call has come to has the time of the call: from there it lasts. */
struct StoryRecord {
    using What = std::variant<Began, Asked, Answered, Held, Released, Triggered, Suspended, Wrote, Strayed, Labelled,
                              Logged, Warned, Output, Marked, Settled>;

    PerfTimePoint time;
    What what;

    /** Calls the case that takes the kind of this record; without one, nothing. */
    template <typename... Cases> void Match(Cases const&... cases) const
    {
        std::visit(Overloaded<Cases..., Otherwise>{cases..., {}}, what);
    }

private:
    struct Otherwise {
        template <typename Any> void operator()(Any const& /* ignored */) const {}
    };
    template <typename... Cases> struct Overloaded : Cases... {
        using Cases::operator()...;
    };
    template <typename... Cases> Overloaded(Cases...) -> Overloaded<Cases...>;
};

/** Follows a story: gets one record at a time, on the thread that publishes it, and publishes nothing itself. */
class StoryListener {
public:
    virtual ~StoryListener() = default;
    virtual void Hear(StoryRecord const& record) = 0;
};

/**
 * Publishes what happens to its listeners: what is shown, kept or compared is made of these records alone. Any thread
 * may publish at any time; all listeners get the records in the same order.
 */
class Story {
public:
    Story() = default;
    Story(Story const&) = delete;
    Story& operator=(Story const&) = delete;

    /** Before the first record. The listener must outlive the last one. */
    void Add(StoryListener& listener) { listeners.push_back(&listener); }
    /** Cuts this text out of what the library says: the folder of a sandbox. */
    void Hide(std::string text);

    void Publish(PerfTimePoint time, StoryRecord::What what);

private:
    std::vector<StoryListener*> listeners; ///< constant after the first record
    std::mutex mutex;
    std::string hidden; ///< guarded by mutex
};
