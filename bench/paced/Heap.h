// SPDX-License-Identifier: Apache-2.0

#pragma once

/** What operator new has handed out, over all threads and modules, while counting is on. */
namespace Heap {

struct Use {
    long long allocations = 0;
    long long bytes = 0; ///< still held, with what the allocator adds and rounds up
};

/** Starts from zero. */
void StartCounting();
Use StopCounting();

} // namespace Heap
