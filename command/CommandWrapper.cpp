// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CMD_WRAPPER"

#include "command/CommandWrapper.h"

#include "sys/Log.h"

#include <map>
#include <new>
#include <utility>

namespace {

std::shared_ptr<PerfCommandItem> MakeBoostItem(PerfQosId qos, PerfTimePoint const& start, PerfTimePoint const& end,
                                               unsigned int value)
{
    auto item = std::shared_ptr<PerfCommandItem>(new (std::nothrow) PerfCommandItem);
    if (item != nullptr) {
        item->qosId = qos;
        item->startTime = start;
        item->endTime = end;
        item->groupInfo[0][PERF_OPERATION_BOOST] = static_cast<int>(value);
    }
    return item;
}

} // namespace

CommandWrapper::CommandWrapper(PerfCommandType type, PerfTimePoint const& start, PerfTimePoint const& end,
                               unsigned int durationMs)
    : cmdType(type), startTime(start), endTime(end), duration(durationMs)
{
}

void CommandWrapper::InsertRequestCommand(PerfQosId qos, PerfGroupTable const& groups)
{
    MoveInRequestCommand(qos, PerfGroupTable(groups));
}

void CommandWrapper::MoveInRequestCommand(PerfQosId qos, PerfGroupTable&& groups)
{
    auto item = std::make_shared<PerfCommandItem>();
    item->qosId = qos;
    item->startTime = startTime;
    item->endTime = endTime;
    item->groupInfo = std::move(groups);
    commands.push_back(std::move(item));
}

void CommandWrapper::InsertEventCommand(PerfQosId qos, PerfTimePoint const& start, PerfTimePoint const& end,
                                        PerfGroupTable const& groups)
{
    if (start < startTime) {
        startTime = start;
    }
    if (end > endTime) {
        endTime = end;
    }
    auto item = std::make_shared<PerfCommandItem>();
    item->qosId = qos;
    item->startTime = start;
    item->endTime = end;
    item->groupInfo = groups;
    commands.push_back(std::move(item));
}

void CommandWrapper::InsertProbeCommand(PerfTimePoint const& start, PerfTimePoint const& end, unsigned int cpuM,
                                        unsigned int cpuB, unsigned int gpu)
{
    for (auto const& [qos, value] : ProbeBoosts(cpuM, cpuB, gpu)) {
        if (value == 0) {
            continue;
        }
        auto item = MakeBoostItem(qos, start, end, value);
        if (item == nullptr) {
            PF_LOGE("[%s:%d] make_shared failed");
            return;
        }
        commands.push_back(std::move(item));
    }
    PF_LOGD("[%s:%d] build probe cmd: gpu=%u, cpuM=%u, cpuB=%u", gpu, cpuM, cpuB);
}

void CommandWrapper::InsertWorkModeCommand()
{
    commands.push_back(std::make_shared<PerfCommandItem>());
}

void CommandWrapper::InsertSuspendCommand(PerfQosId qos)
{
    InsertRequestCommand(qos, {});
}

void CommandWrapper::InsertDebugCommand(PerfQosId qos)
{
    auto item = std::make_shared<PerfCommandItem>();
    item->qosId = qos;
    commands.push_back(std::move(item));
}

void CommandWrapper::FillInHandle(unsigned long long newHandle)
{
    handle = newHandle;
    for (auto const& item : commands) {
        if (item == nullptr) {
            PF_LOGE("[%s:%d] command ptr is NULL!");
            return;
        }
        item->handle = newHandle;
    }
}

void CommandWrapper::FillInWorkMode(PerfWorkMode mode)
{
    for (auto const& item : commands) {
        if (item == nullptr) {
            PF_LOGE("[%s:%d] command ptr is NULL!");
            return;
        }
        item->workMode = mode;
    }
}

std::string const& CommandWrapper::GetCmdTypeString() const
{
    static std::map<PerfCommandType, std::string> const names = {
        {PERF_COMMAND_SHORT_START, "ShortStart"}, {PERF_COMMAND_SHORT_STOP, "ShortStop"},
        {PERF_COMMAND_LONG_START, "LongStart"},   {PERF_COMMAND_LONG_STOP, "LongStop"},
        {PERF_COMMAND_MODE_START, "ModeStart"},
    };
    static std::string const invalid = "invalid command type";
    auto const it = names.find(cmdType);
    return it == names.end() ? invalid : it->second;
}

void CommandWrapper::Dump(std::ostringstream& out) const
{
    out << GetCmdTypeString() << " duration " << duration << std::endl;
    for (auto const& item : commands) {
        if (item == nullptr) {
            continue;
        }
        out << "{" << item->qosId << ": ";
        for (auto const& [groupId, operations] : item->groupInfo) {
            out << "[" << groupId << " ";
            for (auto const& [operation, value] : operations) {
                out << "(" << static_cast<unsigned int>(operation) << ":" << value << ")";
            }
            out << "]";
        }
        out << "}" << std::endl;
    }
}
