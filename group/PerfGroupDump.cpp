// SPDX-License-Identifier: Apache-2.0

#include "group/PerfGroup.h"

#include "group/QueSide.h"

#include <ostream>

namespace {

/** A handle as dumps show it: its low bits, or "*" for a default base item. */
struct ShownHandle {
    unsigned long long handle;
    unsigned long long mask;
};

std::ostream& operator<<(std::ostream& out, ShownHandle const& shown)
{
    return shown.handle == NO_HANDLE ? out << "*" : out << (shown.handle & shown.mask);
}

void DumpItems(std::ostream& out, char const* label, std::vector<PerfGroupQueItem> const& items,
               unsigned long long handleMask)
{
    out << label << items.size() << ") ";
    for (PerfGroupQueItem const& item : items) {
        out << item.value << ":" << ShownHandle{item.handle, handleMask} << " ";
    }
}

std::optional<PerfGroupQueItem> IfOccupied(PerfGroupQueItem const& slot)
{
    return QueSide::IsOccupied(slot) ? std::optional(slot) : std::nullopt;
}

template <typename Que> std::vector<PerfGroupQueItem> ItemsOf(Que const& que)
{
    return {que.begin(), que.end()};
}

} // namespace

PerfGroupState PerfGroup::State() const
{
    PerfGroupState state{groupId, name, suspend, {}, {}, ItemsOf(waitingQue)};
    state.boost = {currBoostBaseItem, ItemsOf(boostBaseQue), effectiveBoostBase, IfOccupied(currBoostItem),
                   ItemsOf(boostQue), effectiveBoostValue,   finalBoostValue};
    state.limit = {currLimitBaseItem, ItemsOf(limitBaseQue), effectiveLimitBase, IfOccupied(currLimitItem),
                   ItemsOf(limitQue), effectiveLimitValue,   finalLimitValue};
    if (QueSide::IsOccupied(curr_wait_item)) {
        state.waiting.insert(state.waiting.begin(), curr_wait_item);
    }
    return state;
}

void PerfGroup::Dump(std::ostringstream& out) const
{
    DumpPart1(out);
    DumpPart2(out);
}

void PerfGroup::DumpPart1(std::ostringstream& out) const
{
    PerfGroupState const state = State();
    auto const dumpItem = [&](char const* label, PerfGroupQueItem const& item) {
        out << label << item.value << ", " << ShownHandle{item.handle, handleDumpMask} << ")";
    };
    out << state.name << ": ";
    dumpItem("boostBase(", state.boost.base);
    dumpItem("limitBase(", state.limit.base);
    out << "effectiveBase: " << state.boost.effectiveBase << "~" << state.limit.effectiveBase << " ";
    if (state.boost.timed) {
        dumpItem("boost(", *state.boost.timed);
    }
    if (state.limit.timed) {
        dumpItem("limit(", *state.limit.timed);
    }
    out << "effective: " << state.boost.effective << "~" << state.limit.effective << std::endl;
}

void PerfGroup::DumpPart2(std::ostringstream& out) const
{
    PerfGroupState const state = State();
    DumpItems(out, "boostBaseList(", state.boost.bases, handleDumpMask);
    DumpItems(out, "limitBaseList(", state.limit.bases, handleDumpMask);
    DumpItems(out, "boostList(", state.boost.timedBehind, handleDumpMask);
    DumpItems(out, "limitList(", state.limit.timedBehind, handleDumpMask);
    out << "final: " << state.boost.final << "~" << state.limit.final << std::endl;
}

void PerfGroup::DumpBase(GroupDumpInfo& info) const
{
    info.groupId = groupId;
    info.name = name;
    info.boostBase = currBoostBaseItem.value;
    info.limitBase = currLimitBaseItem.value;
    DumpBaseValueAfterMapping(info.mappedValues);
}
