#pragma once

#include "tools/corvanectl/Findings.h"
#include "tools/corvanectl/Platform.h"

#include <ostream>

/** Notes every value that the library would refuse, drop or never reach. */
void CheckPlatform(Platform const& platform, Findings& findings);

/** The part of CheckPlatform that concerns events, scenarios and the probe. */
void CheckCatalogues(Platform const& platform, Findings& findings);

/** Says in a few lines what a platform has. */
void SummarisePlatform(Platform const& platform, std::ostream& out);
