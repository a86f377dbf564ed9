// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>
#include <vector>

// Why the library answers a call as it does: of a refusal its own words for what it would not take, else what is
// granted in another way than it was asked for, or left out. The library is asked for each part of the call once more.

/** Of a request, a scenario or a mode. @param said the error line of the call itself. */
std::vector<std::string> ReasonsFor(Session& session, Held const& asked, int result, std::string const& said);
/** Of an event or a probe. */
std::vector<std::string> ReasonsFor(Session& session, Triggered const& asked, int result, std::string const& said);
/** Of a suspend or a resume. */
std::vector<std::string> ReasonsFor(Session& session, Suspended const& asked, int result, std::string const& said);

/** @return whether a suspend of this resource comes to anything. */
bool CanSuspend(Platform const& platform, PerfQosId id);
