// SPDX-License-Identifier: Apache-2.0

#include "tests/group/GroupFixture.h"
#include "tests/group/NaiveGroup.h"
#include "tests/support/Random.h"

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

template <typename Group> std::string Told(int result, Group const& group)
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
        EXPECT_EQ(Told(result, real), Told(expected, naive)) << "made in mode " << GetParam() << ", after\n" << played;
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

/** Plays one random sequence on a group and on the naive one: few values and times, so that equals are common. */
class Duel {
public:
    explicit Duel(unsigned int seed) : random(seed) {}

    /** One more step. @return whether both came to the same. */
    bool Step()
    {
        now += random.Chance(3) ? random.Below(4) : 0;
        real.UpdateCurrTimePoint(At(now));
        naive.UpdateCurrTimePoint(At(now));
        auto const [verb, command, argument] = Next();
        history += "  " + std::to_string(now) + Shown(verb, command, argument);
        realResult = Play(real, verb, command, argument);
        naiveResult = Play(naive, verb, command, argument);
        return AreSame(real, realResult, naive, naiveResult);
    }
    std::string Real() const { return Told(realResult, real); }
    std::string Naive() const { return Told(naiveResult, naive); }

    std::string history;

private:
    using Move = std::tuple<Verb, PerfGroupCommand, int>;

    /** Now and then none or too many. */
    Values AnyValues()
    {
        Values values;
        for (unsigned int type = 0; type < 3; ++type) {
            if (type < 2 ? !random.Chance(4) : values.size() == 2 && random.Chance(20)) {
                values[static_cast<PerfOperationType>(type)] = random.Below(11);
            }
        }
        return values;
    }

    PerfGroupCommand NewCommand()
    {
        auto const spread = static_cast<unsigned long long>(random.Below(30));
        int const start = now + random.Below(12) - 6;
        return {random.Chance(50) ? INVALID_HANDLE + spread % 11 : 1020 + spread, At(start),
                At(start + random.Below(20) - 1), AnyValues()};
    }

    /** A start, or mostly the stop that fits one, now and then one that does not quite. */
    PerfGroupCommand StartOrStop(bool starts, std::vector<PerfGroupCommand>& earlier)
    {
        if (starts || earlier.empty()) {
            earlier.push_back(NewCommand());
            return earlier.back();
        }
        PerfGroupCommand& chosen = random.Pick(earlier);
        PerfGroupCommand command = chosen;
        int const dice = random.Below(12);
        if (dice == 0) {
            command.startTime -= std::chrono::milliseconds(1);
        } else if (dice == 1) {
            command.operationValueMap = AnyValues();
        } else {
            chosen = earlier.back();
            earlier.pop_back();
        }
        return command;
    }

    Move Next()
    {
        int const dice = random.Below(100);
        if (dice < 68) {
            bool const isLong = dice < 24;
            bool const starts = random.Below(5) < 3;
            Verb const verb = isLong ? (starts ? LONG_START : LONG_STOP) : (starts ? SHORT_START : SHORT_STOP);
            return {verb, StartOrStop(starts, started[isLong]), 0};
        }
        return dice < 74   ? Move{BASE_SET, NewCommand(), 0}
               : dice < 92 ? Move{TIME_OUT, {}, now}
               : dice < 96 ? Move{SUSPEND, {}, random.Chance(3)}
                           : Move{MODE, {}, random.Chance(8) ? 3 : random.Below(3)};
    }

    Random random;
    PerfWorkMode const mode = static_cast<PerfWorkMode>(random.Below(PERF_WORK_MODE_COUNT));
    RecordingGroup real{Range(0, 10, 3, 7), mode};
    NaiveGroup naive{Range(0, 10, 3, 7), mode};
    int realResult = 0, naiveResult = 0;
    int now = 0;
    std::vector<PerfGroupCommand> started[2]; ///< short-term and long-term
};

TEST(PerfGroupRandom, AGroupAgreesWithTheNaiveOneAtEveryStep)
{
    for (unsigned int seed = 1; seed <= 24; ++seed) {
        Duel duel(seed);
        for (int step = 0; step < 400; ++step) {
            ASSERT_TRUE(duel.Step()) << "seed " << seed << ", after\n"
                                     << duel.history << "real " << duel.Real() << "naive " << duel.Naive();
        }
    }
}

} // namespace
