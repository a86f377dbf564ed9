// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"
#include "group/PerfGroup.h"
#include "resource/PerfCommandQueue.h"
#include "resource/RewriteBackoff.h"
#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

/** What a resource is made of. */
struct ResConstructParam {
    PerfQosId qosId = 0;
    std::string name;
    PerfWorkMode workMode = PERF_WORK_MODE_DEFAULT;
    unsigned int rewriteDelay = 0; ///< as in ConfigManagerOptions
};

/** The base values of a resource's groups. */
struct ResourceDumpInfo {
    PerfQosId qosId = 0;
    std::string name;
    std::vector<GroupDumpInfo> groups;
};

/** A snapshot of a resource's groups, by their ids. */
struct PerfResourceState {
    PerfQosId qosId = 0;
    std::string name;
    std::vector<PerfGroupState> groups;
};

/**
 * One tunable quantity of the platform: its groups, a queue of commands, and the worker that applies them.
 *
 * Any thread may call SendCommandToFifoQ, RequestValidate, WaitLogFinish, WaitState, DumpLimitHistoryLog and the
 * accessors. Everything else runs on the initialising thread before InitThread, and after it on the worker, which alone
 * touches the groups; it sleeps until a command comes or the earliest wake-up time of a group. No lock is held while a
 * command is applied, and the two mutexes are never held together.
 *
 * A kind must stop its worker at the start of its own destructor (StopThread): the worker calls virtual operations.
 *
 * Operations return 0, or -1 after an error line (each caller adds its own). A failing command is dropped; the worker
 * goes on. With a rewrite delay, the worker writes every node anew, as a resume does, while some node refuses its
 * value.
 */
class PerfResource {
public:
    /** What ended a wait of the worker. */
    enum StatusEnum { STATUS_NONE = 0, STATUS_NEW_COMMAND = 1, STATUS_TIME_OUT = 2, STATUS_EXIT = 3 };

    using GroupOperation = std::function<int(std::shared_ptr<PerfGroup>, PerfGroupCommand const&)>;

    explicit PerfResource(ResConstructParam const& param);
    PerfResource(PerfResource const&) = delete;
    PerfResource& operator=(PerfResource const&) = delete;

    /** Queued commands are dropped; returns once the command in progress has ended. */
    virtual ~PerfResource();
    /** Checks the list of groups, then builds them. Once, before InitThread. */
    virtual int InitResource(PerfQosConfig& config);
    /** Checks the values of a request, and corrects them where configured. Any thread. */
    virtual int RequestValidate(PerfCommandType type, PerfGroupTable& groupMap);
    virtual int SetWorkMode(PerfCommandItem const& item);
    virtual int SetSuspend(bool suspended);
    virtual int InitGroups(PerfQosConfig& config) = 0;
    virtual int CommandProcess(PerfCommandItem const& item, GroupOperation const& operation);
    virtual void DumpBase(ResourceDumpInfo& record);

    /** Starts the worker, once. Failing to is fatal for the process. */
    int InitThread();
    /** Lets the worker end after the command in progress, without waiting for it. What is queued is dropped. */
    void TellToExit();

    /**
     * Queues a command and wakes the worker once. A queue above its bound is compacted, with a warning line each time
     * the number that was left out has doubled. @return 0.
     */
    int SendCommandToFifoQ(PerfCommand const& command);
    /** The same for a command that is not needed any more. */
    int MoveToFifoQ(PerfCommand&& command);

    /**
     * Waits, without limit, for the answer to a dump command that was queued before, and prints it. One dump at a time:
     * the caller's dump lock spans the sending and this.
     * @param base the answer is base information, not the full dump.
     * @return false if nothing was printed, as when there is no worker.
     */
    bool WaitLogFinish(bool base, std::ostringstream& out);
    /** The same for the snapshot that comes with the answer to a full dump; it is handed over once. */
    bool WaitState(PerfResourceState& out);

    void DumpLimitHistoryLog(std::ostringstream& out);

    PerfQosId GetQosId() const { return qosId; }
    std::string const& GetName() const { return name; }

    void WorkThread();
    void HandleCommand(StatusEnum status);
    /** @return the earliest wake-up time of the groups, or zero. */
    PerfTimePoint FindMinTime() const;
    int HandleNewCommand();
    int HandleCommandTimeOut();
    int CommandDispath(PerfCommand const& command);
    /** Fails with the first group that fails: those before it keep the command, those after never see it. */
    int NormalCommandProcess(PerfCommandItem const& item, GroupOperation const& operation);
    /** @return the group, or an empty pointer. Valid as long as the resource. */
    std::shared_ptr<PerfGroup> const& GetPerfGroupPtr(unsigned int id) const;
    GroupOperation GetCommandHandle(PerfCommandType type) const;
    int GroupValidate(PerfCommandType type, PerfGroupTable& groupMap) const;
    bool IsValidPerfGroupId(unsigned int id) const { return id < groups.size(); }
    void GetLog();
    void GetBaseInfo();
    bool HandlePrintInfoLocked(bool base, std::ostringstream& out) CORVANE_REQUIRES(logMutex);
    void PrintBaseInfo(std::ostringstream& out) CORVANE_REQUIRES(logMutex);
    void Dump(std::ostringstream& out) const;
    PerfResourceState State() const;

    /** Guards the hand-over of a dump; public so that its steps can be called one by one. */
    PerfMutex logMutex;

protected:
    /** Ends and joins the worker; harmless when repeated, as after TellToExit. */
    void StopThread();
    /**
     * Builds one group of a kind for each configuration, with the resource's work mode and the extra arguments.
     * @return the first configuration that fails the kind's check, or null when every group was built.
     */
    template <typename Group, typename... Extra>
    PerfGroupConfig const* BuildGroups(PerfQosConfig& config, Extra... extra)
    {
        for (PerfGroupConfig& groupConfig : config.groupConfigs) {
            if (!Group::GroupParametersValidate(groupConfig)) {
                return &groupConfig;
            }
            groups.push_back(std::make_shared<Group>(groupConfig, workMode, extra...));
        }
        return nullptr;
    }
    /** Stores the mode and passes it to every group. @return false at the first that fails. */
    bool SetGroupsWorkMode(PerfWorkMode mode);

    // constant after construction
    std::string const name;
    PerfQosId const qosId;

    std::vector<std::shared_ptr<PerfGroup>> groups; // constant after InitResource; index = group id
    PerfWorkMode workMode;                          // worker thread only, after InitResource

private:
    /** Notes the time of a long queue and compacts it; apart from the hot path. The clock is read without the mutex. */
    [[gnu::cold]] void CompactIfDue();
    void WaitForAnswerLocked(PerfMutexLock& lock) CORVANE_REQUIRES(logMutex);
    StatusEnum WaitForStatusLocked(PerfMutexLock& lock, PerfTimePoint const& wakeUp) CORVANE_REQUIRES(queueMutex);

    PerfCondition logCondition;
    std::string logText CORVANE_GUARDED_BY(logMutex);
    PerfResourceState logState CORVANE_GUARDED_BY(logMutex); ///< that the text shows
    bool logReady CORVANE_GUARDED_BY(logMutex) = false;
    ResourceDumpInfo baseDump CORVANE_GUARDED_BY(logMutex);

    /** Looks at what the pass has left on the nodes, and tries again once that is due. */
    void AttendToFailedWrites();
    /** @param isTry the writes were such a try, not a change. */
    void NoteFailedWrites(bool isTry);

    // worker thread only
    PerfGroupCommand groupCommand; ///< the one in progress; kept, because what is assigned to it reuses its nodes
    RewriteBackoff rewrite;
    unsigned long long failedWrites = 0; ///< of all groups, when last looked at
    unsigned int failedPasses = 0;       ///< since every node last took its value
    bool suspend = false;
    bool isBehind = false; ///< the last command left a long queue behind

    bool exitFlag CORVANE_GUARDED_BY(queueMutex) = false;

    PerfThread worker; // constant from InitThread to the destructor

    PerfMutex queueMutex;
    PerfCondition queueCondition;
    PerfCommandQueue queue CORVANE_GUARDED_BY(queueMutex);
    std::size_t leftOut CORVANE_GUARDED_BY(queueMutex) = 0;  ///< since the queue was last empty
    std::size_t reported CORVANE_GUARDED_BY(queueMutex) = 0; ///< of them
};
