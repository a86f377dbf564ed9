// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"
#include "tools/corvanectl/platform/NodeValues.h"
#include "tools/corvanectl/platform/Platform.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

/**
 * Where the nodes of a platform are, and what can be done with them there. A node is named as in the platform file; its
 * place is the path that the library gets.
 */
class Nodes {
public:
    virtual ~Nodes() = default;

    /** Text of the places that is not the device's own, to be cut out of what is shown; may be empty. */
    virtual std::string Root() const = 0;
    virtual std::string PathOf(std::string const& node) const = 0;

    /** True for device nodes: checked before the start, read back after writes. */
    virtual bool AreReal() const { return false; }
    /** Whether Leave puts back what they held. */
    virtual bool LeftAsFound() const { return false; }

    /** Gets the nodes ready, before anything is read from them. @throws InputError */
    virtual void Prepare(Platform const& platform) = 0;
    /** Gives each node what it holds while nobody asks, where nodes are ours. */
    virtual void SetBase(std::vector<BaseNode> const& base) = 0;
    /** Tells of every write that is seen from now on, by the node's name; any thread. */
    virtual void Watch(Sandbox::Observer observer) = 0;
    /** @return what the node holds, or nothing if it cannot be read. */
    virtual std::optional<std::string> Read(std::string const& node) const = 0;
    /** Reads a real node again, until the deadline, where what it holds does not fit. @return what it held at last. */
    std::optional<std::string> ReadWhatFits(std::string const& node, PerfTimePoint deadline,
                                            std::function<bool(std::string const& content)> const& fits) const;
    /** Takes notice that a node, after a write, holds something else. */
    virtual void NoteStrayed(std::string const& /* node */, std::string const& /* held */) {}

    /** How nodes were left. */
    struct Leaving {
        std::vector<std::string> lines; ///< what a person should know of it
        bool asItShould = true;         ///< whether all was put back that was to be
    };
    /** Leaves the nodes, when nobody writes any more. */
    virtual Leaving Leave() { return {}; }
    /** The same in a hurry, and nothing is told: the process is about to end, whatever it is doing. Any thread. */
    virtual void Abandon() {}

    /** @throws InputError where nodes cannot be made to misbehave. */
    virtual Sandbox& Box();
};
