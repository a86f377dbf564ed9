// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/JsonLines.h"
#include "tools/corvanectl/story/RecordJson.h"
#include "tools/corvanectl/story/StoryDiff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

namespace {

using std::chrono::milliseconds;

NodeWrite WriteOf(std::string const& node, std::string const& bytes, int error = 0, ssize_t taken = -1)
{
    NodeWrite write;
    write.node = node;
    write.bytes = bytes;
    write.error = error;
    write.result = error == 0 && taken < 0 ? static_cast<ssize_t>(bytes.size()) : taken;
    return write;
}

/** Writes of one digit, of which a node takes several at one time. */
std::vector<StoryRecord> DrawRun(std::mt19937& random)
{
    std::vector<StoryRecord> run{{PerfTimePoint(), Began{{{"/n", 0, "N", "0"}}, "drawn"}}};
    for (unsigned int ms = 0; ms < 5; ++ms) {
        for (auto writes = random() % 5; writes > 0; --writes) {
            NodeWrite write = WriteOf("/n", std::to_string(random() % 3));
            write.time = PerfTimePoint(milliseconds(ms));
            run.push_back({write.time, Wrote{write}});
        }
    }
    return run;
}

/** The digits of each time; with what is held, the last of each that is another than before. */
std::vector<std::string> TimesOf(std::vector<StoryRecord> const& run, Compared what)
{
    std::vector<std::string> times(5);
    for (StoryRecord const& record : run) {
        record.Match([&](Wrote const& wrote) {
            times[static_cast<std::size_t>(record.time.time_since_epoch() / milliseconds(1))] += wrote.write.bytes;
        });
    }
    std::string held;
    for (std::string& time : times) {
        if (what == Compared::HELD) {
            std::string const now = !time.empty() ? time.substr(time.size() - 1) : held.empty() ? "0" : held;
            time = now == held ? "" : now;
            held = now;
        }
    }
    return times;
}

/** How many of two texts' letters are in no longest common sequence. */
std::size_t DifferenceOf(std::string const& left, std::string const& right)
{
    if (left.empty() || right.empty()) {
        return left.size() + right.size();
    }
    if (left[0] == right[0]) {
        return DifferenceOf(left.substr(1), right.substr(1));
    }
    return 1 + std::min(DifferenceOf(left.substr(1), right), DifferenceOf(left, right.substr(1)));
}

} // namespace

TEST(StoryDiff, ListsAsFewLinesAsWillDoTimeByTime)
{
    std::mt19937 random(3);
    for (int i = 0; i < 300; ++i) {
        auto const first = DrawRun(random);
        auto const second = random() % 8 == 0 ? first : DrawRun(random);
        for (Compared const what : {Compared::WRITES, Compared::HELD}) {
            std::stringstream file;
            JsonLines lines(file);
            std::for_each(first.begin(), first.end(), [&](StoryRecord const& record) { lines.Hear(record); });
            StoredStory stored("record", file);
            StoryDiff diff(stored, what, 3);
            std::for_each(second.begin(), second.end(), [&](StoryRecord const& record) { diff.Hear(record); });
            diff.End();
            auto const left = TimesOf(first, what);
            auto const right = TimesOf(second, what);
            std::size_t different = 0;
            std::size_t all = 0;
            for (std::size_t time = 0; time < left.size(); ++time) {
                different += DifferenceOf(left[time], right[time]);
                all += left[time].size();
            }
            ASSERT_EQ(diff.Count(), different) << i;
            ASSERT_EQ(diff.CountExpected(), all) << i;
            std::string const text = diff.Text();
            auto const shown = std::count(text.begin(), text.end(), '\n') - (different == 0 ? 0 : 1); // but the command
            ASSERT_EQ(shown, static_cast<int>(std::min<std::size_t>(different, 3))) << text;
        }
    }
}

TEST(StoryDiff, FindsOneDifferenceAmongThousandsOfOneTime)
{
    std::stringstream file;
    JsonLines lines(file);
    lines.Hear({PerfTimePoint(), Began{}});
    for (int i = 0; i < 3000; ++i) {
        lines.Hear({PerfTimePoint(), Wrote{WriteOf("/n", std::to_string(i))}});
    }
    StoredStory stored("record", file);
    StoryDiff diff(stored, Compared::WRITES, 100);
    for (int i = 0; i < 3000; ++i) {
        diff.Hear({PerfTimePoint(), Wrote{WriteOf("/n", std::to_string(i == 1200 ? 0 : i))}});
    }
    diff.End();
    EXPECT_EQ(diff.Text(), "> \n  - 0.000s  /n <- 1200\n  + 0.000s  /n <- 0\n");
}

TEST(StoredStory, ReadsBackEachKindOfRecordAsItWasWritten)
{
    std::vector<GroupInfo> const groups{{1, {{PERF_OPERATION_BOOST, -5}, {PERF_OPERATION_LIMIT, 7}}}, {2, {}}};
    for (StoryRecord::What const& what : std::initializer_list<StoryRecord::What>{
             Began{{{"/a", 0, "A", std::string("\1\0\0\0", 4), 3, 1, true, false, {{-1, "low"}, {4, "high"}}},
                    {"/b", 1, "", ""}},
                   "p"},
             Asked{"request 1"}, Answered{-1, std::nullopt, {"why", "and why"}}, Answered{0, 7ULL << 40U},
             Held{8, 9, "n", "scenario", 4, {{2, groups}}, 4000000000}, Released{}, Released{3, 4},
             Triggered{"event", 5, false, 6, 7, {{8, {{9, groups}, {10, {}}}}}, "LAUNCH", 11}, Suspended{{1, 2}, true},
             Wrote{WriteOf("/n", "12")}, Wrote{WriteOf("/n", "\n", EBUSY)}, Wrote{WriteOf("/n", "1234", 0, 2)},
             Strayed{"/n", "1", "2"}, Output{"a\nb"}, Marked{"title"}, Settled{true}}) {
        auto const json = JsonOf(what);
        StoryRecord::What const back = RecordOf(nlohmann::ordered_json::parse(json.dump()));
        EXPECT_EQ(back.index(), what.index());
        EXPECT_EQ(JsonOf(back), json);
    }
    EXPECT_EQ(std::get<Wrote>(RecordOf(JsonOf(Wrote{WriteOf("/n", "1", EBUSY)}))).write.error, EBUSY);
    for (StoryRecord::What const& what : std::initializer_list<StoryRecord::What>{Labelled{}, Logged{}, Warned{}}) {
        EXPECT_TRUE(JsonOf(what).is_null());
    }
    for (char const* const bad :
         {R"({"what":"flew"})", R"({"what":"settled","binder":1})", R"({"what":"released","pid":3000000000})",
          R"({"what":"suspended","on":true,"qos":["x"]})", R"({"what":"suspended","on":true,"qos":[4294967300]})",
          R"({"what":"suspended","on":true,"qos":7})", R"({"what":"held","handle":-1})"}) {
        EXPECT_ANY_THROW(RecordOf(nlohmann::ordered_json::parse(bad))) << bad;
    }
}
