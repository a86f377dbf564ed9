#include "tests/group/GroupFixture.h"
#include "tests/group/NaiveGroup.h"

#include <random>

namespace {

/** Plays one random sequence on a group and on the naive one: few values and times, so that equals are common. */
class Duel {
public:
    explicit Duel(unsigned int seed) : random(seed) {}

    /** One more step, said in what. @return what the real one and the naive one came to. */
    std::pair<std::string, std::string> Step()
    {
        now += Below(3) == 0 ? Below(4) : 0;
        naive.now = At(now);
        real.UpdateCurrTimePoint(At(now));
        naive.actions.clear();
        real.actions.clear();
        auto const [realResult, naiveResult] = Act();
        what = "now=" + std::to_string(now) + " " + what;
        return {Told(realResult, real.actions, real.GetNextWakeUpTimePoint(), real.Dumped()),
                Told(naiveResult, naive.actions, naive.WakeUp(), naive.Dumped())};
    }

    std::string what;

private:
    int Below(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }

    static std::string Ms(PerfTimePoint const& time) { return std::to_string((time - At(0)).count() / 1'000'000); }

    static std::string Shown(PerfGroupCommand const& command)
    {
        return " handle=" + std::to_string(command.handle) + " " + Ms(command.startTime) + ".." + Ms(command.endTime) +
               " " + testing::PrintToString(command.operationValueMap);
    }

    static std::string Told(int result, Strings const& writes, PerfTimePoint const& wakeUp, std::string const& dump)
    {
        return std::to_string(result) + " " + testing::PrintToString(writes) + " wake-up " + Ms(wakeUp) + "\n" + dump;
    }

    /** Now and then none or too many. */
    Values AnyValues()
    {
        Values values;
        for (unsigned int type = 0; type < 3; ++type) {
            if (type < 2 ? Below(4) != 0 : values.size() == 2 && Below(20) == 0) {
                values[static_cast<PerfOperationType>(type)] = Below(11);
            }
        }
        return values;
    }

    PerfGroupCommand NewCommand()
    {
        auto const spread = static_cast<unsigned long long>(Below(30));
        int const start = now + Below(12) - 6;
        return {Below(50) == 0 ? INVALID_HANDLE + spread % 11 : 1020 + spread, At(start), At(start + Below(20) - 1),
                AnyValues()};
    }

    /** A start, or mostly the stop that fits one, now and then one that does not quite. */
    PerfGroupCommand Next(bool starts, std::vector<PerfGroupCommand>& earlier)
    {
        if (starts || earlier.empty()) {
            earlier.push_back(NewCommand());
            return earlier.back();
        }
        auto const at = earlier.begin() + Below(static_cast<int>(earlier.size()));
        PerfGroupCommand command = *at;
        int const dice = Below(12);
        if (dice == 0) {
            command.startTime -= std::chrono::milliseconds(1);
        } else if (dice == 1) {
            command.operationValueMap = AnyValues();
        } else {
            earlier.erase(at);
        }
        return command;
    }

    /** @return what the real operation and the naive one returned. */
    std::pair<int, int> Act()
    {
        int const dice = Below(100);
        if (dice < 68) {
            bool const isLong = dice < 24;
            bool const starts = Below(5) < 3;
            PerfGroupCommand const command = Next(starts, started[isLong]);
            what = std::string(isLong ? "long-term " : "short-term ") + (starts ? "start" : "stop") + Shown(command);
            auto const start = isLong ? &PerfGroup::LongTermStart : &PerfGroup::ShortTermStart;
            auto const stop = isLong ? &PerfGroup::LongTermStop : &PerfGroup::ShortTermStop;
            return {(real.*(starts ? start : stop))(command),
                    isLong ? naive.LongTerm(starts, command) : naive.ShortTerm(starts, command)};
        }
        if (dice < 74) {
            PerfGroupCommand const command = NewCommand();
            what = "base set" + Shown(command);
            return {real.BaseSet(command), naive.BaseSet(command)};
        }
        if (dice < 92) {
            what = "time-out";
            return {real.ShortTermTimeOut(At(now)), naive.TimeOut()};
        }
        if (dice < 96) {
            bool const suspended = Below(3) == 0;
            what = suspended ? "suspend" : "resume";
            return {real.SetSuspend(suspended), naive.SetSuspend(suspended)};
        }
        auto const next = static_cast<PerfWorkMode>(Below(8) == 0 ? 3 : Below(3));
        what = "mode " + std::to_string(next);
        return {real.SetWorkMode(next), naive.SetMode(next)};
    }

    std::mt19937 random; ///< the same sequence on every platform, unlike the distributions over it
    PerfWorkMode const mode = static_cast<PerfWorkMode>(Below(PERF_WORK_MODE_COUNT));
    RecordingGroup real{Range(0, 10, 3, 7), mode};
    NaiveGroup naive{Range(0, 10, 3, 7), mode};
    int now = 0;
    std::vector<PerfGroupCommand> started[2]; ///< short-term and long-term
};

TEST(PerfGroupRandom, AGroupAgreesWithTheNaiveOneAtEveryStep)
{
    for (unsigned int seed = 1; seed <= 24; ++seed) {
        Duel duel(seed);
        std::string history;
        for (int step = 0; step < 400; ++step) {
            auto const [real, naive] = duel.Step();
            history += "  " + duel.what + "\n";
            ASSERT_EQ(real, naive) << "seed " << seed << ", after\n" << history;
        }
    }
}

} // namespace
