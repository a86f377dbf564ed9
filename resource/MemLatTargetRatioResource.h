// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PostProcessingResource.h"

/**
 * A memory-latency governor: group 0 arbitrates its target ratio, group 1 the state of its monitor. Only one of them
 * may change with one command; the nodes are written from both together. A ratio of 0 means that the governor is
 * closed.
 *
 * Two things to know when reading its log. After a refusal both groups differ from what was written, so that every
 * command is refused until one of them is back. And a timed value that ends by itself is not written before the next
 * command or change of work mode.
 */
class MemLatTargetRatioResource : public PostProcessingResource {
public:
    explicit MemLatTargetRatioResource(ResConstructParam const& param);
    ~MemLatTargetRatioResource() override;

    int InitGroups(PerfQosConfig& config) override;
    /** Refuses a change of both at once, after it has been applied to the groups. */
    int CommandPostProcess() override;

    void ProcessTargetRatioCommand();
    void ProcessMonitorEnableCommand();

private:
    PerfGroup& RatioGroup() { return *groups[0]; }
    PerfGroup& MonitorGroup() { return *groups[1]; }

    // worker thread only
    bool targetRatioChanged = false;
    bool monitorChanged = false;
    unsigned int currTargetRatio = 0;
    unsigned int newTargetRatio = 0;
    unsigned int currMonitorState = 0;
    unsigned int newMonitorState = 0;
    unsigned int const targetRatioClosed = 0;
};
