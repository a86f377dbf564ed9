// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Exploration.h"

#include "sandbox/Schedule.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <unordered_map>
#include <utility>

namespace {

/** Remembers what was chosen. */
class Course : public Schedule {
public:
    std::size_t Choose(std::vector<Runner const*> const& able, bool preempts, char const* where) final
    {
        std::size_t const chosen = Decide(able, preempts);
        if (tells) {
            std::fprintf(stderr, "%4zu %s: %s goes on%s\n", taken.size(), where, able[chosen]->name.c_str(),
                         preempts && chosen == 0 ? "" : (", not " + able[chosen == 0 ? 1 : 0]->name).c_str());
        }
        taken.push_back(chosen);
        if (taken.size() > ENDLESS) {
            std::fprintf(stderr, "no end of it; CORVANE_SCHEDULE='%s'\n", Line().c_str());
            std::abort();
        }
        return chosen;
    }

    std::string Line() const override
    {
        std::string line;
        for (std::size_t position = 0; position < taken.size(); ++position) {
            if (taken[position] != 0) {
                line += (line.empty() ? "" : " ") + std::to_string(position) + ":" + std::to_string(taken[position]);
            }
        }
        return line;
    }

    bool tells = false;

protected:
    virtual std::size_t Decide(std::vector<Runner const*> const& able, bool preempts) = 0;

    static constexpr std::size_t ENDLESS = 100'000;
    std::vector<std::size_t> taken;
};

/** Makes the choices of a line, and the first possible ones otherwise. */
class Dictated : public Course {
public:
    explicit Dictated(std::string const& line)
    {
        std::istringstream in(line);
        std::size_t position = 0;
        char colon = 0;
        while (in >> position >> colon) {
            in >> choices[position];
        }
        tells = true;
    }

private:
    std::size_t Decide(std::vector<Runner const*> const& able, bool /* preempts */) override
    {
        auto const found = choices.find(taken.size());
        return found != choices.end() ? std::min(found->second, able.size() - 1) : 0;
    }

    std::map<std::size_t, std::size_t> choices;
};

/** Which steps of one run came in an order that could have been another, by vector clocks. */
class Races {
public:
    /** Stands for a step that nobody could have come before. */
    static constexpr std::size_t NO_CHOICE = static_cast<std::size_t>(-1);

    /** @param choice by which the thread goes on with the step although others could. */
    void Step(std::size_t thread, std::size_t choice)
    {
        Thread& steps = At(threads, thread);
        ++At(steps.seen, thread);
        steps.choice = choice;
    }

    /** What the one has done has happened before whatever the other does. */
    void Order(std::size_t before, std::size_t after)
    {
        Clock const seen = At(threads, before).seen;
        Join(At(threads, after).seen, seen);
    }

    /** @param found is called with the choice of each step of another that the touch could have come before. */
    template <typename Found> void Touch(std::size_t thread, void const* touched, bool reads, Found const& found)
    {
        Thread& me = At(threads, thread);
        Object& object = objects[touched];
        auto const follow = [&](Touches const& touches) {
            for (Touched const& before : touches.last) {
                if (before.choice != NO_CHOICE && before.step > At(me.seen, before.thread)) {
                    found(before.choice);
                }
            }
            Join(me.seen, touches.seen);
        };
        follow(object.writing);
        if (!reads) {
            follow(object.reading);
            object = {};
        }
        Touches& mine = reads ? object.reading : object.writing;
        mine.last.push_back({thread, At(me.seen, thread), me.choice});
        Join(mine.seen, me.seen);
    }

private:
    using Clock = std::vector<std::size_t>; ///< of each thread, the last step that has happened before
    struct Thread {
        Clock seen;
        std::size_t choice = NO_CHOICE; ///< of the step that it is in
    };
    struct Touched {
        std::size_t thread, step, choice;
    };
    struct Touches {
        std::vector<Touched> last; ///< without a conflicting one behind them
        Clock seen;                ///< by all of them
    };
    struct Object {
        Touches writing, reading;
    };

    template <typename Element> static Element& At(std::vector<Element>& elements, std::size_t position)
    {
        elements.resize(std::max(elements.size(), position + 1));
        return elements[position];
    }

    static void Join(Clock& clock, Clock const& other)
    {
        for (std::size_t thread = 0; thread < other.size(); ++thread) {
            At(clock, thread) = std::max(At(clock, thread), other[thread]);
        }
    }

    std::vector<Thread> threads; ///< by number
    std::unordered_map<void const*, Object> objects;
};

/**
 * Tries every choice, the last ones first. Who runs is interrupted before a step only if, in a schedule in which he
 * went on with it, another touched the same later, and nothing but this order kept him from doing so before: else all
 * that the interruption leads to comes to the same as an interruption behind the step, which is as many of them, or
 * fewer.
 */
class DepthFirst : public Course {
public:
    DepthFirst(unsigned int preemptions, bool triesAll) : bound(preemptions), triesAllSwitches(triesAll) {}

    /** Goes on to the next schedule. @return false if there is none. */
    bool Next()
    {
        taken.clear();
        preempted = 0;
        races = {};
        while (!path.empty()) {
            Choice& last = path.back();
            bool const isOpen = !last.preempts || (last.preempted < bound && (last.raced || triesAllSwitches));
            if (last.taken + 1 < last.count && isOpen) {
                ++last.taken;
                return true;
            }
            path.pop_back();
        }
        return false;
    }

    void Step(Runner const& who) override { races.Step(who.number, std::exchange(goesOn, Races::NO_CHOICE)); }
    void Enable(Runner const& who, Runner const& whom) override { races.Order(who.number, whom.number); }
    void Touch(Runner const& who, void const* object, bool reads) override
    {
        races.Touch(who.number, object, reads, [this](std::size_t choice) { path[choice].raced = true; });
    }

private:
    struct Choice {
        std::size_t taken;
        std::size_t count;
        bool preempts;
        unsigned int preempted; ///< before it
        bool raced;             ///< the step of who went on with the first possible choice, in any schedule so far
    };

    std::size_t Decide(std::vector<Runner const*> const& able, bool preempts) override
    {
        std::size_t const position = taken.size();
        if (position == path.size()) {
            path.push_back({0, able.size(), preempts, preempted, false});
        }
        Choice const& choice = path[position];
        if (choice.count != able.size() || choice.preempts != preempts) {
            std::fprintf(stderr, "the same choices took another course; CORVANE_SCHEDULE='%s'\n", Line().c_str());
            std::abort();
        }
        preempted += preempts && choice.taken != 0 ? 1 : 0;
        goesOn = preempts && choice.taken == 0 ? position : Races::NO_CHOICE;
        return choice.taken;
    }

    unsigned int const bound;
    bool const triesAllSwitches;
    std::vector<Choice> path;

    // of the run
    unsigned int preempted = 0;
    std::size_t goesOn = Races::NO_CHOICE; ///< the last choice, if who ran goes on by it
    Races races;
};

class Priorities : public Course {
public:
    Priorities(std::uint64_t seed, unsigned int depth, unsigned int length) : random(seed)
    {
        for (unsigned int fall = 1; fall < depth; ++fall) {
            falls.insert(random() % length);
        }
    }

private:
    std::size_t Decide(std::vector<Runner const*> const& able, bool /* preempts */) override
    {
        for (Runner const* const runner : able) {
            priorities.try_emplace(runner->number, static_cast<std::int64_t>(random() >> 1));
        }
        if (falls.count(taken.size()) != 0) {
            priorities[able[0]->number] = -static_cast<std::int64_t>(taken.size()) - 1;
        }
        auto const lower = [this](Runner const* left, Runner const* right) {
            return priorities[left->number] < priorities[right->number];
        };
        return static_cast<std::size_t>(std::max_element(able.begin(), able.end(), lower) - able.begin());
    }

    std::mt19937_64 random;
    std::set<std::size_t> falls;
    std::map<std::size_t, std::int64_t> priorities; ///< by number
};

void Perform(Performance const& perform, Schedule& schedule, Exploration& found)
{
    VirtualTime time(schedule);
    ++found.schedules;
    found.failed = !perform(time);
    found.line = schedule.Line();
}

/** Plays the one that the environment dictates, if any. */
bool PerformDictated(Performance const& perform, Exploration& found)
{
    char const* const line = std::getenv("CORVANE_SCHEDULE"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (line != nullptr) {
        Dictated schedule(line);
        Perform(perform, schedule, found);
    }
    return line != nullptr;
}

} // namespace

Exploration Explore(Performance const& perform, unsigned int preemptions, bool everySwitch)
{
    Exploration found;
    if (PerformDictated(perform, found)) {
        return found;
    }
    char const* const fewer = std::getenv("CORVANE_PREEMPTIONS"); // NOLINT(concurrency-mt-unsafe)
    unsigned int const bound =
        fewer != nullptr ? std::min(preemptions, static_cast<unsigned int>(std::atoi(fewer))) : preemptions;
    DepthFirst schedule(bound, everySwitch);
    do {
        Perform(perform, schedule, found);
    } while (!found.failed && schedule.Next());
    return found;
}

Exploration ExploreAtRandom(Performance const& perform, unsigned int schedules, std::uint64_t seed, unsigned int depth,
                            unsigned int length)
{
    Exploration found;
    if (PerformDictated(perform, found)) {
        return found;
    }
    while (!found.failed && found.schedules < schedules) {
        Priorities schedule(seed + found.schedules, depth, length);
        Perform(perform, schedule, found);
    }
    return found;
}
