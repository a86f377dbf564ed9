// SPDX-License-Identifier: Apache-2.0

#include "group/TargetRatioGroup.h"

TargetRatioGroup::TargetRatioGroup(PerfGroupConfig const& config, PerfWorkMode mode) : LevelMapGroup(config, mode) {}

void TargetRatioGroup::RelatedGroupDoConfig(int value)
{
    LevelMapGroup::DoConfig(value, value);
}

void TargetRatioGroup::DoConfig(int, int) {}
