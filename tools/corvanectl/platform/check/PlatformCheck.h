// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

#include <string>

/** Notes every value that the library would refuse, drop or never reach. */
void CheckPlatform(Platform const& platform, Findings& findings);

/** Warns of what is legal and hardly meant, once nothing is wrong: rules on values in doubt would mislead. */
void CheckSense(Platform const& platform, Findings& findings);

/** @return the switch of the platform that keeps the resource from ever writing, or an empty text. */
std::string SwitchedOffBy(QosEntry const& entry, PerfConfigControlInfo const& control);

/** The part of CheckPlatform that concerns events, scenarios and the probe. */
void CheckCatalogues(Platform const& platform, Findings& findings);

/** The part that concerns the files which nodes and frequency lists are. */
void CheckPlaces(Platform const& platform, Findings& findings);
