// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_GROUP"

#include "group/PerfGroup.h"

#include "group/QueSide.h"
#include "sys/Log.h"
#include "sys/SysWrapper.h"

#include <algorithm>
#include <iterator>

namespace {

PerfGroupQueItem DefaultItem(PerfOperationType type, int value)
{
    return {NO_HANDLE, type, value, {}, {}};
}

bool IsReserved(unsigned long long handle)
{
    return handle >= INVALID_HANDLE;
}

/** @param side the word for the queue in the log: "boost", "limit", "boost base" or "limit base". */
template <typename Que>
int DeleteFromSide(char const* method, std::string const& group, char const* side, PerfGroupQueItem& slot, Que& que,
                   PerfGroupQueItem const& item)
{
    if (item.handle == slot.handle) {
        int const removed = slot.value;
        bool const sameValue = QueSide::PromoteFirst(slot, que) && slot.value == removed;
        return sameValue ? 0 : 1;
    }
    if (!que.Remove(item)) {
        PF_LOGD_AS(method, "[%s:%d] [%s] no item found in %s que with handle %llu", group.c_str(), side, item.handle);
        return 0;
    }
    PF_LOGD_AS(method, "[%s:%d] [%s] delete item in %s que with handle %llu", group.c_str(), side, item.handle);
    return 0;
}

} // namespace

PerfGroup::PerfGroup(PerfGroupConfig const& config, PerfWorkMode mode)
    : groupId(config.groupId), name(config.name), availableMin(config.availableMin), availableMax(config.availableMax),
      finalBoostValue(config.boostBase), finalLimitValue(config.limitBase),
      currBoostBaseItem(DefaultItem(PERF_OPERATION_BOOST, config.boostBase)),
      currLimitBaseItem(DefaultItem(PERF_OPERATION_LIMIT, config.limitBase)), effectiveBoostValue(config.boostBase),
      effectiveLimitValue(config.limitBase), effectiveBoostBase(config.boostBase), effectiveLimitBase(config.limitBase),
      defaultBoostBase(config.boostBase), clampOutOfRange(config.clampOutOfRange), workMode(mode)
{
    for (std::string const& path : config.nodePathVec) {
        nodes.emplace_back().path = path;
    }
}

PerfGroup::~PerfGroup()
{
    CloseNodes();
}

void PerfGroup::RelatedGroupDoConfig(int) {}

void PerfGroup::DumpLimitHistoryLog(std::ostringstream&) {}

void PerfGroup::CloseAllFds() {}

void PerfGroup::WriteAnew()
{
    DoConfig(finalBoostValue, finalLimitValue);
}

bool PerfGroup::HasFailedWrite() const
{
    return std::any_of(nodes.begin(), nodes.end(), [](Node const& node) { return node.failed; });
}

int PerfGroup::WriteText(Node& node, std::string const& text)
{
    return NoteWrite(node, SysWrapper::SysOpenAndWriteStr(name, node.path, text, node.fd));
}

int PerfGroup::WriteUint(Node& node, int value)
{
    return NoteWrite(node, SysWrapper::SysOpenAndWriteUint(name, node.path, value, node.fd));
}

int PerfGroup::NoteWrite(Node& node, int result)
{
    node.failed = result != 0;
    failedWrites += node.failed ? 1 : 0;
    return result;
}

void PerfGroup::CloseNodes(std::size_t first)
{
    for (std::size_t i = first; i < nodes.size(); ++i) {
        SysWrapper::SysClose(nodes[i].fd);
    }
}

bool PerfGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    char const* const tag = config.name.c_str();
    for (std::string const& path : config.nodePathVec) {
        if (path.empty()) {
            PF_LOGE("[%s:%d] [%s] node path is empty!", tag);
            return false;
        }
    }
    if (config.availableMin > config.availableMax) {
        PF_LOGE("[%s:%d] [%s] available min(%u) larger than max(%u)", tag, config.availableMin, config.availableMax);
        return false;
    }
    if (config.boostBase > config.limitBase) {
        PF_LOGE("[%s:%d] [%s] boost base(%u) larger than limit base(%u)", tag, config.boostBase, config.limitBase);
        return false;
    }
    if (config.boostBase < config.availableMin || config.limitBase > config.availableMax) {
        PF_LOGE("[%s:%d] [%s] base range(%u, %u) out of available range(%u, %u)", tag, config.boostBase,
                config.limitBase, config.availableMin, config.availableMax);
        return false;
    }
    return true;
}

int PerfGroup::CheckOperationType(PerfCommandType type, PerfOperationType operation) const
{
    if (operation != PERF_OPERATION_BOOST && operation != PERF_OPERATION_LIMIT) {
        PF_LOGE("[%s:%d] [%s] invalid operation type: %u", name.c_str(), operation);
        return -1;
    }
    switch (type) {
    case PERF_COMMAND_SHORT_START:
    case PERF_COMMAND_SHORT_STOP:
    case PERF_COMMAND_LONG_START:
    case PERF_COMMAND_LONG_STOP:
        return 0;
    case PERF_COMMAND_BASE_SET:
        if (operation == PERF_OPERATION_LIMIT) {
            PF_LOGE("[%s:%d] [%s] PERF_COMMAND_BASE_SET long term limit not allowed ", name.c_str());
            return -1;
        }
        return 0;
    default:
        PF_LOGE("[%s:%d] [%s] invalid command type: %u", name.c_str(), type);
        return -1;
    }
}

int PerfGroup::OperationValueValidate(int& value) const
{
    if (value < availableMin) {
        PF_LOGD("[%s:%d] [%s] operation value(%d) less than avl min(%d)", name.c_str(), value, availableMin);
        if (!clampOutOfRange) {
            return -1;
        }
        value = availableMin;
    } else if (value > availableMax) {
        PF_LOGD("[%s:%d] [%s] operation value(%d) larger than avl max(%d)", name.c_str(), value, availableMax);
        if (!clampOutOfRange) {
            return -1;
        }
        value = availableMax;
    }
    return 0;
}

int PerfGroup::GroupValueValidate(PerfCommandType type, std::map<PerfOperationType, int>& operations) const
{
    for (auto& [operation, value] : operations) {
        if (CheckOperationType(type, operation) != 0) {
            PF_LOGE("[%s:%d] [%s] CheckOperationType failed ", name.c_str());
            return -1;
        }
        if (OperationValueValidate(value) != 0) {
            PF_LOGE("[%s:%d] [%s] invalid operation value: %d", name.c_str(), value);
            return -1;
        }
    }
    if (operations.size() == 2) {
        int const boost = operations.begin()->second;
        int const limit = std::next(operations.begin())->second;
        if (limit < boost) {
            PF_LOGE("[%s:%d] [%s] boost value %u larger than limit value %u", name.c_str(), boost, limit);
            return -1;
        }
    }
    return 0;
}

int PerfGroup::ShortTermStart(PerfGroupCommand const& command)
{
    int const valid = IsValidShortTermCommand(command);
    if (valid < 0) {
        PF_LOGE("[%s:%d] [%s] invalid short term start command", name.c_str());
        return -1;
    }
    if (valid == 0) {
        PF_LOGD("[%s:%d] [%s] already time out", name.c_str());
        return 0;
    }
    int const changed = AddShortTermCommand(command);
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] AddShortTermCommand failed", name.c_str());
        return -1;
    }
    return WriteIfShortTermChanged(__func__, changed);
}

int PerfGroup::ShortTermStop(PerfGroupCommand const& command)
{
    int const valid = IsValidShortTermCommand(command);
    if (valid < 0) {
        PF_LOGE("[%s:%d] [%s] invalid short term stop command", name.c_str());
        return -1;
    }
    if (valid == 0) {
        PF_LOGD("[%s:%d] [%s] already time out", name.c_str());
        return 0;
    }
    PerfGroupQueItem waiting;
    waiting.handle = command.handle;
    waiting.startTime = command.startTime;
    DeleteFromWaitingQue(waiting);

    int const changed = DeleteShortTermCommand(command);
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] DeleteShortTermCommand failed", name.c_str());
        return -1;
    }
    return WriteIfShortTermChanged(__func__, changed);
}

int PerfGroup::LongTermStart(PerfGroupCommand const& command)
{
    if (IsReserved(command.handle)) {
        PF_LOGE("[%s:%d] [%s] invalid handle: %llu", name.c_str(), command.handle);
        return -1;
    }
    int const changed = AddLongTermCommand(command);
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] AddLongTermCommand failed", name.c_str());
        return -1;
    }
    return WriteIfBaseChanged(__func__, changed);
}

int PerfGroup::LongTermStop(PerfGroupCommand const& command)
{
    if (IsReserved(command.handle)) {
        PF_LOGE("[%s:%d] [%s] invalid handle: %llu", name.c_str(), command.handle);
        return -1;
    }
    int const changed = DeleteLongTermCommand(command);
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] DeleteLongTermCommand failed", name.c_str());
        return -1;
    }
    return WriteIfBaseChanged(__func__, changed);
}

int PerfGroup::BaseSet(PerfGroupCommand const& command)
{
    int const changed = UpdateDefaultBoostBaseItem(command);
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] UpdateDefaultBoostBaseItem failed", name.c_str());
        return -1;
    }
    return WriteIfBaseChanged(__func__, changed);
}

int PerfGroup::WriteIfShortTermChanged(char const* method, int changed)
{
    if (changed == 0) {
        PF_LOGD_AS(method, "[%s:%d] [%s] no curr value changed", name.c_str());
        return 0;
    }
    return UpdateShortTermCommandAndWriteValue();
}

int PerfGroup::WriteIfBaseChanged(char const* method, int changed)
{
    if (changed == 0) {
        PF_LOGD_AS(method, "[%s:%d] [%s] no curr base value changed", name.c_str());
        return 0;
    }
    return GenerateAndWriteFinalValue();
}

int PerfGroup::SetWorkMode(PerfWorkMode mode)
{
    workMode = mode;
    if (UpdateEffectiveLongTermCommand() < 0) {
        PF_LOGE("[%s:%d] [%s] UpdateEffectiveLongTermCommand failed", name.c_str());
        return -1;
    }
    UpdateEffectiveShortTermCommand();
    if (GenerateFinalValue(finalBoostValue, finalLimitValue) != 0) {
        PF_LOGE("[%s:%d] [%s] GenerateFinalValue failed", name.c_str());
        return -1;
    }
    if (!suspend) {
        DoConfig(finalBoostValue, finalLimitValue);
    }
    return 0;
}

int PerfGroup::SetSuspend(bool suspended)
{
    PF_LOGI_VERBOSE("[%s:%d] [%s] suspend old = %d, new = %d", name.c_str(), suspend, suspended);
    suspend = suspended;
    if (suspended) {
        CloseAllFds();
    } else {
        DoConfig(finalBoostValue, finalLimitValue);
    }
    return 0;
}

int PerfGroup::ForEachItem(char const* method, PerfGroupCommand const& command,
                           int (PerfGroup::*onBoost)(PerfGroupQueItem const&),
                           int (PerfGroup::*onLimit)(PerfGroupQueItem const&), bool mayWait)
{
    auto const& operations = command.operationValueMap;
    if (operations.empty() || operations.size() > 2) {
        PF_LOGE_AS(method, "[%s:%d] [%s] invalid command num: %zu", name.c_str(), operations.size());
        return -1;
    }
    int changed = 0;
    for (auto const& [operation, value] : operations) {
        PerfGroupQueItem const item{command.handle, operation, value, command.startTime, command.endTime};
        if (mayWait && IsThereNeedTowait(item)) {
            AddToWaitingQue(item);
            PF_LOGD_AS(method, "[%s:%d] [%s] add command to wait que", name.c_str());
        } else if (operation == PERF_OPERATION_BOOST) {
            changed |= (this->*onBoost)(item);
        } else if (operation == PERF_OPERATION_LIMIT) {
            changed |= (this->*onLimit)(item);
        } else {
            PF_LOGE_AS(method, "[%s:%d] [%s] invalid operation type: %u", name.c_str(), operation);
            return -1;
        }
    }
    return changed;
}

int PerfGroup::AddShortTermCommand(PerfGroupCommand const& command)
{
    return ForEachItem(__func__, command, &PerfGroup::AddToBoostQue, &PerfGroup::AddToLimitQue, true);
}

int PerfGroup::DeleteShortTermCommand(PerfGroupCommand const& command)
{
    return ForEachItem(__func__, command, &PerfGroup::DeleteFromBoostQue, &PerfGroup::DeleteFromLimitQue, false);
}

int PerfGroup::AddLongTermCommand(PerfGroupCommand const& command)
{
    return ForEachItem(__func__, command, &PerfGroup::AddToBoostBaseQue, &PerfGroup::AddToLimitBaseQue, false);
}

int PerfGroup::DeleteLongTermCommand(PerfGroupCommand const& command)
{
    return ForEachItem(__func__, command, &PerfGroup::DeleteFromBoostBaseQue, &PerfGroup::DeleteFromLimitBaseQue,
                       false);
}

int PerfGroup::AddToBoostQue(PerfGroupQueItem const& item)
{
    bool const changed = QueSide::Add(currBoostItem, boostQue, item);
    boostQue.DropEndedIfDoubled(currTimePoint);
    return changed ? 1 : 0;
}

int PerfGroup::AddToLimitQue(PerfGroupQueItem const& item)
{
    bool const changed = QueSide::Add(currLimitItem, limitQue, item);
    limitQue.DropEndedIfDoubled(currTimePoint);
    return changed ? 1 : 0;
}

int PerfGroup::AddToBoostBaseQue(PerfGroupQueItem const& item)
{
    return QueSide::Add(currBoostBaseItem, boostBaseQue, item) ? 1 : 0;
}

int PerfGroup::AddToLimitBaseQue(PerfGroupQueItem const& item)
{
    return QueSide::Add(currLimitBaseItem, limitBaseQue, item) ? 1 : 0;
}

int PerfGroup::DeleteFromBoostQue(PerfGroupQueItem const& item)
{
    return DeleteFromSide(__func__, name, "boost", currBoostItem, boostQue, item);
}

int PerfGroup::DeleteFromLimitQue(PerfGroupQueItem const& item)
{
    return DeleteFromSide(__func__, name, "limit", currLimitItem, limitQue, item);
}

int PerfGroup::DeleteFromBoostBaseQue(PerfGroupQueItem const& item)
{
    return DeleteFromSide(__func__, name, "boost base", currBoostBaseItem, boostBaseQue, item);
}

int PerfGroup::DeleteFromLimitBaseQue(PerfGroupQueItem const& item)
{
    return DeleteFromSide(__func__, name, "limit base", currLimitBaseItem, limitBaseQue, item);
}

int PerfGroup::UpdateDefaultBoostBaseItem(PerfGroupCommand const& command)
{
    auto const& operations = command.operationValueMap;
    if (operations.size() != 1) {
        PF_LOGE("[%s:%d] [%s] invalid base command num: %zu", name.c_str(), operations.size());
        return -1;
    }
    auto const& [operation, value] = *operations.begin();
    if (operation != PERF_OPERATION_BOOST) {
        PF_LOGE("[%s:%d] [%s] invalid operation type: %u", name.c_str(), operation);
        return -1;
    }
    return UpdateDefaultBoostBaseValue({command.handle, operation, value, command.startTime, command.endTime});
}

int PerfGroup::UpdateDefaultBoostBaseValue(PerfGroupQueItem const& item)
{
    int const before = currBoostBaseItem.value;
    if (currBoostBaseItem.handle == NO_HANDLE) {
        currBoostBaseItem.value = item.value;
    } else {
        boostBaseQue.Remove(DefaultItem(PERF_OPERATION_BOOST, defaultBoostBase));
        PerfGroupQueItem defaultItem = item;
        defaultItem.handle = NO_HANDLE;
        boostBaseQue.Insert(defaultItem);
    }
    defaultBoostBase = item.value;
    if (!boostBaseQue.empty() && boostBaseQue.begin()->value > currBoostBaseItem.value) {
        boostBaseQue.Insert(currBoostBaseItem);
        QueSide::PromoteFirst(currBoostBaseItem, boostBaseQue);
    }
    return currBoostBaseItem.value != before ? 1 : 0;
}

int PerfGroup::UpdateEffectiveLongTermCommand()
{
    int boostBase = currBoostBaseItem.value;
    int limitBase = currLimitBaseItem.value;
    if (boostBase > limitBase) {
        switch (workMode) {
        case PERF_WORK_MODE_BOOST_FIRST:
            limitBase = boostBase;
            break;
        case PERF_WORK_MODE_DEFAULT:
        case PERF_WORK_MODE_LIMIT_FIRST:
            boostBase = limitBase;
            break;
        default:
            PF_LOGE("[%s:%d] [%s] invalid work mode: %u", name.c_str(), workMode);
            return -1;
        }
    }
    bool const changed = boostBase != effectiveBoostBase || limitBase != effectiveLimitBase;
    effectiveBoostBase = boostBase;
    effectiveLimitBase = limitBase;
    return changed ? 1 : 0;
}

void PerfGroup::UpdateEffectiveShortTermCommand()
{
    if (workMode >= PERF_WORK_MODE_COUNT) {
        return; // reported when the final pair is generated
    }
    bool const boostActive = QueSide::IsOccupied(currBoostItem);
    effectiveBoostValue = boostActive ? std::max(effectiveBoostBase, currBoostItem.value) : effectiveBoostBase;
    UpdateEffectiveLimit(boostActive);
}

void PerfGroup::UpdateEffectiveLimit(bool boostActive)
{
    bool const limitActive = QueSide::IsOccupied(currLimitItem);
    if (workMode == PERF_WORK_MODE_LIMIT_FIRST) {
        effectiveLimitValue = effectiveLimitBase; // short-term limits have no effect in this mode
    } else if (!limitActive) {
        effectiveLimitValue = boostActive ? availableMax : effectiveLimitBase;
    } else if (workMode == PERF_WORK_MODE_DEFAULT && limitBaseQue.empty()) {
        // Meant so: in the default mode a short-term limit counts only while a long-term one stands beside the default.
        effectiveLimitValue = availableMax;
    } else {
        effectiveLimitValue = std::max(currLimitItem.value, effectiveLimitBase);
    }
}

int PerfGroup::GenerateFinalValue(int& boost, int& limit) const
{
    boost = effectiveBoostValue;
    limit = effectiveLimitValue;
    switch (workMode) {
    case PERF_WORK_MODE_LIMIT_FIRST:
        boost = std::min(boost, limit);
        return 0;
    case PERF_WORK_MODE_DEFAULT:
    case PERF_WORK_MODE_BOOST_FIRST:
        limit = std::max(boost, limit);
        return 0;
    default:
        PF_LOGE("[%s:%d] [%s] invalid work mode: %u", name.c_str(), workMode);
        return -1;
    }
}

int PerfGroup::UpdateShortTermCommandAndWriteValue()
{
    UpdateEffectiveShortTermCommand();
    if (GenerateFinalValue(finalBoostValue, finalLimitValue) != 0) {
        PF_LOGE("[%s:%d] [%s] GenerateFinalValue failed", name.c_str());
        return -1;
    }
    if (!suspend) {
        DoConfig(finalBoostValue, finalLimitValue);
    }
    return 0;
}

int PerfGroup::GenerateAndWriteFinalValue()
{
    int const changed = UpdateEffectiveLongTermCommand();
    if (changed < 0) {
        PF_LOGE("[%s:%d] [%s] UpdateEffectiveLongTermCommand failed", name.c_str());
        return -1;
    }
    if (changed == 0) {
        PF_LOGD("[%s:%d] [%s] no curr effective base value changed", name.c_str());
        return 0;
    }
    return UpdateShortTermCommandAndWriteValue();
}
