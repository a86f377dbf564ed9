// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/StopSignal.h"

#include <string>

/** Lines from a descriptor as they come. */
class LineReader {
public:
    explicit LineReader(int descriptor) : source(descriptor) {}

    /** Waits for the next line. @return false at the end of the input, or when asked to stop. */
    bool Next(std::string& line, StopSignal const& stop);

private:
    bool Fill(StopSignal const& stop);

    int const source;
    std::string buffer;
};
