// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandManager.h"
#include "command/CommandWrapper.h"
#include "resource/ResourceManager.h"

/**
 * One start on its way: made before it is recorded, and asked to send what was. Covers a release between recording and
 * queueing: queues the stop itself. A second stop, or one for a handle that has only expired, finds nothing in the
 * groups and does no harm.
 */
class CommandStart {
public:
    /** @param ownerPid the process that the handle is going to stand under. */
    CommandStart(CommandManager& manager, int ownerPid)
        : commandManager(manager), owner(ownerPid), ticket(manager.TakeTicket())
    {
    }

    /**
     * Sends, calls whenSent with whether that went well, then looks again.
     * @return what whenSent returned.
     */
    template <typename WhenSent>
    int Send(ResourceManager const& resourceManager, CommandWrapper& wrapper, WhenSent const& whenSent)
    {
        int const result = whenSent(resourceManager.SendCmdToResources(wrapper) == 0);
        released = wrapper.handle != NO_HANDLE && commandManager.IsReleasedSince(ticket, owner, wrapper.handle);
        if (released && commandManager.UpdateReleaseCommandType(wrapper) == 0) {
            resourceManager.SendCmdToResources(wrapper);
        }
        return result;
    }

    bool WasReleased() const { return released; }

private:
    CommandManager& commandManager;
    int const owner;
    CommandManager::StartTicket const ticket;
    bool released = false;
};
