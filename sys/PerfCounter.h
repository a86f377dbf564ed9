// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>

/** A count that any thread may read and move on without a lock; who reads it sees what happened before it moved. */
class PerfCounter {
public:
    /** Replaced in virtual time, where another thread may go on before. */
    unsigned long long Read() const;
    void Increment() { count.fetch_add(1, std::memory_order_release); }

private:
    std::atomic<unsigned long long> count{0};
};
