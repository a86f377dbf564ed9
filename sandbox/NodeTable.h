// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"
#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

/** Wakes everybody who is held back at a node; in the time that the library runs in. */
class NodeSignal {
public:
    void NotifyAll()
    {
        for (int i = 0; i < waiting; ++i) {
            condition.NotifyOne();
        }
    }

    template <typename Predicate> void WaitUntil(PerfMutexLock& lock, PerfTimePoint const& deadline, Predicate isSo)
    {
        ++waiting;
        while (!isSo() && PerfTime::Now() < deadline) {
            condition.WaitUntil(lock, deadline);
        }
        --waiting;
    }

private:
    PerfCondition condition;
    int waiting = 0;
};

/** What one sandbox has seen. Guarded by NodeTable::mutex. */
struct SandboxJournal {
    std::vector<NodeWrite> writes;
    std::uint64_t sequence = 0;
    std::shared_ptr<Sandbox::Observer const> observer; ///< null if there is none, but never an empty function
};

/** One node. Guarded by NodeTable::mutex. */
struct SandboxNode {
    SandboxNode(std::string const& givenName, std::shared_ptr<SandboxJournal> const& itsJournal, bool real = false)
        : name(givenName), isReal(real), journal(itsJournal)
    {
    }

    std::string const name;
    bool const isReal;                       ///< of a NodeWatch: a file of somebody else's, which is only looked at
    std::shared_ptr<SandboxJournal> journal; ///< null once the sandbox is gone: a writer may outlive it at a gate
    std::map<Fault::Kind, Fault> faults;     ///< all but Stale
    std::uint64_t staleBefore = 0;           ///< descriptors with a lower stamp fail with ENODEV
    int gates = 0;
    NodeSignal released; ///< when a gate opens, and when the sandbox is gone
};

/** An open descriptor of a node. */
struct SandboxDescriptor {
    std::shared_ptr<SandboxNode> node;
    std::uint64_t stamp; ///< orders openings and Stale faults
};

/**
 * The nodes of all live sandboxes and watches, and the descriptors open on them; what sys/NodeIo.h declares is defined
 * on it, and takes whatever stands in no table to the device's nodes.
 *
 * One for the process, made at first use and never destroyed: nodes may be closed until the very end. Under the lock
 * nothing of the caller's is called and no other lock is taken.
 */
struct NodeTable {
    static NodeTable& Get();

    PerfMutex mutex;

    // guarded by mutex
    std::map<std::string, std::shared_ptr<SandboxNode>> nodes; ///< by normal absolute path
    std::map<int, SandboxDescriptor> descriptors;
    std::uint64_t lastStamp = 0;

    /** Strikes off every node and descriptor of one sandbox and lets its writers go. */
    void Retire(std::shared_ptr<SandboxJournal> const& journal);
};
