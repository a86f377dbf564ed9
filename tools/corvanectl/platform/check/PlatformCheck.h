#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/Platform.h"

/** Notes every value that the library would refuse, drop or never reach. */
void CheckPlatform(Platform const& platform, Findings& findings);

/** The part of CheckPlatform that concerns events, scenarios and the probe. */
void CheckCatalogues(Platform const& platform, Findings& findings);

/** The part that concerns the files which nodes and frequency lists are. */
void CheckPlaces(Platform const& platform, Findings& findings);
