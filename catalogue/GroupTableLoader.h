// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfRequest.h>
#include <corvane/PerfTypes.h>

#include <vector>

/** What keeps a list of group values from becoming a table. */
enum class GroupTableFault { NONE, DUPLICATE_OPERATION, DUPLICATE_GROUP };

struct GroupTableResult {
    GroupTableFault fault = GroupTableFault::NONE;
    unsigned int id = 0;  ///< the repeated operation or group
    PerfGroupTable table; ///< empty on a fault
};

/** Builds the table in order, up to the first fault. A group without operations keeps its empty place. */
GroupTableResult LoadGroupTable(std::vector<GroupInfo> const& groupInfos);
