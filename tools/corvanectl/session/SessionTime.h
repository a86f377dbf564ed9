#pragma once

#include "sys/PerfTime.h"

#include <corvane/PerfTypes.h>

#include <chrono>

class ConfigManager;

/** A session's clock and all its waiting. */
class SessionTime {
public:
    static PerfTimePoint Now() { return PerfTime::Now(); }

    /** Waits until every worker has done what it was told so far. */
    static void Settle(ConfigManager& manager);
    static void Advance(std::chrono::milliseconds time);
};
