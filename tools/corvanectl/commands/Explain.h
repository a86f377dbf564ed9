// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <optional>
#include <string>

/**
 * Says of each group of a resource who holds its floor and its ceiling, what waits behind, and what its nodes are at.
 * @throws InputError if the library has no such resource or group.
 */
std::string Explain(Session& session, PerfQosId qos, std::optional<unsigned int> group);

/**
 * The same of the groups that write this node; of the thread binder's, which threads are bound. Says so if nothing
 * writes it on this platform.
 */
std::string ExplainNode(Session& session, std::string const& node);

/** A row for each node: what it holds, its base, and who holds it there. */
std::string NodeTable(Session& session);
