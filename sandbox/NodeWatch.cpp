// SPDX-License-Identifier: Apache-2.0

#include "sandbox/NodeWatch.h"

#include "sandbox/NodeTable.h"

#include <filesystem>
#include <utility>

NodeWatch::NodeWatch(std::map<std::string, std::string> const& names, Sandbox::Observer observer)
    : journal(std::make_shared<SandboxJournal>())
{
    journal->observer = std::make_shared<Sandbox::Observer const>(std::move(observer));
    NodeTable& table = NodeTable::Get();
    PerfMutexLock const lock(table.mutex);
    for (auto const& [path, name] : names) {
        auto const key = std::filesystem::path(path).lexically_normal().string();
        table.nodes.try_emplace(key, std::make_shared<SandboxNode>(name, journal, true));
    }
}

NodeWatch::~NodeWatch()
{
    NodeTable::Get().Retire(journal);
}
