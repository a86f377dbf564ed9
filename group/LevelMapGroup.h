// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"

#include <optional>
#include <string>
#include <vector>

/** Writes, for the level that is the floor, one configured text to each node. The ceiling is not used. */
class LevelMapGroup : public PerfGroup {
public:
    LevelMapGroup(PerfGroupConfig const& config, PerfWorkMode workMode);

    /** Levels that each have one text per node. */
    static bool GroupParametersValidate(PerfGroupConfig& config);

    /** Replaces out, unlike the other kinds, which append. */
    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const override;
    /** In range, and one of the levels. */
    int OperationValueValidate(int& value) const override;
    void DoConfig(int boostValue, int limitValue) override;
    void CloseAllFds() override;
    /** The level last written: of some kinds a related group decides it. */
    void WriteAnew() override;

private:
    bool const skipsUnopenableNodes; // constant after construction
    LevelToValueMap const levelMap;  // constant after construction
    std::optional<int> writtenLevel; // worker thread only
};
