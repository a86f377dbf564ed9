// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfTypes.h>

#include <sstream>
#include <vector>

/**
 * The catalogue of configurable scenarios.
 *
 * Filled once by Update during initialisation and only read afterwards: no lock. Init builds a new table and returns an
 * empty one after an error line at each level, so that one bad scenario discards all.
 */
class ScenarioManager {
public:
    using ScenarioItems = PerfScenarioItems;
    using ScenarioTable = PerfScenarioTable;

    ScenarioTable Init(std::vector<ConfigurableScenario> const& scenarios) const;
    PerfGroupTable LoadGroupInfo(std::vector<GroupInfo> const& groupInfos) const;

    void Update(ScenarioTable const& scenarios);

    /** @return the scenario's values, empty if there is no such scenario. Valid as long as the manager. */
    ScenarioItems const& ScenarioIdToQosInfo(PerfScenarioId scenarioId) const;

    int Dump(std::ostringstream& out) const;

private:
    ScenarioTable scenarioTable;
};
