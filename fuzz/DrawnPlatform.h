// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "fuzz/FuzzBytes.h"
#include "tools/corvanectl/platform/Platform.h"

/** Makes a platform with its catalogues of bytes. Most are sound; now and then one is not. */
Platform DrawPlatform(FuzzBytes& bytes);

/** Makes values for some groups of a resource. @param around whether some may be outside of what it takes. */
std::vector<GroupInfo> DrawValues(FuzzBytes& bytes, QosEntry const& entry, bool around);
