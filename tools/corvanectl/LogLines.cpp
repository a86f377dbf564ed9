#include "tools/corvanectl/LogLines.h"

#include <corvane/PfLogon.h>

#include <atomic>
#include <iostream>
#include <sstream>

#include <android/log.h>

namespace {

std::atomic<int> threshold{ANDROID_LOG_WARN};
std::string hidden;

char Letter(int priority)
{
    static char const LETTERS[] = "??VDIWEF";
    return priority >= 0 && priority <= ANDROID_LOG_FATAL ? LETTERS[priority] : '?';
}

void Show(__android_logger_data const* data, char const* message)
{
    if (data->priority < threshold) {
        return;
    }
    std::string text = Without(message, hidden);
    text.erase(text.find_last_not_of(" \n") + 1);
    std::ostringstream line; // one insertion, so that lines of several threads stay whole
    line << "log: " << Letter(data->priority) << " " << (data->tag == nullptr ? "" : data->tag) << " " << text << "\n";
    std::cerr << line.str() << std::flush;
}

void Ignore(__android_logger_data const*, char const*) {}

} // namespace

LogLines::LogLines()
{
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(Show);
}

LogLines::~LogLines()
{
    __android_log_set_logger(Ignore);
    hidden.clear();
}

void LogLines::Switch(unsigned int bits)
{
    PfLogonNamespace::PfLogonSet(bits);
    if ((bits & PfLogonNamespace::DEBUG_BIT) != 0) {
        threshold = ANDROID_LOG_DEBUG;
    } else {
        threshold = (bits & PfLogonNamespace::INFO_BIT) != 0 ? ANDROID_LOG_INFO : ANDROID_LOG_WARN;
    }
}

void LogLines::Hide(std::string const& text)
{
    hidden = text;
}

std::string Without(std::string text, std::string const& part)
{
    for (std::size_t at = 0; !part.empty() && (at = text.find(part, at)) != std::string::npos;) {
        text.erase(at, part.size());
    }
    return text;
}
