// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/** What one client operation asks of one resource. Shared between the wrapper and the queues it sits in. */
struct PerfCommandItem {
    PerfQosId qosId = 0;
    unsigned long long handle = 0;
    PerfWorkMode workMode = PERF_WORK_MODE_DEFAULT; ///< PERF_COMMAND_MODE_START only
    PerfTimePoint startTime{};
    PerfTimePoint endTime{}; ///< zero: no end
    PerfGroupTable groupInfo;
};

/** The element of a resource's queue. */
struct PerfCommand {
    PerfCommandType cmdType = PERF_COMMAND_SHORT_START;
    std::shared_ptr<PerfCommandItem> cmdItem;
};

/** @return what a probe boosts: the resources, each with its value; 0 leaves it alone. */
inline std::array<std::pair<PerfQosId, unsigned int>, 3> ProbeBoosts(unsigned int cpuM, unsigned int cpuB,
                                                                     unsigned int gpu)
{
    return {{{PERF_QOS_CPU_M, cpuM}, {PERF_QOS_CPU_B, cpuB}, {PERF_QOS_GPU, gpu}}};
}

/**
 * One client operation: a command type, a time span and one item per resource that it touches.
 *
 * A value; copies share their items. Built and used by one thread at a time. Nobody writes an item once its wrapper has
 * been sent: workers read it without a lock.
 */
class CommandWrapper {
public:
    /** An empty short-term start, to be filled as the result of a release. */
    CommandWrapper() = default;

    /** @param duration ms that the client asked for, 0 when none; shown in dumps only. */
    CommandWrapper(PerfCommandType type, PerfTimePoint const& start, PerfTimePoint const& end, unsigned int duration);

    /** Appends an item with the wrapper's own time span. */
    void InsertRequestCommand(PerfQosId qos, PerfGroupTable const& groups);

    /** The same for a table that is not needed any more; under a name of its own, so that both can be pointed to. */
    void MoveInRequestCommand(PerfQosId qos, PerfGroupTable&& groups);

    /** Appends an item with its own time span and widens the wrapper's to hold it. */
    void InsertEventCommand(PerfQosId qos, PerfTimePoint const& start, PerfTimePoint const& end,
                            PerfGroupTable const& groups);

    /** Appends a boost of group 0 for each of the three values that is not 0. */
    void InsertProbeCommand(PerfTimePoint const& start, PerfTimePoint const& end, unsigned int cpuM, unsigned int cpuB,
                            unsigned int gpu);

    /** Appends the one empty item that is broadcast to every resource. */
    void InsertWorkModeCommand();

    void InsertSuspendCommand(PerfQosId qos);

    /** Appends an order to dump. */
    void InsertDebugCommand(PerfQosId qos);

    /** Stamps the wrapper and every item; stops at a null item. */
    void FillInHandle(unsigned long long newHandle);

    /** Stamps every item; stops at a null item. */
    void FillInWorkMode(PerfWorkMode mode);

    /** @return a text that lives as long as the process. */
    std::string const& GetCmdTypeString() const;

    void Dump(std::ostringstream& out) const;

    PerfCommandType cmdType = PERF_COMMAND_SHORT_START;
    unsigned long long handle = NO_HANDLE;
    PerfTimePoint startTime{};
    PerfTimePoint endTime{}; ///< zero: no end
    std::vector<std::shared_ptr<PerfCommandItem>> commands;
    unsigned int duration = 0; ///< ms
};
