// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/VirtualTime.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/NodeValues.h"
#include "tools/corvanectl/platform/Platform.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"

#include <corvane/ConfigManager.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

/** The library on a platform in a sandbox, in virtual time. What it expects is a finding if it is not so. */
class FuzzedLibrary {
public:
    /** @param described lives as long as this. @param seed of the order in which threads run. */
    explicit FuzzedLibrary(Platform const& described, std::uint64_t seed = 0);

    /** Starts it; what the check of the platform accepts it must take. @return whether it did. */
    bool Start(ConfigManagerOptions options = {});
    ConfigManager& Manager() { return *manager; }
    /** @return whether the check of the platform has nothing against it. */
    bool IsSound() const { return isSound; }

    std::string Dump(std::string const& option);
    /** Expects that each node holds what it does while nobody asks for anything, if that can be told of the platform.
     */
    void ExpectAtBase(std::set<std::size_t> const& exceptResources = {}) const;
    /** Ends it, and expects that every node is closed. */
    void End();

private:
    Platform const& platform;

public:
    VirtualTime time;
    SandboxNodes nodes;

private:
    std::unique_ptr<PlatformConfigs> configs;
    std::unique_ptr<ConfigManager> manager;
    std::vector<BaseNode> base;
    bool const isSound;
};
