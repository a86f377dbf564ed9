// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "catalogue/EventManager.h"
#include "catalogue/ScenarioManager.h"
#include "catalogue/WorkModeManager.h"
#include "command/CommandManager.h"
#include "command/CommandWrapper.h"
#include "resource/ResourceManager.h"
#include "sys/PerfMutex.h"
#include "sys/PerfThreadBinder.h"

#include <corvane/ConfigManager.h>

#include <vector>

/** What a facade is made of; built inside the object, so that services need not know of it. */
struct ConfigManager::Members {
    explicit Members(ConfigManagerOptions const& options);
    Members(Members const&) = delete;
    Members& operator=(Members const&) = delete;
    ~Members();

    /** Records a request or a scenario under a new handle and sends it, logging as method. @return 0 or -1. */
    int RecordAndSend(char const* method, int pid, PerfTimePoint const& now, CommandWrapper& wrapper,
                      unsigned long long& handle);
    int ReleaseWorkModeCommand(char const* method, unsigned long long handle, CommandWrapper& wrapper);

    /**
     * The records of one process, by their handles, but those that cannot be sent last: a release of all of them stops
     * at the first failure, and nobody would find the rest again.
     */
    std::vector<CommandManager::HandleWrapperMap::value_type*> InReleaseOrder(
        CommandManager::HandleWrapperMap& records) const;

    // lock for themselves
    CommandManager commandManager;
    ResourceManager resourceManager; // constant after Init, as are the two catalogues
    WorkModeManager workModeManager;
    EventManager eventManager;
    ScenarioManager scenarioManager;
    PerfThreadBinder threadBinder;

    // Lock order: debug, mode, probe, dump; each may be held when a manager or a queue takes its own.
    PerfMutex modeLock;  ///< serialises every change of the work mode, its recording included
    PerfMutex probeLock; ///< serialises starts and stops of probes: handle and binding change together
    PerfMutex debugLock;
    std::vector<unsigned long long> debugHandles CORVANE_GUARDED_BY(debugLock); ///< NO_HANDLE: nothing in effect
    PerfMutex dumpLock; ///< held from sending the orders to collecting the answers

    int const debugClientPid; // constant after construction
    bool initCalled = false;  // the thread of Init only
};
