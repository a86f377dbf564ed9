// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/NodeWatch.h"
#include "tools/corvanectl/nodes/Nodes.h"
#include "tools/corvanectl/nodes/SavedNodes.h"

#include <optional>
#include <set>

/**
 * The nodes of the device that the tool runs on. What each holds is read before the start and put back at the end.
 */
class RealNodes : public Nodes {
public:
    /** @param keep leave the nodes with what they were written last. */
    explicit RealNodes(bool keep) : keeps(keep) {}

    std::string Root() const override { return ""; }
    std::string PathOf(std::string const& node) const override { return node; }
    bool AreReal() const override { return true; }
    bool LeftAsFound() const override { return !keeps; }
    void Prepare(Platform const& platform) override;
    void SetBase(std::vector<BaseNode> const& /* base */) override {}
    void Watch(Sandbox::Observer observer) override;
    std::optional<std::string> Read(std::string const& node) const override;
    void NoteStrayed(std::string const& node, std::string const& held) override { saved.NoteStrayed(node, held); }
    Leaving Leave() override;
    void Abandon() override;

protected:
    /** Called for each write, before it is told. */
    virtual void AfterWrite(NodeWrite const& /* write */) {}

private:
    Leaving Keep() const;

    bool const keeps;
    std::set<std::string> names;
    SavedNodes saved;
    std::optional<NodeWatch> watch;
};
