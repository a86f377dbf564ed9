// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <ostream>

/** Says in a few lines what a platform has. */
void SummarisePlatform(Platform const& platform, std::ostream& out);
