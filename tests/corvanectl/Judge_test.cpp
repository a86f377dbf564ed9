// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Explain.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Status.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"
#include "tools/corvanectl/program/EmbeddedFiles.h"
#include "tools/corvanectl/session/LibraryState.h"
#include "tools/corvanectl/session/LibraryVoice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/** What the check has against a platform file. */
std::vector<std::string> Faults(std::string const& text)
{
    Findings findings;
    CheckPlatform(ReadPlatform("platform", text, findings), findings);
    std::vector<std::string> faults;
    for (Finding const& finding : findings.All()) {
        faults.push_back((finding.isWarning ? "warning: " : "") + finding.path + ": " + finding.text);
    }
    return faults;
}

std::string SingleValue(std::string const& group, std::string const& asked)
{
    return R"({"qos": [{"id": 20, "name": "KNOB", "groups": [{)" + group + R"(, "nodes": ["/knob"]}]}],
               "scenarios": [{"id": 0, "qos": [{"id": 20, "groups": [{)" +
           asked + "}]}]}]}";
}

/** Eight clamping groups with a level that switches the global boost off, and one that switches it on. */
std::string Eas(std::string const& asked,
                std::string const& begins = R"("scenarios": [{"id": 0, "qos": [{"id": 9, "groups": [)")
{
    std::string groups;
    for (int i = 0; i < 8; ++i) {
        groups += (i == 0 ? "" : ", ") + (R"({"name": "G)" + std::to_string(i) + R"(", "id": )") + std::to_string(i) +
                  R"(, "clampOutOfRange": true, "nodes": ["/g)" + std::to_string(i) + R"("]})";
    }
    return R"({"qos": [{"id": 9, "name": "EAS", "boostMin": 0, "boostMax": 100, "globalBoostNode": "/global",
               "levelToValueMap": {"0": {"schedtuneBoost": 0, "globalBoost": 0},
                                   "1": {"schedtuneBoost": 10, "globalBoost": 1}},
               "groups": [)" +
           groups + "]}], " + begins + asked + "]}]}]}";
}

/** The sample platform, played in a sandbox. */
class Played : public testing::Test {
protected:
    explicit Played(std::string const& platform = SAMPLE_PLATFORM)
        : voice(story), session(ReadPlatform("played", platform, unread), nodes, story, time, stop)
    {
    }

    void Hold(int pid, std::string const& name, PerfQosId qos, PerfOperationType operation, int value)
    {
        Held asked;
        asked.what = "request";
        asked.pid = pid;
        asked.name = name;
        asked.infos = {{qos, {{0, {{operation, value}}}}}};
        CallFor(session, asked);
        session.WaitForWorkers();
    }

    void Play(std::vector<std::string> const& commands)
    {
        Interpreter interpreter(session, false);
        std::for_each(commands.begin(), commands.end(), [&](auto const& command) { interpreter.Execute(command); });
    }

    StopSignal const stop;
    SessionTime time{SessionTime::Kind::VIRTUAL};
    SandboxNodes nodes;
    Story story;
    LibraryVoice const voice;
    Findings unread;
    Session session;
};

class PlayedVariant : public Played {
protected:
    PlayedVariant()
        : Played(R"({"control": {"chipType": 2}, "qos": [{"id": 20, "name": "KNOB", "groups": [
              {"chipType": 1, "availableMin": 1, "availableMax": 9, "nodes": ["one"]},
              {"chipType": 2, "availableMin": 1, "availableMax": 9, "nodes": ["/two"]}]}],
              "events": [{"id": 0, "qos": [{"id": 20, "phases": [{"duration": 20, "groups": [{"boost": 5}]}]}]}],
              "hints": [{"name": "OTHER", "duration": 20, "qos": [{"id": 20, "groups": [{"boost": 5}]}]},
                        {"name": "LAUNCH", "event": 0}]})")
    {
    }
};

} // namespace

TEST(Check, ComparesABoostWithItsLimitOnlyWhenBothAreClamped)
{
    std::string const clamping = R"("availableMin": 0, "availableMax": 3000, "clampOutOfRange": true)";
    EXPECT_THAT(Faults(SingleValue(clamping, R"("boost": 5000, "limit": 3000)")), ElementsAre());
    EXPECT_THAT(Faults(SingleValue(clamping, R"("boost": 5000, "limit": 2999)")),
                ElementsAre("scenarios[0].qos[0].groups[0]: boost value 3000 larger than limit value 2999"));
}

TEST(Check, LooksAtTheGlobalBoostOfClampedLevels)
{
    EXPECT_THAT(Faults(Eas(R"({"id": 0, "boost": 99}, {"id": 1, "limit": 1})")), ElementsAre());
    EXPECT_THAT(Faults(Eas(R"({"id": 0, "boost": 99}, {"id": 1, "limit": 0})")),
                ElementsAre("scenarios[0].qos[0].groups[1]: boostValue(1) larger than limitValue(0) (a boost switches "
                            "the global boost on and a limit switches it off)"));
}

TEST(Check, TakesBaseValuesOfAHintAsARequestForThemIsTaken)
{
    std::string const base = R"("hints": [{"name": "H", "qos": [{"id": 45, "groups": [)";
    std::string const timed = R"("hints": [{"name": "H", "duration": 100, "qos": [{"id": 45, "groups": [)";
    std::string const boost = R"({"id": 0, "boost": 1})";
    EXPECT_THAT(Faults(Eas(boost, base)), ElementsAre());
    EXPECT_THAT(Faults(Eas(boost, timed)), ElementsAre(HasSubstr("hints[0]: invalid set base command!")));
    EXPECT_THAT(Faults(Eas(boost + R"(]}, {"id": 9, "groups": [)" + boost, base)),
                ElementsAre(HasSubstr("hints[0]: invalid set base command!")));
    EXPECT_THAT(Faults(Eas(R"({"id": 0, "limit": 1})", base)), ElementsAre(HasSubstr("hints[0].qos[0].groups[0]")));
}

TEST(Check, LetsTwoResourcesShareAListOfFrequencies)
{
    auto const frequency = [](std::string const& id, std::string const& range) {
        return R"({"id": )" + id + R"(, "name": "F)" + id + R"(", "freqListNode": "/list", "groups": [{)" + range +
               R"(, "nodes": ["/min)" + id + R"(", "/max)" + id + R"("]}]})";
    };
    EXPECT_THAT(Faults(R"({"qos": [)" + frequency("0", R"("availableMin": 100, "availableMax": 200)") + ", " +
                       frequency("1", R"("availableMin": 1000, "availableMax": 2000)") + "]}"),
                ElementsAre());
}

TEST(Check, TakesNoNumberBeyondEveryFloat)
{
    EXPECT_THAT(Faults(R"({"qos": [{"id": 4, "name": "DDR", "freqListNode": null, "freqToBandwidthCoefficient": 1e39,
                "groups": [{"availableMin": 1, "availableMax": 9, "nodes": ["/ddr"]}]}]})"),
                ElementsAre("qos[0].freqToBandwidthCoefficient: 1e+39 is beyond every float"));
}

TEST(Check, WarnsOfWhatIsTakenAndHardlyMeant)
{
    std::string const range = R"("availableMin": 1, "availableMax": 9)";
    std::string text = SingleValue(range, R"("boost": 5)");
    text.replace(text.find("KNOB"), 4, "MY KNOB");
    text.replace(text.find("\"/knob\""), 7, "\"/gpu/max_pwrlevel\"");
    EXPECT_THAT(
        Faults(text),
        ElementsAre("warning: qos[0].name: a script cannot name what has blanks or control characters; use a word",
                    HasSubstr("warning: qos[0].groups[0].nodes[0]: /gpu/max_pwrlevel falls as the performance")));
    text = Eas(R"({"id": 0, "boost": 1})");
    text.replace(text.find("[\"/g3\"]"), 7, "[]");
    EXPECT_THAT(Faults(text), ElementsAre("scenarios[0].qos[0].id: resource 9 is not on this platform"));
    text.erase(text.find(", \"scenarios\""));
    EXPECT_THAT(Faults(text + "}"),
                ElementsAre("warning: qos[0].groups: a group without nodes leaves out the other 7 as "
                            "well; leave out that group, or give it nodes"));
}

TEST_F(Played, HandlesThatDumpsShowAlikeAreToldApart)
{
    Hold(1, "first", 0, PERF_OPERATION_BOOST, 1401600);
    for (int i = 0; i < 1023; ++i) {
        Hold(3, "", 3, PERF_OPERATION_BOOST, 257000000);
        CallRelease(session, {3, session.GetLedger().LastOf(3)});
    }
    Hold(2, "second", 0, PERF_OPERATION_LIMIT, 1017600);
    std::string const text = Explain(session, 0, std::nullopt);
    EXPECT_THAT(text, HasSubstr("base 1401600 by request \"first\" (handle 1) of process 1,"));
    EXPECT_THAT(text, HasSubstr("base 1017600 by request \"second\" (handle 1025) of process 2,"));
}

TEST_F(Played, TheTableOfNodesNamesWhoeverHoldsEach)
{
    Hold(1, "first", 0, PERF_OPERATION_BOOST, 1401600);
    Hold(2, "second", 0, PERF_OPERATION_LIMIT, 1017600);
    std::string const table = NodeTable(session);
    auto const row = [&table](std::string const& node) {
        std::size_t const at = table.find(node);
        std::istringstream words(table.substr(at, table.find('\n', at) - at));
        std::string text;
        for (std::string word; words >> word;) {
            text += word + " ";
        }
        return text;
    };
    std::string const folder = "/sys/devices/system/cpu/cpufreq/policy0/scaling_";
    EXPECT_EQ(row(folder + "min_freq"), folder + "min_freq 1017600 300000 request \"second\" (handle 2) of process 2 ");
    EXPECT_EQ(row(folder + "max_freq"),
              folder + "max_freq 1017600 1804800 request \"second\" (handle 2) of process 2 ");
    EXPECT_EQ(row("/dev/memory_bandwidth").substr(0, 22), "/dev/memory_bandwidth ");
    EXPECT_EQ(row("/proc/thread_bind"), "/proc/thread_bind nothing - no thread is bound ");
    EXPECT_EQ(ExplainNode(session, folder + "min_freq"), Explain(session, 0, 0U));
    EXPECT_EQ(ExplainNode(session, "/proc/thread_bind"), "    no thread is bound\n");
}

TEST_F(Played, WhatIsSaidToRunIsWhatTheLibraryRuns)
{
    std::mt19937 random(7);
    std::vector<std::string> const commands = {"event 0",      "event 0 1 100", "event 0 0",     "event 3 1 50",
                                               "event 3",      "event 3 0",     "probe start 1", "probe start 2",
                                               "probe stop 1", "release-all 1", "release-all 0", "release-all 2",
                                               "reset"};
    std::set<unsigned long long> gone; // probes, with all of their process: their threads stay known to the library
    std::string said;
    for (int i = 0; i < 400; ++i) {
        std::string const& command = commands[random() % (i % 20 == 0 ? commands.size() : commands.size() - 1)];
        for (auto const& [thread, handle] : LibraryState::Handles(session.Manager()).probes) {
            if (command == "release-all " + std::to_string(thread)) {
                gone.insert(handle);
            }
        }
        said += command + "; ";
        Play({command});
        session.Sleep(std::chrono::milliseconds(random() % 40));
        static_cast<void>(session.Manager().PerfReleaseAll(77)); // who holds nothing: the library forgets what is over
        std::set<unsigned long long> running;
        for (Ledger::Trigger const& trigger : session.GetLedger().Running(SessionTime::Now())) {
            running.insert(trigger.triggered.handle);
        }
        std::set<unsigned long long> known;
        auto const handles = LibraryState::Handles(session.Manager());
        for (auto const& event : handles.events) {
            known.insert(event.second);
        }
        for (auto const& probe : handles.probes) {
            if (gone.count(probe.second) == 0) {
                known.insert(probe.second);
            }
        }
        ASSERT_EQ(running, known) << said;
    }
}

TEST_F(Played, AModeThatAReleaseDoesNotChangeIsGivenBackAllTheSame)
{
    Play({"mode 100 1 as a", "mode 200 2 as b", "release 100 a"});
    EXPECT_EQ(session.GetLedger().Outstanding(SessionTime::Now()).size(), 1u);
}

TEST_F(Played, BindsNoThreadByAWriteThatFails)
{
    Play({"node /proc/thread_bind fail short 0", "probe start 77", "sleep 400"});
    EXPECT_EQ(ExplainNode(session, "/proc/thread_bind"), "    no thread is bound\n");
}

TEST(Ledger, KnowsARefusalFromLaterAnswersToTheSameCommand)
{
    Ledger ledger;
    ledger.Hear({PerfTimePoint(), Asked{}});
    ledger.Hear({PerfTimePoint(), Answered{-1}});
    ledger.Hear({PerfTimePoint(), Answered{0}});
    EXPECT_EQ(ledger.LastResult(), -1);
}

TEST_F(PlayedVariant, NobodyHoldsTheNodeOfAnotherChip)
{
    Hold(1, "first", 20, PERF_OPERATION_BOOST, 5);
    EXPECT_THAT(NodeTable(session),
                testing::ContainsRegex("one +nothing +- +not on this platform\n +/two +5 +1 +request"));
    EXPECT_EQ(ExplainNode(session, "one"), "    not on this platform\n");
    EXPECT_NO_THROW(Play({"explain one"}));
}

TEST_F(PlayedVariant, AnEventGoesByTheNameOfItsHint)
{
    Play({"event 0"});
    EXPECT_THAT(StatusOf(session), HasSubstr(" LAUNCH, event 0, since"));
}

TEST_F(Played, TakesTheExampleOfEachCommandByTheArgumentsThatHelpShows)
{
    Interpreter interpreter(session, false);
    for (Command const& command : AllCommands()) {
        try {
            interpreter.Execute(command.example);
        } catch (UnknownName const& unknown) {
            EXPECT_STREQ(command.name, "hint") << unknown.what(); // of which this platform has none
        }
    }
    EXPECT_TRUE(interpreter.HasQuit());
}
