// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"
#include "tests/world/NaiveGroup.h"

#include <corvane/PerfConfig.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

/** A resource of any kind and its worker: naive groups behind a queue, and what their values mean on the nodes. */
class NaiveResource {
public:
    using Put = std::function<bool(std::string const& node, std::string const& bytes)>;

    /** @param take is offered every write. @return whether the node takes it. */
    NaiveResource(PerfQosId id, PerfQosConfig const& config, PerfConfigControlInfo const& flags,
                  std::chrono::milliseconds delay, Put take)
        : qosId(id), name(config.qosName), control(flags), rewriteDelay(delay), put(std::move(take)),
          configs(config.groupConfigs),
          ddr(id == PERF_QOS_DDR ? dynamic_cast<PerfQosFreqConfig const*>(&config) : nullptr),
          power(dynamic_cast<PerfQosIpaPowerConfig const*>(&config)),
          eas(dynamic_cast<PerfQosEasConfig const*>(&config))
    {
        if (eas != nullptr) {
            bool const on = std::any_of(configs.begin(), configs.end(),
                                        [this](PerfGroupConfig const& group) { return MeansBoost(group.boostBase); });
            configs.emplace_back(8U, "GLOBAL_BOOST", 0, 1, on ? 1 : 0, 1,
                                 std::vector<std::string>{eas->globalBoostNode}, CHIP_TYPE_ANY);
        }
        for (PerfGroupConfig const& group : configs) {
            groups.emplace_back(group, control.workMode);
        }
        if (IsMemoryLatency()) {
            ratio = configs[0].boostBase;
            monitor = configs[1].boostBase;
        }
    }

    int Validate(PerfCommandType type, PerfGroupTable& asked) const
    {
        std::size_t const known = eas != nullptr ? 8 : groups.size();
        if (asked.size() > known) {
            return -1;
        }
        for (auto& [group, values] : asked) {
            if (group >= known || !AreValid(type, configs[group], values)) {
                return -1;
            }
        }
        return eas != nullptr ? ExtendByGlobalBoost(asked) : 0;
    }

    void Send(PerfCommandType type, PerfCommandItem const& item) { queue.emplace_back(type, item); }

    /** Does what is queued, then what is due. */
    void Work(PerfTimePoint const& time)
    {
        now = time;
        for (;;) {
            if (!queue.empty()) {
                auto const [type, item] = queue.front();
                queue.pop_front();
                Do(type, item);
            } else if (PerfTimePoint const due = NextWakeUp(); due != PerfTimePoint{} && due <= now) {
                ForEachGroup([this](NaiveGroup& group) { group.TimeOut(now); });
            } else {
                return;
            }
            AttendToRefusals();
        }
    }

    PerfTimePoint NextWakeUp() const
    {
        PerfTimePoint first = nextTry;
        for (NaiveGroup const& group : groups) {
            first = Earlier(first, group.NextWakeUp());
        }
        return first;
    }

    std::size_t OpenNodes() const { return opened.size(); }

    void Dump(std::ostream& out) const
    {
        out << std::string(30, '*') << "\nres[" << name << "] grpNum(" << groups.size() << ") (value, handle):\n";
        for (std::size_t id = 0; id < groups.size(); ++id) {
            out << "-->grp[" << id << "]:" << configs[id].name << ": " << groups[id].Dumped();
        }
    }

    /** @param midnight when time began. */
    void DumpHistory(std::ostream& out, PerfTimePoint const& midnight) const
    {
        if (configs[0].nodePathVec.size() != 2 || !configs[0].level2ValueMap.empty()) {
            return;
        }
        auto const clock = [&](PerfTimePoint const& time) {
            auto const ms = (time - midnight) / std::chrono::milliseconds(1);
            return "0-1 " + std::to_string(ms / 3600000) + ":" + std::to_string(ms / 60000 % 60) + ":" +
                   std::to_string(ms / 1000 % 60) + "." + std::to_string(ms % 1000);
        };
        out << "*****" << configs[0].name << ": " << (history.empty() ? "limit history cmd log is empty\n" : "")
            << "\n";
        for (Limited const& record : history) {
            out << "freq=" << record.limit << " " << clock(record.from)
                << (record.to == PerfTimePoint{} ? "" : "  " + clock(record.to)) << "\n";
        }
    }

private:
    struct Limited {
        int limit;
        PerfTimePoint from;
        PerfTimePoint to{};
    };

    // What may be asked

    bool IsMemoryLatency() const { return qosId >= PERF_QOS_MEM_LAT_FIRST && qosId <= PERF_QOS_MEM_LAT_LAST; }

    /** Default levels that mean nothing count as 0. */
    bool MeansBoost(int level) const
    {
        auto const found = eas->globalBoostMap.find(level);
        return found != eas->globalBoostMap.end() && found->second == 1;
    }

    static bool AreValid(PerfCommandType type, PerfGroupConfig const& config, std::map<PerfOperationType, int>& values)
    {
        for (auto& [operation, value] : values) {
            int const inside = std::clamp(value, config.availableMin, config.availableMax);
            bool const isAllowed = operation == PERF_OPERATION_BOOST ||
                                   (operation == PERF_OPERATION_LIMIT && type != PERF_COMMAND_BASE_SET);
            bool const isInside = inside == value || config.clampOutOfRange;
            if (!isAllowed || !isInside ||
                (!config.level2ValueMap.empty() && config.level2ValueMap.count(inside) == 0)) {
                return false;
            }
            value = inside;
        }
        return values.size() < 2 || values[PERF_OPERATION_BOOST] <= values[PERF_OPERATION_LIMIT];
    }

    /** Adds what a request's levels mean for the global boost. */
    int ExtendByGlobalBoost(PerfGroupTable& asked) const
    {
        std::map<PerfOperationType, int> extension;
        for (auto const& [group, values] : asked) {
            for (auto const& [operation, level] : values) {
                bool const on = MeansBoost(level);
                auto const known = extension.emplace(operation, on).first;
                bool const counts =
                    operation == PERF_OPERATION_BOOST ? on : !on; // one boost, or one low limit, is enough
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

    // What is done

    /** Lets every group do something, and writes what comes of it. */
    template <typename Step> void ForEachGroup(Step const& step)
    {
        for (unsigned int id = 0; id < groups.size(); ++id) {
            step(groups[id]);
            WriteActions(id);
        }
    }

    void Do(PerfCommandType type, PerfCommandItem const& item)
    {
        if (type == PERF_COMMAND_SUSPEND_ON || type == PERF_COMMAND_SUSPEND_OFF) {
            Suspend(type == PERF_COMMAND_SUSPEND_ON);
            return;
        }
        if (type == PERF_COMMAND_MODE_START) {
            ForEachGroup([&item](NaiveGroup& group) { group.SetWorkMode(item.workMode); });
        } else if (!Apply(type, item)) {
            return;
        }
        if (IsMemoryLatency()) {
            FollowRatioAndMonitor();
        }
    }

    bool Apply(PerfCommandType type, PerfCommandItem const& item)
    {
        for (auto const& [id, values] : item.groupInfo) {
            if (id >= groups.size()) {
                return false;
            }
            int const result = groups[id].Do(type, {item.handle, item.startTime, item.endTime, values}, now);
            WriteActions(id);
            if (result != 0) {
                return false; // what comes behind is left out
            }
        }
        return !item.groupInfo.empty();
    }

    void Suspend(bool on)
    {
        if (on != asleep || qosId == PERF_QOS_ALWAYS_SUSPEND) {
            asleep = on;
            ForEachGroup([on](NaiveGroup& group) { group.SetSuspend(on); });
        }
    }

    // What is written

    /** Writes what the group has decided since the last time. */
    void WriteActions(unsigned int group)
    {
        auto const& nodes = configs[group].nodePathVec;
        for (auto const& action : std::exchange(groups[group].actions, {})) {
            if (action) {
                Write(group, action->first, action->second);
                continue;
            }
            for (std::size_t i = power != nullptr ? 1 : 0; i < nodes.size(); ++i) { // power itself stays open
                opened.erase(nodes[i]);
            }
        }
    }

    void Write(unsigned int group, int boost, int limit)
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

    void WriteLevel(unsigned int group, int level)
    {
        auto const texts = configs[group].level2ValueMap.find(level);
        if (texts != configs[group].level2ValueMap.end()) {
            levels[group] = level;
            for (std::size_t i = 0; i < texts->second.size(); ++i) {
                Offer(configs[group].nodePathVec[i], texts->second[i]);
            }
        }
    }

    void WritePower(int value)
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

    void NoteLimit(int limit)
    {
        bool const open = !history.empty() && history.back().to == PerfTimePoint{};
        if (limit == configs[0].availableMax) {
            if (open) {
                history.back().to = now;
            }
        } else if (!open || history.back().limit != limit) {
            history.push_back({limit, now});
            if (history.size() > 50) {
                history.pop_front();
            }
        }
    }

    void FollowRatioAndMonitor()
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

    // What is refused

    void Offer(std::string const& node, std::string const& bytes)
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

    /** Writes everything anew where that is due. */
    void AttendToRefusals()
    {
        PlanTheNextTry(false);
        if (nextTry != PerfTimePoint{} && nextTry <= now) {
            for (unsigned int group = 0; group < groups.size(); ++group) {
                WriteAnew(group);
            }
            PlanTheNextTry(true);
        }
    }

    void PlanTheNextTry(bool isTry)
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

    void WriteAnew(unsigned int group)
    {
        if (configs[group].level2ValueMap.empty()) {
            atThreshold = true; // so that the switches are written, too
            Write(group, groups[group].FinalBoost(), groups[group].FinalLimit());
        } else if (levels.count(group) != 0) {
            WriteLevel(group, levels[group]);
        }
    }

    PerfQosId const qosId;
    std::string const name;
    PerfConfigControlInfo const control;
    std::chrono::milliseconds const rewriteDelay;
    Put const put;
    std::vector<PerfGroupConfig> configs;
    PerfQosFreqConfig const* const ddr;
    PerfQosIpaPowerConfig const* const power;
    PerfQosEasConfig const* const eas;

    std::vector<NaiveGroup> groups;
    std::deque<std::pair<PerfCommandType, PerfCommandItem>> queue;
    PerfTimePoint now{};
    bool asleep = false;
    bool boardOff = false, atThreshold = false;
    std::optional<int> ratio, monitor; ///< as last followed
    std::deque<Limited> history;

    std::map<unsigned int, int> levels; ///< last written
    std::set<std::string> opened;       ///< the nodes that are open
    std::set<std::string> refused;      ///< the nodes that did not take what they were last offered
    bool refusedNow = false;            ///< since the last look
    std::chrono::milliseconds distance{};
    PerfTimePoint nextTry{}, latestTry{};
};
