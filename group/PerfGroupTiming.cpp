// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_GROUP"

#include "group/PerfGroup.h"
#include "group/QueSide.h"
#include "sys/Log.h"
#include "sys/PerfTime.h"

namespace {

/** Shared by commands and queue items: the method names the check that reports. */
template <typename Timed> bool HasValidHandleAndTimes(char const* method, std::string const& group, Timed const& timed)
{
    if (timed.handle >= INVALID_HANDLE) {
        PF_LOGE_AS(method, "[%s:%d] [%s] invalid handle: %llu", group.c_str(), timed.handle);
        return false;
    }
    if (timed.endTime < timed.startTime) {
        PF_LOGE_AS(method, "[%s:%d] [%s] startTime larger than endTime", group.c_str());
        return false;
    }
    return true;
}

} // namespace

void PerfGroup::UpdateCurrTimePoint(PerfTimePoint const& now)
{
    currTimePoint = now;
}

int PerfGroup::ShortTermTimeOut(PerfTimePoint const& now)
{
    currTimePoint = now;
    int const changed = DeleteExpiredShortTermCommand();
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] DeleteExpiredShortTermCommand failed", name.c_str());
        return -1;
    }
    return WriteIfShortTermChanged(__func__, changed);
}

int PerfGroup::IsValidShortTermCommand(PerfGroupCommand const& command) const
{
    if (!HasValidHandleAndTimes(__func__, name, command)) {
        return -1;
    }
    if (currTimePoint < command.endTime) {
        return 1;
    }
    PF_LOGD("[%s:%d] [%s] already time out", name.c_str());
    return 0;
}

int PerfGroup::IsValidGroupQueItem(PerfGroupQueItem const& item) const
{
    return HasValidHandleAndTimes(__func__, name, item) ? 1 : 0;
}

bool PerfGroup::IsThereNeedTowait(PerfGroupQueItem const& item) const
{
    return currTimePoint < item.startTime;
}

void PerfGroup::AddToWaitingQue(PerfGroupQueItem const& item)
{
    QueSide::Add(curr_wait_item, waitingQue, item);
}

void PerfGroup::DeleteFromWaitingQue(PerfGroupQueItem const& item)
{
    // All matches go, not one: a boost and a limit of one command wait under the same handle and start.
    bool found = false;
    while (waitingQue.Remove(item)) {
        found = true;
        PF_LOGD("[%s:%d] [%s] delete item in waiting que with handle %llu", name.c_str(), item.handle);
    }
    if (!found) {
        PF_LOGD("[%s:%d] [%s] no item found in waiting que with handle %llu", name.c_str(), item.handle);
    }
    if (curr_wait_item.handle == item.handle) {
        QueSide::PromoteFirst(curr_wait_item, waitingQue);
        PF_LOGD("[%s:%d] [%s] delete item in curr_wait_item with handle %llu", name.c_str(), item.handle);
    }
}

int PerfGroup::DeleteExpiredShortTermCommand()
{
    PerfGroupQueItem const boostBefore = currBoostItem;
    PerfGroupQueItem const limitBefore = currLimitItem;
    DeleteExpiredBoostCommand();
    DeleteExpiredLimitCommand();
    if (DeleteExpiredWaitingCommand() != 0) {
        PF_LOGE("[%s:%d] [%s] moveFromWaitingQueToActiveQue failed", name.c_str());
        return -1;
    }
    bool const changed = CheckCurrValueChangeAfterTimeOut(boostBefore, currBoostItem) ||
                         CheckCurrValueChangeAfterTimeOut(limitBefore, currLimitItem);
    return changed ? 1 : 0;
}

void PerfGroup::DeleteExpiredBoostCommand()
{
    QueSide::DropExpired(currBoostItem, boostQue, currTimePoint);
}

void PerfGroup::DeleteExpiredLimitCommand()
{
    QueSide::DropExpired(currLimitItem, limitQue, currTimePoint);
}

int PerfGroup::DeleteExpiredWaitingCommand()
{
    if (!QueSide::IsOccupied(curr_wait_item) || currTimePoint < curr_wait_item.startTime) {
        return 0;
    }
    // One that has ended while it waited is dropped unseen.
    if (currTimePoint < curr_wait_item.endTime && DispathCommandToShortTermQue(curr_wait_item) != 0) {
        PF_LOGE("[%s:%d] [%s] DispathCommandToShortTermQue failed", name.c_str());
        return -1;
    }
    curr_wait_item.handle = INVALID_HANDLE;
    while (!waitingQue.empty()) {
        PerfGroupQueItem const item = waitingQue.TakeFirst();
        if (item.endTime <= currTimePoint) {
            continue;
        }
        if (IsThereNeedTowait(item)) {
            curr_wait_item = item;
            return 0;
        }
        if (DispathCommandToShortTermQue(item) != 0) {
            PF_LOGE("[%s:%d] [%s] DispathCommandToShortTermQue failed", name.c_str());
            return -1;
        }
    }
    return 0;
}

int PerfGroup::DispathCommandToShortTermQue(PerfGroupQueItem const& item)
{
    switch (item.operationType) {
    case PERF_OPERATION_LIMIT:
        AddToLimitQue(item);
        return 0;
    case PERF_OPERATION_BOOST:
        AddToBoostQue(item);
        return 0;
    default:
        PF_LOGE("[%s:%d] [%s] invalid operation type: %u", name.c_str(), item.operationType);
        return -1;
    }
}

bool PerfGroup::CheckCurrValueChangeAfterTimeOut(PerfGroupQueItem const& before, PerfGroupQueItem const& after) const
{
    bool const wasOccupied = QueSide::IsOccupied(before);
    if (wasOccupied != QueSide::IsOccupied(after)) {
        return true;
    }
    return wasOccupied && before.value != after.value;
}

PerfTimePoint PerfGroup::GetNextWakeUpTimePoint() const
{
    PerfTimePoint const end =
        PerfTime::EarlierOf(GetNextWakeUpTimePointInBoostQue(), GetNextWakeUpTimePointInLimitQue());
    return PerfTime::EarlierOf(end, GetNextWakeUpTimePointInWaitingQue());
}

PerfTimePoint PerfGroup::GetNextWakeUpTimePointInBoostQue() const
{
    return QueSide::IsOccupied(currBoostItem) ? currBoostItem.endTime : PerfTimePoint{};
}

PerfTimePoint PerfGroup::GetNextWakeUpTimePointInLimitQue() const
{
    return QueSide::IsOccupied(currLimitItem) ? currLimitItem.endTime : PerfTimePoint{};
}

PerfTimePoint PerfGroup::GetNextWakeUpTimePointInWaitingQue() const
{
    return QueSide::IsOccupied(curr_wait_item) ? curr_wait_item.startTime : PerfTimePoint{};
}
