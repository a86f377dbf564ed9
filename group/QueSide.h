#pragma once

#include "group/PerfGroup.h"

#include <algorithm>

/**
 * The machine that every side of a group runs on: a slot for the best item and an ordered multiset behind it. The
 * multiset's ordering says what "best" means. Costs are those of the multiset: logarithmic, with a scan of equal keys.
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
        if (!que.key_comp()(item, slot)) {
            que.insert(item);
            return false;
        }
        que.insert(slot);
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
    slot = *que.begin();
    que.erase(que.begin());
    return true;
}

/** The first of the items that compare equal to this one and carry its handle. */
template <typename Que> typename Que::iterator Find(Que& que, PerfGroupQueItem const& item)
{
    auto const [first, last] = que.equal_range(item);
    auto const found =
        std::find_if(first, last, [&item](PerfGroupQueItem const& queued) { return queued.handle == item.handle; });
    return found == last ? que.end() : found;
}

/** Replaces an ended current item by the best one still running; only what stands before that one is looked at. */
template <typename Que> void DropExpired(PerfGroupQueItem& slot, Que& que, PerfTimePoint const& now)
{
    if (!IsOccupied(slot) || now < slot.endTime) {
        return;
    }
    auto const running =
        std::find_if(que.begin(), que.end(), [&now](PerfGroupQueItem const& queued) { return now < queued.endTime; });
    que.erase(que.begin(), running);
    PromoteFirst(slot, que);
}

} // namespace QueSide
