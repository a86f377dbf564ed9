// SPDX-License-Identifier: Apache-2.0

#include "command/CommandWrapper.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

PerfTimePoint const T0{1h};

/** Every item's resource, its span in ms from T0, and its groups as the dump shows them. */
std::string Describe(CommandWrapper const& wrapper)
{
    std::ostringstream spans;
    for (auto const& item : wrapper.commands) {
        spans << item->qosId << "@" << (item->startTime - T0) / 1ms << ".." << (item->endTime - T0) / 1ms << "\n";
    }
    wrapper.Dump(spans);
    return spans.str();
}

} // namespace

TEST(CommandWrapper, EventsWidenTheWrapperAndEveryItemKeepsItsOwnSpan)
{
    LogCapture const log;
    CommandWrapper wrapper(PERF_COMMAND_SHORT_STOP, T0, T0 + 50ms, 50);
    wrapper.InsertRequestCommand(4, {{1, {{PERF_OPERATION_BOOST, 8}, {PERF_OPERATION_LIMIT, -9}}}, {2, {}}});
    wrapper.InsertEventCommand(1, T0, T0 + 500ms, {});
    wrapper.InsertEventCommand(2, T0 + 200ms, T0 + 1000ms, {});
    wrapper.InsertEventCommand(3, T0 - 7ms, T0 + 1ms, {{0, {{PERF_OPERATION_LIMIT, -3}}}});
    wrapper.InsertProbeCommand(T0 - 20ms, T0 + 2000ms, 0, 7, 0);
    EXPECT_EQ(Describe(wrapper), "4@0..50\n1@0..500\n2@200..1000\n3@-7..1\n2@-20..2000\n"
                                 "ShortStop duration 50\n{4: [1 (0:8)(1:-9)][2 ]}\n{1: }\n{2: }\n{3: [0 (1:-3)]}\n"
                                 "{2: [0 (0:7)]}\n");
    EXPECT_EQ(wrapper.startTime, T0 - 7ms) << "a probe does not widen it";
    EXPECT_EQ(wrapper.endTime, T0 + 1000ms);

    std::string words;
    for (unsigned int type = PERF_COMMAND_SHORT_START; type <= PERF_COMMAND_BASE_SET; ++type) {
        words += CommandWrapper(static_cast<PerfCommandType>(type), T0, T0, 0).GetCmdTypeString() + ";";
    }
    std::string const rest = "invalid command type;";
    EXPECT_EQ(words, "ShortStart;ShortStop;LongStart;LongStop;ModeStart;" + rest + rest + rest + rest + rest);
}
