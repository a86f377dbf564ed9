#include "tools/corvanectl/story/Trace.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr int PROCESS = 1; // there is one

} // namespace

Trace::Trace()
{
    AddEvent("M", "process_name", start)["args"] = {{"name", "corvanectl"}};
}

void Trace::Hear(StoryRecord const& record)
{
    end = std::max(end, record.time);
    record.Match([&](Began const& began) { Begin(record.time, began); },
                 [&](Held const& held) { Hold(record.time, held); },
                 [&](Released const& released) { Release(record.time, released); },
                 [&](Labelled const& labelled) { AddEvent("i", labelled.label, record.time)["s"] = "t"; },
                 [&](Wrote const& wrote) { AddWrite(wrote.write); });
}

nlohmann::json& Trace::AddEvent(char const* phase, std::string const& name, PerfTimePoint time)
{
    events.push_back(
        {{"ph", phase}, {"name", name}, {"pid", PROCESS}, {"tid", NumberOfThread()}, {"ts", Microseconds(time)}});
    return events.back();
}

long long Trace::Microseconds(PerfTimePoint time) const
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
}

void Trace::Begin(PerfTimePoint time, Began const& began)
{
    start = time;
    for (Began::Node const& node : began.nodes) {
        if (auto const number = NumberAt(node.bytes)) {
            AddEvent("C", node.name, time)["args"] = {{"value", *number}};
        }
    }
}

void Trace::Hold(PerfTimePoint time, Held const& held)
{
    std::string const name = held.name.empty() ? held.what : held.what + " " + held.name;
    nlohmann::json begin = {{"ph", "b"},
                            {"cat", held.what},
                            {"name", name + ", process " + std::to_string(held.pid)},
                            {"id", held.handle},
                            {"pid", PROCESS},
                            {"tid", NumberOfThread()},
                            {"ts", Microseconds(time)}};
    auto const until =
        held.duration == 0 ? std::nullopt : std::optional(time + std::chrono::milliseconds(held.duration));
    slices.push_back({std::move(begin), held.pid, held.handle, until});
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
}

std::vector<nlohmann::json> Trace::Sorted() const
{
    std::vector<nlohmann::json> sorted(events.begin(), events.end());
    for (Slice const& slice : slices) {
        sorted.push_back(slice.begin);
        sorted.push_back(slice.begin);
        sorted.back()["ph"] = "e";
        sorted.back()["ts"] = Microseconds(std::min(slice.until.value_or(end), end));
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](nlohmann::json const& left, nlohmann::json const& right) {
        return left["ts"].get<long long>() < right["ts"].get<long long>();
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
        AddEvent("i", write.Line(), write.time)["s"] = "t";
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
