// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

#include <functional>
#include <string>

/**
 * Notes every node that is missing on this device, cannot be written by this user, or holds something outside the
 * described range. Nothing is written.
 * @param place says where a node of the file is.
 */
void CheckDevice(Platform const& platform, std::function<std::string(std::string const& node)> const& place,
                 Findings& findings);
