// SPDX-License-Identifier: Apache-2.0

#include "sandbox/NodeTable.h"

#include "sandbox/Schedule.h"
#include "sys/DeviceNodeIo.h"
#include "sys/NodeIo.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>

namespace {

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

int OpenLocked(NodeTable& table, std::shared_ptr<SandboxNode> const& node, std::string const& path)
{
    if (auto const error = TakeFault(*node, Fault::Kind::OPEN_ERROR)) {
        errno = static_cast<int>(*error);
        return -1;
    }
    int const fd = DeviceNodeIo::Open(path);
    if (fd >= 0) {
        table.descriptors.insert_or_assign(fd, SandboxDescriptor{node, ++table.lastStamp});
    }
    return fd;
}

std::optional<SandboxDescriptor> Find(int fd, std::optional<Undivided>& step)
{
    NodeTable& table = NodeTable::Get();
    PerfMutexLock const lock(table.mutex);
    step.emplace(); // here, so that another thread may go first
    auto const found = table.descriptors.find(fd);
    return found != table.descriptors.end() ? std::optional(found->second) : std::nullopt;
}

void HoldBack(PerfMutexLock& lock, SandboxNode& node)
{
    if (auto const delay = TakeFault(node, Fault::Kind::DELAY)) {
        PerfTimePoint const end = PerfTime::Now() + std::chrono::milliseconds(*delay);
        node.released.WaitUntil(lock, end, [&node] { return node.journal == nullptr; });
    }
    node.released.WaitUntil(lock, PerfTimePoint::max(), [&node] { return node.gates == 0; });
}

/** @return 0, or the errno of the failure. An empty text changes nothing. */
int ReplaceContent(int fd, std::string const& content)
{
    bool const done = DeviceNodeIo::Write(fd, content.data(), content.size()) >= 0 &&
                      (content.empty() || ftruncate(fd, static_cast<off_t>(content.size())) == 0);
    return done ? 0 : errno;
}

void PerformLocked(int fd, SandboxDescriptor const& descriptor, NodeWrite& write)
{
    SandboxNode& node = *descriptor.node;
    std::size_t taken = write.bytes.size();
    write.error = 0;
    if (descriptor.stamp < node.staleBefore) {
        write.error = ENODEV;
    } else if (auto const error = TakeFault(node, Fault::Kind::ERROR)) {
        write.error = static_cast<int>(*error);
    } else {
        if (auto const limit = TakeFault(node, Fault::Kind::SHORT_COUNT)) {
            taken = std::min(taken, static_cast<std::size_t>(*limit));
        }
        write.error = ReplaceContent(fd, write.bytes.substr(0, taken));
    }
    write.result = write.error == 0 ? static_cast<ssize_t>(taken) : -1;
}

/** Tells the node's journal of the write. @return the observer to call, or null. */
std::shared_ptr<Sandbox::Observer const> NoteLocked(SandboxNode const& node, NodeWrite& write)
{
    write.node = node.name;
    write.time = PerfTime::Now();
    write.sequence = ++node.journal->sequence;
    return node.journal->observer;
}

/** Carries out the write and records it; fails with EBADF if the sandbox ended while the writer was held back. */
std::shared_ptr<Sandbox::Observer const> Perform(int fd, SandboxDescriptor const& descriptor, NodeWrite& write)
{
    SandboxNode& node = *descriptor.node;
    PerfMutexLock lock(NodeTable::Get().mutex);
    HoldBack(lock, node);
    if (node.journal == nullptr) {
        write.result = -1;
        write.error = EBADF;
        return nullptr;
    }
    PerformLocked(fd, descriptor, write);
    auto observer = NoteLocked(node, write);
    node.journal->writes.push_back(write);
    return observer;
}

/** Passes the write on to the device, with nothing locked meanwhile. */
std::shared_ptr<Sandbox::Observer const> PassOn(int fd, SandboxNode const& node, NodeWrite& write)
{
    write.result = DeviceNodeIo::Write(fd, write.bytes.data(), write.bytes.size());
    write.error = write.result < 0 ? errno : 0;
    PerfMutexLock const lock(NodeTable::Get().mutex);
    return node.journal != nullptr ? NoteLocked(node, write) : nullptr;
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
        entry = entry->second.node->journal == journal ? descriptors.erase(entry) : std::next(entry);
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

int NodeIo::Open(std::string const& path)
{
    Undivided const step;
    NodeTable& table = NodeTable::Get();
    NodeWrite failure;
    std::shared_ptr<Sandbox::Observer const> observer;
    {
        PerfMutexLock const lock(table.mutex);
        auto const found = table.nodes.find(std::filesystem::path(path).lexically_normal().string());
        if (found == table.nodes.end()) {
            return DeviceNodeIo::Open(path);
        }
        int const fd = OpenLocked(table, found->second, path);
        if (fd >= 0) {
            return fd;
        }
        failure.result = -1;
        failure.error = errno;
        observer = NoteLocked(*found->second, failure);
    }
    if (observer != nullptr) {
        (*observer)(failure);
    }
    errno = failure.error;
    return -1;
}

ssize_t NodeIo::Write(int fd, void const* data, std::size_t size)
{
    std::optional<Undivided> step;
    auto const descriptor = Find(fd, step);
    if (!descriptor) {
        return DeviceNodeIo::Write(fd, data, size);
    }
    NodeWrite write;
    write.bytes.assign(static_cast<char const*>(data), size);
    auto const observer =
        descriptor->node->isReal ? PassOn(fd, *descriptor->node, write) : Perform(fd, *descriptor, write);
    if (observer != nullptr) {
        (*observer)(write);
    }
    errno = write.error;
    return write.result;
}

void NodeIo::Close(int fd)
{
    Undivided const step;
    NodeTable& table = NodeTable::Get();
    {
        PerfMutexLock const lock(table.mutex);
        table.descriptors.erase(fd); // before the number is free: afterwards it may be another thread's already
    }
    DeviceNodeIo::Close(fd);
}
