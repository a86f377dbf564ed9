// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Sandbox.h"

#include "sandbox/NodeTable.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

/** A node, with the table locked. */
struct LockedNode {
    explicit LockedNode(std::string const& path) : lock(NodeTable::Get().mutex), node(Find(path)) {}

    static std::shared_ptr<SandboxNode> Find(std::string const& path)
    {
        auto const& nodes = NodeTable::Get().nodes;
        auto const found = nodes.find(path);
        if (found == nodes.end()) {
            throw std::out_of_range("no such node in the sandbox: " + path);
        }
        return found->second;
    }

    PerfMutexLock lock;
    std::shared_ptr<SandboxNode> const node;
};

template <typename Predicate> int CountDescriptorsLocked(Predicate wanted)
{
    auto const& descriptors = NodeTable::Get().descriptors;
    return static_cast<int>(std::count_if(descriptors.begin(), descriptors.end(),
                                          [&](auto const& entry) { return wanted(*entry.second.node); }));
}

} // namespace

std::string ErrorName(int error)
{
    static std::map<int, char const*> const names = {
        {EACCES, "EACCES"}, {EAGAIN, "EAGAIN"}, {EBADF, "EBADF"},   {EBUSY, "EBUSY"},   {EFAULT, "EFAULT"},
        {EINTR, "EINTR"},   {EINVAL, "EINVAL"}, {EIO, "EIO"},       {EISDIR, "EISDIR"}, {EMFILE, "EMFILE"},
        {ENODEV, "ENODEV"}, {ENOENT, "ENOENT"}, {ENOMEM, "ENOMEM"}, {ENOSPC, "ENOSPC"}, {ENOTSUP, "ENOTSUP"},
        {ENXIO, "ENXIO"},   {EPERM, "EPERM"},   {ERANGE, "ERANGE"}, {EROFS, "EROFS"}};
    auto const found = names.find(error);
    return found != names.end() ? found->second : "errno " + std::to_string(error);
}

std::optional<int> ErrorNumber(std::string const& name)
{
    constexpr int BEHIND_LAST = 256;
    for (int error = 1; error < BEHIND_LAST; ++error) {
        if (ErrorName(error) == name) {
            return error;
        }
    }
    return std::nullopt;
}

std::string NodeWrite::Text() const
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (char const character : bytes) {
        auto const byte = static_cast<unsigned char>(character);
        if (std::isprint(byte) != 0) {
            text += character;
        } else {
            text.append("\\x").append(1, DIGITS[byte / 16]).append(1, DIGITS[byte % 16]);
        }
    }
    return text;
}

std::string NodeWrite::Line() const
{
    std::string line = node + " <- " + Text();
    if (result < 0) {
        return line + ": " + ErrorName(error);
    }
    if (static_cast<std::size_t>(result) < bytes.size()) {
        return line + ": " + std::to_string(result) + " of " + std::to_string(bytes.size()) + " bytes";
    }
    return line;
}

std::ostream& operator<<(std::ostream& out, NodeWrite const& write)
{
    return out << write.Line();
}

std::vector<std::string> Lines(std::vector<NodeWrite> const& writes)
{
    std::vector<std::string> lines;
    std::transform(writes.begin(), writes.end(), std::back_inserter(lines), std::mem_fn(&NodeWrite::Line));
    return lines;
}

std::filesystem::path TemporaryFolder()
{
    std::error_code none;
    auto const folder = std::filesystem::temp_directory_path(none);
    return none ? "/data/local/tmp" : folder;
}

Sandbox::Sandbox()
    : root((TemporaryFolder() / "corvane-sandbox-").lexically_normal().string() + "XXXXXX"),
      journal(std::make_shared<SandboxJournal>())
{
    if (mkdtemp(root.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), root);
    }
}

Sandbox::~Sandbox()
{
    NodeTable::Get().Retire(journal);
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

std::string Sandbox::Path(std::string const& name) const
{
    std::filesystem::path const given(name);
    if (std::find(given.begin(), given.end(), "..") != given.end()) {
        throw std::invalid_argument("a name in the sandbox must not contain \"..\": " + name);
    }
    bool const whole = name.compare(0, root.size() + 1, root + "/") == 0;
    return (whole ? given : std::filesystem::path(root) / given.relative_path()).lexically_normal().string();
}

std::string Sandbox::WritePlain(std::string const& name, std::string const& content) const
{
    std::string path = Path(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    PerfMutexLock const lock(NodeTable::Get().mutex);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return path;
}

std::string Sandbox::AddNode(std::string const& name, std::string const& initialContent)
{
    std::string path = WritePlain(name, initialContent);
    PerfMutexLock const lock(NodeTable::Get().mutex);
    NodeTable::Get().nodes.try_emplace(path, std::make_shared<SandboxNode>(name, journal));
    return path;
}

std::string Sandbox::AddFile(std::string const& name, std::string const& content)
{
    return WritePlain(name, content);
}

std::string Sandbox::Read(std::string const& name) const
{
    std::string const path = Path(name);
    PerfMutexLock const lock(NodeTable::Get().mutex); // so that no half of a write is seen
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

std::vector<NodeWrite> Sandbox::Writes() const
{
    PerfMutexLock const lock(NodeTable::Get().mutex);
    return journal->writes;
}

std::vector<NodeWrite> Sandbox::Writes(std::string const& name) const
{
    LockedNode const locked(Path(name));
    std::string const& node = locked.node->name;
    std::vector<NodeWrite> matching;
    std::copy_if(journal->writes.begin(), journal->writes.end(), std::back_inserter(matching),
                 [&](NodeWrite const& write) { return write.node == node; });
    return matching;
}

std::vector<NodeWrite> Sandbox::TakeWrites()
{
    PerfMutexLock const lock(NodeTable::Get().mutex);
    return std::exchange(journal->writes, {});
}

void Sandbox::FailNode(std::string const& name, Fault const& fault)
{
    LockedNode const locked(Path(name));
    if (fault.kind == Fault::Kind::STALE) {
        locked.node->staleBefore = ++NodeTable::Get().lastStamp;
    } else {
        locked.node->faults.insert_or_assign(fault.kind, fault);
    }
}

void Sandbox::ClearFaults(std::string const& name)
{
    LockedNode const locked(Path(name));
    locked.node->faults.clear();
    locked.node->staleBefore = 0;
}

int Sandbox::OpenDescriptors(std::string const& name) const
{
    LockedNode const locked(Path(name));
    return CountDescriptorsLocked([&](SandboxNode const& node) { return &node == locked.node.get(); });
}

int Sandbox::OpenDescriptors() const
{
    PerfMutexLock const lock(NodeTable::Get().mutex);
    return CountDescriptorsLocked([&](SandboxNode const& node) { return node.journal == journal; });
}

void Sandbox::OnWrite(Observer observer)
{
    auto next = observer ? std::make_shared<Observer const>(std::move(observer)) : nullptr;
    PerfMutexLock const lock(NodeTable::Get().mutex);
    journal->observer.swap(next);
}

NodeGate::NodeGate(Sandbox& sandbox, std::string const& name)
{
    LockedNode const locked(sandbox.Path(name));
    node = locked.node;
    ++node->gates;
}

void NodeGate::Release()
{
    auto const held = std::exchange(node, nullptr);
    PerfMutexLock const lock(NodeTable::Get().mutex);
    if (held != nullptr && held->gates > 0) { // the end of the sandbox has opened every gate
        --held->gates;
        held->released.NotifyAll();
    }
}
