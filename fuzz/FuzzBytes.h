// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

/** Bytes as a source of choices. When they are used up every choice is the first one, and every chance is missed. */
class FuzzBytes {
public:
    FuzzBytes(std::uint8_t const* data, std::size_t size) : next(data), end(data + size) {}

    bool Empty() const { return next == end; }
    /** @return 0 to bound - 1; bound is 1 to 256. */
    unsigned int Below(unsigned int bound) { return Byte() % bound; }
    /** @return true once in so many times, two at least. */
    bool Chance(unsigned int times) { return Below(times) == 1; }
    /** @return an element of a container of 1 to 256. */
    template <typename Container> auto& Pick(Container& from)
    {
        return from[Below(static_cast<unsigned int>(std::size(from)))];
    }
    /** @return a number from the range, its ends included. */
    int Within(int min, int max)
    {
        long long const span = static_cast<long long>(max) - min;
        return static_cast<int>(min + span * Byte() / 255);
    }
    /** The same, but now and then one that is barely or by far outside. */
    int Around(int min, int max)
    {
        constexpr int LOWEST = std::numeric_limits<int>::min();
        constexpr int HIGHEST = std::numeric_limits<int>::max();
        switch (Below(32)) {
        case 1:
            return min == LOWEST ? min : min - 1;
        case 2:
            return max == HIGHEST ? max : max + 1;
        case 3:
            return LOWEST;
        case 4:
            return HIGHEST;
        default:
            return Within(min, max);
        }
    }

private:
    unsigned int Byte() { return Empty() ? 0 : *next++; }

    std::uint8_t const* next;
    std::uint8_t const* const end;
};
