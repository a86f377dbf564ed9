// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/ReadBack.h"

#include "sys/PerfTime.h"
#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/story/NodeText.h"

#include <utility>

void ReadBack::Hear(StoryRecord const& record)
{
    record.Match([this](Wrote const& wrote) {
        NoteOutcome(wrote.write);
        if (wrote.write.result >= 0 && wrote.write.node != binder) {
            std::lock_guard<std::mutex> const lock(mutex);
            taken[wrote.write.node] = wrote.write.bytes;
            uncompared[wrote.write.node] = wrote.write.bytes;
        }
    });
}

void ReadBack::NoteOutcome(NodeWrite const& write)
{
    std::lock_guard<std::mutex> const lock(mutex);
    auto const earlier = refused.find(write.node);
    if (earlier != refused.end()) {
        failedWrites += earlier->second == write.bytes ? 0 : 1;
        refused.erase(earlier);
    }
    if (write.result != static_cast<ssize_t>(write.bytes.size())) {
        refused[write.node] = write.bytes;
    }
}

std::size_t ReadBack::TakeFailedWrites()
{
    std::lock_guard<std::mutex> const lock(mutex);
    return std::exchange(failedWrites, 0) + std::exchange(refused, {}).size();
}

std::map<std::string, std::string> ReadBack::TakeUncompared()
{
    std::lock_guard<std::mutex> const lock(mutex);
    return std::exchange(uncompared, {});
}

std::vector<Strayed> ReadBack::Compare(Nodes const& nodes)
{
    std::vector<Strayed> strayed;
    PerfTimePoint const deadline = PerfTime::Now() + READ_BACK_TIME;
    for (auto const& written : TakeUncompared()) {
        auto const& [node, text] = written;
        // A write that came meanwhile, such as the end of a timed boost, is compared the next time.
        auto const fits = [this, &written](std::string const& content) {
            return Holds(content, written.second) || LastTaken(written.first) != written.second;
        };
        auto const content = nodes.ReadWhatFits(node, deadline, fits);
        if (content && !fits(*content)) {
            strayed.push_back({node, text, SettingOf(*content)});
        }
        if (content) {
            seen[node] = *content;
        }
    }
    return strayed;
}

std::vector<Strayed> ReadBack::Overwritten(Nodes const& nodes)
{
    std::vector<Strayed> overwritten;
    PerfTimePoint const deadline = PerfTime::Now() + READ_BACK_TIME; // for a write that is not told yet
    for (auto& [node, content] : seen) {
        auto const fits = [this, &each = node, &before = content](std::string const& now) {
            return now == before || Holds(now, LastTaken(each).value_or(now));
        };
        std::string const now = nodes.ReadWhatFits(node, deadline, fits).value_or(content);
        if (!fits(now)) {
            overwritten.push_back({node, LastTaken(node).value_or(""), SettingOf(now), true});
        }
        content = now;
    }
    return overwritten;
}

std::optional<std::string> ReadBack::LastTaken(std::string const& node) const
{
    std::lock_guard<std::mutex> const lock(mutex);
    auto const found = taken.find(node);
    return found == taken.end() ? std::nullopt : std::optional<std::string>(found->second);
}
