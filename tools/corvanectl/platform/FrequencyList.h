// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <string>

/**
 * @return what the node that lists a resource's frequencies holds in a sandbox: what the file tells, or else some that
 * let the range of every variant stand as it is written, with some steps between.
 */
std::string CoveringFrequencies(QosEntry const& entry);
