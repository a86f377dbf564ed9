// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>

/** A count that any thread may read and move on without a lock; who reads it sees what happened before it moved. */
class PerfCounter {
public:
    // Replaced in virtual time, where another thread may go on before a reading.
    unsigned long long Read() const;
    void Increment();

private:
    std::atomic<unsigned long long> count{0};
};
