// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroupQue.h"

/**
 * The machine that every side of a group runs on: a slot for the best item and a queue behind it, whose ordering says
 * what "best" means.
 */
namespace QueSide {

/** An empty slot carries INVALID_HANDLE; a default base item (NO_HANDLE) fills its slot like any other. */
inline bool IsOccupied(PerfGroupQueItem const& slot)
{
    return slot.handle != INVALID_HANDLE;
}

/** The first come keeps the slot against an equal. @return whether the item took the slot. */
template <typename Que> bool Add(PerfGroupQueItem& slot, Que& que, PerfGroupQueItem const& item)
{
    if (IsOccupied(slot)) {
        if (!Que::IsBefore(item, slot)) {
            que.Insert(item);
            return false;
        }
        que.Insert(slot);
    }
    slot = item;
    return true;
}

/** Moves the best queued item into the slot, or empties it. @return whether the slot is occupied afterwards. */
template <typename Que> bool PromoteFirst(PerfGroupQueItem& slot, Que& que)
{
    if (que.empty()) {
        slot.handle = INVALID_HANDLE;
        return false;
    }
    slot = que.TakeFirst();
    return true;
}

/** Replaces an ended current item by the best one still running; only what stands before that one is looked at. */
template <typename Que> void DropExpired(PerfGroupQueItem& slot, Que& que, PerfTimePoint const& now)
{
    if (!IsOccupied(slot) || now < slot.endTime) {
        return;
    }
    while (PromoteFirst(slot, que) && slot.endTime <= now) {
    }
}

} // namespace QueSide
