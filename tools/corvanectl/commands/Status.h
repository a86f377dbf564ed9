// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/session/Session.h"

#include <string>

/** How things stand, on one screen: time, work mode, what is held and by whom, what is suspended and away from base. */
std::string StatusOf(Session& session);
