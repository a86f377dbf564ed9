// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfTypes.h>

#include <sstream>
#include <vector>

/**
 * The catalogue of configurable events, and the probe.
 *
 * Filled once by Update during initialisation and only read afterwards: no lock. Init and the loaders build new tables
 * and leave the stored one alone; they return an empty result after an error line at each level, so that one bad event
 * discards all. (An empty list of groups is an empty result of LoadGroupInfo, too, which only its caller reports.)
 */
class EventManager {
public:
    using EventItems = PerfEventItems;
    using EventTable = PerfEventTable;

    EventTable Init(std::vector<ConfigurableEvent> const& events) const;
    /** Each resource's phases follow one another without a gap; an offset beyond 32 bits is refused. */
    EventItems LoadQosToEventItem(std::vector<QosCommand> const& qosCommands) const;
    PerfGroupTable LoadGroupInfo(std::vector<GroupInfo> const& groupInfos) const;

    void Update(EventTable const& events, ProbeEvent const& probe);

    /** @return the event's items, empty if there is no such event. Valid as long as the manager. */
    EventItems const& EventIdToQosInfo(PerfEventId eventId) const;
    ProbeEvent const& GetProbeInfo() const { return probeEvent; }

    int Dump(std::ostringstream& out) const;

private:
    bool LoadPhases(char const* method, QosCommand const& command, EventItems& items) const;

    EventTable eventTable;
    ProbeEvent probeEvent;
};
