// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"

#include <map>
#include <memory>
#include <string>

struct SandboxJournal;

/**
 * Sees what the library writes to nodes that are not a sandbox's, such as those of a device, while it lives: every
 * write to a descriptor that is opened meanwhile passes untouched and is then told, with its outcome. Nothing is kept.
 * The observer is called as Sandbox::OnWrite says.
 */
class NodeWatch {
public:
    /** @param names what to call the files, by the paths that they are opened by. */
    NodeWatch(std::map<std::string, std::string> const& names, Sandbox::Observer observer);
    NodeWatch(NodeWatch const&) = delete;
    NodeWatch& operator=(NodeWatch const&) = delete;
    ~NodeWatch();

private:
    std::shared_ptr<SandboxJournal> const journal;
};
