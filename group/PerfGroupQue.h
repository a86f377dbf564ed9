// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/HandleIndex.h"

#include <corvane/PerfTypes.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
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
 * An ordered multiset of items, equal ranks in order of arrival, that also finds an item by its handle and rank: a stop
 * finds its item at once, however many others ask for the same value, and however often its handle is queued.
 *
 * Order::Rank(item) is what is ordered by, lowest first.
 *
 * Invariants: the index holds one place for each pair of handle and rank that is queued, that of the first to arrive;
 * the others of such a pair stand in `duplicates`. (Only phases of one event have a pair in common.)
 *
 * Owned by one worker, no locks. Adding and removing cost the logarithm of the size at most; the nodes of what left
 * last are kept for what comes next, so that a boost that comes and goes allocates nothing.
 */
template <typename Order> class PerfGroupQue {
    struct ByRank {
        bool operator()(PerfGroupQueItem const& left, PerfGroupQueItem const& right) const
        {
            return Order::Rank(left) < Order::Rank(right);
        }
    };
    using Items = std::multiset<PerfGroupQueItem, ByRank>;

public:
    using Iterator = typename Items::const_iterator;

    PerfGroupQue() = default;
    PerfGroupQue(PerfGroupQue const&) = delete; // the index knows this one's end
    PerfGroupQue& operator=(PerfGroupQue const&) = delete;

    Iterator begin() const { return items.begin(); }
    Iterator end() const { return items.end(); }
    std::size_t size() const { return items.size(); }
    bool empty() const { return items.empty(); }

    static bool IsBefore(PerfGroupQueItem const& left, PerfGroupQueItem const& right) { return ByRank()(left, right); }

    void Insert(PerfGroupQueItem const& item) { File(InsertItem(item)); }

    /** There must be one. */
    PerfGroupQueItem TakeFirst()
    {
        PerfGroupQueItem const first = *begin();
        Erase(begin());
        return first;
    }

    /** Takes out the first of the items with this one's handle and rank. @return whether there was one. */
    bool Remove(PerfGroupQueItem const& item)
    {
        Iterator const place = index.Find(item);
        if (place == end()) {
            return false;
        }
        Erase(place);
        return true;
    }

    /**
     * Takes out what has ended, if the queue has doubled since that was last done and is long: each insertion pays for
     * one look in constant time.
     */
    void DropEndedIfDoubled(PerfTimePoint const& now)
    {
        if (size() <= std::max(LONG, 2 * fewestWaiting)) {
            return;
        }
        index.Clear();
        duplicates.clear();
        for (auto place = items.begin(); place != items.end();) {
            place = place->endTime <= now ? items.erase(place) : std::next(place);
        }
        for (auto place = items.begin(); place != items.end(); ++place) {
            File(place);
        }
        fewestWaiting = size();
    }

private:
    static constexpr std::size_t LONG = 256;

    struct ByHandle {
        bool operator()(Iterator left, Iterator right) const
        {
            return left->handle != right->handle ? left->handle < right->handle : IsBefore(*left, *right);
        }
    };

    /** The hint end() costs constant time where all ranks are equal, as they ordinarily are. */
    Iterator InsertItem(PerfGroupQueItem const& item)
    {
        if (spareItem.empty()) {
            return items.insert(items.end(), item);
        }
        spareItem.value() = item;
        return items.insert(items.end(), std::move(spareItem));
    }

    void File(Iterator place)
    {
        if (index.Find(*place) == end()) {
            index.Add(place);
        } else {
            duplicates.insert(place);
        }
    }

    /** @param place of the first with its handle and rank. */
    void Erase(Iterator place)
    {
        index.Remove(place);
        auto const heir = duplicates.lower_bound(place);
        if (heir != duplicates.end() && !ByHandle()(place, *heir)) {
            index.Add(*heir);
            duplicates.erase(heir);
        }
        spareItem = items.extract(place);
        fewestWaiting = std::min(fewestWaiting, size());
    }

    Items items;
    HandleIndex<Iterator, Order> index{items.end()};
    std::multiset<Iterator, ByHandle> duplicates;
    typename Items::node_type spareItem;
    std::size_t fewestWaiting = 0; ///< lowest size since the ended ones were last dropped
};
