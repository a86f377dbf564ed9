// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

#include <string>

/**
 * Reads a platform from text in the format of platforms/README.md. What cannot be read is a finding and left at its
 * default; whether the values make sense together is CheckPlatform's question.
 * @param name what to call the text in an error.
 * @throws InputError if it is not JSON.
 */
Platform ReadPlatform(std::string const& name, std::string const& text, Findings& findings);
