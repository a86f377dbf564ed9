// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Placement.h"

#include <cstdio>
#include <cstdlib>

#include <sched.h>

namespace {

bool isOneCore = false;

void Require(bool done, char const* what)
{
    if (!done) {
        std::perror(what);
        std::exit(1);
    }
}

} // namespace

void Placement::StayOnOneCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<unsigned int>(sched_getcpu()), &cores);
    Require(sched_setaffinity(0, sizeof(cores), &cores) == 0, "corvane_paced: one core");
    isOneCore = true;
}

void Placement::GoFirst()
{
    if (!isOneCore) {
        return;
    }
    sched_param parameters{};
    Require(sched_getparam(0, &parameters) == 0, "corvane_paced: priority");
    ++parameters.sched_priority; // from 0, of the ordinary scheduler, to the lowest of the real-time one
    Require(sched_setscheduler(0, SCHED_FIFO, &parameters) == 0, "corvane_paced: priority");
}
