// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

#include <map>
#include <string>
#include <vector>

/**
 * Scheduler boost levels, with a global-boost switch derived from them: an extra group, last in the list, that clients
 * cannot name and that every request is extended by. Needs a PerfQosEasConfig.
 */
class EasResource : public PerfResource {
public:
    explicit EasResource(ResConstructParam const& param);
    ~EasResource() override;

    int InitGroups(PerfQosConfig& config) override;
    /** Adds the operations of the global-boost group to the table. Any thread. */
    int RequestValidate(PerfCommandType type, PerfGroupTable& groupMap) override;

    /** Appends the boost and limit levels of every group. */
    int GetEasCommandLevel(PerfGroupTable const& groupMap, std::vector<int>& boostValues,
                           std::vector<int>& limitValues) const;
    /** @return what the levels mean for the switch; empty if they contradict one another. */
    std::map<PerfOperationType, int> BuildGlobalBoostCommand(PerfGroupTable const& groupMap) const;

private:
    int DefaultGlobalBoost(std::vector<PerfGroupConfig> const& configs);
    bool IsAnyMappedTo(std::vector<int> const& levels, unsigned int globalBoost) const;

    // constant after InitGroups
    std::string const globalBoostName = "GLOBAL_BOOST";
    unsigned int const globalBoostGroupId = 8;
    std::map<int, unsigned int> globalBoostTable; ///< level to 0 or 1
};
