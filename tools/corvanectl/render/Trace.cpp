#include "tools/corvanectl/render/Trace.h"

#include "tools/corvanectl/story/NodeText.h"
#include "tools/corvanectl/story/RecordJson.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr int PROCESS = 1; // there is one

/** Whole where it is, as it nearly always is. */
nlohmann::json Microseconds(PerfTimePoint::duration time)
{
    auto const nanoseconds = std::chrono::nanoseconds(time).count();
    if (nanoseconds % 1000 == 0) {
        return nanoseconds / 1000;
    }
    return static_cast<double>(nanoseconds) / 1000;
}

std::string TextOf(Triggered const& triggered)
{
    return (triggered.starts ? "start " : "stop ") + triggered.what + " " + std::to_string(triggered.id);
}

std::string TextOf(Suspended const& suspended)
{
    std::string text = suspended.on ? "suspend" : "resume";
    for (PerfQosId const id : suspended.ids) {
        text += " " + std::to_string(id);
    }
    return text;
}

std::string TextOf(Released const& released)
{
    if (!released.pid) {
        return "reset";
    }
    std::string const process = std::to_string(*released.pid);
    return released.handle ? "release " + process + " " + std::to_string(*released.handle) : "release-all " + process;
}

} // namespace

Trace::Trace()
{
    AddEvent("M", "process_name", start)["args"] = {{"name", "corvanectl"}};
}

void Trace::Hear(StoryRecord const& record)
{
    end = std::max(end, record.time);
    std::size_t const before = events.size();
    record.Match([&](Began const& began) { Begin(record.time, began); },
                 [&](Held const& held) { Hold(record.time, held); },
                 [&](Released const& released) { Release(record.time, released); },
                 [&](Triggered const& triggered) { AddInstant(TextOf(triggered), record.time, "p"); },
                 [&](Suspended const& suspended) { AddInstant(TextOf(suspended), record.time, "p"); },
                 [&](Marked const& marked) { AddInstant(marked.title, record.time, "g"); },
                 [&](Labelled const& labelled) { AddInstant(labelled.label, record.time, "t"); },
                 [&](Wrote const& wrote) { AddWrite(wrote.write); });
    auto const told = JsonOf(record.what);
    if (events.size() != before && !told.is_null()) {
        events.back()["story"] = told;
    }
}

nlohmann::json Trace::Event(char const* phase, std::string const& name, PerfTimePoint time, int thread) const
{
    return {{"ph", phase}, {"name", name}, {"pid", PROCESS}, {"tid", thread}, {"ts", Microseconds(time - start)}};
}

nlohmann::json& Trace::AddEvent(char const* phase, std::string const& name, PerfTimePoint time)
{
    int const thread = NumberOfThread();
    events.push_back(Event(phase, name, time, thread));
    return events.back();
}

void Trace::AddInstant(std::string const& name, PerfTimePoint time, char const* scope)
{
    AddEvent("i", name, time)["s"] = scope;
}

void Trace::Begin(PerfTimePoint time, Began const& began)
{
    start = time;
    for (Began::Node const& node : began.nodes) {
        if (auto const number = NumberAt(node.bytes)) {
            AddEvent("C", node.name, time)["args"] = {{"value", *number}};
        }
    }
    AddInstant("begin", time, "g");
}

void Trace::Hold(PerfTimePoint time, Held const& held)
{
    std::string const name = held.name.empty() ? held.what : held.what + " " + held.name;
    nlohmann::json& begin = AddEvent("b", name + ", process " + std::to_string(held.pid), time);
    begin["cat"] = held.what;
    begin["id"] = held.handle;
    auto const until =
        held.duration == 0 ? std::nullopt : std::optional(time + std::chrono::milliseconds(held.duration));
    slices.push_back({events.size() - 1, held.pid, held.handle, until});
}

void Trace::Release(PerfTimePoint time, Released const& released)
{
    for (Slice& slice : slices) {
        bool const isMeant =
            (!released.pid || *released.pid == slice.pid) && (!released.handle || *released.handle == slice.handle);
        if (isMeant && (!slice.until || time < *slice.until)) {
            slice.until = time;
        }
    }
    AddInstant(TextOf(released), time, "p");
}

std::vector<nlohmann::json> Trace::Sorted() const
{
    std::vector<nlohmann::json> sorted(events.begin(), events.end());
    for (Slice const& slice : slices) {
        sorted.push_back(events[slice.begin]);
        sorted.back().erase("story");
        sorted.back()["ph"] = "e";
        sorted.back()["ts"] = Microseconds(std::min(slice.until.value_or(end), end) - start);
    }
    sorted.push_back(Event("i", "end", end, 1));
    sorted.back().update({{"s", "g"}, {"story", JsonOf(Settled{true})}});
    std::stable_sort(sorted.begin(), sorted.end(), [](nlohmann::json const& left, nlohmann::json const& right) {
        return left["ts"].get<double>() < right["ts"].get<double>();
    });
    return sorted;
}

/** Names the thread that asks, if it is new. */
int Trace::NumberOfThread()
{
    auto const [position, isNew] = threads.try_emplace(gettid(), static_cast<int>(threads.size()) + 1);
    if (isNew) {
        char name[16] = "";
        pthread_getname_np(pthread_self(), name, sizeof(name));
        AddEvent("M", "thread_name", start)["args"] = {{"name", name}};
    }
    return position->second;
}

void Trace::AddWrite(NodeWrite const& write)
{
    auto const number = NumberOf(write.bytes);
    if (number && write.error == 0) {
        AddEvent("C", write.node, write.time)["args"] = {{"value", *number}};
    } else {
        AddInstant(write.Line(), write.time, "t");
    }
}

void Trace::Write(std::ostream& out) const
{
    auto const replace = nlohmann::json::error_handler_t::replace;
    out << R"({"displayTimeUnit":"ms","traceEvents":[)";
    char const* separator = "\n";
    for (nlohmann::json const& event : Sorted()) {
        out << separator << event.dump(-1, ' ', false, replace);
        separator = ",\n";
    }
    out << "\n]}\n" << std::flush;
}
