// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/ConfigManager.h>

#include <sstream>

/** Waits until every worker has done what it was told so far: each answers a dump only then. */
inline void WaitForWorkers(ConfigManager& manager)
{
    std::ostringstream nowhere;
    static_cast<void>(manager.TaskDump(false, nowhere)); // fails without workers, and then there is nothing to wait for
}
