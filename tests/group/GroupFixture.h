#pragma once

#include "group/PerfGroup.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using Values = std::map<PerfOperationType, int>;

constexpr int FOREVER = 1'000'000;

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

inline Values Both(int boost, int limit)
{
    return {{PERF_OPERATION_BOOST, boost}, {PERF_OPERATION_LIMIT, limit}};
}

inline PerfGroupConfig Range(int availableMin, int availableMax, int boostBase, int limitBase, bool clamp = false)
{
    return {"cpu", clamp, availableMin, availableMax, boostBase, limitBase, {"/node"}, CHIP_TYPE_ANY};
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

/**
 * One group, available 100~2000, bases 300~1000, in the boost-first mode unless remade. Every verb returns its whole
 * outcome: "result: writes and log lines, in that order".
 */
class GroupTest : public testing::Test {
protected:
    std::string Start(unsigned long long handle, Values const& values, int from = 0, int to = FOREVER)
    {
        return Outcome(group->ShortTermStart({handle, At(from), At(to), values}));
    }
    std::string Stop(unsigned long long handle, Values const& values, int from = 0, int to = FOREVER)
    {
        return Outcome(group->ShortTermStop({handle, At(from), At(to), values}));
    }
    std::string LongStart(unsigned long long handle, Values const& values)
    {
        return Outcome(group->LongTermStart({handle, {}, {}, values}));
    }
    std::string BaseSet(Values const& values) { return Outcome(group->BaseSet({NO_HANDLE, {}, {}, values})); }
    std::string Mode(unsigned int mode) { return Outcome(group->SetWorkMode(static_cast<PerfWorkMode>(mode))); }
    std::string Suspend(bool suspended) { return Outcome(group->SetSuspend(suspended)); }
    std::string TimeOut(int ms) { return Outcome(group->ShortTermTimeOut(At(ms))); }

    std::string Outcome(int result)
    {
        std::string outcome = std::to_string(result) + ":";
        for (Strings const& happened : {group->actions, log.Lines()}) {
            for (std::string const& one : happened) {
                outcome += (outcome.back() == ':' ? " " : "; ") + one;
            }
        }
        group->actions.clear();
        log.Clear();
        return outcome;
    }

    /** When the group wants to be woken, in ms. */
    long long WakeUp() const { return (group->GetNextWakeUpTimePoint() - At(0)) / std::chrono::milliseconds(1); }

    LogCapture log;
    std::unique_ptr<RecordingGroup> group =
        std::make_unique<RecordingGroup>(Range(100, 2000, 300, 1000), PERF_WORK_MODE_BOOST_FIRST);
};
