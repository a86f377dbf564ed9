// Both would make something else of the functions defined at the end.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS

#include "sandbox/NodeTable.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/** The numbers that are descriptors of nodes; a number beyond is an ordinary file's. */
std::array<std::atomic<bool>, 65536> isNode{};

bool IsNode(int fd)
{
    return fd >= 0 && static_cast<std::size_t>(fd) < isNode.size() &&
           isNode[static_cast<std::size_t>(fd)].load(std::memory_order_relaxed);
}

/**
 * The definition behind ours, looked up at first use: that may be before any initialisation of this file. Threads that
 * race find the same address.
 */
template <typename Function> Function* Next(std::atomic<Function*>& known, char const* name)
{
    Function* function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        int const savedErrno = errno;
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
        errno = savedErrno;
    }
    return function;
}

int RealOpen(char const* path, int flags, mode_t mode)
{
    static std::atomic<int (*)(char const*, int, ...)> known{nullptr};
    return Next(known, "open")(path, flags, mode);
}

int RealClose(int fd)
{
    static std::atomic<int (*)(int)> known{nullptr};
    return Next(known, "close")(fd);
}

ssize_t RealWrite(int fd, void const* data, std::size_t size)
{
    static std::atomic<ssize_t (*)(int, void const*, std::size_t)> known{nullptr};
    return Next(known, "write")(fd, data, size);
}

ssize_t RealPwrite(int fd, void const* data, std::size_t size, off_t position)
{
    static std::atomic<ssize_t (*)(int, void const*, std::size_t, off_t)> known{nullptr};
    return Next(known, "pwrite")(fd, data, size, position);
}

std::optional<long long> TakeFault(SandboxNode& node, Fault::Kind kind)
{
    auto const found = node.faults.find(kind);
    if (found == node.faults.end()) {
        return std::nullopt;
    }
    long long const value = found->second.value;
    if (found->second.times != Fault::UNTIL_CLEARED && --found->second.times == 0) {
        node.faults.erase(found);
    }
    return value;
}

int OpenNodeLocked(NodeTable& table, std::shared_ptr<SandboxNode> const& node, char const* path, int flags, mode_t mode)
{
    if (auto const error = TakeFault(*node, Fault::Kind::OPEN_ERROR)) {
        errno = static_cast<int>(*error);
        return -1;
    }
    int const fd = RealOpen(path, node->isReal ? flags : flags & ~(O_TRUNC | O_APPEND), mode);
    if (fd >= 0 && static_cast<std::size_t>(fd) < isNode.size()) {
        table.descriptors.insert_or_assign(fd, SandboxDescriptor{node, ++table.lastStamp});
        isNode[static_cast<std::size_t>(fd)].store(true, std::memory_order_relaxed);
    }
    return fd;
}

int OpenInSandbox(char const* path, int flags, mode_t mode)
{
    int const savedErrno = errno;
    std::string const key = std::filesystem::path(path).lexically_normal().string();
    NodeTable& table = NodeTable::Get();
    {
        PerfMutexLock const lock(table.mutex);
        auto const found = table.nodes.find(key);
        errno = savedErrno;
        if (found != table.nodes.end()) {
            return OpenNodeLocked(table, found->second, path, flags, mode);
        }
    }
    return RealOpen(path, flags, mode);
}

using DescriptorPosition = std::map<int, SandboxDescriptor>::iterator;

DescriptorPosition ForgetLocked(NodeTable& table, DescriptorPosition position)
{
    isNode[static_cast<std::size_t>(position->first)].store(false, std::memory_order_relaxed);
    return table.descriptors.erase(position);
}

void Forget(int fd)
{
    NodeTable& table = NodeTable::Get();
    PerfMutexLock const lock(table.mutex);
    auto const found = table.descriptors.find(fd);
    if (found != table.descriptors.end()) {
        ForgetLocked(table, found);
    }
}

void HoldBack(NodeTable& table, PerfMutexLock& lock, SandboxNode& node)
{
    if (auto const delay = TakeFault(node, Fault::Kind::DELAY)) {
        PerfTimePoint const end = PerfTime::Now() + std::chrono::milliseconds(*delay);
        node.released.WaitUntil(lock, end, [&node] { return node.journal == nullptr; });
    }
    if (node.gates > 0) {
        ++node.heldWriters;
        table.changed.NotifyAll();
        node.released.WaitUntil(lock, PerfTimePoint::max(), [&node] { return node.gates == 0; });
        --node.heldWriters;
    }
}

/** @return 0, or the errno of the failure. An empty text changes nothing. */
int ReplaceContent(int fd, std::string const& content)
{
    bool const done = RealPwrite(fd, content.data(), content.size(), 0) >= 0 &&
                      (content.empty() || ftruncate(fd, static_cast<off_t>(content.size())) == 0);
    return done ? 0 : errno;
}

/** Where a write happens: at the position of its descriptor, which moves on, or at the one that was given. */
using Place = std::optional<off_t>;

void PerformLocked(int fd, Place place, SandboxDescriptor const& descriptor, NodeWrite& write)
{
    SandboxNode& node = *descriptor.node;
    std::size_t taken = write.bytes.size();
    write.position = place ? *place : lseek(fd, 0, SEEK_CUR); // the file's own, so that lseek does what it should
    write.error = 0;
    if (descriptor.stamp < node.staleBefore) {
        write.error = ENODEV;
    } else if (node.isSysctl && write.position != 0) {
        write.ignored = true; // not even looked at, so that no value is refused
    } else if (auto const error = TakeFault(node, Fault::Kind::ERROR)) {
        write.error = static_cast<int>(*error);
    } else {
        if (auto const limit = TakeFault(node, Fault::Kind::SHORT_COUNT)) {
            taken = std::min(taken, static_cast<std::size_t>(*limit));
        }
        write.error = ReplaceContent(fd, write.bytes.substr(0, taken));
    }
    write.result = write.error == 0 ? static_cast<ssize_t>(taken) : -1;
    if (!place && write.result > 0) {
        lseek(fd, write.result, SEEK_CUR);
    }
    write.node = node.name;
    write.time = PerfTime::Now();
    write.sequence = ++node.journal->sequence;
}

/**
 * Carries the write out and records it. A descriptor that was closed, or whose sandbox ended, while its writer was held
 * back gets EBADF and leaves no record.
 * @return the observer to tell, or null.
 */
std::shared_ptr<Sandbox::Observer const> Perform(int fd, Place place, NodeWrite& write)
{
    NodeTable& table = NodeTable::Get();
    PerfMutexLock lock(table.mutex);
    write.result = -1;
    write.error = EBADF;
    auto found = table.descriptors.find(fd);
    if (found == table.descriptors.end()) {
        return nullptr;
    }
    SandboxDescriptor const descriptor = found->second;
    HoldBack(table, lock, *descriptor.node);
    found = table.descriptors.find(fd);
    if (found == table.descriptors.end() || found->second.stamp != descriptor.stamp) {
        return nullptr;
    }
    PerformLocked(fd, place, descriptor, write);
    descriptor.node->journal->writes.push_back(write);
    table.changed.NotifyAll();
    return descriptor.node->journal->observer;
}

/** @return the node of a NodeWatch that is open there, or null. */
std::shared_ptr<SandboxNode> RealNode(int fd)
{
    NodeTable& table = NodeTable::Get();
    PerfMutexLock const lock(table.mutex);
    auto const found = table.descriptors.find(fd);
    return found != table.descriptors.end() && found->second.node->isReal ? found->second.node : nullptr;
}

/** Passes a write on to the kernel, with nothing locked meanwhile. @return the observer to tell, or null. */
std::shared_ptr<Sandbox::Observer const> PassOn(int fd, Place place, SandboxNode const& node, NodeWrite& write)
{
    std::string const& bytes = write.bytes;
    errno = 0;
    write.result =
        place ? RealPwrite(fd, bytes.data(), bytes.size(), *place) : RealWrite(fd, bytes.data(), bytes.size());
    write.error = write.result < 0 ? errno : 0;
    write.position = place.value_or(0);
    write.time = PerfTime::Now();
    write.node = node.name;
    PerfMutexLock const lock(NodeTable::Get().mutex);
    bool const hasNoPosition = place && write.error == ESPIPE; // the writer tries again without
    if (node.journal == nullptr || hasNoPosition) {
        return nullptr;
    }
    write.sequence = ++node.journal->sequence;
    return node.journal->observer;
}

ssize_t WriteNode(int fd, void const* data, std::size_t size, Place place)
{
    int const savedErrno = errno;
    NodeWrite write;
    write.bytes.assign(static_cast<char const*>(data), size);
    auto const real = RealNode(fd);
    if (auto const observer = real != nullptr ? PassOn(fd, place, *real, write) : Perform(fd, place, write)) {
        (*observer)(write);
    }
    errno = write.result < 0 ? write.error : savedErrno;
    return write.result;
}

} // namespace

NodeTable& NodeTable::Get()
{
    static NodeTable* const table = new NodeTable;
    return *table;
}

void NodeTable::Retire(std::shared_ptr<SandboxJournal> const& journal)
{
    PerfMutexLock const lock(mutex);
    for (auto entry = descriptors.begin(); entry != descriptors.end();) {
        entry = entry->second.node->journal == journal ? ForgetLocked(*this, entry) : std::next(entry);
    }
    for (auto entry = nodes.begin(); entry != nodes.end();) {
        SandboxNode& node = *entry->second;
        if (node.journal != journal) {
            ++entry;
            continue;
        }
        node.journal = nullptr;
        node.gates = 0;
        node.released.NotifyAll();
        entry = nodes.erase(entry);
    }
}

extern "C" {

__attribute__((visibility("default"))) int open(char const* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list arguments;
        va_start(arguments, flags);
        mode = static_cast<mode_t>(va_arg(arguments, int)); // a short one arrives widened
        va_end(arguments);
    }
    bool const concerned = std::strstr(path, NodeTable::FOLDER_MARK) != nullptr || NodeTable::watches > 0;
    return concerned ? OpenInSandbox(path, flags, mode) : RealOpen(path, flags, mode);
}

#if defined(__LP64__)
/** What code built for 64-bit file offsets calls; the same function where every offset has 64 bits. */
__attribute__((visibility("default"), alias("open"))) int open64(char const* path, int flags, ...);
#endif

__attribute__((visibility("default"))) int close(int fd)
{
    if (IsNode(fd)) {
        Forget(fd); // before the number is free: afterwards it may be another thread's already
    }
    return RealClose(fd);
}

__attribute__((visibility("default"))) ssize_t write(int fd, void const* data, std::size_t size)
{
    return IsNode(fd) ? WriteNode(fd, data, size, std::nullopt) : RealWrite(fd, data, size);
}

__attribute__((visibility("default"))) ssize_t pwrite(int fd, void const* data, std::size_t size, off_t position)
{
    bool const concerned = IsNode(fd) && position >= 0; // the kernel refuses what is before the start
    return concerned ? WriteNode(fd, data, size, position) : RealPwrite(fd, data, size, position);
}

#if defined(__LP64__)
__attribute__((visibility("default"), alias("pwrite"))) ssize_t pwrite64(int fd, void const* data, std::size_t size,
                                                                         off_t position);
#endif

} // extern "C"
