// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Platform.h"

#include <ostream>
#include <string>

/** @return a name for the class of a platform: "sample phone" is SamplePhone. */
std::string CppNameOf(Platform const& platform);

/**
 * Writes a checked platform as a C++ header for a service to compile: a class that has the library's own records of it.
 * @param source what the platform comes from, for a comment.
 */
void WriteCpp(Platform const& platform, std::string const& source, std::ostream& out);
