#include "tools/corvanectl/story/Trace.h"

#include "tools/corvanectl/story/NodeText.h"

#include <chrono>

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
    record.Match([&](Began const& /* began */) { start = record.time; },
                 [&](Labelled const& labelled) { AddEvent("i", labelled.label, record.time)["s"] = "t"; },
                 [&](Wrote const& wrote) { AddWrite(wrote.write); });
}

nlohmann::json& Trace::AddEvent(char const* phase, std::string const& name, PerfTimePoint time)
{
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
    events.push_back(
        {{"ph", phase}, {"name", name}, {"pid", PROCESS}, {"tid", NumberOfThread()}, {"ts", microseconds}});
    return events.back();
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
    for (nlohmann::json const& event : events) {
        out << separator << event.dump(-1, ' ', false, replace);
        separator = ",\n";
    }
    out << "\n]}\n" << std::flush;
}
