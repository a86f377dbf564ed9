// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/Story.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>

std::string Triggered::Text() const
{
    return (name.empty() ? "" : name + ", ") + Key();
}

std::vector<EventPhase> Triggered::PhasesOf(QosCommand const& command) const
{
    if (duration == 0 || command.phases.empty()) {
        return command.phases;
    }
    return {{duration, command.phases.front().groupInfos}};
}

std::chrono::milliseconds Triggered::Length() const
{
    std::chrono::milliseconds longest(0);
    for (QosCommand const& command : commands) {
        std::chrono::milliseconds length(0);
        for (EventPhase const& phase : PhasesOf(command)) {
            length += std::chrono::milliseconds(phase.duration);
        }
        longest = std::max(longest, length);
    }
    return std::chrono::milliseconds(delay) + longest;
}

void Story::Hide(std::string text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    hidden = std::move(text);
}

void Story::Publish(PerfTimePoint time, StoryRecord::What what)
{
    std::lock_guard<std::mutex> const lock(mutex);
    if (auto* const output = std::get_if<Output>(&what)) {
        output->text = WithoutRoot(std::move(output->text), hidden);
    } else if (auto* const logged = std::get_if<Logged>(&what)) {
        logged->text = WithoutRoot(std::move(logged->text), hidden);
    }
    StoryRecord const record{time, std::move(what)};
    for (StoryListener* const listener : listeners) {
        listener->Hear(record);
    }
}
