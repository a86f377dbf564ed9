// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "catalogue/WorkModeManager.h"
#include "command/CommandManager.h"
#include "resource/PerfResource.h"

#include <corvane/ConfigManager.h>

#include <optional>

/** Snapshots of what the library holds: what its dumps print, with whole handles. */
class LibraryState {
public:
    /** Waits for the resource's worker, like a dump. @return nothing of a resource that is not there. */
    static std::optional<PerfResourceState> Of(ConfigManager& manager, PerfQosId id);
    static WorkModeState Modes(ConfigManager& manager);
    static CommandManager::UnnamedHandles Handles(ConfigManager& manager);
};
