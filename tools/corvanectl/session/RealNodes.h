#pragma once

#include "tools/corvanectl/session/Nodes.h"

/** The nodes of the device that the tool runs on. */
class RealNodes : public Nodes {
public:
    std::string Root() const override { return ""; }
    std::string PlaceOf(std::string const& node) const override { return node; }
    void Prepare(Platform const& /* platform */) override {}
    void SetBase(std::vector<BaseNode> const& /* base */) override {}
    void Watch(Sandbox::Observer /* observer */) override {}
    std::optional<std::string> Read(std::string const& node) const override;
};
