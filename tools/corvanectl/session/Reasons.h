// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>
#include <vector>

// Why the library answers a call as it does, as far as that follows from the platform as it is fitted to the device and
// from what the session has asked for so far. What becomes of a call is the library's to say: of a refusal this is the
// reason, if the tool can know it, and else what is granted in another way than it was asked for, or left out.

/** Of a request, a scenario or a mode. */
std::vector<std::string> ReasonsFor(Session& session, Held const& asked, int result);
/** Of an event or a probe. */
std::vector<std::string> ReasonsFor(Session& session, Triggered const& asked, int result);
/** Of a suspend or a resume. */
std::vector<std::string> ReasonsFor(Session& session, Suspended const& asked, int result);

/** @return whether a suspend of this resource comes to anything. */
bool CanSuspend(Platform const& platform, PerfQosId id);
