// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <vector>

// The calls of a client. Each calls the library, and tells what it has answered, why, and what has come of it.

/** Makes the call in asked: a request, a scenario or a mode. The library fills in the handle. */
void CallFor(Session& session, Held asked);
void CallRelease(Session& session, Released const& what);
void CallSuspend(Session& session, Suspended asked);
/** Also probes and suspends, which are events with an id of their own. */
void CallEvent(Session& session, PerfEventId id, std::vector<unsigned int> const& params);
