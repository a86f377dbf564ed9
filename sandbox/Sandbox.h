// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

struct SandboxJournal;
struct SandboxNode;

/** @return the name of an errno that a node may answer with, such as "ENODEV"; "errno 4711" of any other. */
std::string ErrorName(int error);
/** The other way round. @return nothing of a text that is none of these. */
std::optional<int> ErrorNumber(std::string const& name);

/** One write on a node, as it was attempted. */
struct NodeWrite {
    std::string node;           ///< the name given to AddNode
    std::string bytes;          ///< everything the caller offered, also where less was taken
    PerfTimePoint time{};       ///< when the outcome was settled: after a delay or a gate
    std::uint64_t sequence = 0; ///< 1, 2, 3 … over all nodes of the sandbox
    ssize_t result = 0;         ///< the bytes taken, or -1
    int error = 0;              ///< errno of a failed write, else 0

    /** The bytes as text; what cannot be printed becomes \xNN. */
    std::string Text() const;
    /** "node <- text", followed by ": ENODEV" or ": 2 of 4 bytes" where not everything was taken. */
    std::string Line() const;
};

std::ostream& operator<<(std::ostream& out, NodeWrite const& write);
std::vector<std::string> Lines(std::vector<NodeWrite> const& writes);

/** @return where temporary files go: TMPDIR, else the system's folder, else a device's. */
std::filesystem::path TemporaryFolder();

/**
 * A way in which a node misbehaves. Faults of different kinds add up, a second one of a kind replaces the first; a
 * count says how often it strikes. Where several could strike, the delay comes first, then Stale or else Error or else
 * ShortCount; a fault that had no chance to strike is not used up.
 */
struct Fault {
    enum class Kind { STALE, ERROR, SHORT_COUNT, DELAY, OPEN_ERROR };
    static constexpr unsigned int UNTIL_CLEARED = 0xFFFFFFFF;

    Kind kind;
    long long value; ///< errno, bytes or ms, according to the kind
    unsigned int times;

    /** The node was created anew: descriptors opened so far fail with ENODEV, one opened from now on works. */
    static Fault Stale() { return {Kind::STALE, ENODEV, UNTIL_CLEARED}; }
    /** Every write fails with ENODEV, on a reopened descriptor too; opening still works. */
    static Fault Gone() { return Error(ENODEV); }
    /** The write takes nothing and fails with this errno. */
    static Fault Error(int error, unsigned int times = UNTIL_CLEARED) { return {Kind::ERROR, error, times}; }
    /** The write takes at most so many bytes and returns their count. */
    static Fault ShortCount(std::size_t taken, unsigned int times = UNTIL_CLEARED)
    {
        return {Kind::SHORT_COUNT, static_cast<long long>(taken), times};
    }
    /** The writer sleeps before anything else happens. */
    static Fault Delay(std::chrono::milliseconds delay, unsigned int times = UNTIL_CLEARED)
    {
        return {Kind::DELAY, delay.count(), times};
    }
    /** Opening fails with this errno; descriptors that are open already go on working. */
    static Fault OpenError(int error, unsigned int times = UNTIL_CLEARED) { return {Kind::OPEN_ERROR, error, times}; }
};

/**
 * A temporary folder of files that behave like kernel nodes, removed at destruction.
 *
 * An executable that links the sandbox has its side of sys/NodeIo.h. A write to a node replaces the node's content, is
 * recorded with its time and can be told to fail; an empty write is recorded and changes nothing. Everything else
 * passes to the device's side. Only NodeIo is seen: to whoever opens the file of a node himself it is an ordinary file.
 *
 * Names may contain '/', whose folders are made; a leading '/' is of no matter, so that "/sys/devices/x" stands for
 * that path under the root. Wherever a node is named, its whole path does as well. Naming no known node throws
 * std::out_of_range, a name with ".." std::invalid_argument, a folder or file that cannot be made std::system_error.
 *
 * Any thread may call anything at any time, except that construction and destruction need the object for themselves.
 * Several sandboxes may live at once. Nodes may still be open at destruction: their descriptors turn into those of
 * ordinary, deleted files, and writers that are held back are let go.
 */
class Sandbox {
public:
    using Observer = std::function<void(NodeWrite const&)>;

    Sandbox();
    Sandbox(Sandbox const&) = delete;
    Sandbox& operator=(Sandbox const&) = delete;
    ~Sandbox();

    std::string const& Root() const { return root; }
    /** @return where a node or file of this name is, or would be. */
    std::string Path(std::string const& name) const;

    /** Makes a node, or gives a known one another content without a record. @return its absolute path. */
    std::string AddNode(std::string const& name, std::string const& initialContent = "");
    /** Makes or replaces an ordinary file, such as a frequency list; its writes are not recorded. @return its path. */
    std::string AddFile(std::string const& name, std::string const& content = "");
    /** @return the present content of a node or file; empty if there is none. */
    std::string Read(std::string const& name) const;

    /** The attempts since construction or the last TakeWrites, failed ones included, in order of sequence. */
    std::vector<NodeWrite> Writes() const;
    std::vector<NodeWrite> Writes(std::string const& name) const;
    /** Hands the attempts over and forgets them; the sequence runs on. */
    std::vector<NodeWrite> TakeWrites();

    /** Holds from the next open or write on. */
    void FailNode(std::string const& name, Fault const& fault);
    /** Ends every fault of a node; descriptors that were stale work again. Gates stay shut. */
    void ClearFaults(std::string const& name);

    /** @return how many descriptors the process holds on a node, or on all of them. */
    int OpenDescriptors(std::string const& name) const;
    int OpenDescriptors() const;

    /**
     * Calls back after every recorded write, and after every open that fails, as of a write without bytes; on the
     * writing thread and without a lock: the observer may use the sandbox. Concurrent writes call back concurrently. A
     * call that has begun may outlast the observer's replacement (nullptr for none) and the sandbox.
     */
    void OnWrite(Observer observer);

private:
    friend class NodeGate;

    std::string WritePlain(std::string const& name, std::string const& content) const;

    // constant after construction
    std::string root;
    std::shared_ptr<SandboxJournal> journal;
};

/**
 * Holds back every write to one node while it lives: after a delay, before the write is recorded and any other fault is
 * looked at. Declare it after whatever would wait for the writer, so that a failing test opens the gate on its way out.
 */
class NodeGate {
public:
    NodeGate(Sandbox& sandbox, std::string const& name);
    NodeGate(NodeGate const&) = delete;
    NodeGate& operator=(NodeGate const&) = delete;
    ~NodeGate() { Release(); }

    /** Lets the writers go, for good; destruction does the same. */
    void Release();

private:
    std::shared_ptr<SandboxNode> node; ///< null once released; owner's thread only
};
