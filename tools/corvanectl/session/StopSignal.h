// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>

/** Asks a session to come to its end. Any thread may raise it, at any time. */
class StopSignal {
public:
    StopSignal();
    StopSignal(StopSignal const&) = delete;
    StopSignal& operator=(StopSignal const&) = delete;
    ~StopSignal();

    void Raise();
    bool IsRaised() const { return WaitFor(std::chrono::milliseconds(0)); }
    /** @return whether it was raised before the time was over. */
    bool WaitFor(std::chrono::milliseconds time) const;
    /** Can be read from once it is raised, for whoever waits for something else as well. */
    int Descriptor() const { return descriptor; }

private:
    int const descriptor;
};
