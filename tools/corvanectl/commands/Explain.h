// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <optional>
#include <string>

/**
 * Says of each group of a resource, or of one, how its pair of values came about: who holds the floor and the ceiling,
 * since when and until when, what waits behind, what the work mode made of the bases, and whether a suspend keeps it
 * from the nodes. What holds comes from the library's dumps, by whom and what is suspended from the ledger.
 * @throws InputError if the library has no such resource or group.
 */
std::string Explain(Session& session, PerfQosId qos, std::optional<unsigned int> group);
