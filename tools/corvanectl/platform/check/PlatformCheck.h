// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

#include <string>

/** Notes what the library refuses, with its own words, what the file's form does not allow, and what is hardly meant.
 */
void CheckPlatform(Platform const& platform, Findings& findings);

/** Warns of what is legal and hardly meant, once nothing is wrong: rules on values in doubt would mislead. */
void CheckSense(Platform const& platform, Findings& findings);

/** @return the switch of the platform that keeps the resource from ever writing, or an empty text. */
std::string SwitchedOffBy(QosEntry const& entry, PerfConfigControlInfo const& control);

/** The part of CheckPlatform that the library is asked for. */
void CheckLibrary(Platform const& platform, Findings& findings);

/** The part that concerns the files which nodes and frequency lists are. */
void CheckPlaces(Platform const& platform, Findings& findings);
