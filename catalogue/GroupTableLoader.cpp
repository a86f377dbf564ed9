// SPDX-License-Identifier: Apache-2.0

#include "catalogue/GroupTableLoader.h"

#include <utility>

GroupTableResult LoadGroupTable(std::vector<GroupInfo> const& groupInfos)
{
    PerfGroupTable table;
    for (GroupInfo const& info : groupInfos) {
        std::map<PerfOperationType, int> operations;
        for (auto const& [operation, value] : info.operations) {
            if (!operations.emplace(operation, value).second) {
                return {GroupTableFault::DUPLICATE_OPERATION, operation, {}};
            }
        }
        if (!table.emplace(info.groupId, std::move(operations)).second) {
            return {GroupTableFault::DUPLICATE_GROUP, info.groupId, {}};
        }
    }
    return {GroupTableFault::NONE, 0, std::move(table)};
}
