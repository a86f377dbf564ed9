#pragma once

#include <cstddef>
#include <utility>
#include <vector>

/**
 * Where the items of each handle stand: a hash table of places (iterators) in one block, without a node for each;
 * colliding ones lie right behind one another. Grows, and keeps what it grew to. A handle may stand at several places.
 */
template <typename Place> class HandleIndex {
public:
    /** @param noPlace what Find returns for a handle that is not here, and nobody adds. */
    explicit HandleIndex(Place noPlace) : none(noPlace), slots(SMALLEST, noPlace) {}

    void Add(Place place)
    {
        if (4 * ++count > 3 * slots.size()) {
            std::vector<Place> before(2 * slots.size(), none);
            before.swap(slots);
            for (Place const known : before) {
                if (known != none) {
                    Fill(known);
                }
            }
        }
        Fill(place);
    }

    /** The place must be here, and its item still there. */
    void Remove(Place place)
    {
        --count;
        std::size_t hole = Home(place->handle);
        while (slots[hole] != place) {
            hole = Next(hole);
        }
        // Whatever behind the hole could not be found across it moves into it.
        for (std::size_t at = Next(hole); slots[at] != none; at = Next(at)) {
            if (Distance(Home(slots[at]->handle), at) >= Distance(hole, at)) {
                slots[hole] = slots[at];
                hole = at;
            }
        }
        slots[hole] = none;
    }

    /** @return a place of the handle, and whether it has others. */
    std::pair<Place, bool> Find(unsigned long long handle) const
    {
        Place found = none;
        for (std::size_t at = Home(handle); slots[at] != none; at = Next(at)) {
            if (slots[at]->handle != handle) {
                continue;
            }
            if (found != none) {
                return {found, true};
            }
            found = slots[at];
        }
        return {found, false};
    }

private:
    static constexpr std::size_t SMALLEST = 4; // powers of two

    // Handles come in sequence, or in steps where several resources take turns: the multiplication spreads either.
    std::size_t Home(unsigned long long handle) const
    {
        return static_cast<std::size_t>((handle * 0x9E3779B97F4A7C15ULL) >> 32) & (slots.size() - 1);
    }
    std::size_t Next(std::size_t at) const { return (at + 1) & (slots.size() - 1); }
    std::size_t Distance(std::size_t from, std::size_t to) const { return (to - from) & (slots.size() - 1); }

    void Fill(Place place)
    {
        std::size_t at = Home(place->handle);
        while (slots[at] != none) {
            at = Next(at);
        }
        slots[at] = place;
    }

    Place const none;
    std::vector<Place> slots;
    std::size_t count = 0;
};
