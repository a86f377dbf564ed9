// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/LibraryState.h"

#include "command/CommandWrapper.h"
#include "frontend/ConfigManagerMembers.h"

std::optional<PerfResourceState> LibraryState::Of(ConfigManager& manager, PerfQosId id)
{
    ConfigManager::Members& members = manager.members;
    if (!members.resourceManager.HasResource(id)) {
        return std::nullopt;
    }
    CommandWrapper wrapper(PERF_COMMAND_GET_LOG, PerfTimePoint{}, PerfTimePoint{}, 0);
    wrapper.InsertDebugCommand(id);
    PerfMutexLock lock(members.dumpLock); // one dump at a time
    PerfResourceState state;
    bool const isThere = members.resourceManager.SendCmdToResources(wrapper) == 0 &&
                         members.resourceManager.GetResourcePtr(id)->WaitState(state);
    return isThere ? std::optional(std::move(state)) : std::nullopt;
}

WorkModeState LibraryState::Modes(ConfigManager& manager)
{
    return manager.members.workModeManager.State();
}

CommandManager::UnnamedHandles LibraryState::Handles(ConfigManager& manager)
{
    return manager.members.commandManager.State();
}
