// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/VirtualTime.h"
#include "sys/PerfTime.h"
#include "tools/corvanectl/session/StopSignal.h"

#include <corvane/PerfTypes.h>

#include <chrono>
#include <optional>

class ConfigManager;

/**
 * A session's clock and all its waiting. Made before the library's first thread, by the thread that uses the session,
 * and gone after the last.
 */
class SessionTime {
public:
    enum class Kind {
        DEVICE,
        VIRTUAL, ///< goes on only while the session waits, and takes none of the device's
    };

    explicit SessionTime(Kind kind);

    static PerfTimePoint Now() { return PerfTime::Now(); }
    bool IsVirtual() const { return own.has_value(); }

    /** Waits until every worker has done what it was told so far. */
    void WaitForWorkers(ConfigManager& manager);
    /** From now on a write may take virtual time, for which settling then waits. */
    void NodesAreSlow() { nodesAreSlow = true; }
    /** @param stop ends it early, where it takes time. */
    void Advance(std::chrono::milliseconds time, StopSignal const& stop);

private:
    std::optional<VirtualTime> own;
    bool nodesAreSlow = false;
};
