// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/RealNodes.h"

#include <utility>

/** The nodes of a device whose tree stands in a folder; plain files will do. */
class RootNodes : public RealNodes {
public:
    RootNodes(std::string folder, bool keep) : RealNodes(keep), root(std::move(folder)) {}

    std::string Root() const override { return root; }
    std::string PathOf(std::string const& node) const override;
    /** @throws InputError if a node is missing. */
    void Prepare(Platform const& platform) override;

protected:
    void AfterWrite(NodeWrite const& write) override;

private:
    std::string const root;
};
