// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfRequest.h>
#include <corvane/PerfTypes.h>

#include <map>
#include <string>
#include <vector>

/** One phase of an event on one resource. */
struct EventPhase {
    unsigned int duration = 0; ///< ms, 20..60000; a phase begins where the one before it ends
    std::vector<GroupInfo> groupInfos;
};

/** What an event does on one resource: its phases, in time order. */
struct QosCommand {
    PerfQosId qosId = 0;
    std::vector<EventPhase> phases;
};

/** A boost pattern that clients start by id. */
struct ConfigurableEvent {
    PerfEventId eventId = 0; ///< 0..16
    std::vector<QosCommand> qosCommands;
};

/** The boost and the thread binding that a probe brings. Value 0 leaves that resource alone. */
struct ProbeEvent {
    unsigned int cpuM = 0;        ///< boost of PERF_QOS_CPU_M, group 0
    unsigned int cpuB = 0;        ///< boost of PERF_QOS_CPU_B, group 0
    unsigned int gpu = 0;         ///< boost of PERF_QOS_GPU, group 0
    unsigned int startDelay = 0;  ///< ms from the call to the start
    unsigned int duration = 0;    ///< ms that the probe lasts
    std::string threadBinderPath; ///< the binding text: what the binder writes before "|" and the thread id
};

/** The values of a scenario on one resource. */
struct ScenarioQosItem {
    PerfQosId qosId = 0;
    std::vector<GroupInfo> groupInfos;
};

/** A set of long-term values that clients hold by id until they release it. */
struct ConfigurableScenario {
    PerfScenarioId scenarioId = 0; ///< 0..5
    std::vector<ScenarioQosItem> qosItems;
};

/** One phase of an event on one resource, with offsets in ms from the event's start. */
struct PerfEventItemInt {
    unsigned int startTime = 0;
    unsigned int endTime = 0;
    PerfGroupTable groupInfo;
};

/** The loaded catalogues, as the validation steps take them: by id, then by resource. */
using PerfEventItems = std::multimap<PerfQosId, PerfEventItemInt>;
using PerfEventTable = std::map<PerfEventId, PerfEventItems>;
using PerfScenarioItems = std::map<PerfQosId, PerfGroupTable>;
using PerfScenarioTable = std::map<PerfScenarioId, PerfScenarioItems>;
