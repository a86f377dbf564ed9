// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>
#include <vector>

/**
 * What the last word of a line can become: commands, and behind one what its arguments can be, as help shows them.
 * @return whole words that begin with the last one, in order.
 */
std::vector<std::string> Completions(Session const& session, std::string const& line);
