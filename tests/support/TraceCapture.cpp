#include "tests/support/TraceCapture.h"

#include <cutils/trace.h>

#include <mutex>

namespace {

/** Never destroyed: a thread may trace until the process ends. */
struct Collected {
    std::mutex mutex;
    // guarded by mutex
    bool active = false;
    std::vector<std::string> labels;
    int openSlices = 0;
};

Collected& TheCollected()
{
    static Collected* const collected = new Collected;
    return *collected;
}

/** Starts over. */
void SetActive(bool active)
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    TheCollected().active = active;
    TheCollected().labels.clear();
    TheCollected().openSlices = 0;
}

} // namespace

extern "C" {

// In an executable these stand before the platform library's own.
__attribute__((visibility("default"))) void atrace_begin_body(char const* name)
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    if (TheCollected().active) {
        TheCollected().labels.emplace_back(name);
        ++TheCollected().openSlices;
    }
}

__attribute__((visibility("default"))) void atrace_end_body()
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    if (TheCollected().active) {
        --TheCollected().openSlices;
    }
}

} // extern "C"

TraceCapture::TraceCapture() : previousTags(atrace_enabled_tags)
{
    SetActive(true);
    atrace_enabled_tags = ATRACE_TAG_GRAPHICS;
}

TraceCapture::~TraceCapture()
{
    atrace_enabled_tags = previousTags;
    SetActive(false);
}

std::vector<std::string> TraceCapture::Labels() const
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    return TheCollected().labels;
}

int TraceCapture::OpenSlices() const
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    return TheCollected().openSlices;
}

void TraceCapture::Clear()
{
    std::lock_guard<std::mutex> const lock(TheCollected().mutex);
    TheCollected().labels.clear();
}
