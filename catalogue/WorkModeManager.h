// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sys/PerfMutex.h"

#include <corvane/PerfTypes.h>

#include <set>
#include <sstream>
#include <vector>

/** A mode and who asked for it. */
struct WorkModeInfo {
    unsigned long long handle = NO_HANDLE;
    PerfWorkMode mode = PERF_WORK_MODE_DEFAULT;
};

/** The mode in force and who asks for one, the highest first; NO_HANDLE is the default. */
struct WorkModeState {
    PerfWorkMode mode = PERF_WORK_MODE_DEFAULT;
    std::vector<WorkModeInfo> requests;
};

/** Highest mode first; equal modes in the order of their arrival. */
struct ModeSetCompare {
    bool operator()(WorkModeInfo const& left, WorkModeInfo const& right) const { return left.mode > right.mode; }
};

/**
 * The outstanding work-mode requests. The highest mode is in force, whoever asked last.
 *
 * Any thread may call; one mutex serialises everything. The result 1 tells exactly one caller that the mode in force
 * has changed, so that exactly one sends it to the resources. On -1 nothing has changed and one error line was printed.
 */
class WorkModeManager {
public:
    WorkModeManager();

    /** Sets the mode in force until the first set or release recomputes it from the requests. @return 0 or -1. */
    int InitWorkMode(PerfWorkMode mode);

    /** @param out the mode in force afterwards. @return 1 changed, 0 unchanged, -1 refused. */
    int SetWorkMode(unsigned long long handle, unsigned int modeId, PerfWorkMode& out);
    int ReleaseWorkMode(unsigned long long handle, PerfWorkMode& out);

    bool IsValidWorkModeId(unsigned int modeId) const { return modeId < PERF_WORK_MODE_COUNT; }
    PerfWorkMode GetCurrWorkMode();
    WorkModeState State() const;
    /** Prints the state. */
    int Dump(std::ostringstream& out) const;

private:
    int RecomputeLocked(PerfWorkMode& out) CORVANE_REQUIRES(mutex);

    mutable PerfMutex mutex;
    PerfWorkMode currentMode CORVANE_GUARDED_BY(mutex) = PERF_WORK_MODE_DEFAULT;
    /** Never empty: the base entry (NO_HANDLE, default mode) stays for ever. */
    std::multiset<WorkModeInfo, ModeSetCompare> modeSet CORVANE_GUARDED_BY(mutex);
    std::set<unsigned long long> handleSet CORVANE_GUARDED_BY(mutex);
};
