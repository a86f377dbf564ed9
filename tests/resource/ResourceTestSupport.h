// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"
#include "sandbox/Sandbox.h"
#include "sys/PerfTime.h"
#include "tests/support/LogCapture.h"

#include <corvane/PerfConfig.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;

constexpr auto BOOST = PERF_OPERATION_BOOST;
inline std::string const NAME = "res";

/** A group of the range 0..100 with the defaults 10 and 100. */
inline PerfGroupConfig PlainGroup(unsigned int id, std::string const& name, Strings const& nodes)
{
    return PerfGroupConfig(id, name, 0, 100, 10, 100, nodes, CHIP_TYPE_ANY);
}

/** An item as a request sends it; timed ones run from the distant past to the distant future. */
inline std::shared_ptr<PerfCommandItem> Item(unsigned long long handle, PerfGroupTable const& groups,
                                             PerfQosId qosId = 0)
{
    PerfTimePoint const start{std::chrono::nanoseconds{1}};
    PerfTimePoint const end = PerfTime::Now() + std::chrono::hours{1};
    return std::make_shared<PerfCommandItem>(
        PerfCommandItem{qosId, handle, PERF_WORK_MODE_DEFAULT, start, end, groups});
}
