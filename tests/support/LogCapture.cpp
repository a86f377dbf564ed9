#include "tests/support/LogCapture.h"

#include <corvane/PfLogon.h>

#include <algorithm>
#include <iterator>
#include <regex>

namespace {

/** Never destroyed: a thread may log until the process ends. Held while a line is handed out, so that no capture ends
 * then. */
struct Captures {
    std::mutex mutex;
    std::vector<LogCapture*> active; ///< guarded by mutex
};

Captures& AllCaptures()
{
    static Captures* const captures = new Captures;
    return *captures;
}

LogLine Parse(int priority, char const* tag, char const* message)
{
    LogLine line{priority, tag != nullptr ? tag : "", "", message, message};
    static std::regex const prefix(R"(^\[([A-Za-z_~]\w*):\d+\] )");
    std::smatch match;
    if (std::regex_search(line.raw, match, prefix)) {
        line.method = match[1];
        line.text = match.suffix();
    }
    line.text.erase(line.text.find_last_not_of(" \n") + 1);
    return line;
}

void HandOut(__android_logger_data const* data, char const* message)
{
    Captures& captures = AllCaptures();
    std::lock_guard<std::mutex> const lock(captures.mutex);
    if (captures.active.empty()) {
        return;
    }
    LogLine const line = Parse(data->priority, data->tag, message);
    for (LogCapture* capture : captures.active) {
        capture->Add(line);
    }
}

/** From the start of the process on, for good: replacing the logger later would race with threads that log. */
[[maybe_unused]] bool const installed = [] {
    __android_log_set_logger(HandOut);
    return true;
}();

} // namespace

std::string LogLine::Render() const
{
    static char const letters[] = "??VDIWEF";
    bool const known = priority >= ANDROID_LOG_VERBOSE && priority <= ANDROID_LOG_FATAL;
    std::string const head = std::string(1, known ? letters[priority] : '?') + " " + tag + " ";
    return method.empty() ? head + text : head + method + ": " + text;
}

LogCapture::LogCapture() : previousPriority(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE))
{
    std::lock_guard<std::mutex> const lock(AllCaptures().mutex);
    AllCaptures().active.push_back(this);
}

LogCapture::~LogCapture()
{
    __android_log_set_minimum_priority(previousPriority);
    auto& active = AllCaptures().active;
    std::lock_guard<std::mutex> const lock(AllCaptures().mutex);
    active.erase(std::remove(active.begin(), active.end(), this), active.end());
}

void LogCapture::Add(LogLine const& line)
{
    std::lock_guard<std::mutex> const lock(mutex);
    entries.push_back(line);
}

std::vector<LogLine> LogCapture::Entries() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return entries;
}

std::vector<std::string> LogCapture::Lines(std::string const& tag) const
{
    std::vector<std::string> lines;
    for (LogLine const& line : Entries()) {
        if (tag.empty() || line.tag == tag) {
            lines.push_back(line.Render());
        }
    }
    return lines;
}

std::size_t LogCapture::Count(int priority, std::string const& tag, std::string const& method,
                              std::string const& text) const
{
    auto const lines = Entries();
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](LogLine const& line) {
        return line.priority == priority && line.tag == tag && line.method == method && line.text == text;
    }));
}

bool LogCapture::Has(int priority, std::string const& tag, std::string const& method, std::string const& text) const
{
    return Count(priority, tag, method, text) != 0;
}

std::size_t LogCapture::Count(int priority) const
{
    auto const lines = Entries();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [priority](LogLine const& line) { return line.priority == priority; }));
}

void LogCapture::Clear()
{
    std::lock_guard<std::mutex> const lock(mutex);
    entries.clear();
}

LogSwitch::LogSwitch(unsigned int value) : previous(PfLogonNamespace::PfLogonGet())
{
    PfLogonNamespace::PfLogonSet(value);
}

LogSwitch::~LogSwitch()
{
    PfLogonNamespace::PfLogonSet(previous);
}
