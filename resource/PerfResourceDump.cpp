// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_RES"

#include "resource/PerfResource.h"

#include "sys/Log.h"

#include <utility>

void PerfResource::GetLog()
{
    std::ostringstream text;
    Dump(text);
    PerfResourceState state = State();
    PerfMutexLock lock(logMutex);
    logText = text.str();
    logState = std::move(state);
    logReady = true;
    logCondition.NotifyOne();
}

void PerfResource::GetBaseInfo()
{
    PerfMutexLock lock(logMutex);
    DumpBase(baseDump);
    logReady = true;
    logCondition.NotifyOne();
}

bool PerfResource::WaitLogFinish(bool base, std::ostringstream& out)
{
    PerfMutexLock lock(logMutex);
    if (HandlePrintInfoLocked(base, out)) {
        return true;
    }
    WaitForAnswerLocked(lock);
    if (!HandlePrintInfoLocked(base, out)) {
        PF_LOGE("[%s:%d] fail to get log for res %s", name.c_str());
        return false;
    }
    return true;
}

bool PerfResource::WaitState(PerfResourceState& out)
{
    PerfMutexLock lock(logMutex);
    WaitForAnswerLocked(lock);
    if (!logReady) {
        return false;
    }
    logReady = false;
    out = std::exchange(logState, {});
    return true;
}

void PerfResource::WaitForAnswerLocked(PerfMutexLock& lock)
{
    // Without a worker (a failed initialisation) nobody would ever answer.
    while (!logReady && worker.IsStarted()) {
        logCondition.Wait(lock);
    }
}

bool PerfResource::HandlePrintInfoLocked(bool base, std::ostringstream& out)
{
    if (!logReady) {
        return false;
    }
    logReady = false;
    if (base) {
        PrintBaseInfo(out);
        baseDump.groups.clear();
    } else {
        out << logText;
        logState = {}; // nobody asks for it behind the text
    }
    return true;
}

void PerfResource::Dump(std::ostringstream& out) const
{
    out << std::string(30, '*') << std::endl;
    out << "res[" << name << "] grpNum(" << groups.size() << ") (value, handle):" << std::endl;
    for (size_t id = 0; id < groups.size(); ++id) {
        out << "-->grp[" << id << "]:";
        if (groups[id] != nullptr) {
            groups[id]->Dump(out);
        }
    }
}

PerfResourceState PerfResource::State() const
{
    PerfResourceState state{qosId, name, {}};
    for (auto const& group : groups) {
        state.groups.push_back(group == nullptr ? PerfGroupState() : group->State());
    }
    return state;
}

void PerfResource::DumpBase(ResourceDumpInfo& record)
{
    record.qosId = qosId;
    record.name = name;
    record.groups.assign(groups.size(), {});
    for (size_t id = 0; id < groups.size(); ++id) {
        if (groups[id] != nullptr) {
            groups[id]->DumpBase(record.groups[id]);
        }
    }
}

void PerfResource::PrintBaseInfo(std::ostringstream& out)
{
    std::ostringstream block;
    for (GroupDumpInfo const& group : baseDump.groups) {
        for (SpecifiedGroupDumpInfo const& mapped : group.mappedValues) {
            block << baseDump.qosId << "," << baseDump.name << "," << group.groupId << "," << group.name << ","
                  << group.boostBase << "," << group.limitBase << "," << mapped.value << "," << mapped.secondValue
                  << "," << mapped.node << "," << mapped.secondNode << std::endl;
        }
    }
    std::string const text = block.str();
    out << text;
    PF_LOGD("[%s:%d] %s", text.c_str());
}

void PerfResource::DumpLimitHistoryLog(std::ostringstream& out)
{
    for (auto const& group : groups) {
        if (group != nullptr) {
            group->DumpLimitHistoryLog(out);
        }
    }
}
