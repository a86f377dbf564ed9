#pragma once

#include "sys/PerfTime.h"
#include "tools/corvanectl/session/StopSignal.h"

#include <corvane/PerfTypes.h>

#include <chrono>

class ConfigManager;

/** A session's clock and all its waiting. */
class SessionTime {
public:
    static PerfTimePoint Now() { return PerfTime::Now(); }

    /** Waits until every worker has done what it was told so far. */
    static void Settle(ConfigManager& manager);
    /** @param stop ends it early. */
    static void Advance(std::chrono::milliseconds time, StopSignal const& stop) { stop.WaitFor(time); }
};
