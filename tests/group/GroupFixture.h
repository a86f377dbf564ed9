// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using Values = std::map<PerfOperationType, int>;

inline PerfTimePoint At(int ms)
{
    return PerfTimePoint{} + std::chrono::milliseconds(ms);
}

inline Values Boost(int value)
{
    return {{PERF_OPERATION_BOOST, value}};
}

inline Values Limit(int value)
{
    return {{PERF_OPERATION_LIMIT, value}};
}

inline PerfGroupConfig Range(int availableMin, int availableMax, int boostBase, int limitBase)
{
    return {"cpu", false, availableMin, availableMax, boostBase, limitBase, {"/node"}, CHIP_TYPE_ANY};
}

/** Writes "boost~limit" into a list in place of nodes. */
class RecordingGroup : public PerfGroup {
public:
    using PerfGroup::PerfGroup;

    void DoConfig(int boostValue, int limitValue) override
    {
        actions.push_back(std::to_string(boostValue) + "~" + std::to_string(limitValue));
    }
    void CloseAllFds() override { actions.emplace_back("close"); }
    void DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>&) const override {}
    std::string Dumped() const
    {
        std::ostringstream out;
        Dump(out);
        return out.str();
    }

    Strings actions;
};
