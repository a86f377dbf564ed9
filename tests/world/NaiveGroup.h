// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/** @return the earlier one; a time of zero is none. */
inline PerfTimePoint Earlier(PerfTimePoint const& one, PerfTimePoint const& other)
{
    bool const isOne = other == PerfTimePoint{} || (one != PerfTimePoint{} && one < other);
    return isOne ? one : other;
}

/**
 * The arbitration of a group, told again in the plainest way: lists that are sorted anew at every step. Nothing of it
 * is taken from the real one; only the records that carry commands and values are shared.
 */
class NaiveGroup {
public:
    NaiveGroup(PerfGroupConfig const& config, PerfWorkMode mode)
        : highest(config.availableMax), workMode(mode), baseFloor(config.boostBase), baseCeiling(config.limitBase)
    {
        boostBases.Add({NO_HANDLE, PERF_OPERATION_BOOST, baseFloor, {}, {}});
        limitBases.Add({NO_HANDLE, PERF_OPERATION_LIMIT, baseCeiling, {}, {}});
    }

    /** Starts or stops what a request asks for, or sets the base. @return -1 if nothing is asked for. */
    int Do(PerfCommandType type, PerfGroupCommand const& command, PerfTimePoint const& time)
    {
        now = time;
        bool const isTimed = type == PERF_COMMAND_SHORT_START || type == PERF_COMMAND_SHORT_STOP;
        if (isTimed && command.endTime <= now) {
            return 0;
        }
        if (type == PERF_COMMAND_SHORT_STOP) {
            waiting.RemoveWaiting(command);
        }
        Side& boost = isTimed ? boosts : boostBases;
        Side& limit = isTimed ? limits : limitBases;
        auto const before = Outcome(boost, limit);
        for (auto const& [operation, value] : command.operationValueMap) {
            Item const item{command.handle, operation, value, command.startTime, command.endTime};
            Side& side = operation == PERF_OPERATION_BOOST ? boost : limit;
            if (type == PERF_COMMAND_BASE_SET) {
                side.ReplaceDefault(item);
            } else if (type != PERF_COMMAND_SHORT_START && type != PERF_COMMAND_LONG_START) {
                side.Remove(item);
            } else if (item.startTime > now) {
                waiting.Add(item);
            } else {
                side.Add(item);
                if (isTimed) {
                    side.DropEnded(now);
                }
            }
        }
        if (before != Outcome(boost, limit)) {
            isTimed ? Finish() : FinishBases(false);
        }
        return command.operationValueMap.empty() ? -1 : 0;
    }

    void TimeOut(PerfTimePoint const& time)
    {
        now = time;
        auto const before = Outcome(boosts, limits);
        for (Side* side : {&boosts, &limits}) {
            while (!side->items.empty() && side->items[0].endTime <= now) {
                side->items.erase(side->items.begin());
            }
            side->fewestWaiting = std::min(side->fewestWaiting, side->Waiting());
        }
        // Once the first one's time has come, its followers are looked at up to the first that must wait on.
        auto& items = waiting.items;
        bool arrived = !items.empty() && items[0].startTime <= now;
        while (arrived) {
            if (items[0].endTime > now) {
                Side& side = items[0].operationType == PERF_OPERATION_BOOST ? boosts : limits;
                side.Add(items[0]);
                side.DropEnded(now);
            }
            items.erase(items.begin());
            arrived = !items.empty() && (items[0].endTime <= now || items[0].startTime <= now);
        }
        if (before != Outcome(boosts, limits)) {
            Finish();
        }
    }

    void SetWorkMode(PerfWorkMode mode)
    {
        workMode = mode;
        FinishBases(true);
    }

    void SetSuspend(bool suspended)
    {
        asleep = suspended;
        actions.push_back(suspended ? Action{} : Action{{finalFloor, finalCeiling}});
    }

    PerfTimePoint NextWakeUp() const
    {
        return Earlier(waiting.First().startTime, Earlier(boosts.First().endTime, limits.First().endTime));
    }

    std::string Dumped() const
    {
        return boostBases.DumpBest("boostBase(") + limitBases.DumpBest("limitBase(") +
               "effectiveBase: " + Pair(baseFloor, baseCeiling) + " " + boosts.DumpBest("boost(") +
               limits.DumpBest("limit(") + "effective: " + Pair(floor, ceiling) + "\n" +
               boostBases.DumpRest("boostBaseList(") + limitBases.DumpRest("limitBaseList(") +
               boosts.DumpRest("boostList(") + limits.DumpRest("limitList(") +
               "final: " + Pair(finalFloor, finalCeiling) + "\n";
    }

    int FinalBoost() const { return finalFloor; }
    int FinalLimit() const { return finalCeiling; }

    /** The boost and the limit to be written, or none where the nodes are to be closed. */
    using Action = std::optional<std::pair<int, int>>;
    std::vector<Action> actions;

private:
    using Item = PerfGroupQueItem;

    static bool IsDefault(Item const& item) { return item.handle == NO_HANDLE; }
    static long long Value(Item const& item) { return item.value; }
    static long long Smallness(Item const& item) { return -item.value; }
    static long long Earliness(Item const& item) { return -item.startTime.time_since_epoch().count(); }

    struct Side {
        long long (*rank)(Item const&);
        std::vector<Item> items{};     ///< the current one, then the rest: the highest rank first, equals as they came
        std::size_t fewestWaiting = 0; ///< lowest since the ended ones were last dropped

        std::size_t Waiting() const { return std::max<std::size_t>(items.size(), 1) - 1; }
        void DropEnded(PerfTimePoint const& time)
        {
            if (Waiting() > 256 && Waiting() > 2 * fewestWaiting) {
                auto const ended = [&](Item const& item) { return item.endTime <= time; };
                items.erase(std::remove_if(items.begin() + 1, items.end(), ended), items.end());
                fewestWaiting = Waiting();
            }
        }

        void SortRest()
        {
            std::stable_sort(items.begin() + 1, items.end(),
                             [this](Item const& left, Item const& right) { return rank(left) > rank(right); });
        }
        void Add(Item const& item)
        {
            items.push_back(item);
            if (rank(item) > rank(items[0])) {
                std::swap(items[0], items.back());
            }
            SortRest();
        }
        void ReplaceDefault(Item const& item)
        {
            auto const old = std::find_if(items.begin(), items.end(), IsDefault);
            bool const isCurrent = old == items.begin();
            items.erase(old);
            items.insert(isCurrent ? items.begin() : items.end(), item);
            SortRest();
            if (items.size() > 1 && rank(items[1]) > rank(items[0])) {
                std::rotate(items.begin(), items.begin() + 1, items.end());
                SortRest();
            }
        }
        void Remove(Item const& gone)
        {
            auto const fits = [&](Item const& item) { return item.handle == gone.handle && item.value == gone.value; };
            bool const isCurrent = First().handle == gone.handle;
            auto const found = isCurrent ? items.begin() : std::find_if(items.begin(), items.end(), fits);
            if (found != items.end()) {
                items.erase(found);
                fewestWaiting = std::min(fewestWaiting, Waiting());
            }
        }
        /** The one that waits first goes by its handle alone. */
        void RemoveWaiting(PerfGroupCommand const& gone)
        {
            auto const goes = [&](Item const& item) {
                return item.handle == gone.handle && (&item == &items[0] || item.startTime == gone.startTime);
            };
            items.erase(std::remove_if(items.begin(), items.end(), goes), items.end());
        }
        Item First() const { return items.empty() ? Item{} : items[0]; }
        std::optional<int> Best() const { return items.empty() ? std::nullopt : std::optional(items[0].value); }
        static std::string Shown(Item const& item, char const* between)
        {
            return std::to_string(item.value) + between + (IsDefault(item) ? "*" : std::to_string(item.handle % 1024));
        }
        std::string DumpBest(char const* label) const
        {
            return items.empty() ? "" : label + Shown(items[0], ", ") + ")";
        }
        std::string DumpRest(char const* label) const
        {
            std::string text = label + std::to_string(Waiting()) + ") ";
            for (std::size_t i = 1; i < items.size(); ++i) {
                text += Shown(items[i], ":") + " ";
            }
            return text;
        }
    };

    static std::string Pair(int left, int right) { return std::to_string(left) + "~" + std::to_string(right); }

    /** Where this changes, there is something to be done. */
    static std::pair<std::optional<int>, std::optional<int>> Outcome(Side const& boost, Side const& limit)
    {
        return {boost.Best(), limit.Best()};
    }

    void FinishBases(bool evenIfUnchanged)
    {
        int const boost = boostBases.First().value;
        int const limit = limitBases.First().value;
        auto const before = std::pair(baseFloor, baseCeiling);
        baseFloor = boost > limit && workMode != 1 ? limit : boost;
        baseCeiling = boost > limit && workMode == 1 ? boost : limit;
        if (evenIfUnchanged || before != std::pair(baseFloor, baseCeiling)) {
            Finish();
        }
    }

    void Finish()
    {
        bool const boosted = !boosts.items.empty();
        bool const limited = !limits.items.empty();
        floor = boosted ? std::max(baseFloor, boosts.First().value) : baseFloor;
        ceiling = workMode != 2 && limited ? std::max(baseCeiling, limits.First().value) : baseCeiling;
        bool const lonely = workMode == 0 && limited && limitBases.items.size() == 1;
        ceiling = lonely || (workMode != 2 && boosted && !limited) ? highest : ceiling;
        finalFloor = workMode == 2 ? std::min(floor, ceiling) : floor;
        finalCeiling = workMode == 2 ? ceiling : std::max(floor, ceiling);
        if (!asleep) {
            actions.emplace_back(std::pair(finalFloor, finalCeiling));
        }
    }

    PerfTimePoint now{};
    int highest;
    PerfWorkMode workMode;
    bool asleep = false;
    Side boosts{Value}, limits{Value}, boostBases{Value}, limitBases{Smallness}, waiting{Earliness};
    int baseFloor, baseCeiling;
    int floor = baseFloor, ceiling = baseCeiling, finalFloor = baseFloor, finalCeiling = baseCeiling;
};
