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

template <typename Que>
void DumpQue(std::ostream& out, char const* label, Que const& que, unsigned long long handleMask)
{
    out << label << que.size() << ") ";
    for (PerfGroupQueItem const& item : que) {
        out << item.value << ":" << ShownHandle{item.handle, handleMask} << " ";
    }
}

} // namespace

void PerfGroup::Dump(std::ostringstream& out) const
{
    DumpPart1(out);
    DumpPart2(out);
}

void PerfGroup::DumpPart1(std::ostringstream& out) const
{
    auto const dumpItem = [&](char const* label, PerfGroupQueItem const& item) {
        out << label << item.value << ", " << ShownHandle{item.handle, handleDumpMask} << ")";
    };
    out << name << ": ";
    dumpItem("boostBase(", currBoostBaseItem);
    dumpItem("limitBase(", currLimitBaseItem);
    out << "effectiveBase: " << effectiveBoostBase << "~" << effectiveLimitBase << " ";
    if (QueSide::IsOccupied(currBoostItem)) {
        dumpItem("boost(", currBoostItem);
    }
    if (QueSide::IsOccupied(currLimitItem)) {
        dumpItem("limit(", currLimitItem);
    }
    out << "effective: " << effectiveBoostValue << "~" << effectiveLimitValue << std::endl;
}

void PerfGroup::DumpPart2(std::ostringstream& out) const
{
    DumpQue(out, "boostBaseList(", boostBaseQue, handleDumpMask);
    DumpQue(out, "limitBaseList(", limitBaseQue, handleDumpMask);
    DumpQue(out, "boostList(", boostQue, handleDumpMask);
    DumpQue(out, "limitList(", limitQue, handleDumpMask);
    out << "final: " << finalBoostValue << "~" << finalLimitValue << std::endl;
}

void PerfGroup::DumpBase(GroupDumpInfo& info) const
{
    info.groupId = groupId;
    info.name = name;
    info.boostBase = currBoostBaseItem.value;
    info.limitBase = currLimitBaseItem.value;
    DumpBaseValueAfterMapping(info.mappedValues);
}
