// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/LibraryVoice.h"

#include "tools/corvanectl/platform/LibraryLog.h"
#include "tools/corvanectl/session/SessionTime.h"

#include <corvane/PfLogon.h>

#include <atomic>
#include <string>

#include <android/log.h>
#include <cutils/trace.h>

namespace {

std::atomic<Story*> story{nullptr};
std::atomic<int> threshold{ANDROID_LOG_WARN};

void PublishLine(int priority, char const* tag, std::string const& line)
{
    Story* const current = story;
    if (current != nullptr && priority >= threshold) {
        current->Publish(SessionTime::Now(), Logged{priority, tag, line});
    }
}

} // namespace

extern "C" {

// In an executable these stand before the platform library's own, and so receive its labels.
__attribute__((visibility("default"))) void atrace_begin_body(char const* label)
{
    if (Story* const current = story) {
        current->Publish(SessionTime::Now(), Labelled{label});
    }
}

__attribute__((visibility("default"))) void atrace_end_body() {}

} // extern "C"

LibraryVoice::LibraryVoice(Story& published)
{
    story = &published;
    atrace_enabled_tags = ATRACE_TAG_GRAPHICS;
    LibraryLog::SendTo(PublishLine);
}

LibraryVoice::~LibraryVoice()
{
    atrace_enabled_tags = 0;
    story = nullptr;
}

void LibraryVoice::Switch(unsigned int bits)
{
    PfLogonNamespace::PfLogonSet(bits);
    if ((bits & PfLogonNamespace::DEBUG_BIT) != 0) {
        threshold = ANDROID_LOG_DEBUG;
    } else {
        threshold = (bits & PfLogonNamespace::INFO_BIT) != 0 ? ANDROID_LOG_INFO : ANDROID_LOG_WARN;
    }
}
