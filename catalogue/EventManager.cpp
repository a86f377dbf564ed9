// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_EVENT_MGR"

#include "catalogue/EventManager.h"

#include "catalogue/GroupTableLoader.h"
#include "sys/Log.h"

#include <iomanip>
#include <limits>
#include <set>
#include <utility>

EventManager::EventTable EventManager::Init(std::vector<ConfigurableEvent> const& events) const
{
    EventTable table;
    for (ConfigurableEvent const& event : events) {
        if (event.eventId >= REQUEST_EVENT_ID) {
            PF_LOGE("[%s:%d] invalid event id: %u", event.eventId);
            return {};
        }
        EventItems items = LoadQosToEventItem(event.qosCommands);
        if (items.empty()) {
            PF_LOGE("[%s:%d] LoadQosToEventItem fail!");
            return {};
        }
        if (!table.emplace(event.eventId, std::move(items)).second) {
            PF_LOGE("[%s:%d] duplicate event id: %u", event.eventId);
            return {};
        }
    }
    return table;
}

EventManager::EventItems EventManager::LoadQosToEventItem(std::vector<QosCommand> const& qosCommands) const
{
    EventItems items;
    std::set<PerfQosId> seen;
    for (QosCommand const& command : qosCommands) {
        if (!seen.insert(command.qosId).second) {
            PF_LOGE("[%s:%d] duplicate qos id: %u", command.qosId);
            return {};
        }
        if (!LoadPhases(__func__, command, items)) {
            return {};
        }
    }
    return items;
}

bool EventManager::LoadPhases(char const* method, QosCommand const& command, EventItems& items) const
{
    unsigned int offset = 0;
    for (EventPhase const& phase : command.phases) {
        if (phase.duration < PERF_DURATION_MIN_MS || phase.duration > PERF_DURATION_MAX_MS) {
            PF_LOGE_AS(method, "[%s:%d] invalid duration: %u ms", phase.duration);
            return false;
        }
        if (phase.duration > std::numeric_limits<unsigned int>::max() - offset) {
            PF_LOGE_AS(method, "[%s:%d] phases of qos id %u too long: %u ms and %u ms more", command.qosId, offset,
                       phase.duration);
            return false;
        }
        PerfGroupTable groups = LoadGroupInfo(phase.groupInfos);
        if (groups.empty()) {
            PF_LOGE_AS(method, "[%s:%d] LoadGroupInfo fail!");
            return false;
        }
        items.emplace(command.qosId, PerfEventItemInt{offset, offset + phase.duration, std::move(groups)});
        offset += phase.duration;
    }
    return true;
}

PerfGroupTable EventManager::LoadGroupInfo(std::vector<GroupInfo> const& groupInfos) const
{
    GroupTableResult result = LoadGroupTable(groupInfos);
    switch (result.fault) {
    case GroupTableFault::DUPLICATE_OPERATION:
        PF_LOGE("[%s:%d] event init duplicate operation type: %u", result.id);
        break;
    case GroupTableFault::DUPLICATE_GROUP:
        PF_LOGE("[%s:%d] event init duplicate group id: %u", result.id);
        break;
    case GroupTableFault::NONE:
        break;
    }
    return std::move(result.table);
}

void EventManager::Update(EventTable const& events, ProbeEvent const& probe)
{
    eventTable = events;
    probeEvent = probe;
}

EventManager::EventItems const& EventManager::EventIdToQosInfo(PerfEventId eventId) const
{
    static EventItems const none;
    auto const it = eventTable.find(eventId);
    return it == eventTable.end() ? none : it->second;
}

int EventManager::Dump(std::ostringstream& out) const
{
    using std::setw;
    for (auto const& [eventId, items] : eventTable) {
        out << "event(" << eventId << ")" << std::endl;
        for (auto const& [qosId, item] : items) {
            out << setw(6) << "qos:" << setw(2) << qosId << setw(12) << "startTime" << setw(10) << "endTime" << setw(7)
                << "group" << setw(13) << "boost/limit" << setw(15) << "value" << std::endl;
            out << setw(6) << 0 << ": ";
            char const* lead = "";
            for (auto const& [groupId, operations] : item.groupInfo) {
                out << lead;
                lead = "        ";
                // Only the first row of a group has the lead; the ragged rest is the layout that readers know.
                for (auto const& [operation, value] : operations) {
                    out << setw(12) << item.startTime << setw(10) << item.endTime << setw(7) << groupId << setw(13)
                        << static_cast<unsigned int>(operation) << setw(15) << value << std::endl;
                }
            }
        }
    }
    return 0;
}
