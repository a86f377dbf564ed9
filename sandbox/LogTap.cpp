// SPDX-License-Identifier: Apache-2.0

#include "sandbox/LogTap.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include <android/log.h>

namespace {

/** What the log cuts a line to, its terminator included. */
constexpr std::size_t LINE_SIZE = 1024;

std::atomic<LogTap::Receiver> current{nullptr};

} // namespace

void LogTap::SetReceiver(Receiver receiver)
{
    current = receiver;
}

// In an executable this stands before the platform library's own.
extern "C" __attribute__((visibility("default"))) int __android_log_print(int priority, char const* tag,
                                                                          char const* format, ...)
{
    char message[LINE_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(message, sizeof(message), format, values);
    va_end(values);
    LogTap::Receiver const receiver = current;
    if (receiver == nullptr) {
        return __android_log_write(priority, tag, message);
    }
    receiver(priority, tag != nullptr ? tag : "", message);
    return 1;
}
