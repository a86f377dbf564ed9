// SPDX-License-Identifier: Apache-2.0

#include "sys/PerfCounter.h"

unsigned long long PerfCounter::Read() const
{
    return count.load(std::memory_order_acquire);
}

void PerfCounter::Increment()
{
    count.fetch_add(1, std::memory_order_release);
}
