// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"
#include "sys/PerfMutex.h"

#include <chrono>
#include <deque>
#include <string>
#include <vector>

/** A period during which the maximum frequency was held below the top of its range. Wall-clock times. */
struct FreqLimitHistoryLog {
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

    TimePoint start{};
    TimePoint end = TimePoint::min(); ///< the lowest value: still open
    int limit = 0;

    bool IsOpen() const { return end == TimePoint::min(); }
};

/**
 * A frequency domain: writes the floor to its minimum node and the ceiling to its maximum node, and remembers the last
 * periods in which the ceiling was lowered.
 *
 * The history may be dumped from any thread while the worker writes; a mutex guards it, and it is never held across a
 * node write.
 */
class FrequencyGroup : public PerfGroup {
public:
    FrequencyGroup(PerfGroupConfig const& config, PerfWorkMode workMode);

    /** Exactly two node paths: minimum, maximum. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    void DumpLimitHistoryLog(std::ostringstream& out) override;
    /** Writes the maximum, the minimum, and (if that went well) the maximum again: one of the orders is accepted. */
    void DoConfig(int boostValue, int limitValue) override;
    void CloseAllFds() override;

    /** Announces where a limit begins and ends. */
    void RecordLimitCmd(int boostValue, int limitValue);

private:
    void RecordHistory(int limitValue);
    void EmitTraceLabel(std::string const& boost, std::string const& limit) const;

    enum NodeIndex { MIN_FREQ, MAX_FREQ };

    size_t const historyCapacity = 50; // constant after construction

    int lastLoggedLimit = 0; ///< 0: no limit is announced; worker thread only

    mutable PerfMutex historyMutex;
    std::deque<FreqLimitHistoryLog> limitHistory CORVANE_GUARDED_BY(historyMutex); ///< oldest first
};
