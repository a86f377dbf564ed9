// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/Chart.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>

namespace {

using std::chrono::milliseconds;

/** @return whether a node is a maximum by its name: what is asked of it caps, whichever way it is asked. */
bool IsMaximum(std::string const& node)
{
    std::string const file = node.substr(node.rfind('/') + 1); // npos + 1 is 0
    return file.find("max") != std::string::npos;
}

/** Ends matching items now; removes those not yet begun. */
template <typename Item, typename Matches> void EndAt(Chart::Time now, std::vector<Item>& items, Matches const& matches)
{
    auto const neverWas = [&](Item const& item) { return matches(item.owner) && item.span.from > now; };
    items.erase(std::remove_if(items.begin(), items.end(), neverWas), items.end());
    for (Item& item : items) {
        if (matches(item.owner) && (!item.span.until || now < *item.span.until)) {
            item.span.until = now;
        }
    }
}

} // namespace

bool Chart::Panel::IsQuiet() const
{
    auto const repeats = [this](Step const& step) { return step.error == 0 && Holds(steps.front().bytes, step.bytes); };
    return claims.empty() && std::all_of(steps.begin() + 1, steps.end(), repeats);
}

void Chart::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& began) { Begin(record.time, began); });
    now = record.time - start;
    end = std::max(end, now);
    record.Match([&](Held const& held) { Hold(held); }, [&](Released const& released) { Release(released); },
                 [&](Triggered const& triggered) { Trigger(triggered); },
                 [&](Suspended const& suspended) { Suspend(suspended); },
                 [&](Wrote const& wrote) { Write(wrote.write); },
                 [&](Marked const& marked) {
                     chapters.push_back({now, marked.title});
                 });
}

void Chart::Begin(PerfTimePoint time, Began const& began)
{
    start = time;
    platform = began.platform;
    for (Began::Node const& node : began.nodes) {
        auto const isSame = [&node](Panel const& panel) { return panel.node.name == node.name; };
        if (std::none_of(panels.begin(), panels.end(), isSame)) { // variants for several chips share theirs
            panels.push_back({node, {{Time(0), SettingOf(node.bytes)}}});
        }
    }
}

void Chart::Hold(Held const& held)
{
    Span const span{now, held.Until(now)};
    std::string const number = std::to_string(held.pid) + " #" + std::to_string(held.handle);
    Owner const owner{held.name.empty() ? number : held.name + " " + number, held.pid, held.handle};
    if (held.what == "mode") {
        modes.push_back({span, owner, held.id});
    }
    for (PerfRequestInfo const& info : held.infos) {
        Claims(info.qosId, info.groupInfos, span, owner);
    }
}

void Chart::Claims(PerfQosId id, std::vector<GroupInfo> const& groups, Span const& span, Owner const& owner)
{
    for (GroupInfo const& group : groups) {
        for (auto const& [operation, value] : group.operations) {
            bool const isFloor = operation == PERF_OPERATION_BOOST;
            for (Panel& panel : panels) {
                Began::Node const& node = panel.node;
                if (node.id == id && node.group == group.groupId && !node.resourceName.empty() &&
                    (isFloor ? node.showsFloors : node.showsCeilings)) {
                    auto const text = node.levels.find(value);
                    panel.claims.push_back({span, owner, isFloor && !IsMaximum(node.name),
                                            text == node.levels.end() ? std::to_string(value) : text->second});
                }
            }
        }
    }
}

template <typename Matches> void Chart::EndThose(Matches const& matches)
{
    EndAt(now, modes, matches);
    for (Panel& panel : panels) {
        EndAt(now, panel.claims, matches);
    }
}

void Chart::Release(Released const& released)
{
    EndThose([&released](Owner const& owner) { return released.Covers(owner.pid, owner.handle); });
}

void Chart::Trigger(Triggered const& triggered)
{
    if (!triggered.starts) {
        EndThose([&triggered](Owner const& owner) { return owner.trigger == triggered.Key(); });
        return;
    }
    Owner const owner{triggered.Text(), triggered.Pid(), triggered.handle, triggered.Key()};
    for (QosCommand const& command : triggered.commands) {
        Time at = now + milliseconds(triggered.delay);
        for (EventPhase const& phase : triggered.PhasesOf(command)) {
            Time const until = at + milliseconds(phase.duration);
            Claims(command.qosId, phase.groupInfos, {at, until}, owner);
            at = until;
        }
    }
}

void Chart::Suspend(Suspended const& suspended)
{
    for (Panel& panel : panels) {
        auto const& ids = suspended.ids;
        if (panel.node.resourceName.empty() || std::find(ids.begin(), ids.end(), panel.node.id) == ids.end()) {
            continue;
        }
        bool const isOn = !panel.suspends.empty() && !panel.suspends.back().until;
        if (suspended.on && !isOn) {
            panel.suspends.push_back({now});
        } else if (!suspended.on && isOn) {
            panel.suspends.back().until = now;
        }
    }
}

void Chart::Write(NodeWrite const& write)
{
    for (Panel& panel : panels) {
        if (panel.node.name == write.node) {
            panel.steps.push_back({now, write.bytes, write.error});
        }
    }
}
