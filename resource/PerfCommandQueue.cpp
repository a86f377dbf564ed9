// SPDX-License-Identifier: Apache-2.0

#include "resource/PerfCommandQueue.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

namespace {

/** Looks at the commands from the youngest to the oldest and strikes out what the younger ones make superfluous. */
class Compaction {
public:
    Compaction(std::vector<PerfCommand const*> const& waiting, PerfTimePoint const& time)
        : commands(waiting), now(time), leaves(waiting.size(), false), holding(HoldingSuspend())
    {
        // The oldest stays: the worker may have seen it already.
        for (std::size_t i = commands.size(); i-- > 1;) {
            if (i == holding) {
                younger = {};
            }
            leaves[i] = commands[i]->cmdItem != nullptr && IsSuperfluous(i);
        }
    }

    bool Leaves(std::size_t position) const { return leaves[position]; }

private:
    /** Positions of stops whose starts have not been met, by the item that a stop shares with its start. */
    using Stops = std::unordered_multimap<PerfCommandItem const*, std::size_t>;

    /** What has been seen behind the present command, up to a suspend that holds. */
    struct Younger {
        Stops shortStops;
        Stops longStops;
        std::set<unsigned int> baseGroups;
        bool mode = false;
    };

    /** The first suspend after the last resume is in force. */
    std::size_t HoldingSuspend() const
    {
        auto const isOf = [](PerfCommandType type) {
            return [type](PerfCommand const* command) { return command->cmdType == type; };
        };
        auto const lastResume = std::find_if(commands.rbegin(), commands.rend(), isOf(PERF_COMMAND_SUSPEND_OFF)).base();
        auto const suspend = std::find_if(lastResume, commands.end(), isOf(PERF_COMMAND_SUSPEND_ON));
        return static_cast<std::size_t>(suspend - commands.begin());
    }

    bool IsSuperfluous(std::size_t position)
    {
        PerfCommand const& command = *commands[position];
        switch (command.cmdType) {
        case PERF_COMMAND_SHORT_START:
            return LeavesWithItsStop(younger.shortStops, *command.cmdItem) || command.cmdItem->endTime <= now;
        case PERF_COMMAND_LONG_START:
            return LeavesWithItsStop(younger.longStops, *command.cmdItem);
        case PERF_COMMAND_SHORT_STOP:
            younger.shortStops.emplace(command.cmdItem.get(), position);
            return false;
        case PERF_COMMAND_LONG_STOP:
            younger.longStops.emplace(command.cmdItem.get(), position);
            return false;
        case PERF_COMMAND_MODE_START:
            return std::exchange(younger.mode, true);
        case PERF_COMMAND_SUSPEND_ON:
            return position >= holding ? position != holding : std::exchange(suspends, true);
        case PERF_COMMAND_SUSPEND_OFF:
            return std::exchange(resumes, true);
        case PERF_COMMAND_BASE_SET:
            return !SetsAnotherBase(command.cmdItem->groupInfo);
        default:
            return false;
        }
    }

    bool LeavesWithItsStop(Stops& stops, PerfCommandItem const& item)
    {
        auto const stop = stops.find(&item);
        if (stop == stops.end()) {
            return false;
        }
        leaves[stop->second] = true;
        stops.erase(stop); // an earlier start of the same item needs a stop of its own
        return true;
    }

    bool SetsAnotherBase(PerfGroupTable const& groups)
    {
        auto const before = younger.baseGroups.size();
        for (auto const& group : groups) {
            younger.baseGroups.insert(group.first);
        }
        return younger.baseGroups.size() != before;
    }

    std::vector<PerfCommand const*> const& commands;
    PerfTimePoint const now;
    std::vector<bool> leaves;
    std::size_t const holding; ///< the position of the suspend that the resource ends up under, or the end
    Younger younger;
    bool suspends = false;
    bool resumes = false;
};

} // namespace

void PerfCommandQueue::Push(PerfCommand&& command)
{
    commands.push_back(std::move(command));
    ++pushedSinceNote;
}

PerfCommand PerfCommandQueue::Pop()
{
    PerfCommand command = std::move(commands.front());
    commands.pop_front();
    fewestWaiting = std::min(fewestWaiting, commands.size());
    oldestNoted -= oldestNoted != 0 ? 1 : 0;
    return command;
}

void PerfCommandQueue::NoteTime(PerfTimePoint const& now)
{
    pushedSinceNote = 0;
    if (oldestNoted == 0) {
        oldestNoted = commands.size();
        notedAt = now;
    }
}

bool PerfCommandQueue::IsCompactionDue(PerfTimePoint const& now) const
{
    return IsLong() && commands.size() > 2 * fewestWaiting && (commands.size() > BOUND || IsLate(now));
}

std::vector<PerfCommand> PerfCommandQueue::Compact(PerfTimePoint const& now)
{
    std::vector<PerfCommand const*> waiting;
    for (PerfCommand const& command : commands) {
        waiting.push_back(&command);
    }
    Compaction const compaction(waiting, now);
    std::vector<PerfCommand> left;
    std::deque<PerfCommand> kept;
    std::size_t keptOfNoted = 0;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        if (compaction.Leaves(i)) {
            left.push_back(std::move(commands[i]));
        } else {
            keptOfNoted += i < oldestNoted ? 1 : 0;
            kept.push_back(std::move(commands[i]));
        }
    }
    commands = std::move(kept);
    fewestWaiting = commands.size();
    oldestNoted = keptOfNoted;
    return left;
}
