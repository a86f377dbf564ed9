// SPDX-License-Identifier: Apache-2.0

#include "tests/support/TraceCapture.h"

#include <cutils/trace.h>

#include <mutex>

namespace {

// Never destroyed: a thread may trace until the process ends.
std::mutex& mutex = *new std::mutex;

// guarded by mutex
std::vector<std::string>& labels = *new std::vector<std::string>;
int openSlices = 0;

} // namespace

extern "C" {

// In an executable these stand before the platform library's own.
__attribute__((visibility("default"))) void atrace_begin_body(char const* name)
{
    std::lock_guard<std::mutex> const lock(mutex);
    labels.emplace_back(name);
    ++openSlices;
}

__attribute__((visibility("default"))) void atrace_end_body()
{
    std::lock_guard<std::mutex> const lock(mutex);
    --openSlices;
}

} // extern "C"

TraceCapture::TraceCapture() : previousTags(atrace_enabled_tags)
{
    std::lock_guard<std::mutex> const lock(mutex);
    labels.clear();
    openSlices = 0;
    atrace_enabled_tags = ATRACE_TAG_GRAPHICS;
}

TraceCapture::~TraceCapture()
{
    atrace_enabled_tags = previousTags;
}

std::vector<std::string> TraceCapture::Labels() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return labels;
}

int TraceCapture::OpenSlices() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return openSlices;
}
