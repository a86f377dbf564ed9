// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"
#include "sys/PerfCounter.h"
#include "sys/PerfMutex.h"

#include <corvane/PerfRequest.h>
#include <corvane/PerfTypes.h>

#include <map>
#include <unordered_map>
#include <vector>

/**
 * Gives out handles, keeps what stands behind each until its release or its end, and builds the release commands.
 *
 * Any thread may call; one mutex serialises the maps and the counters. Expired handles count as released from the next
 * call on: no stop is built for them, because the groups let timed commands go by themselves. Their records are freed
 * lazily, two per call, so that a crowd that ends at once does not hold up those who wait for the mutex; all at once
 * where somebody could tell the difference: where a release finds nothing, a limit is met, probes, an event or more
 * than one handle are released, or a caller's time lies before that of an earlier call. Time may come in any order:
 * what has expired by one caller's time is gone, and what is recorded later goes by the times of later calls. Nothing
 * is called from under the mutex but the log and the wrapper's own FillInHandle. Operations return 0, or -1 after a log
 * line (in normal running, such as for an unknown handle, a debug line), unless said otherwise. After -1 an out
 * argument is unspecified, except the handle of RequestHandle: it is untouched if the process id was refused,
 * INVALID_HANDLE if there was none to be had.
 */
class CommandManager {
public:
    using HandleWrapperMap = std::unordered_map<unsigned long long, CommandWrapper>;
    using PidHandleMap = std::unordered_map<int, HandleWrapperMap>;
    using ExpiredRecords = std::vector<HandleWrapperMap::node_type>;

    /** Result of RequestProbeHandle. */
    enum ProbeResult : int { PROBE_DUPLICATE = 0, PROBE_MADE = 1, PROBE_NO_HANDLE = 2 };

    /** Snapshot of releaseCount. */
    struct StartTicket {
        unsigned long long releaseCount;
    };

    explicit CommandManager(CommandLimits const& limits = {});

    /** Records the wrapper under a new handle and stamps it. PERF_COMMAND_BASE_SET gets NO_HANDLE and no record. */
    int RequestHandle(int pid, PerfTimePoint const& now, CommandWrapper& wrapper, unsigned long long& handle);
    /** The same for an event; one event may have several handles outstanding. */
    int RequestEventHandle(PerfEventId eventId, PerfTimePoint const& now, CommandWrapper& wrapper);
    /** The same for a probe, of which each thread may have one. @return a ProbeResult. */
    int RequestProbeHandle(int tid, PerfTimePoint const& now, CommandWrapper& wrapper);

    int BuildReleaseCommand(int pid, unsigned long long handle, CommandWrapper& out);
    /** Appends one release wrapper per outstanding start of the event. */
    int BuildEventReleaseCommand(PerfEventId eventId, std::vector<CommandWrapper>& out);
    int BuildProbeReleaseCommand(int tid, CommandWrapper& out);
    /** Replaces out with the release of everything, events and probes included. */
    int BuildReleaseAllCommand(PidHandleMap& out);
    /** Replaces out with the release of everything that one process holds. */
    int BuildReleaseAllCommand(int pid, HandleWrapperMap& out);

    /** Taken before a start is recorded, to find out later whether anything was released since. */
    StartTicket TakeTicket() const { return StartTicket{releaseCount.Read()}; }
    /**
     * @param pid the process that the handle stands under (eventPid for events, the thread for probes).
     * @return whether the handle is gone. Without any release since the ticket was taken that costs no look-up.
     */
    bool IsReleasedSince(StartTicket const& ticket, int pid, unsigned long long handle);
    int EventPid() const { return limits.eventPid; }
    /** @return outstanding handles. */
    unsigned int TotalHandleNum();

    /** Snapshot of the handles that no client knows. Some may have expired. */
    struct UnnamedHandles {
        std::multimap<PerfEventId, unsigned long long> events;
        std::unordered_map<int, unsigned long long> probes; ///< by thread
    };
    UnnamedHandles State();

    void ClearExpiredHandle(PerfTimePoint const& now) CORVANE_REQUIRES(mutex);
    /** The same, but hands over what has been forgotten, so that it can be freed with the mutex given up. */
    void ClearExpiredHandle(PerfTimePoint const& now, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    /** @return the new, counted handle or INVALID_HANDLE. */
    unsigned long long AllocHandleByPid(int pid) CORVANE_REQUIRES(mutex);
    int ComposeReleaseCommand(int pid, unsigned long long handle, CommandWrapper& out) CORVANE_REQUIRES(mutex);
    int DeleteFromShortTermEndtimeMap(PerfTimePoint const& endTime, unsigned long long handle) CORVANE_REQUIRES(mutex);
    /** Turns a start into its stop. */
    int UpdateReleaseCommandType(CommandWrapper& wrapper) const;

    /** Guards what is marked so below; public so that the steps above can be called one by one. */
    PerfMutex mutex;

private:
    struct ShortCmdInfo {
        int pid = 0; ///< eventPid for events, the thread for probes
        unsigned long long handle = 0;
        PerfTimePoint endTime{};
        PerfEventId eventId = REQUEST_EVENT_ID;
    };

    /** Records freed per request; more than it adds, so that the backlog shrinks. */
    static constexpr int FREED_PER_CALL = 2;

    /** @param process set to where the handles of the process are filed, or to the end if it has none yet. */
    unsigned long long AllocHandleByPid(int pid, PidHandleMap::iterator& process) CORVANE_REQUIRES(mutex);
    /** Stamps the wrapper and files a copy; method is the operation that a duplicate is reported for. */
    int FileWrapper(char const* method, int pid, PidHandleMap::iterator process, unsigned long long handle,
                    CommandWrapper& wrapper) CORVANE_REQUIRES(mutex);
    PidHandleMap::iterator AddProcess(int pid) CORVANE_REQUIRES(mutex);
    /** @return whether the handle was not taken. */
    bool AddRecord(HandleWrapperMap& records, unsigned long long handle, CommandWrapper const& wrapper)
        CORVANE_REQUIRES(mutex);
    int ComposeFromProcess(char const* method, PidHandleMap::iterator process, unsigned long long handle,
                           CommandWrapper& out) CORVANE_REQUIRES(mutex);
    void AddEndTime(ShortCmdInfo const& info) CORVANE_REQUIRES(mutex);
    /** From here on, what ends by then has expired. */
    void SetTime(PerfTimePoint const& now, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    /**
     * For a record that ends no later than expiredUntil: moves that back, so that the record counts as running until a
     * later call sets the time. May forget processes: call it before the record's own is looked up.
     */
    void MakeWayForEnd(PerfTimePoint const& endTime, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    /** Frees what has expired since that time, and makes it the present one. */
    void GoBackTo(PerfTimePoint const& time, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    /** @return whether the handle was filed under this end. */
    bool HasEndTime(PerfTimePoint const& endTime, unsigned long long handle) const CORVANE_REQUIRES(mutex);
    /** @return whether the handle stands under this process and has not expired. */
    bool IsRunning(int pid, unsigned long long handle) const CORVANE_REQUIRES(mutex);
    /** Frees a few, or all if the process would meet a limit otherwise. */
    void MakeRoom(int pid, PerfTimePoint const& now, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    bool IsFull(int pid) const CORVANE_REQUIRES(mutex);
    /** @return whether none is left. */
    bool ForgetSome(PerfTimePoint const& now, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    void ForgetAll(ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    /** @return whether there was one. */
    bool ForgetFirst(ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    void ForgetExpired(char const* method, ShortCmdInfo const& info, ExpiredRecords& out) CORVANE_REQUIRES(mutex);
    void NoteRelease() { releaseCount.Increment(); }

    CommandLimits const limits; // constant after construction
    PerfCounter releaseCount;

    PerfTimePoint expiredUntil CORVANE_GUARDED_BY(mutex){}; ///< what ends by then has expired, even if not freed yet
    unsigned int totalHandleNum CORVANE_GUARDED_BY(mutex) = 0;
    unsigned long long nextHandle CORVANE_GUARDED_BY(mutex);
    std::multimap<PerfTimePoint, ShortCmdInfo> shortTermEndtimeMap CORVANE_GUARDED_BY(mutex);
    PidHandleMap pidHandleMap CORVANE_GUARDED_BY(mutex);
    std::multimap<PerfEventId, unsigned long long> eventHandleMap CORVANE_GUARDED_BY(mutex);
    std::unordered_map<int, unsigned long long> probeHandleMap CORVANE_GUARDED_BY(mutex);

    // What was released last, kept for what comes next: a client that asks and releases allocates nothing here.
    HandleWrapperMap::node_type spareRecord CORVANE_GUARDED_BY(mutex);
    PidHandleMap::node_type spareProcess CORVANE_GUARDED_BY(mutex); ///< with the buckets of its records
};
