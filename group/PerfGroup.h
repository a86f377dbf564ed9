// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroupQue.h"
#include "group/PerfGroupState.h"

#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <cstddef>
#include <map>
#include <sstream>
#include <string>
#include <vector>

/** A command as one group receives it: at most one boost and one limit value. */
struct PerfGroupCommand {
    unsigned long long handle = NO_HANDLE;
    PerfTimePoint startTime{};
    PerfTimePoint endTime{};
    std::map<PerfOperationType, int> operationValueMap;
};

/** What a base value means on a node, as text. */
struct SpecifiedGroupDumpInfo {
    std::string value;
    std::string secondValue; ///< empty for kinds with one value
    std::string node;
    std::string secondNode; ///< empty for kinds with one value
};

/** The base values of a group. */
struct GroupDumpInfo {
    unsigned int groupId = 0;
    std::string name;
    int boostBase = 0;
    int limitBase = 0;
    std::vector<SpecifiedGroupDumpInfo> mappedValues;
};

/**
 * Arbitrates one tunable: keeps every live request in ordered queues and reduces them to a floor and a ceiling, which
 * the kind writes to its nodes.
 *
 * Short-term values have a start and an end; a future start waits, an end lets them go at the next time-out. Long-term
 * values are bases that hold until they are stopped; the configured defaults lie under them and never leave. The time
 * is passed in: a group never reads the clock.
 *
 * Owned by the worker of one resource, no locks. GroupValueValidate, CheckOperationType and OperationValueValidate read
 * only what is constant after construction and may be called from any thread; DumpLimitHistoryLog too.
 *
 * Operations return 0, or -1 after an error line (each caller adds its own); queue changes made before a failure stay.
 */
class PerfGroup {
public:
    PerfGroup(PerfGroupConfig const& config, PerfWorkMode workMode);
    PerfGroup(PerfGroup const&) = delete;
    PerfGroup& operator=(PerfGroup const&) = delete;

    virtual ~PerfGroup();
    /** Rewrites the nodes with a value that a related group decided. Here: nothing. */
    virtual void RelatedGroupDoConfig(int value);
    /** Says what the current base values mean on the nodes. */
    virtual void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const = 0;
    virtual void DumpLimitHistoryLog(std::ostringstream& out);
    virtual int CheckOperationType(PerfCommandType type, PerfOperationType operation) const;
    /** Accepts a value in range; clamps or refuses (-1, after a debug line only) one outside, as configured. */
    virtual int OperationValueValidate(int& value) const;
    /** Writes the pair. Called each time it is generated while the group is not suspended, changed or not. */
    virtual void DoConfig(int boostValue, int limitValue) = 0;
    /** Closes every node; the next write opens it anew. */
    virtual void CloseAllFds();
    /** Writes what was decided last once more, to every node; for where a node has refused it. Not while suspended. */
    virtual void WriteAnew();

    /** Checks a configuration before a group is built of it. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    /** Checks the values of one command, clamping them in place where configured. */
    int GroupValueValidate(PerfCommandType type, std::map<PerfOperationType, int>& operations) const;

    int ShortTermStart(PerfGroupCommand const& command);
    int ShortTermStop(PerfGroupCommand const& command);
    int LongTermStart(PerfGroupCommand const& command);
    int LongTermStop(PerfGroupCommand const& command);
    /** Replaces the value of the default boost base. */
    int BaseSet(PerfGroupCommand const& command);

    int SetWorkMode(PerfWorkMode mode);
    /** While suspended nothing is written; a resume writes the pair last computed. @return 0. */
    int SetSuspend(bool suspended);
    int GetFinalBoostValue() const { return finalBoostValue; }
    /** @return whether some node refused what was last offered to it. */
    bool HasFailedWrite() const;
    /** @return how many writes have failed since construction. */
    unsigned long long FailedWrites() const { return failedWrites; }

    // The steps of the command operations. "Changed" results: 1, 0, or -1 on failure.
    int AddShortTermCommand(PerfGroupCommand const& command);
    int DeleteShortTermCommand(PerfGroupCommand const& command);
    int AddLongTermCommand(PerfGroupCommand const& command);
    int DeleteLongTermCommand(PerfGroupCommand const& command);
    int UpdateDefaultBoostBaseItem(PerfGroupCommand const& command);

    /** @return 1 if the current item of that side changed its value, appeared or vanished, else 0. */
    int AddToBoostQue(PerfGroupQueItem const& item);
    int AddToLimitQue(PerfGroupQueItem const& item);
    int AddToBoostBaseQue(PerfGroupQueItem const& item);
    int AddToLimitBaseQue(PerfGroupQueItem const& item);
    int DeleteFromBoostQue(PerfGroupQueItem const& item);
    int DeleteFromLimitQue(PerfGroupQueItem const& item);
    int DeleteFromBoostBaseQue(PerfGroupQueItem const& item);
    int DeleteFromLimitBaseQue(PerfGroupQueItem const& item);
    int UpdateDefaultBoostBaseValue(PerfGroupQueItem const& item);

    /** Bases under the work mode. @return 1 changed, 0 unchanged, -1 invalid mode (nothing changed). */
    int UpdateEffectiveLongTermCommand();
    void UpdateEffectiveShortTermCommand();
    void UpdateEffectiveLimit(bool boostActive);
    /** On an invalid mode the pair is assigned all the same, and -1 returned. */
    int GenerateFinalValue(int& boost, int& limit) const;
    int UpdateShortTermCommandAndWriteValue();
    int GenerateAndWriteFinalValue();

    // Timing.
    void UpdateCurrTimePoint(PerfTimePoint const& now);
    /** Lets go what has ended and takes in what has begun; writes if the outcome changed. */
    int ShortTermTimeOut(PerfTimePoint const& now);
    /** @return -1 invalid, 0 already ended, 1 usable. */
    int IsValidShortTermCommand(PerfGroupCommand const& command) const;
    /** @return 1 valid, 0 invalid. */
    int IsValidGroupQueItem(PerfGroupQueItem const& item) const;
    bool IsThereNeedTowait(PerfGroupQueItem const& item) const;
    void AddToWaitingQue(PerfGroupQueItem const& item);
    /** Withdraws what carries the item's handle; in the queue only where the start time is the item's, too. */
    void DeleteFromWaitingQue(PerfGroupQueItem const& item);
    int DeleteExpiredShortTermCommand();
    void DeleteExpiredBoostCommand();
    void DeleteExpiredLimitCommand();
    int DeleteExpiredWaitingCommand();
    int DispathCommandToShortTermQue(PerfGroupQueItem const& item);
    bool CheckCurrValueChangeAfterTimeOut(PerfGroupQueItem const& before, PerfGroupQueItem const& after) const;
    /** @return the earliest time at which something ends or begins, or zero. */
    PerfTimePoint GetNextWakeUpTimePoint() const;
    PerfTimePoint GetNextWakeUpTimePointInBoostQue() const;
    PerfTimePoint GetNextWakeUpTimePointInLimitQue() const;
    PerfTimePoint GetNextWakeUpTimePointInWaitingQue() const;

    // Dumps.
    PerfGroupState State() const;
    /** Prints the state, of each handle the low bits. */
    void Dump(std::ostringstream& out) const;
    /** The current items and the effective values. */
    void DumpPart1(std::ostringstream& out) const;
    /** What is queued behind the current items, and the final pair. */
    void DumpPart2(std::ostringstream& out) const;
    void DumpBase(GroupDumpInfo& info) const;

protected:
    // What a kind may use.
    int BoostBaseValue() const { return currBoostBaseItem.value; }
    int LimitBaseValue() const { return currLimitBaseItem.value; }
    bool IsSuspended() const { return suspend; }
    PerfWorkMode WorkMode() const { return workMode; }

    struct Node {
        std::string path; ///< constant after construction
        int fd = -1;
        bool failed = false; ///< refused what was last offered to it
    };
    /** Write and log as SysWrapper does, and remember what became of it. @return 0 or -1. */
    int WriteText(Node& node, std::string const& text);
    int WriteUint(Node& node, int value);
    void CloseNodes(std::size_t first = 0);

    // constant after construction
    unsigned int const groupId;
    std::string const name;

private:
    struct LargestFirst {
        static long long Rank(PerfGroupQueItem const& item) { return -static_cast<long long>(item.value); }
    };
    struct SmallestFirst {
        static long long Rank(PerfGroupQueItem const& item) { return item.value; }
    };
    struct EarliestFirst {
        static long long Rank(PerfGroupQueItem const& item) { return item.startTime.time_since_epoch().count(); }
    };

    // Steps shared by several operations; method is the one that they log for.
    int WriteIfShortTermChanged(char const* method, int changed);
    int WriteIfBaseChanged(char const* method, int changed);
    int ForEachItem(char const* method, PerfGroupCommand const& command,
                    int (PerfGroup::*onBoost)(PerfGroupQueItem const&),
                    int (PerfGroup::*onLimit)(PerfGroupQueItem const&), bool mayWait);

    PerfTimePoint currTimePoint{}; // worker thread only

protected:
    // constant after construction
    int const availableMin;
    int const availableMax;

    std::vector<Node> nodes; ///< one for each path of the configuration, in its order; worker thread only

private:
    int NoteWrite(Node& node, int result);

    // worker thread only
    int finalBoostValue;
    int finalLimitValue;
    unsigned long long failedWrites = 0;

    // Each queue is paired with a slot for its best item, which is never inside the queue as well. Equal keys stay in
    // order of arrival. Mind the trap: of the short-term limits the *largest* is current, of the limit bases the
    // *smallest*. The default base items (NO_HANDLE) are always in a base slot or queue, so a base slot is never empty.
    PerfGroupQueItem currBoostItem;
    PerfGroupQueItem currLimitItem;
    PerfGroupQueItem currBoostBaseItem;
    PerfGroupQueItem currLimitBaseItem;
    PerfGroupQueItem curr_wait_item;

    int effectiveBoostValue; ///< base and short-term together, before the work mode decides between boost and limit
    int effectiveLimitValue;
    int effectiveBoostBase; ///< after the work mode has decided between the bases
    int effectiveLimitBase;

    PerfGroupQue<LargestFirst> boostQue;
    PerfGroupQue<LargestFirst> limitQue;
    PerfGroupQue<LargestFirst> boostBaseQue;
    PerfGroupQue<SmallestFirst> limitBaseQue;
    PerfGroupQue<EarliestFirst> waitingQue;
    int defaultBoostBase; ///< the value of the default boost base item, wherever that stands

    unsigned long long const handleDumpMask = 1023; ///< dumps show the low bits of a handle; constant
    bool suspend = false;
    bool const clampOutOfRange; // constant after construction
    PerfWorkMode workMode;
};
