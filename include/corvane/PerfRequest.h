// SPDX-License-Identifier: Apache-2.0

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

/** What one request asks of one resource, after its parts have been folded together. */
struct QosInfoInt {
    PerfQosId qosId = 0;
    PerfGroupTable groupInfo;
};

/** How many handles may be outstanding, and where their numbers begin. */
struct CommandLimits {
    unsigned int maxProcessNum = 1024;         ///< most processes that hold handles at once
    unsigned int maxHandleNumPerProcess = 512; ///< most handles of one process; all running events count as one process
    unsigned int maxTotalHandleNum = 8192;
    int eventPid = 0; ///< the process under which event handles are kept; every client's must be greater
    unsigned long long firstHandle = 1;
};
