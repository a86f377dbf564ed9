#define LOG_TAG "PF_CFG_MGR"

#include "frontend/CommandStart.h"
#include "frontend/ConfigManagerMembers.h"
#include "resource/PerfResource.h"
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

auto const KEEP_FIRST = [](auto const&, auto const&) {};
auto const KEEP_LAST = [](auto& first, auto& second) { first = std::move(second); };
auto const JOIN = [](auto& first, auto& second) {
    for (auto& [key, value] : second) {
        first.Append(key, std::move(value));
    }
};

/** Of equal operations the last pair wins, of equal groups the last one whole; one without operations is left out. */
PerfGroupValues FoldGroups(std::vector<GroupInfo> const& infos)
{
    PerfGroupValues groups;
    for (GroupInfo const& info : infos) {
        PerfValues values;
        for (auto const& [operation, value] : info.operations) {
            values.Append(operation, value);
        }
        if (!values.empty()) {
            values.Settle(KEEP_LAST);
            groups.Append(info.groupId, std::move(values));
        }
    }
    groups.Settle(KEEP_LAST);
    return groups;
}

/** Settles what has been joined: of equal operations the first wins. */
void SettleGroups(PerfGroupValues& groups)
{
    groups.Settle(JOIN);
    for (auto& group : groups) {
        group.second.Settle(KEEP_FIRST);
    }
}

RequestValues FoldRequest(std::vector<PerfRequestInfo> const& infos)
{
    RequestValues request;
    request.reserve(infos.size());
    for (PerfRequestInfo const& info : infos) {
        PerfGroupValues groups = FoldGroups(info.groupInfos);
        if (!groups.empty()) {
            request.Append(info.qosId == PERF_QOS_EAS_BASE ? PERF_QOS_EAS : info.qosId, std::move(groups));
        }
    }
    request.Settle(JOIN);
    for (auto& entry : request) {
        SettleGroups(entry.second);
    }
    return request;
}

std::vector<QosInfoInt> AsTables(RequestValues const& request)
{
    std::vector<QosInfoInt> tables;
    tables.reserve(request.size());
    for (auto const& [qosId, groups] : request) {
        tables.push_back({qosId, static_cast<PerfGroupTable>(groups)});
    }
    return tables;
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
    RequestValues request = FoldRequest(infos);
    if (request.empty() || my.ValidateRequest(type, request, invalidQosId) != 0) {
        PF_LOGD("[%s:%d] RequestValidate failed, pid=%d, invalidQosId=%u", pid, invalidQosId);
        return -1;
    }

    CommandWrapper wrapper(type, PerfTimePoint{}, end, duration);
    wrapper.commands.reserve(request.size());
    for (auto& [qosId, groups] : request) {
        wrapper.InsertRequestCommand(qosId, std::move(groups));
    }
    return my.RecordAndSend(__func__, pid, now, wrapper, handle);
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
    return AsTables(FoldRequest(infos));
}

PerfGroupTable ConfigManager::BuildGroupInfo(std::vector<GroupInfo> const& groupInfos) const noexcept
{
    return static_cast<PerfGroupTable>(FoldGroups(groupInfos));
}

PerfGroupTable ConfigManager::MergeGroupInfo(PerfGroupTable const& first, PerfGroupTable const& second) noexcept
{
    PerfGroupValues merged = first;
    PerfGroupValues added = second;
    JOIN(merged, added);
    SettleGroups(merged);
    return static_cast<PerfGroupTable>(merged);
}

int ConfigManager::RequestValidate(PerfCommandType type, std::vector<QosInfoInt>& request,
                                   PerfQosId& invalidQosId) noexcept
{
    RequestValues values;
    values.reserve(request.size());
    for (QosInfoInt const& info : request) {
        values.Append(info.qosId, info.groupInfo); // in the order given, each for itself
    }
    int const ret = my.ValidateRequest(type, values, invalidQosId);
    request = AsTables(values);
    return ret;
}

int ConfigManager::Members::ValidateRequest(PerfCommandType type, RequestValues& request, PerfQosId& invalidQosId) const
{
    char const* const method = "RequestValidate";
    bool isValid = true;
    request.RemoveIf([&](auto& entry) {
        if (!isValid) {
            return false;
        }
        auto const& resource = resourceManager.GetResourcePtr(entry.first);
        if (resource == nullptr) {
            PF_LOGD_AS(method, "[%s:%d] resource ptr is NULL for qos id %u", entry.first);
            invalidQosId = entry.first;
            return true;
        }
        if (resource->RequestValidate(type, entry.second) != 0) {
            PF_LOGE_AS(method, "[%s:%d] RequestValidate failed for qos id %u", entry.first);
            isValid = false;
        }
        return false;
    });
    return isValid ? 0 : -1;
}

void ConfigManager::AddSysTraceName(std::vector<PerfRequestInfo> const& infos) const noexcept
{
    if (!SysWrapper::IsSysTraceEnabled()) {
        return;
    }
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
    SysWrapper::SysTraceName(label);
}

int ConfigManager::PerfRelease(int pid, unsigned long long handle) noexcept
{
    CommandWrapper wrapper;
    if (my.commandManager.BuildReleaseCommand(pid, handle, wrapper) != 0) {
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
    if (my.commandManager.BuildReleaseAllCommand(pid, released) != 0) {
        PF_LOGD("[%s:%d] no command need to release");
        return 0;
    }
    for (auto* const record : my.InReleaseOrder(released)) {
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
    // How much of it is sent: all, a part, nothing. A mode goes to every resource, whatever its item names.
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
        return my.ReleaseWorkModeCommand(__func__, handle, wrapper);
    }
    if (my.resourceManager.SendCmdToResources(wrapper) != 0) {
        PF_LOGE("[%s:%d] SendCmdToResources failed for handle %llu", handle);
        return -1;
    }
    return 0;
}
