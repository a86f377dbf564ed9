// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "bench/paced/Report.h"
#include "bench/paced/Track.h"

#include <vector>

/** Everybody in a run. The first is the floor. */
using Entries = std::vector<Entry>;

// Ratios to the floor, which takes its turn between the others; a value a round.

/** From the call to the last write that it causes, and the calls alone, one every 200 us. */
void MeasurePaced(Entries const& entries, Report& report, unsigned int rounds, unsigned int repetitions);
/** Pairs of request and release a second until all is written: one client, and four on resources of their own. */
void MeasureThroughput(Entries const& entries, Report& report, unsigned int rounds);
/** From a change of the work mode to the last of 40 writes. */
void MeasureModeChange(Entries const& entries, Report& report, unsigned int rounds);
/** Until 40 resources are ready. */
void MeasureStartUp(Entries const& entries, Report& report, unsigned int rounds);
/** How late a request ends: 20 ms ones, one every 5 ms on each of four resources. Also how many ended early or never.
 */
void MeasureExpiry(Entries const& entries, Report& report, unsigned int rounds, unsigned int repetitions);

// Absolute values of the builds of the library.

/** Allocations a request and its release, and bytes that a long one keeps. */
void MeasureHeap(Entries const& entries, Report& report);
/** How often the threads of 40 resources wake up in a second without a request. */
void MeasureIdle(Entries const& entries, Report& report);
/** How many ms a call that meets 8,000 expired handles takes, and for how long it locks others out. */
void MeasureExpiredCrowd(Entries const& entries, Report& report, unsigned int rounds);
