// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CFG_MGR"

#include "frontend/CommandStart.h"
#include "frontend/ConfigManagerMembers.h"
#include "resource/PerfResource.h"
#include "resource/ResourceKind.h"
#include "sys/Log.h"
#include "sys/PerfTime.h"
#include "sys/SysWrapper.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace {

/** Adds what the first table lacks: of equal operations the first wins. The second is left with the rest. */
void Join(PerfGroupTable& first, PerfGroupTable& second)
{
    first.merge(second);
    for (auto& [groupId, operations] : second) {
        first[groupId].merge(operations);
    }
}

/** Of equal operations the last pair wins, of equal groups the last one whole; one without operations is left out. */
void Fold(std::vector<GroupInfo> const& infos, PerfGroupTable& groups)
{
    for (GroupInfo const& info : infos) {
        if (info.operations.empty()) {
            continue;
        }
        auto const [group, isNew] = groups.emplace(info.groupId, PerfGroupTable::mapped_type());
        if (!isNew) {
            group->second.clear();
        }
        for (auto const& [operation, value] : info.operations) {
            group->second.insert_or_assign(operation, value);
        }
    }
}

/** By ascending id, with the tables of equal ids joined. */
[[gnu::cold]] void JoinById(std::vector<QosInfoInt>& request)
{
    std::map<PerfQosId, PerfGroupTable> tables;
    for (QosInfoInt& info : request) {
        Join(tables[info.qosId], info.groupInfo);
    }
    std::vector<QosInfoInt> joined;
    joined.reserve(tables.size());
    for (auto& [qosId, table] : tables) {
        joined.push_back({qosId, std::move(table)});
    }
    request = std::move(joined);
}

/** What the tables of a request held, a row each, to be put back. Not a copy of them: every request takes one. */
class TableRows {
public:
    void Add(std::size_t position, PerfGroupTable const& table)
    {
        for (auto const& [groupId, operations] : table) {
            Add({position, groupId, false, PERF_OPERATION_BOOST, 0});
            for (auto const& [operation, value] : operations) {
                Add({position, groupId, true, operation, value});
            }
        }
    }

    /** Into the tables at all positions up to the last one that was added. */
    [[gnu::cold]] void PutBack(std::vector<QosInfoInt>& request, std::size_t last) const
    {
        for (std::size_t position = 0; position <= last; ++position) {
            request[position].groupInfo.clear();
        }
        std::for_each(few, few + fewCount, [&](Row const& row) { row.PutBack(request); });
        std::for_each(more.begin(), more.end(), [&](Row const& row) { row.PutBack(request); });
    }

private:
    struct Row {
        std::size_t position;
        unsigned int groupId;
        bool hasValue; ///< one without comes first in each group, which may have no value at all
        PerfOperationType operation;
        int value;

        void PutBack(std::vector<QosInfoInt>& request) const
        {
            auto& operations = request[position].groupInfo[groupId];
            if (hasValue) {
                operations[operation] = value;
            }
        }
    };

    void Add(Row const& row)
    {
        if (fewCount < std::size(few)) {
            few[fewCount++] = row;
        } else {
            AddToMore(row);
        }
    }
    [[gnu::cold]] void AddToMore(Row const& row) { more.push_back(row); }

    Row few[8]; ///< on the stack; nearly every request has fewer
    std::size_t fewCount = 0;
    std::vector<Row> more;
};

[[gnu::cold]] void DropLacking(std::vector<QosInfoInt>& request, ResourceManager const& resources)
{
    auto const isLacking = [&](QosInfoInt const& info) { return !resources.HasResource(info.qosId); };
    request.erase(std::remove_if(request.begin(), request.end(), isLacking), request.end());
}

[[gnu::cold]] std::string TraceLabel(std::vector<PerfRequestInfo> const& infos)
{
    std::string label = "velquist_log:request";
    for (PerfRequestInfo const& info : infos) {
        label += " {" + std::to_string(info.qosId);
        for (GroupInfo const& group : info.groupInfos) {
            label += " [" + std::to_string(group.groupId);
            for (auto const& [operation, value] : group.operations) {
                label += " " + std::to_string(operation) + ":" + std::to_string(value);
            }
            label += "]";
        }
        label += "}";
    }
    return label;
}

} // namespace

int ConfigManager::PerfRequest(int pid, unsigned int duration, std::vector<PerfRequestInfo> const& infos,
                               unsigned long long& handle) noexcept
{
    PerfTimePoint const now = PerfTime::Now();
    PerfCommandType type = PERF_COMMAND_LONG_START;
    PerfTimePoint end{};
    AddSysTraceName(infos); // before any check: rejected requests are traced too
    if (duration != 0) {
        if (duration < PERF_DURATION_MIN_MS || duration > PERF_DURATION_MAX_MS) {
            PF_LOGE("[%s:%d] duration(%u) out of range(%u, %u)", duration, PERF_DURATION_MIN_MS, PERF_DURATION_MAX_MS);
            return -1;
        }
        type = PERF_COMMAND_SHORT_START;
        end = now + std::chrono::milliseconds(duration);
    }
    if (PreHandleEasBaseCommand(duration, type, infos) != 0) {
        PF_LOGE("[%s:%d] PreHandleEasBaseCommand failed");
        return -1;
    }
    PerfQosId invalidQosId = PERF_QOS_ID_COUNT;
    std::vector<QosInfoInt> request = RequestFilter(infos);
    if (request.empty() || RequestValidate(type, request, invalidQosId) != 0) {
        PF_LOGD("[%s:%d] RequestValidate failed, pid=%d, invalidQosId=%u", pid, invalidQosId);
        return -1;
    }

    CommandWrapper wrapper(type, PerfTimePoint{}, end, duration);
    wrapper.commands.reserve(request.size());
    for (auto& [qosId, groups] : request) {
        wrapper.MoveInRequestCommand(qosId, std::move(groups));
    }
    return members.RecordAndSend(__func__, pid, now, wrapper, handle);
}

int ConfigManager::Members::RecordAndSend(char const* method, int pid, PerfTimePoint const& now,
                                          CommandWrapper& wrapper, unsigned long long& handle)
{
    CommandStart start(commandManager, pid);
    if (commandManager.RequestHandle(pid, now, wrapper, handle) != 0) {
        PF_LOGE_AS(method, "[%s:%d] RequestHandle failed for pid %d", pid);
        return -1;
    }
    return start.Send(resourceManager, wrapper, [method, pid](bool sent) {
        if (!sent) {
            PF_LOGE_AS(method, "[%s:%d] SendCmdToResources failed for pid %d", pid);
            return -1;
        }
        return 0;
    });
}

int ConfigManager::PreHandleEasBaseCommand(unsigned int duration, PerfCommandType& type,
                                           std::vector<PerfRequestInfo> const& infos) const noexcept
{
    auto const bases = std::count_if(infos.begin(), infos.end(),
                                     [](PerfRequestInfo const& info) { return info.qosId == PERF_QOS_EAS_BASE; });
    if (bases == 0) {
        return 0;
    }
    if (duration != 0 || static_cast<size_t>(bases) != infos.size()) {
        PF_LOGE("[%s:%d] invalid set base command!");
        return -1;
    }
    type = PERF_COMMAND_BASE_SET;
    return 0;
}

std::vector<QosInfoInt> ConfigManager::RequestFilter(std::vector<PerfRequestInfo> const& infos) const noexcept
{
    std::vector<QosInfoInt> request;
    request.reserve(infos.size());
    bool isJoined = true;
    PerfQosId latest = 0;
    for (PerfRequestInfo const& info : infos) {
        QosInfoInt& asked = request.emplace_back();
        Fold(info.groupInfos, asked.groupInfo); // where the table stays: to move one is no small thing
        if (asked.groupInfo.empty()) {
            request.pop_back();
            continue;
        }
        asked.qosId = ResourceIdOf(info.qosId);
        isJoined = isJoined && (request.size() == 1 || latest < asked.qosId);
        latest = asked.qosId;
    }
    if (!isJoined) {
        JoinById(request);
    }
    return request;
}

PerfGroupTable ConfigManager::BuildGroupInfo(std::vector<GroupInfo> const& groupInfos) const noexcept
{
    PerfGroupTable groups;
    Fold(groupInfos, groups);
    return groups;
}

PerfGroupTable ConfigManager::MergeGroupInfo(PerfGroupTable const& first, PerfGroupTable const& second) noexcept
{
    PerfGroupTable merged = first;
    PerfGroupTable added = second;
    Join(merged, added);
    return merged;
}

int ConfigManager::RequestValidate(PerfCommandType type, std::vector<QosInfoInt>& request,
                                   PerfQosId& invalidQosId) noexcept
{
    TableRows before;
    bool isWhole = true;
    for (std::size_t i = 0; i < request.size(); ++i) {
        auto& [qosId, groups] = request[i];
        auto const& resource = members.resourceManager.GetResourcePtr(qosId);
        if (resource == nullptr) {
            PF_LOGD("[%s:%d] resource ptr is NULL for qos id %u", qosId);
            invalidQosId = qosId;
            isWhole = false;
        }
        before.Add(i, groups);
        if (resource != nullptr && resource->RequestValidate(type, groups) != 0) {
            PF_LOGE("[%s:%d] RequestValidate failed for qos id %u", qosId);
            before.PutBack(request, i);
            return -1;
        }
    }
    if (!isWhole) {
        DropLacking(request, members.resourceManager);
    }
    return 0;
}

void ConfigManager::AddSysTraceName(std::vector<PerfRequestInfo> const& infos) const noexcept
{
    if (SysWrapper::IsSysTraceEnabled()) {
        SysWrapper::SysTraceName(TraceLabel(infos));
    }
}

int ConfigManager::PerfRelease(int pid, unsigned long long handle) noexcept
{
    CommandWrapper wrapper;
    if (members.commandManager.BuildReleaseCommand(pid, handle, wrapper) != 0) {
        PF_LOGD("[%s:%d] BuildReleaseCommand failed for pid %d", pid);
        return 0;
    }
    if (ReleaseCommand(pid, handle, wrapper) != 0) {
        PF_LOGE("[%s:%d] ReleaseCommand failed for pid %d", pid);
        return -1;
    }
    return 0;
}

int ConfigManager::PerfReleaseAll(int pid) noexcept
{
    CommandManager::HandleWrapperMap released;
    if (members.commandManager.BuildReleaseAllCommand(pid, released) != 0) {
        PF_LOGD("[%s:%d] no command need to release");
        return 0;
    }
    for (auto* const record : members.InReleaseOrder(released)) {
        if (ReleaseCommand(pid, record->first, record->second) != 0) {
            PF_LOGE("[%s:%d] ReleaseCommand failed for pid %d, handle %llu", pid, record->first);
            return -1;
        }
    }
    return 0;
}

std::vector<CommandManager::HandleWrapperMap::value_type*> ConfigManager::Members::InReleaseOrder(
    CommandManager::HandleWrapperMap& records) const
{
    // 0: can be sent whole, 1: only up to the first item without a resource, 2: empty. A mode goes to every resource,
    // whatever its item names.
    auto const rank = [this](CommandWrapper const& wrapper) {
        bool const whole = wrapper.cmdType == PERF_COMMAND_MODE_START || resourceManager.CanSendCmdToResources(wrapper);
        return whole ? 0 : wrapper.commands.empty() ? 2 : 1;
    };
    std::map<std::pair<int, unsigned long long>, CommandManager::HandleWrapperMap::value_type*> byRank;
    for (auto& record : records) {
        byRank.emplace(std::pair(rank(record.second), record.first), &record);
    }
    std::vector<CommandManager::HandleWrapperMap::value_type*> ordered;
    ordered.reserve(byRank.size());
    for (auto const& entry : byRank) {
        ordered.push_back(entry.second);
    }
    return ordered;
}

int ConfigManager::ReleaseCommand(int pid, unsigned long long handle, CommandWrapper& wrapper) noexcept
{
    PF_LOGD("[%s:%d] ReleaseCommand for pid: %d", pid);
    if (wrapper.cmdType == PERF_COMMAND_MODE_START) {
        return members.ReleaseWorkModeCommand(__func__, handle, wrapper);
    }
    if (members.resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed for handle %llu", handle);
        return -1;
    }
    return 0;
}
