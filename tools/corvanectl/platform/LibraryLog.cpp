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
    if (innermost != nullptr && innermost->Take(priority, message)) {
        return;
    }
    if (auto const receive = receiver.load()) {
        receive(priority, tag == nullptr ? "" : tag, message);
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

/** What a line means that only its author understands, as in docs/diagnostics.md; empty of others. */
std::string MeaningOf(std::string const& line)
{
    static std::pair<char const*, char const*> const MEANINGS[] = {
        {"boostValue(", "a boost switches the global boost on and a limit switches it off"},
        {"invalid set base command", "base values of EAS have no duration and stand alone in a request"},
        {"invalid parameter for PerfEvent", "an event takes nothing or 1 to start, and 0 alone to stop"},
        {"found in levelMapping", "no such level"},
        {"invalid pid", "a client's id is above 0"},
        {"invalid scenario id", "none of this platform's"},
        {"PerfQosFreqConfig", "a resource with a freqListNode"},
        {"LoadGroupInfo fail", "there is no group"},
    };
    for (auto const& [words, meaning] : MEANINGS) {
        if (line.find(words) != std::string::npos) {
            return std::string(" (") + meaning + ")";
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
    line.text.erase(line.text.find_last_not_of(" \n") + 1);
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
    return namesNoBound ? lines[error - 1].text : text + MeaningOf(text);
}

std::string CaughtLines::Name() const
{
    std::size_t const error = FirstError();
    return error == lines.size() ? "" : lines[error].name;
}
