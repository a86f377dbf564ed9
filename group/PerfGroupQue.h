#pragma once

#include "group/HandleIndex.h"

#include <corvane/PerfTypes.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

/** One value of a command, as it lies in a queue. */
struct PerfGroupQueItem {
    unsigned long long handle = INVALID_HANDLE; ///< INVALID_HANDLE: an empty slot; NO_HANDLE: a default base item
    PerfOperationType operationType = PERF_OPERATION_BOOST;
    int value = 0;
    PerfTimePoint startTime{};
    PerfTimePoint endTime{};
};

/**
 * An ordered multiset of items, equal keys in order of arrival, that also knows where each handle stands: a stop finds
 * its item at once, however many others ask for the same value.
 *
 * Owned by one worker, no locks. Adding and removing cost the logarithm of the size; the nodes of what left last are
 * kept for what comes next, so that a boost that comes and goes allocates nothing.
 */
template <typename Order> class PerfGroupQue {
    using Items = std::multiset<PerfGroupQueItem, Order>;

public:
    using Iterator = typename Items::const_iterator;

    PerfGroupQue() = default;
    PerfGroupQue(PerfGroupQue const&) = delete; // the index knows this one's end
    PerfGroupQue& operator=(PerfGroupQue const&) = delete;

    Iterator begin() const { return items.begin(); }
    Iterator end() const { return items.end(); }
    std::size_t size() const { return items.size(); }
    bool empty() const { return items.empty(); }

    static bool IsBefore(PerfGroupQueItem const& left, PerfGroupQueItem const& right) { return Order()(left, right); }

    void Insert(PerfGroupQueItem const& item) { index.Add(InsertItem(item)); }

    void Erase(Iterator position)
    {
        index.Remove(position);
        spareItem = items.extract(position);
    }

    PerfGroupQueItem TakeFirst()
    {
        PerfGroupQueItem const first = *begin();
        Erase(begin());
        return first;
    }

    /** @return the first of the items that compare equal to this one and carry its handle, or end(). */
    Iterator Find(PerfGroupQueItem const& item) const
    {
        auto const isWanted = [&](PerfGroupQueItem const& queued) {
            return queued.handle == item.handle && !IsBefore(queued, item) && !IsBefore(item, queued);
        };
        auto const [place, hasOthers] = index.Find(item.handle);
        if (place == end()) {
            return end();
        }
        if (!hasOthers) {
            return isWanted(*place) ? place : end();
        }
        // No client's handle stands here twice; if one does, the first in the queue's own order is meant.
        return std::find_if(items.lower_bound(item), items.end(), isWanted);
    }

    /** @return an item with this handle, or end(). */
    Iterator FindHandle(unsigned long long handle) const { return index.Find(handle).first; }

private:
    /** Tries the end first: it is the place behind its equals where all are equal, as they ordinarily are. */
    Iterator InsertItem(PerfGroupQueItem const& item)
    {
        if (spareItem.empty()) {
            return items.insert(items.end(), item);
        }
        spareItem.value() = item;
        return items.insert(items.end(), std::move(spareItem));
    }

    Items items;
    HandleIndex<Iterator> index{items.end()};
    typename Items::node_type spareItem;
};
