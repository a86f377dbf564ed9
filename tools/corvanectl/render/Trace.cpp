// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/Trace.h"

#include "tools/corvanectl/story/NodeText.h"

#include <chrono>
#include <iterator>
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

Trace::Trace(std::ostream& stream) : out(stream)
{
    out << R"({"displayTimeUnit":"ms","traceEvents":[)";
    nlohmann::json process = Event("M", "process_name");
    process["args"] = {{"name", "corvanectl"}};
    Put(process);
}

void Trace::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; });
    now = record.time;
    EndSlicesUntil(now);
    record.Match([&](Began const& began) { Begin(began); }, [&](Held const& held) { Hold(held); },
                 [&](Released const& released) { Release(released); },
                 [&](Triggered const& triggered) { Trigger(triggered); },
                 [&](Suspended const& suspended) { AddInstant(TextOf(suspended), "p"); },
                 [&](Marked const& marked) { AddInstant(marked.title, "g"); },
                 [&](Labelled const& labelled) { AddInstant(labelled.label, "t"); },
                 [&](Wrote const& wrote) { AddWrite(wrote.write); });
}

void Trace::End()
{
    EndSlicesUntil(now);
    EndSlices([](Slice const& /* any */) { return true; });
    out << "\n]}\n" << std::flush;
}

nlohmann::json Trace::Event(char const* phase, std::string const& name)
{
    return {
        {"ph", phase}, {"name", name}, {"pid", PROCESS}, {"tid", NumberOfThread()}, {"ts", Microseconds(now - start)}};
}

void Trace::Put(nlohmann::json const& event)
{
    out << std::exchange(separator, ",\n") << event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Trace::AddInstant(std::string const& name, char const* scope)
{
    nlohmann::json event = Event("i", name);
    event["s"] = scope;
    Put(event);
}

void Trace::AddCounter(std::string const& name, long long value)
{
    nlohmann::json event = Event("C", name);
    event["args"] = {{"value", value}};
    Put(event);
}

void Trace::Begin(Began const& began)
{
    for (Began::Node const& node : began.nodes) {
        if (auto const number = NumberAt(node.bytes)) {
            AddCounter(node.name, *number);
        }
    }
    AddInstant("begin", "g");
}

void Trace::AddWrite(NodeWrite const& write)
{
    auto const number = NumberOf(write.bytes);
    if (number && write.error == 0) {
        AddCounter(write.node, *number);
    } else {
        AddInstant(TextOf(write), "t");
    }
}

void Trace::BeginSlice(std::string const& name, std::string const& category, Slice slice, PerfTimePoint until)
{
    slice.end = Event("b", name);
    slice.end.update({{"cat", category}, {"id", slice.handle}});
    Put(slice.end);
    slice.end["ph"] = "e";
    slices.emplace(until, std::move(slice));
}

/** Ends now what matches. */
template <typename Matches> void Trace::EndSlices(Matches const& matches)
{
    for (auto slice = slices.begin(); slice != slices.end();) {
        slice = matches(slice->second) ? EndSlice(slice, now) : std::next(slice);
    }
}

/** Ends what is over by then. */
void Trace::EndSlicesUntil(PerfTimePoint time)
{
    while (!slices.empty() && slices.begin()->first <= time) {
        EndSlice(slices.begin(), slices.begin()->first);
    }
}

/** @return the slice behind it. */
Trace::Slices::iterator Trace::EndSlice(Slices::iterator slice, PerfTimePoint time)
{
    slice->second.end["ts"] = Microseconds(time - start);
    Put(slice->second.end);
    return slices.erase(slice);
}

void Trace::Hold(Held const& held)
{
    std::string const name = held.name.empty() ? held.what : held.what + " " + held.name;
    BeginSlice(name + ", process " + std::to_string(held.pid), held.what, {{}, held.pid, held.handle, ""},
               held.Until(now).value_or(PerfTimePoint::max()));
}

void Trace::Trigger(Triggered const& triggered)
{
    if (triggered.starts) {
        BeginSlice(triggered.Text(), triggered.what, {{}, triggered.Pid(), triggered.handle, triggered.Key()},
                   now + triggered.Length());
    } else {
        EndSlices([&triggered](Slice const& slice) { return slice.trigger == triggered.Key(); });
    }
}

void Trace::Release(Released const& released)
{
    EndSlices([&released](Slice const& slice) { return released.Covers(slice.pid, slice.handle); });
    AddInstant(TextOf(released), "p");
}

/** Names the thread that asks, if it is new. */
int Trace::NumberOfThread()
{
    auto const [position, isNew] = threads.try_emplace(gettid(), static_cast<int>(threads.size()) + 1);
    if (isNew) {
        char name[16] = "";
        pthread_getname_np(pthread_self(), name, sizeof(name));
        nlohmann::json event = Event("M", "thread_name");
        event["args"] = {{"name", name}};
        Put(event);
    }
    return position->second;
}
