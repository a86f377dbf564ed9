// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "group/PerfGroupQue.h"

#include <corvane/PerfTypes.h>

#include <optional>
#include <string>
#include <vector>

/** What makes the floor or the ceiling of a group. */
struct PerfGroupSide {
    PerfGroupQueItem base;                 ///< in force
    std::vector<PerfGroupQueItem> bases;   ///< behind it, in order
    int effectiveBase = 0;                 ///< after the work mode has decided between the bases
    std::optional<PerfGroupQueItem> timed; ///< the short-term value in force
    std::vector<PerfGroupQueItem> timedBehind;
    int effective = 0; ///< base and short-term together, before the work mode decides between boost and limit
    int final = 0;     ///< as it was handed to the kind for its nodes
};

/** A snapshot of a group: values in force and behind, each with its item's whole handle. */
struct PerfGroupState {
    unsigned int groupId = 0;
    std::string name;
    bool isSuspended = false;
    PerfGroupSide boost;
    PerfGroupSide limit;
    std::vector<PerfGroupQueItem> waiting; ///< what begins later, earliest first
};
