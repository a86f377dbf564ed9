// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Figures.h"
#include "bench/paced/Placement.h"

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <random>
#include <utility>

namespace {

constexpr unsigned int CROWD = 1000;
constexpr unsigned int LONGEST = 60000; // ms: outlives a round
constexpr int PID = 100;

/** One kind of request on one track, and what its repetitions of this round took. */
struct Case {
    std::string key;
    std::string contender;
    Track* track;
    unsigned int duration;

    enum Part : unsigned int { REQUEST, RELEASE, REQUEST_CALL, RELEASE_CALL, PARTS };
    std::array<std::vector<double>, PARTS> samples;
    std::array<std::vector<double>, PARTS> ratios; ///< a value a round
};

/** Gives every call its own slot of time, wide enough for what it causes and for the threads to fall asleep again. */
class Pacer {
public:
    void NextSlot()
    {
        next = std::max(next + 200 * Clock::MICROSECOND, Clock::Now());
        Clock::SleepUntil(next);
    }

private:
    Clock::Nanoseconds next = 0;
};

void Repeat(Case& one, Pacer& pacer)
{
    Track& track = *one.track;
    auto const take = [&](Case::Part written, Case::Part called, auto const& call) {
        unsigned int const expected = track.Count(0) + track.WritesPerCommand();
        Clock::Nanoseconds const begin = Clock::Now();
        call();
        Clock::Nanoseconds const end = Clock::Now();
        pacer.NextSlot();
        track.AwaitCount(0, expected);
        one.samples[written].push_back(static_cast<double>(track.LastWrite(0) - begin));
        one.samples[called].push_back(static_cast<double>(end - begin));
    };
    unsigned long long handle = 0;
    take(Case::REQUEST, Case::REQUEST_CALL, [&] { handle = track->Request(0, Contender::HIGH, PID, one.duration); });
    take(Case::RELEASE, Case::RELEASE_CALL, [&] { track->Release(PID, handle); });
}

void CloseRound(std::vector<Case>& cases, std::vector<std::array<double, Case::PARTS>>& floors)
{
    floors.emplace_back();
    for (unsigned int part = 0; part < Case::PARTS; ++part) {
        double const floor = Median(cases.front().samples[part]);
        floors.back()[part] = floor / 1000;
        for (Case& one : cases) {
            one.ratios[part].push_back(Median(one.samples[part]) / floor);
            one.samples[part].clear();
        }
    }
}

} // namespace

void MeasurePaced(Entries const& entries, Report& report, unsigned int rounds, unsigned int repetitions)
{
    std::vector<std::unique_ptr<Track>> tracks;
    std::vector<Track*> timedCrowds;
    std::vector<Case> cases;
    auto const add = [&](char const* key, Entry const& entry, unsigned int nodes, unsigned int duration) {
        tracks.push_back(std::make_unique<Track>(entry, 1, nodes));
        cases.push_back({key, entry.name, tracks.back().get(), duration, {}, {}});
        return tracks.back().get();
    };
    for (Entry const& entry : entries) {
        bool const isFloor = &entry == &entries.front();
        Track* const plain = add("long", entry, 1, 0);
        add("frequency", entry, 2, 0);
        if (isFloor) {
            continue;
        }
        cases.push_back({"timed", entry.name, plain, LONGEST, {}, {}});
        add("long.crowd", entry, 1, 0)->Crowd(CROWD, 0);
        timedCrowds.push_back(add("timed.crowd", entry, 1, LONGEST));
    }

    Placement::GoFirst();

    std::vector<std::size_t> order(cases.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::minstd_rand random;
    Pacer pacer;
    std::vector<std::array<double, Case::PARTS>> floors;
    for (unsigned int round = 0; round < rounds; ++round) {
        for (Track* const track : timedCrowds) {
            track->Crowd(CROWD, LONGEST);
        }
        for (unsigned int repetition = 0; repetition < repetitions; ++repetition) {
            std::shuffle(order.begin(), order.end(), random); // what ran before decides which code is still warm
            for (std::size_t const i : order) {
                Repeat(cases[i], pacer);
            }
        }
        CloseRound(cases, floors);
    }

    char const* const parts[] = {".request", ".release", ".request.call", ".release.call"};
    for (unsigned int part = 0; part < Case::PARTS; ++part) {
        for (Case const& one : cases) {
            report.Add(one.key + parts[part], one.contender, one.ratios[part]);
        }
        std::vector<double> microseconds;
        for (auto const& floor : floors) {
            microseconds.push_back(floor[part]);
        }
        report.Add(std::string("floor.us") + parts[part], "floor", microseconds);
    }
}
