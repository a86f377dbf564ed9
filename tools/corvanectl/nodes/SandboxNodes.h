// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/Nodes.h"

/** Nodes in a temporary folder, made for the session and gone with it. */
class SandboxNodes : public Nodes {
public:
    std::string Root() const override { return sandbox.Root(); }
    std::string PathOf(std::string const& node) const override { return sandbox.Path(node); }
    void Prepare(Platform const& platform) override;
    void SetBase(std::vector<BaseNode> const& base) override;
    void Watch(Sandbox::Observer observer) override;
    std::optional<std::string> Read(std::string const& node) const override { return sandbox.Read(node); }
    void Abandon() override;
    Sandbox& Box() override { return sandbox; }

private:
    Sandbox sandbox;
};
