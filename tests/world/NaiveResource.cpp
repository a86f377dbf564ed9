// SPDX-License-Identifier: Apache-2.0

#include "tests/world/NaiveResource.h"

#include <algorithm>
#include <ostream>

namespace {

/** Default levels that mean nothing count as 0. */
bool MeansBoost(PerfQosEasConfig const& config, int level)
{
    auto const found = config.globalBoostMap.find(level);
    return found != config.globalBoostMap.end() && found->second == 1;
}

} // namespace

NaiveResource::NaiveResource(PerfQosId id, PerfQosConfig const& config, PerfConfigControlInfo const& flags,
                             std::chrono::milliseconds delay, Put take)
    : qosId(id), name(config.qosName), control(flags), rewriteDelay(delay), put(std::move(take)),
      configs(config.groupConfigs), ddr(id == PERF_QOS_DDR ? dynamic_cast<PerfQosFreqConfig const*>(&config) : nullptr),
      power(dynamic_cast<PerfQosIpaPowerConfig const*>(&config)), eas(dynamic_cast<PerfQosEasConfig const*>(&config))
{
    if (eas != nullptr) {
        bool const on = std::any_of(configs.begin(), configs.end(),
                                    [&](PerfGroupConfig const& group) { return MeansBoost(*eas, group.boostBase); });
        configs.emplace_back(8U, "GLOBAL_BOOST", 0, 1, on ? 1 : 0, 1, std::vector<std::string>{eas->globalBoostNode},
                             CHIP_TYPE_ANY);
    }
    for (PerfGroupConfig const& group : configs) {
        groups.emplace_back(group, control.workMode);
    }
    if (IsMemoryLatency()) {
        ratio = configs[0].boostBase;
        monitor = configs[1].boostBase;
    }
}

int NaiveResource::Validate(PerfCommandType type, PerfGroupTable& asked) const
{
    std::size_t const known = eas != nullptr ? 8 : groups.size();
    if (asked.size() > known) {
        return -1;
    }
    for (auto& [group, values] : asked) {
        if (group >= known || ValidateGroup(type, group, values) != 0) {
            return -1;
        }
    }
    return eas != nullptr ? ExtendByGlobalBoost(asked) : 0;
}

int NaiveResource::ValidateGroup(PerfCommandType type, unsigned int group,
                                 std::map<PerfOperationType, int>& values) const
{
    PerfGroupConfig const& config = configs[group];
    for (auto& [operation, value] : values) {
        if (operation > PERF_OPERATION_LIMIT || (type == PERF_COMMAND_BASE_SET && operation == PERF_OPERATION_LIMIT)) {
            return -1;
        }
        int const inside = std::clamp(value, config.availableMin, config.availableMax);
        if (inside != value && !config.clampOutOfRange) {
            return -1;
        }
        value = inside;
        if (!config.level2ValueMap.empty() && !IsLevel(group, value)) {
            return -1;
        }
    }
    return values.size() == 2 && values[PERF_OPERATION_LIMIT] < values[PERF_OPERATION_BOOST] ? -1 : 0;
}

int NaiveResource::ExtendByGlobalBoost(PerfGroupTable& asked) const
{
    std::map<PerfOperationType, int> extension;
    for (auto const& [group, values] : asked) {
        for (auto const& [operation, level] : values) {
            bool const on = MeansBoost(*eas, level);
            auto const known = extension.emplace(operation, on).first;
            bool const counts = operation == PERF_OPERATION_BOOST ? on : !on; // one boost, or one low limit, is enough
            known->second = counts ? on : known->second;
        }
    }
    if (extension.empty() ||
        (extension.size() == 2 && extension[PERF_OPERATION_BOOST] == 1 && extension[PERF_OPERATION_LIMIT] == 0)) {
        return -1;
    }
    asked[8] = extension;
    return 0;
}

PerfTimePoint NaiveResource::NextWakeUp() const
{
    PerfTimePoint first = nextTry;
    for (NaiveGroup const& group : groups) {
        PerfTimePoint const time = group.GetNextWakeUpTimePoint();
        first = time != PerfTimePoint{} && (first == PerfTimePoint{} || time < first) ? time : first;
    }
    return first;
}

void NaiveResource::Work(PerfTimePoint const& time)
{
    now = time;
    for (;;) {
        if (!queue.empty()) {
            Command const command = queue.front();
            queue.pop_front();
            Do(command);
        } else if (PerfTimePoint const due = NextWakeUp(); due != PerfTimePoint{} && due <= now) {
            for (unsigned int group = 0; group < groups.size(); ++group) {
                groups[group].ShortTermTimeOut(now);
                Write(group);
            }
        } else {
            return;
        }
        AttendToRefusals();
    }
}

void NaiveResource::AttendToRefusals()
{
    PlanTheNextTry(false);
    if (nextTry != PerfTimePoint{} && nextTry <= now) {
        for (unsigned int group = 0; group < groups.size(); ++group) {
            WriteAnew(group);
        }
        PlanTheNextTry(true);
    }
}

void NaiveResource::PlanTheNextTry(bool isTry)
{
    bool const again = std::exchange(refusedNow, false);
    if (rewriteDelay.count() == 0 || refused.empty() || asleep) {
        nextTry = {};
    } else if (isTry) {
        distance = std::min(2 * distance, 60 * rewriteDelay);
        nextTry = now + distance;
        latestTry = now + 60 * rewriteDelay;
    } else if (again || nextTry == PerfTimePoint{}) {
        latestTry = nextTry == PerfTimePoint{} ? now + 60 * rewriteDelay : latestTry;
        distance = rewriteDelay;
        nextTry = std::min(now + distance, latestTry);
    }
}

void NaiveResource::WriteAnew(unsigned int group)
{
    if (configs[group].level2ValueMap.empty()) {
        atThreshold = true; // so that the switches are written, too
        Write(group, groups[group].FinalBoost(), groups[group].FinalLimit());
    } else if (levels.count(group) != 0) {
        WriteLevel(group, levels[group]);
    }
}

void NaiveResource::Offer(std::string const& node, std::string const& bytes)
{
    if (put(node, bytes)) {
        opened.insert(node);
        refused.erase(node);
    } else {
        opened.erase(node);
        refused.insert(node);
        refusedNow = true;
    }
}

void NaiveResource::Do(Command const& command)
{
    switch (command.type) {
    case PERF_COMMAND_SUSPEND_ON:
    case PERF_COMMAND_SUSPEND_OFF:
        Suspend(command.type == PERF_COMMAND_SUSPEND_ON);
        return;
    case PERF_COMMAND_MODE_START:
        for (unsigned int group = 0; group < groups.size(); ++group) {
            groups[group].SetWorkMode(command.item.workMode);
            Write(group);
        }
        break;
    default:
        if (!Apply(command)) {
            return;
        }
        break;
    }
    if (IsMemoryLatency()) {
        FollowRatioAndMonitor();
    }
}

bool NaiveResource::Apply(Command const& command)
{
    auto const& [type, item] = command;
    for (auto const& [id, values] : item.groupInfo) {
        if (id >= groups.size()) {
            return false;
        }
        NaiveGroup& group = groups[id];
        PerfGroupCommand const order{item.handle, item.startTime, item.endTime, values};
        group.UpdateCurrTimePoint(now);
        int const result = type == PERF_COMMAND_SHORT_START  ? group.ShortTermStart(order)
                           : type == PERF_COMMAND_SHORT_STOP ? group.ShortTermStop(order)
                           : type == PERF_COMMAND_LONG_START ? group.LongTermStart(order)
                           : type == PERF_COMMAND_LONG_STOP  ? group.LongTermStop(order)
                                                             : group.BaseSet(order);
        Write(id);
        if (result != 0) {
            return false; // what comes behind is left out
        }
    }
    return !item.groupInfo.empty();
}

void NaiveResource::Suspend(bool on)
{
    if (on == asleep && qosId != PERF_QOS_ALWAYS_SUSPEND) {
        return;
    }
    asleep = on;
    for (unsigned int group = 0; group < groups.size(); ++group) {
        groups[group].SetSuspend(on);
        Write(group);
    }
}

void NaiveResource::Write(unsigned int group)
{
    for (std::string const& action : std::exchange(groups[group].actions, {})) {
        if (action != "close") {
            Write(group, std::stoi(action), std::stoi(action.substr(action.find('~') + 1)));
            continue;
        }
        auto const& nodes = configs[group].nodePathVec;
        for (std::size_t i = power != nullptr ? 1 : 0; i < nodes.size(); ++i) { // power itself stays open
            opened.erase(nodes[i]);
        }
    }
}

void NaiveResource::Write(unsigned int group, int boost, int limit)
{
    auto const& nodes = configs[group].nodePathVec;
    if (power != nullptr) {
        WritePower(boost);
    } else if (ddr != nullptr && ddr->freqToBandwidthCoefficient > 0) {
        float const bandwidth = ddr->freqToBandwidthCoefficient * static_cast<float>(boost) / 1000000.0F;
        int const whole = static_cast<int>(bandwidth);
        Offer(nodes[0], std::string(reinterpret_cast<char const*>(&whole), sizeof(whole)));
    } else if (IsMemoryLatency() || (qosId == PERF_QOS_IPA_SWITCH_TEMP && !control.ipaResourceFlag)) {
        return;
    } else if (!configs[group].level2ValueMap.empty()) {
        WriteLevel(group, boost);
    } else if (nodes.size() == 2) {
        NoteLimit(limit);
        // Only what is played in the sandbox notices this order: a kernel comes to the same pair by any other, too.
        Offer(nodes[1], std::to_string(limit));
        Offer(nodes[0], std::to_string(boost));
        if (refused.count(nodes[0]) == 0) {
            Offer(nodes[1], std::to_string(limit));
        }
    } else {
        Offer(nodes[0], std::to_string(boost));
    }
}

void NaiveResource::WriteLevel(unsigned int group, int level)
{
    if (IsLevel(group, level)) {
        levels[group] = level;
        auto const& texts = configs[group].level2ValueMap.at(level);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            Offer(configs[group].nodePathVec[i], texts[i]);
        }
    }
}

void NaiveResource::WritePower(int value)
{
    auto const& nodes = configs[0].nodePathVec;
    auto const toggle = [&](std::size_t node, bool on) { Offer(nodes[node], on ? "enabled" : "disabled"); };
    if (!control.ipaResourceFlag) {
        toggle(2, value < power->socThreshold);
        return;
    }
    bool const below = value < power->boardThreshold;
    bool const at = value == power->boardThreshold;
    if (!below || boardOff || atThreshold) {
        toggle(1, below);
        toggle(2, below || at);
    }
    if (below) {
        Offer(nodes[0], std::to_string(value));
    } else {
        refused.erase(nodes[0]);
    }
    atThreshold = !below && (atThreshold || at);
    boardOff = !below && (boardOff || !at);
}

void NaiveResource::NoteLimit(int limit)
{
    bool const open = !history.empty() && history.back().to == PerfTimePoint{};
    if (limit == configs[0].availableMax) {
        if (open) {
            history.back().to = now;
        }
    } else if (!open || history.back().limit != limit) {
        history.push_back({limit, now});
        history.erase(history.begin(), history.end() - std::min<std::ptrdiff_t>(50, history.end() - history.begin()));
    }
}

void NaiveResource::FollowRatioAndMonitor()
{
    int const newRatio = groups[0].FinalBoost();
    int const newMonitor = groups[1].FinalBoost();
    if (newRatio != ratio && newMonitor != monitor) {
        return; // one at a time
    }
    bool const wasClosed = ratio == 0;
    if (newRatio != ratio) {
        ratio = newRatio;
        if (monitor == 1) {
            return;
        }
        if (newRatio == 0) {
            WriteLevel(1, 1);
            return;
        }
        if (wasClosed) {
            WriteLevel(1, 0);
        }
        WriteLevel(0, newRatio);
    } else if (newMonitor != monitor) {
        monitor = newMonitor;
        if (!wasClosed) {
            WriteLevel(1, newMonitor == 1 ? 1 : 0);
        }
    }
}

void NaiveResource::Dump(std::ostream& out) const
{
    out << std::string(30, '*') << "\nres[" << name << "] grpNum(" << groups.size() << ") (value, handle):\n";
    for (std::size_t id = 0; id < groups.size(); ++id) {
        std::string const dumped = groups[id].Dumped();
        out << "-->grp[" << id << "]:" << configs[id].name << dumped.substr(dumped.find(':'));
    }
}

void NaiveResource::DumpHistory(std::ostream& out, PerfTimePoint const& midnight) const
{
    if (configs[0].nodePathVec.size() != 2 || !configs[0].level2ValueMap.empty()) {
        return;
    }
    auto const clock = [&](PerfTimePoint const& time) {
        auto const ms = (time - midnight) / std::chrono::milliseconds(1);
        return "0-1 " + std::to_string(ms / 3600000) + ":" + std::to_string(ms / 60000 % 60) + ":" +
               std::to_string(ms / 1000 % 60) + "." + std::to_string(ms % 1000);
    };
    out << "*****" << configs[0].name << ": " << (history.empty() ? "limit history cmd log is empty\n" : "") << "\n";
    for (Limited const& record : history) {
        out << "freq=" << record.limit << " " << clock(record.from)
            << (record.to == PerfTimePoint{} ? "" : "  " + clock(record.to)) << "\n";
    }
}
