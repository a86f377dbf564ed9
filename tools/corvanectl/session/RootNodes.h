#pragma once

#include "tools/corvanectl/session/RealNodes.h"

/** The nodes of a device whose tree stands in a folder. */
class RootNodes : public RealNodes {
public:
    explicit RootNodes(std::string folder) : root(std::move(folder)) {}

    std::string Root() const override { return root; }
    std::string PlaceOf(std::string const& node) const override;
    /** @throws InputError if a node is missing. */
    void Prepare(Platform const& platform) override;

private:
    std::string const root;
};
