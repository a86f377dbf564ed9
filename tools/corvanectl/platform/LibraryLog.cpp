// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/LibraryLog.h"

#include "sandbox/LogTap.h"

#include <corvane/PfLogon.h>

#include <atomic>
#include <utility>

#include <android/log.h>

namespace {

std::atomic<LibraryLog::Receiver> receiver{nullptr};
thread_local CaughtLines* innermost = nullptr;

void Hear(int priority, char const* tag, char const* message)
{
    std::string line = message;
    line.erase(line.find_last_not_of(" \n") + 1);
    if (innermost != nullptr && innermost->Take(priority, line)) {
        return;
    }
    if (auto const receive = receiver.load()) {
        receive(priority, tag == nullptr ? "" : tag, line);
    }
}

/** Takes "[text] " from the front. @return the text, or nothing if there is none. */
std::string TakeBracket(std::string& line)
{
    std::size_t const end = line.find("] ");
    if (line.empty() || line.front() != '[' || end == std::string::npos) {
        return "";
    }
    std::string text = line.substr(1, end - 1);
    line.erase(0, end + 2);
    return text;
}

/** What is known of the library's error lines by words in them: the first that fit count, so that order matters. */
struct Known {
    char const* words;
    char const* field;   ///< of the platform file, that the line is about; nullptr where only its caller can tell
    char const* meaning; ///< of a line that only its author understands, as in docs/diagnostics.md; else nullptr
};

constexpr Known KNOWN_LINES[] = {
    {"available min", ".availableMin", nullptr},
    {"base range", ".limitBase", nullptr},
    {"boost base", ".boostBase", nullptr},
    {"group value size", ".levels", nullptr},
    {"level2value", ".levels", nullptr},
    {"levelToValueMap", ".levelToValueMap", nullptr},
    {"EAS", ".levelToValueMap", nullptr},
    {"freq list", ".freqListNode", nullptr},
    {"PerfQosFreqConfig", ".freqListNode", "a resource with a freqListNode"},
    {"ath", ".nodes", nullptr}, // "Path" and "paths"
    {"group id", ".id", nullptr},
    {"invalid qos id", ".id", nullptr},
    {"event id", ".id", nullptr},
    {"scenario id", ".id", nullptr},
    {"group num", ".groups", nullptr},
    {"empty group", ".groups", nullptr},
    {"duration", ".duration", nullptr},
    {"boostValue(", nullptr, "a boost switches the global boost on and a limit switches it off"},
    {"invalid set base command", nullptr, "base values of EAS have no duration and stand alone in a request"},
    {"invalid parameter for PerfEvent", nullptr, "an event takes nothing or 1 to start, and 0 alone to stop"},
    {"found in levelMapping", nullptr, "no such level"},
    {"invalid pid", nullptr, "a client's id is above 0"},
    {"invalid scenario id", nullptr, "none of this platform's"},
    {"LoadGroupInfo fail", nullptr, "there is no group"},
};

std::string KnownOf(std::string const& line, char const* Known::*what)
{
    for (Known const& known : KNOWN_LINES) {
        if (known.*what != nullptr && line.find(known.words) != std::string::npos) {
            return known.*what;
        }
    }
    return "";
}

} // namespace

void LibraryLog::SendTo(Receiver to)
{
    receiver = to;
    LogTap::SetReceiver(Hear);
}

std::string LibraryLog::FieldOf(std::string const& line)
{
    return KnownOf(line, &Known::field);
}

CaughtLines::CaughtLines(Mode how) : mode(how), outer(innermost), switchBefore(PfLogonNamespace::PfLogonGet())
{
    LogTap::SetReceiver(Hear);
    innermost = this;
    if (mode == Mode::ASIDE) {
        PfLogonNamespace::PfLogonSet(switchBefore | PfLogonNamespace::DEBUG_BIT);
    }
}

CaughtLines::~CaughtLines()
{
    PfLogonNamespace::PfLogonSet(switchBefore);
    innermost = outer;
}

bool CaughtLines::Take(int priority, std::string const& message)
{
    Line line{priority, "", message};
    TakeBracket(line.text); // the method and the line of its source
    line.name = TakeBracket(line.text);
    lines.push_back(std::move(line));
    return mode == Mode::ASIDE;
}

std::size_t CaughtLines::FirstError() const
{
    std::size_t at = 0;
    while (at < lines.size() && lines[at].priority != ANDROID_LOG_ERROR) {
        ++at;
    }
    return at;
}

std::string CaughtLines::Why() const
{
    std::size_t const error = FirstError();
    if (error == lines.size()) {
        return "";
    }
    std::string const& text = lines[error].text;
    bool const namesNoBound =
        error > 0 && lines[error - 1].text.rfind("operation value(", 0) == 0 &&
        (text.rfind("invalid operation value", 0) == 0 || text.rfind("OperationValueValidate failed", 0) == 0);
    if (namesNoBound) {
        return lines[error - 1].text;
    }
    std::string const meaning = KnownOf(text, &Known::meaning);
    return meaning.empty() ? text : text + " (" + meaning + ")";
}

std::string CaughtLines::Name() const
{
    std::size_t const error = FirstError();
    return error == lines.size() ? "" : lines[error].name;
}
