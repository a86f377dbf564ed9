// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/BlockChart.h"
#include "tools/corvanectl/render/SvgWriter.h"
#include "tools/corvanectl/render/Trace.h"
#include "tools/corvanectl/session/Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>
#include <regex>
#include <sstream>
#include <vector>

// A small play of ten seconds, told directly, and the coordinates at which it is drawn.

namespace {

using std::chrono::milliseconds;

class Play {
public:
    explicit Play(StoryListener& heardBy) : listener(heardBy)
    {
        Began began{{{"/a/min_freq", 0, "A", "300\n", 10, 0, true, false},
                     {"/a/max_freq", 0, "A", "900", 11, 0, true, true, {{0, "900"}, {1, "600"}}},
                     {"/b/min_freq", 0, "B", "1", 12, 0, true, true},
                     {"/quiet", 1, "Q", "5", 13, 0, true, true},
                     {"/silent", 1, "Q", "on", 14, 0, true, true}},
                    "A & \1B"};
        listener.Hear({PerfTimePoint(milliseconds(1000)), began});
    }
    void At(int ms) { now = PerfTimePoint(milliseconds(1000 + ms)); }
    void Publish(StoryRecord::What const& what) { listener.Hear({now, what}); }
    void Write(char const* node, char const* bytes, int error = 0)
    {
        NodeWrite write;
        write.node = node;
        write.bytes = bytes;
        write.error = error;
        Publish(Wrote{write});
    }
    /** The whole of it. */
    void Run()
    {
        Publish(Held{1, 7, "game", "request", 0, {{10, {{0, {{PERF_OPERATION_BOOST, 600}}}}}}, 0});
        Publish(Held{2, 7, "cap", "request", 0, {{11, {{0, {{PERF_OPERATION_BOOST, 1}}}}}}, 2000});
        At(2500);
        Write("/a/min_freq", "600");
        Write("/quiet", "5");
        At(5000);
        Write("/a/min_freq", "601");
        Write("/a/max_freq", "600");
        Publish(Triggered{"event", 3, true, 0, 0, {{10, {{1000, {{0, {{PERF_OPERATION_BOOST, 900}}}}}}}}, "LAUNCH"});
        At(7500);
        Write("/a/min_freq", "900");
        Write("/a/min_freq", "1000", EBUSY);
        At(7600);
        Write("/b/min_freq", "2");
        At(7700);
        Write("/b/min_freq", "1");
        At(10000);
        Publish(Settled{true});
    }

private:
    StoryListener& listener;
    PerfTimePoint now{milliseconds(1000)};
};

std::string GetChart()
{
    std::ostringstream svg;
    Picture picture(svg);
    Play(picture).Run();
    picture.End();
    return svg.str();
}

struct Corner {
    double x, y;
};

/** The line of the first panel of numbers, as it turns. */
std::vector<Corner> FirstLine(std::string const& svg)
{
    std::smatch path;
    EXPECT_TRUE(std::regex_search(svg, path, std::regex(R"~(<path class="line" d="M([\d.]+) ([\d.]+)([^"]*)")~")));
    std::vector<Corner> corners{{std::stod(path[1]), std::stod(path[2])}};
    std::string const rest = path[3];
    std::regex const turn(R"~( H([\d.]+)(?: V([\d.]+))?)~");
    for (std::sregex_iterator at(rest.begin(), rest.end(), turn), end; at != end; ++at) {
        corners.push_back({std::stod((*at)[1]), (*at)[2].matched ? std::stod((*at)[2]) : corners.back().y});
    }
    return corners;
}

} // namespace

TEST(Picture, DrawsEachNumberAtItsTimeAndTheHigherTheHigher)
{
    auto const line = FirstLine(GetChart());
    ASSERT_EQ(line.size(), 5U) << "the base, three values, the end";
    double const left = line.front().x;
    double const right = line.back().x;
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_NEAR(line[i].x, left + (right - left) * 0.25 * static_cast<double>(i), 0.1) << "a quarter each";
        EXPECT_LT(line[i].y, line[i - 1].y) << "upwards, by a small step too";
    }
    EXPECT_NEAR(line[1].y - line[3].y, line[0].y - line[1].y, 0.2) << "600 stands between 300 and 900";
}

TEST(Picture, SaysValuesOwnersTimesAndWhatWasQuiet)
{
    std::string const svg = GetChart();
    std::vector<std::string> texts;
    std::regex const text(R"~(<text class="([^"]*)"[^>]*>([^<]*)</text>)~");
    for (std::sregex_iterator at(svg.begin(), svg.end(), text), end; at != end; ++at) {
        texts.push_back((*at)[2]);
    }
    auto const count = [&](std::string const& each) { return std::count(texts.begin(), texts.end(), each); };
    EXPECT_EQ(texts.front(), "A &amp;  B"); // no control character
    EXPECT_EQ(count("min 600, game 7 #1"), 1);
    EXPECT_EQ(count("max 600, cap 7 #2"), 1) << "the text of level 1, which caps a maximum";
    EXPECT_EQ(count("min 900, LAUNCH, event 3"), 1);
    EXPECT_EQ(count("600") + count("601"), 3) << "two intermediate values, and the lowest of the maximum";
    EXPECT_EQ(count("0 s"), 2) << "above and below";
    EXPECT_EQ(count("Nodes at which nothing happened: 2"), 1);
    EXPECT_NE(svg.find("class=\"ceiling\" x=\"96.0\""), std::string::npos);
    EXPECT_EQ(std::regex_search(svg, std::regex("<title>min 900, LAUNCH, event 3, 5 s to 6 s</title>")), true);
}

TEST(BlockChart, KeepsToTheWidthAndShowsWhatIsShorterThanACell)
{
    BlockChart chart;
    Play(chart).Run();
    std::istringstream lines(chart.Text(60));
    std::vector<std::string> rows;
    for (std::string line; std::getline(lines, line);) {
        std::size_t const columns = static_cast<std::size_t>(
            std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; }));
        EXPECT_LE(columns, 60U) << line;
        rows.push_back(line);
    }
    ASSERT_EQ(rows.size(), 4U) << "three nodes that changed, and the time";
    EXPECT_EQ(rows[0].substr(0, 13), "/a/min_freq  ");
    EXPECT_EQ(rows[2].substr(0, 13), "/b/min_freq  ");
    EXPECT_NE(rows[2].find("▁█▁"), std::string::npos) << "a tenth of a second, a third of a cell";
    EXPECT_NE(rows[0].find("▅█"), std::string::npos) << "601 stands where 600 does";

    std::size_t const size = chart.Text(60).size();
    Play more(chart); // which begins anew, with the same nodes
    for (int ms = 0; ms < 20000; ++ms) {
        more.At(10000 + ms);
        more.Write("/b/min_freq", ms == 10000 ? "9" : "1");
    }
    EXPECT_NE(chart.Text(60).find("1 .. 9"), std::string::npos) << "an extreme stays when steps are thinned";
    EXPECT_GE(chart.Text(60).size(), size);
}

TEST(Story, LastsAsLongForWhoeverFollowsIt)
{
    Chart chart;
    Ledger ledger;
    std::ostringstream written;
    Trace trace(written);
    std::vector<GroupInfo> const floor{{0, {{PERF_OPERATION_BOOST, 600}}}};
    for (StoryListener* const listener : std::initializer_list<StoryListener*>{&chart, &ledger, &trace}) {
        Play play(*listener);
        play.Publish(Asked{"request"});
        play.At(5); // the library counts from the call, wherever its command began
        play.Publish(Held{1, 7, "", "request", 0, {{10, floor}}, 100});
        play.Publish(Triggered{"event", 3, true, 10, 0, {{10, {{20, floor}, {30, floor}}}}});
        play.Publish(Triggered{"event", 4, true, 0, 40, {{10, {{20, floor}, {30, floor}}}}});
        play.At(200);
        play.Publish(Settled{true});
    }
    trace.End();
    auto const& claims = chart.Panels().front().claims;
    std::vector<milliseconds> drawn;
    std::transform(claims.begin(), claims.end(), std::back_inserter(drawn), [](Chart::Claim const& claim) {
        return std::chrono::duration_cast<milliseconds>(claim.span.until.value());
    });
    EXPECT_EQ(drawn, (std::vector{milliseconds(105), milliseconds(35), milliseconds(65), milliseconds(45)}));
    PerfTimePoint const then = ledger.Start() + milliseconds(10);
    EXPECT_EQ(ledger.Outstanding(then).at(0).until, ledger.Start() + drawn[0]);
    EXPECT_EQ(ledger.Running(then).at(0).until, ledger.Start() + drawn[2]);
    EXPECT_EQ(ledger.Running(then).at(1).until, ledger.Start() + drawn[3]);
    std::vector<milliseconds> traced;
    auto const json = nlohmann::json::parse(written.str());
    for (auto const& event : json.at("traceEvents")) {
        if (event.at("ph") == "e") {
            traced.push_back(
                std::chrono::duration_cast<milliseconds>(std::chrono::microseconds(event.at("ts").get<int>())));
        }
    }
    EXPECT_EQ(traced, (std::vector{drawn[3], drawn[2], drawn[0]}));
}
