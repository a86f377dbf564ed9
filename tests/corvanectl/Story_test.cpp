#include "tools/corvanectl/session/Ledger.h"
#include "tools/corvanectl/story/BlockChart.h"
#include "tools/corvanectl/story/Chart.h"
#include "tools/corvanectl/story/LogLines.h"
#include "tools/corvanectl/story/NodeText.h"
#include "tools/corvanectl/story/SvgWriter.h"
#include "tools/corvanectl/story/Trace.h"
#include "tools/corvanectl/story/Transcript.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <sstream>

namespace {

using namespace std::chrono_literals;

PerfTimePoint const START{1h};

Wrote Write(PerfTimePoint time, std::uint64_t sequence, std::string const& node, std::string const& bytes,
            int error = 0)
{
    NodeWrite write;
    write.node = node;
    write.bytes = bytes;
    write.time = time;
    write.sequence = sequence;
    write.error = error;
    write.result = error != 0 ? -1 : static_cast<ssize_t>(bytes.size());
    return {write};
}

/** A short story of two resources and a thread binder, whose workers write as they please. */
void Play(Story& story)
{
    story.Hide("/tmp/box");
    story.Tell(START, Began{{{"/a", 0, "A", "1"}, {"/b", 1, "B", "2"}, {"/bind", 2, "", ""}}});
    story.Tell(START, Marked{"Chapter"});
    story.Tell(START + 1ms, Asked{"request 1 0 qos=B boost=3"});
    story.Tell(START + 2ms, Write(START + 2ms, 1, "/bind", "0F|7"));
    story.Tell(START + 2ms, Write(START + 2ms, 2, "/b", "3"));
    story.Tell(START + 3ms, Answered{0, 12});
    story.Tell(START + 4ms, Write(START + 4ms, 3, "/a", std::string("\1\2\0\0", 4), EBUSY));
    story.Tell(START + 5ms, Settled{false});
    story.Tell(START + 6ms, Logged{5, "TAG", "open /tmp/box/a failed"});
    story.Tell(START + 6ms, Told{"node /tmp/box/a"});
    story.Tell(START + 7ms, Answered{-1});
    story.Tell(START + 60s, Settled{true});
}

} // namespace

TEST(Story, LeavesATraceOfNumbersAndInstants)
{
    Story story;
    Trace trace;
    story.Add(trace);
    Play(story);
    story.Tell(START + 61s, Held{5, 100, "cam", "request", 0, {}, 0});
    story.Tell(START + 61s, Held{6, 200, "", "request", 0, {}, 500});
    story.Tell(START + 62s, Held{7, 200, "", "mode", 1, {}, 0});
    story.Tell(START + 63s, Released{100, 5});
    story.Tell(START + 3ms, Write(START + 3ms, 4, "/b", "4"));
    std::ostringstream out;
    trace.Write(out);
    std::string seen;
    auto const written = nlohmann::json::parse(out.str());
    for (auto const& event : written["traceEvents"]) {
        if (event["ph"] != "M") {
            seen += event["ph"].get<std::string>() + " " + event["name"].get<std::string>() + " " + event["ts"].dump() +
                    (event.contains("args") ? " " + event["args"].dump() : "") + "\n";
        }
    }
    EXPECT_EQ(seen, "C /a 0 {\"value\":1}\nC /b 0 {\"value\":2}\ni begin 0\ni Chapter 0\n"
                    "i /bind <- 0F|7 2000\nC /b 2000 {\"value\":3}\nC /b 3000 {\"value\":4}\ni /a <- "
                    "\\x01\\x02\\x00\\x00: EBUSY 4000\n"
                    "b request cam, process 100 61000000\nb request, process 200 61000000\n"
                    "e request, process 200 61500000\nb mode, process 200 62000000\n"
                    "i release 100 5 63000000\ne request cam, process 100 63000000\ne mode, process 200 63000000\n"
                    "i end 63000000\n");
}

TEST(Story, AChartKnowsWhoAskedWhenAndWhatTheNodesHeld)
{
    Story story;
    Chart chart;
    story.Add(chart);
    auto const floorAndCeiling = [](PerfQosId id, int floor, int ceiling) {
        return PerfRequestInfo{id, {{0, {{PERF_OPERATION_BOOST, floor}, {PERF_OPERATION_LIMIT, ceiling}}}}};
    };
    auto const phase = [](unsigned int duration, int value) {
        return EventPhase{duration, {{0, {{PERF_OPERATION_BOOST, value}}}}};
    };
    Triggered const event{"event", 3, true, 0, 0, {{10, {phase(20, 5), phase(30, 6), phase(40, 7)}}}};
    story.Tell(START, Began{{{"/min", 0, "F", "1\n", 10, 0, true, false},
                             {"/max", 0, "F", "9", 10, 0, false, true},
                             {"/max", 0, "F", "9", 10, 0, false, true},
                             {"/bind", 1, "", ""}}});
    story.Tell(START, Held{1, 100, "<&>", "request", 0, {floorAndCeiling(10, 4, 8), floorAndCeiling(11, 1, 2)}, 0});
    story.Tell(START + 1ms, Write(START + 1ms, 1, "/min", "4"));
    story.Tell(START + 2ms, Write(START + 2ms, 2, "/max", "8", EBUSY));
    story.Tell(START + 3ms, Held{2, 100, "", "mode", 2, {}, 0});
    story.Tell(START + 4ms, Held{3, 200, "", "scenario", 0, {floorAndCeiling(10, 3, 7)}, 2});
    story.Tell(START + 5ms, event);
    story.Tell(START + 30ms, Suspended{{10, 11}, true});
    story.Tell(START + 31ms, Suspended{{10}, true});
    story.Tell(START + 40ms, Released{100, 1});
    story.Tell(START + 41ms, Suspended{{10}, false});
    story.Tell(START + 45ms, Triggered{"event", 3, false, 0, 0, {}});
    story.Tell(START + 50ms, Settled{true});

    std::ostringstream seen;
    auto const show = [&seen](Chart::Span const& span) {
        seen << " " << span.from / 1ms << "-" << (span.until ? std::to_string(*span.until / 1ms) : "");
    };
    for (Chart::Panel const& panel : chart.Panels()) {
        seen << panel.node.name << (panel.IsQuiet() ? " quiet" : "");
        for (Chart::Step const& step : panel.steps) {
            seen << " " << step.at / 1ms << "=" << step.bytes << (step.error != 0 ? "!" : "");
        }
        for (Chart::Claim const& claim : panel.claims) {
            show(claim.span);
            seen << (claim.isFloor ? ">" : "<") << claim.value << " " << claim.owner.Text();
        }
        for (Chart::Span const& suspend : panel.suspends) {
            show(suspend);
        }
        seen << "\n";
    }
    show(chart.Modes().at(0).span);
    EXPECT_EQ(seen.str(), "/min 0=1 1=4 0-40>4 <&> 100 #1 4-6>3 200 #3 5-25>5 event 3 25-45>6 event 3 30-41\n"
                          "/max 0=9 2=8! 0-40<8 <&> 100 #1 4-6<7 200 #3 30-41\n/bind quiet 0=\n 3-");

    std::ostringstream svg;
    WriteSvg(chart, svg);
    for (char const* const part :
         {"min 4, &lt;&amp;&gt; 100 #1</text>", "max 8, &lt;&amp;&gt; 100 #1, 0 s to 0.04 s</title>",
          "min 6, event 3, 0.025 s to 0.045 s</title>", "limit first, 100 #2, 0.003 s to the end</title>",
          "nothing happened: 1<", "M96.0 125.0 H118.5 V87.0 H1220.0\"", "class=\"hatched\"", "x1=\"138.0\"",
          "prefers-color-scheme: dark"}) {
        EXPECT_NE(svg.str().find(part), std::string::npos) << part << svg.str();
    }
}

TEST(NodeText, ReadsNumbersInTextAndInFourRawBytes)
{
    EXPECT_EQ(NumberOf("-12"), -12);
    EXPECT_EQ(NumberOf(std::string("\360\31\0\0", 4)), 6640);
    EXPECT_EQ(NumberOf("1234"), 1234) << "four bytes of text";
    for (char const* const text : {"", "12a", "0F|7", "enabled"}) {
        EXPECT_EQ(NumberOf(text), std::nullopt) << text;
    }
}

TEST(NodeText, TellsWhatANodeHoldsFromHowItSaysSo)
{
    std::string const raw("\360\31\0\0", 4);
    struct Row {
        std::string content, written, setting;
        bool holds;
    };
    for (Row const& row : std::initializer_list<Row>{{"1200\n", "1200", "1200", true},
                                                     {"1200\n", "120", "1200", false},
                                                     {"007 \n", "7", "007", true},
                                                     {"always [madvise] never\n", "madvise", "madvise", true},
                                                     {"always [madvise] never\n", "never", "madvise", false},
                                                     {"0-3\n", "0-3", "0-3", true},
                                                     {"", "on", "", false},
                                                     {raw, raw, raw, true},
                                                     {"6640\n", raw, "6640", true},
                                                     {"6641\n", raw, "6641", false}}) {
        EXPECT_EQ(SettingOf(row.content), row.setting);
        EXPECT_EQ(Holds(row.content, row.written), row.holds) << row.content << row.written;
    }
}
