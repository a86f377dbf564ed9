// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/NodeWatch.h"
#include "tools/corvanectl/nodes/Nodes.h"
#include "tools/corvanectl/nodes/SavedNodes.h"

#include <optional>
#include <set>
#include <string>
#include <utility>

/** @return where a node is if the device's tree stands in a folder; an empty one is the device itself. */
std::string PathBelow(std::string const& root, std::string const& node);

/**
 * The nodes of the device that the tool runs on, or of one whose tree stands in a folder, where plain files will do.
 * What each holds is read before the start and put back at the end.
 */
class RealNodes : public Nodes {
public:
    /** @param folder empty for the device itself. @param keep leave the nodes with what they were written last. */
    RealNodes(std::string folder, bool keep) : root(std::move(folder)), keeps(keep) {}

    std::string Root() const override { return root; }
    std::string PathOf(std::string const& node) const override { return PathBelow(root, node); }
    bool AreReal() const override { return true; }
    bool LeftAsFound() const override { return !keeps; }
    /** @throws InputError if a node is missing in the folder. */
    void Prepare(Platform const& platform) override;
    void SetBase(std::vector<BaseNode> const& /* base */) override {}
    void Watch(Sandbox::Observer observer) override;
    std::optional<std::string> Read(std::string const& node) const override;
    void NoteStrayed(std::string const& node, std::string const& held) override { saved.NoteStrayed(node, held); }
    Leaving Leave() override;
    void Abandon() override;

private:
    void CutFile(NodeWrite const& write) const;
    Leaving Keep() const;

    std::string const root;
    bool const keeps;
    std::set<std::string> names;
    SavedNodes saved;
    std::optional<NodeWatch> watch;
};
