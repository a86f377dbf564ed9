// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <string>

/**
 * @return what a node that lists frequencies holds in a sandbox: what the file tells, or else some that let the range
 * of every variant of each resource that reads the node stand as it is written, with some steps between.
 */
std::string ContentOfList(Platform const& platform, std::string const& node);
