// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/RealNodes.h"

#include <utility>

/** @return where a node is if the device's tree stands in a folder; an empty one is the device itself. */
std::string PathBelow(std::string const& root, std::string const& node);

/** The nodes of a device whose tree stands in a folder; plain files will do. */
class RootNodes : public RealNodes {
public:
    RootNodes(std::string folder, bool keep) : RealNodes(keep), root(std::move(folder)) {}

    std::string Root() const override { return root; }
    std::string PathOf(std::string const& node) const override { return PathBelow(root, node); }
    /** @throws InputError if a node is missing. */
    void Prepare(Platform const& platform) override;

protected:
    void AfterWrite(NodeWrite const& write) override;

private:
    std::string const root;
};
