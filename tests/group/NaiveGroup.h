// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroup.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

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

    int ShortTermStart(PerfGroupCommand const& command) { return ShortTerm(true, command); }
    int ShortTermStop(PerfGroupCommand const& command) { return ShortTerm(false, command); }
    int LongTermStart(PerfGroupCommand const& command) { return LongTerm(true, command); }
    int LongTermStop(PerfGroupCommand const& command) { return LongTerm(false, command); }

    int BaseSet(PerfGroupCommand const& command)
    {
        if (command.operationValueMap.size() != 1 || command.operationValueMap.count(PERF_OPERATION_BOOST) == 0) {
            return -1;
        }
        return ChangeEach(command, boostBases, limitBases, [](Item item, Side& side) {
            auto& items = side.items;
            auto const old = std::find_if(items.begin(), items.end(), IsDefault);
            bool const current = old == items.begin();
            items.erase(old);
            item.handle = NO_HANDLE;
            items.insert(current ? items.begin() : items.end(), item);
            side.SortRest();
            if (items.size() > 1 && items[1].value > items[0].value) {
                std::rotate(items.begin(), items.begin() + 1, items.end());
                side.SortRest();
            }
        });
    }

    void UpdateCurrTimePoint(PerfTimePoint const& time) { now = time; }

    int ShortTermTimeOut(PerfTimePoint const& time)
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
        return before == Outcome(boosts, limits) ? 0 : Finish();
    }

    int SetWorkMode(PerfWorkMode mode)
    {
        workMode = mode;
        return FinishBases(true);
    }

    int SetSuspend(bool suspended)
    {
        asleep = suspended;
        actions.push_back(suspended ? "close" : Pair(finalFloor, finalCeiling));
        return 0;
    }

    PerfTimePoint GetNextWakeUpTimePoint() const
    {
        PerfTimePoint first{};
        for (PerfTimePoint const time : {boosts.First().endTime, limits.First().endTime, waiting.First().startTime}) {
            first = time == PerfTimePoint{} || (first != PerfTimePoint{} && first < time) ? first : time;
        }
        return first;
    }

    std::string Dumped() const
    {
        return "cpu: " + boostBases.DumpBest("boostBase(") + limitBases.DumpBest("limitBase(") +
               "effectiveBase: " + Pair(baseFloor, baseCeiling) + " " + boosts.DumpBest("boost(") +
               limits.DumpBest("limit(") + "effective: " + Pair(floor, ceiling) + "\n" +
               boostBases.DumpRest("boostBaseList(") + limitBases.DumpRest("limitBaseList(") +
               boosts.DumpRest("boostList(") + limits.DumpRest("limitList(") +
               "final: " + Pair(finalFloor, finalCeiling) + "\n";
    }

    int FinalBoost() const { return finalFloor; }
    int FinalLimit() const { return finalCeiling; }

    std::vector<std::string> actions; ///< "boost~limit" for a write, "close"

private:
    using Item = PerfGroupQueItem;
    using Seen = std::pair<std::optional<int>, std::optional<int>>;

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
        void Remove(Item const& gone)
        {
            auto const fits = [&](Item const& item) { return item.handle == gone.handle && item.value == gone.value; };
            bool const current = First().handle == gone.handle;
            auto const found = current ? items.begin() : std::find_if(items.begin(), items.end(), fits);
            if (found != items.end()) {
                items.erase(found);
                fewestWaiting = std::min(fewestWaiting, Waiting());
            }
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
            std::string text = label + std::to_string(std::max<std::size_t>(items.size(), 1) - 1) + ") ";
            for (std::size_t i = 1; i < items.size(); ++i) {
                text += Shown(items[i], ":") + " ";
            }
            return text;
        }
    };

    int ShortTerm(bool starts, PerfGroupCommand const& command)
    {
        if (command.handle >= INVALID_HANDLE || command.endTime < command.startTime) {
            return -1;
        }
        if (command.endTime <= now) {
            return 0;
        }
        if (!starts) { // the one that waits first goes by its handle alone
            auto& items = waiting.items;
            auto const goes = [&](Item const& item) {
                return item.handle == command.handle && (&item == &items[0] || item.startTime == command.startTime);
            };
            items.erase(std::remove_if(items.begin(), items.end(), goes), items.end());
        }
        return ChangeEach(command, boosts, limits, [&](Item const& item, Side& side) {
            if (!starts) {
                side.Remove(item);
            } else if (item.startTime > now) {
                waiting.Add(item);
            } else {
                side.Add(item);
                side.DropEnded(now);
            }
        });
    }

    int LongTerm(bool starts, PerfGroupCommand const& command)
    {
        if (command.handle >= INVALID_HANDLE) {
            return -1;
        }
        return ChangeEach(command, boostBases, limitBases,
                          [&](Item const& item, Side& side) { starts ? side.Add(item) : side.Remove(item); });
    }

    static std::string Pair(int left, int right) { return std::to_string(left) + "~" + std::to_string(right); }

    static Seen Outcome(Side const& boost, Side const& limit) { return {boost.Best(), limit.Best()}; }

    /** Changes the sides value by value and goes on where the value of either one's current item has changed. */
    template <typename Step> int ChangeEach(PerfGroupCommand const& command, Side& boost, Side& limit, Step const& step)
    {
        if (command.operationValueMap.empty() || command.operationValueMap.size() > 2) {
            return -1;
        }
        auto const before = Outcome(boost, limit);
        for (auto const& [type, value] : command.operationValueMap) {
            step(Item{command.handle, type, value, command.startTime, command.endTime},
                 type == PERF_OPERATION_BOOST ? boost : limit);
        }
        if (before == Outcome(boost, limit)) {
            return 0;
        }
        return &boost == &boosts ? Finish() : FinishBases(false);
    }

    int FinishBases(bool evenIfUnchanged)
    {
        int const boost = boostBases.First().value;
        int const limit = limitBases.First().value;
        bool const conflict = boost > limit;
        if (conflict && workMode > 2) {
            return -1;
        }
        auto const before = std::make_pair(baseFloor, baseCeiling);
        baseFloor = conflict && workMode != 1 ? limit : boost;
        baseCeiling = conflict && workMode == 1 ? boost : limit;
        return evenIfUnchanged || before != std::make_pair(baseFloor, baseCeiling) ? Finish() : 0;
    }

    int Finish()
    {
        bool const known = workMode <= 2;
        bool const boosted = !boosts.items.empty();
        bool const limited = !limits.items.empty();
        if (known) {
            floor = boosted ? std::max(baseFloor, boosts.First().value) : baseFloor;
            ceiling = workMode != 2 && limited ? std::max(baseCeiling, limits.First().value) : baseCeiling;
            bool const lonely = workMode == 0 && limited && limitBases.items.size() == 1;
            ceiling = lonely || (workMode != 2 && boosted && !limited) ? highest : ceiling;
        }
        finalFloor = known && workMode == 2 ? std::min(floor, ceiling) : floor;
        finalCeiling = known && workMode != 2 ? std::max(floor, ceiling) : ceiling;
        if (known && !asleep) {
            actions.push_back(Pair(finalFloor, finalCeiling));
        }
        return known ? 0 : -1;
    }

    PerfTimePoint now{};
    int highest;
    PerfWorkMode workMode;
    bool asleep = false;
    Side boosts{Value}, limits{Value}, boostBases{Value}, limitBases{Smallness}, waiting{Earliness};
    int baseFloor, baseCeiling;
    int floor = baseFloor, ceiling = baseCeiling, finalFloor = baseFloor, finalCeiling = baseCeiling;
};
