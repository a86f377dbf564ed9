// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <vector>

/**
 * A hash table of places (iterators) in a queue, by the handle and the rank of the item that stands there: open
 * addressing, linear probing, deletion by backward shift. Order::Rank is what the queue is ordered by.
 *
 * Invariants, between two operations:
 * - The number of slots is a power of two, and at most three quarters of them are in use.
 * - No two places in use have both handle and rank in common, so that probe sequences stay short whatever is queued.
 * - Every slot from the home of a place (the slot that its hash names) to the one it is in is in use: a search may end
 *   at the first empty slot. Deletion keeps this without tombstones, by moving into the gap whatever could no longer be
 *   found across it.
 *
 * The table grows by doubling and does not shrink. Owned by one worker, no locks.
 */
template <typename Iterator, typename Order> class HandleIndex {
public:
    /** @param noPlace marks an empty slot; nobody adds it. */
    explicit HandleIndex(Iterator noPlace) : none(noPlace), slots(SMALLEST, noPlace) {}

    /** @return the place of the item with this one's handle and rank, or noPlace. */
    template <typename Item> Iterator Find(Item const& item) const { return slots[SlotOf(item)]; }

    /** No other item of its handle and rank may be here. */
    void Add(Iterator place)
    {
        if (4 * ++count > 3 * slots.size()) {
            std::vector<Iterator> before(2 * slots.size(), none);
            before.swap(slots);
            for (Iterator const known : before) {
                if (known != none) {
                    slots[SlotOf(*known)] = known;
                }
            }
        }
        slots[SlotOf(*place)] = place;
    }

    /** The place must be here, and its item still there. */
    void Remove(Iterator place)
    {
        --count;
        std::size_t gap = SlotOf(*place);
        for (std::size_t at = Next(gap); slots[at] != none; at = Next(at)) {
            if (Distance(Home(*slots[at]), at) >= Distance(gap, at)) {
                slots[gap] = slots[at];
                gap = at;
            }
        }
        slots[gap] = none;
    }

    void Clear()
    {
        slots.assign(slots.size(), none);
        count = 0;
    }

private:
    static constexpr std::size_t SMALLEST = 4;

    /** The slot that holds the item's place, or the empty one that ends the search for it. */
    template <typename Item> std::size_t SlotOf(Item const& item) const
    {
        std::size_t at = Home(item);
        while (slots[at] != none && !IsSame(*slots[at], item)) {
            at = Next(at);
        }
        return at;
    }
    template <typename Item> static bool IsSame(Item const& left, Item const& right)
    {
        return left.handle == right.handle && Order::Rank(left) == Order::Rank(right);
    }
    /** Handles and ranks come in sequence or in steps; multiplying and folding spreads either. */
    template <typename Item> std::size_t Home(Item const& item) const
    {
        unsigned long long hash = item.handle * 0x9E3779B97F4A7C15ULL;
        hash = (hash ^ (hash >> 32) ^ static_cast<unsigned long long>(Order::Rank(item))) * 0xBF58476D1CE4E5B9ULL;
        return static_cast<std::size_t>(hash ^ (hash >> 32)) & (slots.size() - 1);
    }
    std::size_t Next(std::size_t at) const { return (at + 1) & (slots.size() - 1); }
    std::size_t Distance(std::size_t from, std::size_t to) const { return (to - from) & (slots.size() - 1); }

    Iterator const none;
    std::vector<Iterator> slots;
    std::size_t count = 0;
};
