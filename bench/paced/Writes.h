// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "bench/paced/Clock.h"

#include <vector>

/**
 * What goes through pwrite(2) and write(2) of this process: the executable defines both, makes the call and takes the
 * time right behind it. Nothing but a stamp per descriptor is added to the call.
 */
namespace Writes {

inline constexpr int MAX_FD = 1024;

/** @return how often the descriptor was written so far. */
unsigned int Count(int fd);
/** @return when the last of these had been written. */
Clock::Nanoseconds Last(int fd);

/** @return the counts of all descriptors. */
std::vector<unsigned int> Counts();

} // namespace Writes
