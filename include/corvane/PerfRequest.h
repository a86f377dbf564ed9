#pragma once

#include <corvane/PerfTypes.h>

#include <utility>
#include <vector>

/** The values asked of one group of a resource. Used by requests, events and scenarios alike. */
struct GroupInfo {
    unsigned int groupId = 0; ///< index of the group inside its resource, from 0
    std::vector<std::pair<PerfOperationType, int>> operations;
};

/** What a client asks of one resource. */
struct PerfRequestInfo {
    PerfQosId qosId = 0;
    std::vector<GroupInfo> groupInfos;
};
