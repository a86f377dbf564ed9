// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Figures.h"

#include <algorithm>
#include <memory>
#include <thread>

namespace {

constexpr unsigned int RESOURCES = 4;
constexpr unsigned int DURATION = 20; // ms, the shortest
constexpr Clock::Nanoseconds STEP = 5 * Clock::MILLISECOND;
constexpr int PID = 100;

/** One contender's requests: each resource is asked again as soon as its request has ended. */
struct Lane {
    explicit Lane(Entry const& entry) : track(entry, RESOURCES) {}

    void Start(unsigned int resource)
    {
        expected[resource] = track.Count(resource) + 2; // at the start and at the end
        due[resource] = Clock::Now() + DURATION * Clock::MILLISECOND;
        track->Request(resource, Contender::HIGH, PID, DURATION);
    }

    void Collect(unsigned int resource)
    {
        if (due[resource] == 0) {
            return;
        }
        Clock::Nanoseconds const limit = Clock::Now() + Clock::SECOND;
        while (track.Count(resource) < expected[resource] && Clock::Now() < limit) {
            Clock::SleepFor(100 * Clock::MICROSECOND);
        }
        // A worker that was held up for the whole time finds the request over, and writes nothing.
        unsigned int const missing = expected[resource] - std::min(expected[resource], track.Count(resource));
        if (missing == 1) {
            ++lost;
        } else if (missing == 0) {
            Clock::Nanoseconds const late = track.LastWrite(resource) - due[resource];
            early += late < 0 ? 1 : 0;
            lateness.push_back(static_cast<double>(late));
        }
        due[resource] = 0;
    }

    Track track;
    unsigned int expected[RESOURCES] = {};
    Clock::Nanoseconds due[RESOURCES] = {}; ///< 0: nothing asked
    std::vector<double> lateness;           ///< of this round
    std::vector<double> ratios;             ///< a value a round
    double early = 0;
    double lost = 0;
};

} // namespace

void MeasureExpiry(Entries const& entries, Report& report, unsigned int rounds, unsigned int repetitions)
{
    std::vector<std::unique_ptr<Lane>> lanes;
    for (Entry const& entry : entries) {
        lanes.push_back(std::make_unique<Lane>(entry));
    }
    for (unsigned int round = 0; round < rounds; ++round) {
        Clock::Nanoseconds next = Clock::Now();
        for (unsigned int i = 0; i < repetitions * RESOURCES; ++i) {
            for (auto const& lane : lanes) {
                next += STEP / static_cast<Clock::Nanoseconds>(lanes.size()); // so that nobody's ends coincide
                Clock::SleepUntil(next);
                lane->Collect(i % RESOURCES);
                lane->Start(i % RESOURCES);
            }
        }
        for (auto const& lane : lanes) {
            for (unsigned int resource = 0; resource < RESOURCES; ++resource) {
                lane->Collect(resource);
            }
            lane->ratios.push_back(Median(lane->lateness) / Median(lanes.front()->lateness));
        }
        for (auto const& lane : lanes) {
            lane->lateness.clear();
        }
    }
    for (std::size_t i = 1; i < lanes.size(); ++i) {
        report.Add("expiry.early", entries[i].name, {lanes[i]->early});
        report.Add("expiry.lost", entries[i].name, {lanes[i]->lost});
        report.Add("expiry.lateness", entries[i].name, lanes[i]->ratios);
    }
}

namespace {

constexpr unsigned int EXPIRED = 8000;
constexpr unsigned int EXPIRED_PIDS = 16; // 500 handles each
constexpr unsigned int LIFE = 300;        // ms: all have been asked for before the first ends

/** The longest calls of two clients, in ms, from the moment that the expired handles are met. */
struct LongestCalls {
    double meeting; ///< of the one that met them
    double other;   ///< that had to wait meanwhile
};

/** @return the longest of one client's requests and releases, a pair every 10 us. */
double LongestCall(Track& track, int pid, Clock::Nanoseconds begin)
{
    Clock::Nanoseconds longest = 0;
    auto const take = [&longest](auto const& call) {
        Clock::Nanoseconds const before = Clock::Now();
        call();
        longest = std::max(longest, Clock::Now() - before);
    };
    Clock::SleepUntil(begin);
    while (Clock::Now() < begin + 20 * Clock::MILLISECOND) {
        unsigned long long handle = 0;
        take([&] { handle = track->Request(0, Contender::LOW, pid, 0); });
        take([&] { track->Release(pid, handle); });
        Clock::SleepFor(10 * Clock::MICROSECOND);
    }
    return static_cast<double>(longest) / Clock::MILLISECOND;
}

LongestCalls MeetExpired(Track& track)
{
    for (unsigned int i = 0; i < EXPIRED; ++i) {
        track->Request(0, Contender::LOW, PID + static_cast<int>(i % EXPIRED_PIDS), LIFE);
    }
    Clock::SleepFor((LIFE + 20) * Clock::MILLISECOND);
    Clock::Nanoseconds const begin = Clock::Now() + Clock::MILLISECOND;
    double first = 0;
    std::thread other([&] { first = LongestCall(track, PID - 1, begin); });
    double const second = LongestCall(track, PID - 2, begin);
    other.join();
    return {std::max(first, second), std::min(first, second)};
}

} // namespace

void MeasureExpiredCrowd(Entries const& entries, Report& report, unsigned int rounds)
{
    for (std::size_t i = 1; i < entries.size(); ++i) {
        Track track(entries[i], 1);
        std::vector<double> meeting;
        std::vector<double> other;
        for (unsigned int round = 0; round < rounds; ++round) {
            LongestCalls const longest = MeetExpired(track);
            meeting.push_back(longest.meeting);
            other.push_back(longest.other);
        }
        report.Add("expired.meeting", entries[i].name, meeting);
        report.Add("expired.other", entries[i].name, other);
    }
}
