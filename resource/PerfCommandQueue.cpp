#include "resource/PerfCommandQueue.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

namespace {

/** Looks at the commands from the youngest to the oldest and strikes out what the younger ones make superfluous. */
class Compaction {
public:
    Compaction(std::deque<PerfCommand> const& waiting, PerfTimePoint const& time)
        : commands(waiting), now(time), leaves(waiting.size(), false), holding(HoldingSuspend())
    {
        // The oldest stays: the worker may have seen it already.
        for (std::size_t i = commands.size(); i-- > 1;) {
            if (i == holding) {
                younger = {};
            }
            leaves[i] = commands[i].cmdItem != nullptr && IsSuperfluous(i);
        }
    }

    bool Leaves(std::size_t position) const { return leaves[position]; }

private:
    /** What has been seen behind the present command, up to a suspend that holds. */
    struct Younger {
        std::unordered_map<PerfCommandItem const*, std::size_t> stops; ///< a stop shares its item with its start
        std::set<unsigned int> baseGroups;
        bool mode = false;
    };

    /** The first behind the last resume takes effect; those behind it change nothing. */
    std::size_t HoldingSuspend() const
    {
        auto const isOf = [](PerfCommandType type) {
            return [type](PerfCommand const& command) { return command.cmdType == type; };
        };
        auto const lastResume = std::find_if(commands.rbegin(), commands.rend(), isOf(PERF_COMMAND_SUSPEND_OFF)).base();
        auto const suspend = std::find_if(lastResume, commands.end(), isOf(PERF_COMMAND_SUSPEND_ON));
        return static_cast<std::size_t>(suspend - commands.begin());
    }

    bool IsSuperfluous(std::size_t position)
    {
        PerfCommand const& command = commands[position];
        switch (command.cmdType) {
        case PERF_COMMAND_SHORT_START:
        case PERF_COMMAND_LONG_START:
            return LeavesWithItsStop(*command.cmdItem) ||
                   (command.cmdType == PERF_COMMAND_SHORT_START && command.cmdItem->endTime <= now);
        case PERF_COMMAND_SHORT_STOP:
        case PERF_COMMAND_LONG_STOP:
            // A second stop finds nothing to undo.
            return !younger.stops.emplace(command.cmdItem.get(), position).second;
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

    bool LeavesWithItsStop(PerfCommandItem const& item)
    {
        auto const stop = younger.stops.find(&item);
        if (stop == younger.stops.end()) {
            return false;
        }
        leaves[stop->second] = true;
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

    std::deque<PerfCommand> const& commands;
    PerfTimePoint const now;
    std::vector<bool> leaves;
    std::size_t const holding; ///< the position of the suspend that the resource ends up under, or the end
    Younger younger;
    bool suspends = false;
    bool resumes = false;
};

} // namespace

bool PerfCommandQueue::Push(PerfCommand&& command)
{
    commands.push_back(std::move(command));
    return commands.size() > compactionSize;
}

PerfCommand PerfCommandQueue::Pop()
{
    PerfCommand command = std::move(commands.front());
    commands.pop_front();
    if (commands.empty()) {
        compactionSize = BOUND;
    }
    return command;
}

std::vector<PerfCommand> PerfCommandQueue::Compact(PerfTimePoint const& now)
{
    Compaction const compaction(commands, now);
    std::vector<PerfCommand> left;
    std::deque<PerfCommand> kept;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        if (compaction.Leaves(i)) {
            left.push_back(std::move(commands[i]));
        } else {
            kept.push_back(std::move(commands[i]));
        }
    }
    commands = std::move(kept);
    compactionSize = std::max(BOUND, 2 * commands.size());
    return left;
}
