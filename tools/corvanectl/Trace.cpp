#include "tools/corvanectl/Trace.h"

#include "tools/corvanectl/Findings.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <system_error>
#include <utility>

#include <cutils/trace.h>
#include <pthread.h>
#include <unistd.h>

namespace {

std::atomic<Trace*> current{nullptr};

std::optional<long long> NumberOf(std::string const& bytes)
{
    long long value = 0;
    char const* const end = bytes.data() + bytes.size();
    if (!bytes.empty() && std::from_chars(bytes.data(), end, value).ptr == end) {
        return value;
    }
    std::int32_t raw = 0;
    if (bytes.size() == sizeof(raw) && bytes.find('\0') != std::string::npos) {
        std::memcpy(&raw, bytes.data(), sizeof(raw)); // a bandwidth
        return raw;
    }
    return std::nullopt;
}

} // namespace

extern "C" {

// In an executable these stand before the platform library's own, and so receive its labels.
__attribute__((visibility("default"))) void atrace_begin_body(char const* label)
{
    if (Trace* const trace = Trace::Current()) {
        trace->AddLabel(label);
    }
}

__attribute__((visibility("default"))) void atrace_end_body() {}

} // extern "C"

Trace::Trace(std::string name) : file(std::move(name))
{
    if (!std::ofstream(file)) {
        throw InputError(file + ": cannot be written: " + std::generic_category().message(errno));
    }
    AddEvent("M", "process_name", start)["args"] = {{"name", "corvanectl"}};
    current = this;
    atrace_enabled_tags = ATRACE_TAG_GRAPHICS;
}

Trace::~Trace()
{
    atrace_enabled_tags = 0;
    current = nullptr;
    bool whole = false;
    try {
        whole = WriteFile();
    } catch (std::exception const&) {
        whole = false;
    }
    if (!whole) {
        std::cerr << "corvanectl: " << file << ": the trace could not be written whole\n";
    }
}

bool Trace::WriteFile()
{
    std::lock_guard<std::mutex> const lock(mutex);
    std::ofstream out(file);
    auto const replace = nlohmann::json::error_handler_t::replace;
    out << R"({"displayTimeUnit":"ms","traceEvents":[)";
    char const* separator = "\n";
    for (nlohmann::json const& event : events) {
        out << separator << event.dump(-1, ' ', false, replace);
        separator = ",\n";
    }
    out << "\n]}\n" << std::flush;
    return out.good();
}

Trace* Trace::Current()
{
    return current;
}

nlohmann::json& Trace::AddEvent(char const* phase, std::string const& name, Clock::time_point time)
{
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
    events.push_back({{"ph", phase}, {"name", name}, {"pid", getpid()}, {"tid", gettid()}, {"ts", microseconds}});
    return events.back();
}

void Trace::NameThreadLocked()
{
    if (!namedThreads.insert(gettid()).second) {
        return;
    }
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof(name));
    AddEvent("M", "thread_name", start)["args"] = {{"name", name}};
}

void Trace::AddLabel(std::string const& label)
{
    std::lock_guard<std::mutex> const lock(mutex);
    NameThreadLocked();
    AddEvent("i", label, Clock::now())["s"] = "t";
}

void Trace::AddWrite(NodeWrite const& write)
{
    std::lock_guard<std::mutex> const lock(mutex);
    NameThreadLocked();
    auto const number = NumberOf(write.bytes);
    if (number && write.error == 0) {
        AddEvent("C", write.node, write.time)["args"] = {{"value", *number}};
    } else {
        AddEvent("i", write.Line(), write.time)["s"] = "t";
    }
}
