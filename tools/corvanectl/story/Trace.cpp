#include "tools/corvanectl/story/Trace.h"

#include "tools/corvanectl/story/NodeText.h"

#include <chrono>

#include <pthread.h>
#include <unistd.h>

Trace::Trace()
{
    AddEvent("M", "process_name", start)["args"] = {{"name", "corvanectl"}};
}

void Trace::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; },
                 [&](Labelled const& labelled) {
                     NameThread();
                     AddEvent("i", labelled.label, record.time)["s"] = "t";
                 },
                 [&](Wrote const& wrote) { AddWrite(wrote.write); });
}

nlohmann::json& Trace::AddEvent(char const* phase, std::string const& name, PerfTimePoint time)
{
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
    events.push_back({{"ph", phase}, {"name", name}, {"pid", getpid()}, {"tid", gettid()}, {"ts", microseconds}});
    return events.back();
}

void Trace::NameThread()
{
    if (!namedThreads.insert(gettid()).second) {
        return;
    }
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof(name));
    AddEvent("M", "thread_name", start)["args"] = {{"name", name}};
}

void Trace::AddWrite(NodeWrite const& write)
{
    NameThread();
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
