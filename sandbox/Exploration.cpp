// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Exploration.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <sstream>

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

/** Tries every choice, the last ones first. */
class DepthFirst : public Course {
public:
    explicit DepthFirst(unsigned int preemptions) : bound(preemptions) {}

    /** Goes on to the next schedule. @return false if there is none. */
    bool Next()
    {
        taken.clear();
        preempted = 0;
        while (!path.empty()) {
            Choice& last = path.back();
            if (last.taken + 1 < last.count && (!last.preempts || last.preempted < bound)) {
                ++last.taken;
                return true;
            }
            path.pop_back();
        }
        return false;
    }

private:
    struct Choice {
        std::size_t taken;
        std::size_t count;
        bool preempts;
        unsigned int preempted; ///< before it
    };

    std::size_t Decide(std::vector<Runner const*> const& able, bool preempts) override
    {
        if (taken.size() == path.size()) {
            path.push_back({0, able.size(), preempts, preempted});
        }
        Choice const& choice = path[taken.size()];
        if (choice.count != able.size() || choice.preempts != preempts) {
            std::fprintf(stderr, "the same choices took another course; CORVANE_SCHEDULE='%s'\n", Line().c_str());
            std::abort();
        }
        preempted += preempts && choice.taken != 0 ? 1 : 0;
        return choice.taken;
    }

    unsigned int const bound;
    unsigned int preempted = 0;
    std::vector<Choice> path;
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

Exploration Explore(Performance const& perform, unsigned int preemptions)
{
    Exploration found;
    if (PerformDictated(perform, found)) {
        return found;
    }
    char const* const fewer = std::getenv("CORVANE_PREEMPTIONS"); // NOLINT(concurrency-mt-unsafe)
    DepthFirst schedule(fewer != nullptr ? std::min(preemptions, static_cast<unsigned int>(std::atoi(fewer)))
                                         : preemptions);
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
