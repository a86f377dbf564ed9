// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_FREQ_GRP"

#include "group/FrequencyGroup.h"

#include "sys/Log.h"
#include "sys/PerfTime.h"
#include "sys/SysWrapper.h"

#include <ctime>

using std::chrono::system_clock;

namespace {

FreqLimitHistoryLog::TimePoint WallClockNow()
{
    return std::chrono::time_point_cast<FreqLimitHistoryLog::TimePoint::duration>(PerfTime::WallNow());
}

std::string WallClockText(FreqLimitHistoryLog::TimePoint const& time)
{
    auto const whole = std::chrono::floor<std::chrono::seconds>(time);
    auto const millis = std::chrono::duration_cast<std::chrono::milliseconds>(time - whole).count();
    time_t const seconds = system_clock::to_time_t(whole);
    tm local{};
    localtime_r(&seconds, &local);
    return SysWrapper::PutTime(local) + "." + std::to_string(millis);
}

} // namespace

FrequencyGroup::FrequencyGroup(PerfGroupConfig const& config, PerfWorkMode mode) : PerfGroup(config, mode) {}

bool FrequencyGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    if (config.nodePathVec.size() != 2) {
        PF_LOGE("[%s:%d] [%s] SysNodePath num invalid: %zu", config.name.c_str(), config.nodePathVec.size());
        return false;
    }
    return PerfGroup::GroupParametersValidate(config);
}

void FrequencyGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    out.push_back({std::to_string(BoostBaseValue()), std::to_string(LimitBaseValue()), nodes[MIN_FREQ].path,
                   nodes[MAX_FREQ].path});
}

void FrequencyGroup::DoConfig(int boostValue, int limitValue)
{
    std::string const boost = std::to_string(boostValue);
    std::string const limit = std::to_string(limitValue);
    PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write: (%d, %d) \n", name.c_str(), boostValue, limitValue);
    RecordLimitCmd(boostValue, limitValue);
    RecordHistory(limitValue);
    EmitTraceLabel(boost, limit);

    WriteText(nodes[MAX_FREQ], limit);
    if (WriteText(nodes[MIN_FREQ], boost) == 0) {
        WriteText(nodes[MAX_FREQ], limit);
    }
}

void FrequencyGroup::RecordLimitCmd(int boostValue, int limitValue)
{
    if (boostValue == limitValue) {
        return; // a pinned frequency is not announced, though the history has it
    }
    if (limitValue != availableMax && limitValue != lastLoggedLimit) {
        lastLoggedLimit = limitValue;
        PF_LOGI("[%s:%d] [%s] start limit freq %d ~ %d", name.c_str(), boostValue, limitValue);
    } else if (limitValue == availableMax && lastLoggedLimit >= 1) {
        lastLoggedLimit = 0;
        PF_LOGI("[%s:%d] [%s] end limit freq %d ~ %d", name.c_str(), boostValue, limitValue);
    }
}

void FrequencyGroup::RecordHistory(int limitValue)
{
    PerfMutexLock lock(historyMutex);
    bool const lastIsOpen = !limitHistory.empty() && limitHistory.back().IsOpen();
    if (limitValue == availableMax) {
        if (lastIsOpen) {
            limitHistory.back().end = WallClockNow();
        }
        return;
    }
    if (lastIsOpen && limitHistory.back().limit == limitValue) {
        return;
    }
    // A different limit leaves the earlier record open: the dump shows overlapping limits.
    if (limitHistory.size() >= historyCapacity) {
        limitHistory.pop_front();
    }
    FreqLimitHistoryLog record;
    record.start = WallClockNow();
    record.limit = limitValue;
    limitHistory.push_back(record);
}

void FrequencyGroup::EmitTraceLabel(std::string const& boost, std::string const& limit) const
{
    if (SysWrapper::IsSysTraceEnabled()) {
        SysWrapper::SysTraceName("velquist_log:" + name + " write freq: " + boost + "~" + limit +
                                 ", mode=" + std::to_string(WorkMode()) + ", suspend=" + std::to_string(IsSuspended()));
    }
}

void FrequencyGroup::DumpLimitHistoryLog(std::ostringstream& out)
{
    PerfMutexLock lock(historyMutex);
    out << "*****" << name << ": ";
    if (limitHistory.empty()) {
        out << "limit history cmd log is empty" << std::endl;
    }
    out << std::endl;
    for (FreqLimitHistoryLog const& record : limitHistory) {
        out << "freq=" << record.limit << " " << WallClockText(record.start);
        if (!record.IsOpen()) {
            out << "  " << WallClockText(record.end);
        }
        out << std::endl;
    }
}

void FrequencyGroup::CloseAllFds()
{
    CloseNodes();
}
