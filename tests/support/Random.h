// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

/**
 * A small generator of numbers that are the same on every platform, unlike those of the standard distributions: a seed
 * that a failing test prints means the same everywhere. Equal seeds give equal sequences.
 */
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    /** @return 0 to bound - 1; bound must be above 0. */
    int Below(int bound) { return static_cast<int>(Next() % static_cast<std::uint64_t>(bound)); }
    /** @return true once in so many times. */
    bool Chance(int times) { return Below(times) == 0; }
    /** @return an element of a container that is not empty, to change or to read. */
    template <typename Container> auto& Pick(Container& from)
    {
        return *std::next(std::begin(from), static_cast<std::ptrdiff_t>(Next() % std::size(from)));
    }

private:
    /** splitmix64 */
    std::uint64_t Next()
    {
        std::uint64_t mixed = state += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }

    std::uint64_t state;
};
