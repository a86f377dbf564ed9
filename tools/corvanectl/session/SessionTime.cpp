// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/SessionTime.h"

#include "tools/corvanectl/platform/Workers.h"

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
    ::WaitForWorkers(manager);
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
