// SPDX-License-Identifier: Apache-2.0

#include "tests/support/LogCapture.h"

#include "sandbox/LogTap.h"

#include <algorithm>
#include <mutex>
#include <regex>

namespace {

using Lock = std::lock_guard<std::mutex>;

// Never destroyed: a thread may log until the process ends. The mutex is held while captures take a line, so that none
// ends then.
std::mutex& mutex = *new std::mutex;
std::vector<LogCapture*>& active = *new std::vector<LogCapture*>; ///< guarded by mutex

LogLine Parse(int priority, char const* tag, char const* message)
{
    LogLine line{priority, tag, "", message};
    static std::regex const prefix(R"(^\[([A-Za-z_~]\w*):\d+\] )");
    std::cmatch match;
    if (std::regex_search(message, match, prefix)) {
        line.method = match[1];
        line.text = match.suffix();
    }
    line.text.erase(line.text.find_last_not_of(" \n") + 1);
    return line;
}

void HandOut(int priority, char const* tag, char const* message)
{
    LogLine const line = Parse(priority, tag, message);
    Lock const lock(mutex);
    for (LogCapture* capture : active) {
        capture->Add(line);
    }
}

/** From the start of the process on, for good: outside of every capture the log is silent. */
[[maybe_unused]] bool const installed = [] {
    LogTap::SetReceiver(HandOut);
    return true;
}();

} // namespace

std::string LogLine::Render() const
{
    std::string const head = std::string(1, "??VDIWEFS"[priority]) + " " + tag + " ";
    return method.empty() ? head + text : head + method + ": " + text;
}

LogCapture::LogCapture()
{
    Lock const lock(mutex);
    active.push_back(this);
}

LogCapture::~LogCapture()
{
    Lock const lock(mutex);
    active.erase(std::remove(active.begin(), active.end(), this), active.end());
}

std::vector<std::string> LogCapture::Lines(std::string const& tag) const
{
    std::vector<std::string> lines;
    Lock const lock(mutex);
    for (LogLine const& line : entries) {
        if (tag.empty() || line.tag == tag) {
            lines.push_back(line.Render());
        }
    }
    return lines;
}

bool LogCapture::Has(std::string const& line) const
{
    auto const lines = Lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::size_t LogCapture::Count(int priority) const
{
    auto const fits = [priority](LogLine const& line) { return line.priority == priority; };
    Lock const lock(mutex);
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), fits));
}

std::string LogCapture::TakeReason()
{
    auto const lines = Lines();
    bool const refused = Count(ANDROID_LOG_ERROR) == lines.size();
    Clear();
    return lines.empty() ? "" : refused ? lines[0].substr(2) : "not only errors: " + lines[0];
}

void LogCapture::Clear()
{
    Lock const lock(mutex);
    entries.clear();
}
