// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "bench/paced/Contender.h"

/**
 * The least that a request can cost where a thread of its own writes the node: a mutex, a deque, one notify, and a
 * thread that takes the element and makes one write of 7 bytes (three for a resource of two nodes). What has a duration
 * is written again after a bare timed wait.
 */
Contender* MakeFloor(Contender::Setup const& setup);
