// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

/**
 * Switches tracing of the graphics category on while it lives and collects the labels of the slices that are begun, in
 * place of the system's trace. One at a time. Labels may come from every thread, but begin and end the capture while no
 * thread traces: the category word is a plain variable of the platform's.
 */
class TraceCapture {
public:
    TraceCapture();
    TraceCapture(TraceCapture const&) = delete;
    ~TraceCapture();

    std::vector<std::string> Labels() const;
    /** Slices begun and not ended. */
    int OpenSlices() const;

private:
    std::uint64_t const previousTags;
};
