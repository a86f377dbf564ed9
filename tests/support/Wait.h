// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <thread>

/** Asks again and again, without a lock, until the answer is yes. @return false when the time is over. */
template <typename Predicate> bool WaitUntil(Predicate done, std::chrono::milliseconds cap = std::chrono::seconds(10))
{
    auto const deadline = std::chrono::steady_clock::now() + cap;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
