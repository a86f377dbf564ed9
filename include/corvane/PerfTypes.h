// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <map>

/** Marks what the shared object exports; everything else is hidden. */
#define CORVANE_EXPORT __attribute__((visibility("default")))

/** Identifies a QoS resource: index into the resource table and bit in a 64-bit resource mask. */
using PerfQosId = unsigned int;

/** The resources that receive the probe's three values. */
inline constexpr PerfQosId PERF_QOS_CPU_M = 1;
inline constexpr PerfQosId PERF_QOS_CPU_B = 2;
inline constexpr PerfQosId PERF_QOS_GPU = 3;
/** The resources whose kind is fixed by their id; every other id takes its kind from its configuration. */
inline constexpr PerfQosId PERF_QOS_DDR = 4;
inline constexpr PerfQosId PERF_QOS_IPA_SUSTAINABLE_POWER = 6;
inline constexpr PerfQosId PERF_QOS_IPA_SWITCH_TEMP = 7;
inline constexpr PerfQosId PERF_QOS_SINGLE_NODE = 8;
inline constexpr PerfQosId PERF_QOS_EAS = 9;
inline constexpr PerfQosId PERF_QOS_MEM_LAT_FIRST = 14;
inline constexpr PerfQosId PERF_QOS_MEM_LAT_LAST = 16;
/** The one resource to which a repeated suspend or resume is passed on every time. */
inline constexpr PerfQosId PERF_QOS_ALWAYS_SUSPEND = 44;
/** Client-side id of the EAS base values; folded into PERF_QOS_EAS before a request is validated. */
inline constexpr PerfQosId PERF_QOS_EAS_BASE = 45;
/** Slots of the resource table; also the value that says "no invalid id" in a validation message. */
inline constexpr PerfQosId PERF_QOS_ID_COUNT = 48;
/** Resources 0..3 keep a frequency-limit history. */
inline constexpr PerfQosId PERF_QOS_LIMIT_HISTORY_COUNT = 4;

/** A configurable event, 0..16, or one of the ids below. */
using PerfEventId = unsigned int;

/** Marks plain timed requests in the expiry table; also the first id that is no configurable event. */
inline constexpr PerfEventId REQUEST_EVENT_ID = 17;
/** The probe, in PerfEvent and in the expiry table. */
inline constexpr PerfEventId PROBE_EVENT_ID = 4097;
/** Suspend and resume, in PerfEvent. */
inline constexpr PerfEventId SUSPEND_EVENT_ID = 8192;

/** A configurable scenario, 0..5. */
using PerfScenarioId = unsigned int;

inline constexpr PerfScenarioId PERF_SCENARIO_ID_COUNT = 6;

/** The kind of one client operation. Any 32-bit value can be carried; unknown ones are refused where they are used. */
enum PerfCommandType : unsigned int {
    PERF_COMMAND_SHORT_START = 0,
    PERF_COMMAND_SHORT_STOP = 1,
    PERF_COMMAND_LONG_START = 2,
    PERF_COMMAND_LONG_STOP = 3,
    PERF_COMMAND_MODE_START = 4,
    PERF_COMMAND_GET_LOG = 5,
    PERF_COMMAND_GET_BASE_INFO = 6,
    PERF_COMMAND_SUSPEND_ON = 7,
    PERF_COMMAND_SUSPEND_OFF = 8,
    PERF_COMMAND_BASE_SET = 9,
};

/** What one value asks for: a floor or a ceiling. Any other value is refused. */
enum PerfOperationType : unsigned int {
    PERF_OPERATION_BOOST = 0,
    PERF_OPERATION_LIMIT = 1,
};

/** The arbitration policy when a boost and a limit disagree. Any other value is refused. */
enum PerfWorkMode : unsigned int {
    PERF_WORK_MODE_DEFAULT = 0,
    PERF_WORK_MODE_BOOST_FIRST = 1,
    PERF_WORK_MODE_LIMIT_FIRST = 2,
};

inline constexpr unsigned int PERF_WORK_MODE_COUNT = 3;

/** What a failed allocation returns; groups refuse handles from here upward. Also marks an empty group slot. */
inline constexpr unsigned long long INVALID_HANDLE = 0xFFFFFFFFFFFFFFF5ULL;
/** Commands without a handle, and the default base items of a group. */
inline constexpr unsigned long long NO_HANDLE = 0xFFFFFFFFFFFFFFFFULL;

/** Group id to operation to value: the payload of every request, event and scenario. */
using PerfGroupTable = std::map<unsigned int, std::map<PerfOperationType, int>>;

/** Bounds of a timed request and of an event's phase, in ms. */
inline constexpr unsigned int PERF_DURATION_MIN_MS = 20;
inline constexpr unsigned int PERF_DURATION_MAX_MS = 60000;

/** Monotonic time in nanoseconds; the zero time point means "none". */
using PerfTimePoint = std::chrono::steady_clock::time_point;
