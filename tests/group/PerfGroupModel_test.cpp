// SPDX-License-Identifier: Apache-2.0

#include "group/PerfGroupQue.h"
#include "tests/group/GroupFixture.h"
#include "tests/group/NaiveGroup.h"

#include <array>

namespace {

enum Verb { SHORT_START, SHORT_STOP, LONG_START, LONG_STOP, BASE_SET, TIME_OUT, SUSPEND, MODE };
constexpr char const* WORDS[] = {"short-term start", "short-term stop", "long-term start", "long-term stop",
                                 "base set",         "time-out",        "suspend",         "mode"};

/** @param argument what a verb takes that takes no command: the time in ms, whether to suspend, the mode. */
template <typename Group> int Play(Group& group, Verb verb, PerfGroupCommand const& command, int argument)
{
    group.actions.clear();
    switch (verb) {
    case SHORT_START:
        return group.ShortTermStart(command);
    case SHORT_STOP:
        return group.ShortTermStop(command);
    case LONG_START:
        return group.LongTermStart(command);
    case LONG_STOP:
        return group.LongTermStop(command);
    case BASE_SET:
        return group.BaseSet(command);
    case TIME_OUT:
        return group.ShortTermTimeOut(At(argument));
    case SUSPEND:
        return group.SetSuspend(argument != 0);
    default:
        return group.SetWorkMode(static_cast<PerfWorkMode>(argument));
    }
}

std::string Ms(PerfTimePoint const& time)
{
    return std::to_string((time - At(0)).count() / 1'000'000);
}

std::string Shown(Verb verb, PerfGroupCommand const& command, int argument)
{
    std::string const word = std::string("  ") + WORDS[verb] + " ";
    return verb > BASE_SET ? word + std::to_string(argument) + "\n"
                           : word + "handle=" + std::to_string(command.handle) + " " + Ms(command.startTime) + ".." +
                                 Ms(command.endTime) + " " + testing::PrintToString(command.operationValueMap) + "\n";
}

template <typename Group> std::string OutcomeText(int result, Group const& group)
{
    return std::to_string(result) + " " + testing::PrintToString(group.actions) + " wake-up " +
           Ms(group.GetNextWakeUpTimePoint()) + "\n" + group.Dumped();
}

/** The same as comparing what is told, without the words. */
bool AreSame(RecordingGroup const& real, int realResult, NaiveGroup const& naive, int naiveResult)
{
    return realResult == naiveResult && real.actions == naive.actions &&
           real.GetNextWakeUpTimePoint() == naive.GetNextWakeUpTimePoint() && real.Dumped() == naive.Dumped();
}

// Every sequence of a few commands, available 0~10, bases 3~7.

struct Letter {
    Verb verb;
    PerfGroupCommand command{};
};

// Handle 1 asks for a boost and for a limit, apart, and stops both at once; so do the bases of handle 4.
Letter const ALPHABET[] = {
    {SHORT_START, {1, At(0), At(3), Boost(8)}},
    {SHORT_START, {1, At(0), At(2), Limit(8)}},
    {SHORT_STOP, {1, At(0), At(3), Both(8, 8)}},
    {SHORT_START, {2, At(0), At(1), Boost(8)}}, // an equal value that ends first
    {SHORT_STOP, {2, At(0), At(1), Boost(8)}},
    {SHORT_START, {3, At(1), At(2), Both(10, 9)}}, // waits, and is at odds with itself
    {SHORT_STOP, {3, At(1), At(2), Both(10, 9)}},
    {LONG_START, {4, {}, {}, Boost(8)}}, // above the limit base
    {LONG_START, {4, {}, {}, Limit(2)}}, // below the boost base
    {LONG_STOP, {4, {}, {}, Both(8, 2)}},
    {BASE_SET, {NO_HANDLE, {}, {}, Boost(8)}},
    {TIME_OUT}, // a millisecond later
    {SUSPEND},  // or the resume
    {MODE},     // the next one
};

// One command less under the sanitizers, which are slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t DEPTH = 4;
#else
constexpr std::size_t DEPTH = 5;
#endif

class SmallWorld : public testing::TestWithParam<PerfWorkMode> {
protected:
    using Arguments = std::array<int, MODE + 1>; ///< the latest one of each verb

    /** Follows every sequence that goes on as the script has begun. @return false at the first difference. */
    bool Walk(NaiveGroup const& before, Arguments const& given)
    {
        for (Letter const& letter : ALPHABET) {
            Arguments next = given;
            next[TIME_OUT] += letter.verb == TIME_OUT ? 1 : 0;
            next[SUSPEND] ^= letter.verb == SUSPEND ? 1 : 0;
            next[MODE] = (next[MODE] + (letter.verb == MODE ? 1 : 0)) % static_cast<int>(PERF_WORK_MODE_COUNT);
            NaiveGroup naive = before;
            int const result = Play(naive, letter.verb, letter.command, next[letter.verb]);
            script.emplace_back(&letter, next[letter.verb]);
            if (!RealOneAgrees(naive, result) || (script.size() < DEPTH && !Walk(naive, next))) {
                return false;
            }
            script.pop_back();
        }
        return true;
    }

    /** A real one plays the whole script, of which the shorter ones have been compared before. */
    bool RealOneAgrees(NaiveGroup const& naive, int expected)
    {
        RecordingGroup real(config, GetParam());
        int result = 0;
        for (auto const& [letter, argument] : script) {
            result = Play(real, letter->verb, letter->command, argument);
        }
        ++sequences;
        if (AreSame(real, result, naive, expected)) {
            return true;
        }
        std::string played;
        for (auto const& [letter, argument] : script) {
            played += Shown(letter->verb, letter->command, argument);
        }
        EXPECT_EQ(OutcomeText(result, real), OutcomeText(expected, naive))
            << "made in mode " << GetParam() << ", after\n"
            << played;
        return false;
    }

    PerfGroupConfig const config = Range(0, 10, 3, 7);
    std::vector<std::pair<Letter const*, int>> script;
    std::size_t sequences = 0;
};

TEST_P(SmallWorld, EverySequenceOfFiveComesOutAsInTheNaiveOne)
{
    Arguments given{};
    given[MODE] = static_cast<int>(GetParam());
    ASSERT_TRUE(Walk(NaiveGroup(config, GetParam()), given));
    EXPECT_EQ(sequences, DEPTH == 5 ? 579'194U : 41'370U);
}

INSTANTIATE_TEST_SUITE_P(InEachMode, SmallWorld,
                         testing::Values(PERF_WORK_MODE_DEFAULT, PERF_WORK_MODE_BOOST_FIRST,
                                         PERF_WORK_MODE_LIMIT_FIRST));

TEST(PerfGroupModel, AgreesOnCommandsThatLackSomething)
{
    PerfGroupCommand const commands[] = {
        {INVALID_HANDLE, At(0), At(3), Boost(8)},
        {1, At(0), {}, Boost(8)},
        {1, At(3), At(1), Boost(8)},
        {1, At(0), At(3), {}},
        {1,
         At(0),
         At(3),
         {{PERF_OPERATION_BOOST, 8}, {PERF_OPERATION_LIMIT, 9}, {static_cast<PerfOperationType>(2), 8}}}};
    for (PerfGroupCommand const& command : commands) {
        for (Verb const verb : {SHORT_START, SHORT_STOP, LONG_START, LONG_STOP, BASE_SET}) {
            RecordingGroup real(Range(0, 10, 3, 7), PERF_WORK_MODE_DEFAULT);
            NaiveGroup naive(Range(0, 10, 3, 7), PERF_WORK_MODE_DEFAULT);
            std::string const told = OutcomeText(Play(real, verb, command, 0), real);
            EXPECT_EQ(told, OutcomeText(Play(naive, verb, command, 0), naive)) << Shown(verb, command, 0);
        }
    }
}

struct SmallestValue {
    static long long Rank(PerfGroupQueItem const& item) { return item.value; }
};

TEST(PerfGroupQue, DropsWhatHasEndedOnceItHasDoubled)
{
    PerfGroupQue<SmallestValue> queue;
    auto const fill = [&](int first, int last) {
        for (int ms = first; ms <= last; ++ms) {
            PerfGroupQueItem item;
            item.value = -ms;
            item.endTime = At(ms);
            queue.Insert(item);
        }
    };
    fill(1, 256);
    queue.DropEndedIfDoubled(At(100));
    EXPECT_EQ(std::distance(queue.begin(), queue.end()), 256) << "that few may stay";
    fill(257, 257);
    queue.DropEndedIfDoubled(At(100));
    EXPECT_EQ(std::distance(queue.begin(), queue.end()), 157);
    EXPECT_EQ(std::prev(queue.end())->endTime, At(101));
}

} // namespace
