// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/SessionTime.h"

#include <corvane/ConfigManager.h>

#include <sstream>

SessionTime::SessionTime(Kind kind)
{
    if (kind == Kind::VIRTUAL) {
        own.emplace();
    }
}

void SessionTime::WaitForWorkers(ConfigManager& manager)
{
    if (own) {
        own->Settle(); // the thread binder too
        if (!nodesAreSlow) {
            return;
        }
    }
    // Each worker answers a dump when it has done everything that was asked of it before.
    std::ostringstream nowhere;
    static_cast<void>(manager.TaskDump(false, nowhere)); // fails without workers, and then there is nothing to wait for
    if (own) {
        own->Settle();
    }
}

void SessionTime::Advance(std::chrono::milliseconds time, StopSignal const& stop)
{
    if (own) {
        own->AdvanceBy(time);
    } else {
        stop.WaitFor(time);
    }
}
