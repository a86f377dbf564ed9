// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/NodeValues.h"

/**
 * Notes every node that is missing on this device, cannot be written by this user, or holds something outside the
 * described range; and as a warning one that does not hold its base, which on an idle device it should. Nothing is
 * written.
 * @param place says where a node of the file is.
 */
void CheckDevice(Platform const& platform, PathLookup const& place, Findings& findings);
