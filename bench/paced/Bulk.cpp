// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Figures.h"

#include <functional>
#include <memory>
#include <thread>

namespace {

constexpr unsigned int ALL_RESOURCES = 40; ///< as many as a platform can have
constexpr unsigned int PAIRS = 4000;       ///< waits for a worker at most twice this, which is below the queue's bound
constexpr int FIRST_PID = 100;

using Tracks = std::vector<std::unique_ptr<Track>>;

Tracks MakeTracks(Entries const& entries, unsigned int resources)
{
    Tracks tracks;
    for (Entry const& entry : entries) {
        tracks.push_back(std::make_unique<Track>(entry, resources));
    }
    return tracks;
}

/** Lets everybody take turns; each round gives the median of a few samples, as a ratio to the floor's. */
void CompareToFloor(Entries const& entries, Tracks& tracks, Report& report, std::string const& key, unsigned int rounds,
                    unsigned int samples, std::function<double(Track&)> const& sample)
{
    std::vector<std::vector<double>> ratios(entries.size());
    for (unsigned int round = 0; round < rounds; ++round) {
        std::vector<std::vector<double>> values(entries.size());
        for (unsigned int i = 0; i < samples * entries.size(); ++i) {
            std::size_t const turn = i % entries.size();
            values[turn].push_back(sample(*tracks[turn]));
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            ratios[i].push_back(Median(values[i]) / Median(values.front()));
        }
    }
    for (std::size_t i = 1; i < entries.size(); ++i) {
        report.Add(key, entries[i].name, ratios[i]);
    }
}

/** @return pairs a second, counted until the last write; a thread a resource. */
double PairsPerSecond(Track& track)
{
    unsigned int const expected = track.Count() + 2 * PAIRS * track.Resources();
    std::vector<std::thread> clients;
    Clock::Nanoseconds const begin = Clock::Now() + Clock::MILLISECOND; // by then all of them stand ready
    for (unsigned int resource = 0; resource < track.Resources(); ++resource) {
        clients.emplace_back([&track, resource, begin] {
            int const pid = FIRST_PID + static_cast<int>(resource);
            Clock::SleepUntil(begin);
            for (unsigned int i = 0; i < PAIRS; ++i) {
                track->Release(pid, track->Request(resource, Contender::HIGH, pid, 0));
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    track.AwaitCount(expected);
    return PAIRS * track.Resources() / (static_cast<double>(track.LastWrite() - begin) / Clock::SECOND);
}

/** @return ns from a change of mode to the last write. */
double ModeChange(Track& track)
{
    unsigned int const before = track.Count();
    Clock::Nanoseconds const begin = Clock::Now();
    auto const handle = track->RaiseMode(FIRST_PID);
    track.AwaitCount(before + track.Resources());
    auto const taken = static_cast<double>(track.LastWrite() - begin);
    track->Release(FIRST_PID, handle);
    track.AwaitCount(before + 2 * track.Resources());
    Clock::SleepFor(500 * Clock::MICROSECOND); // the threads fall asleep
    return taken;
}

} // namespace

void MeasureThroughput(Entries const& entries, Report& report, unsigned int rounds)
{
    for (unsigned int const clients : {1u, 4u}) {
        auto tracks = MakeTracks(entries, clients);
        CompareToFloor(entries, tracks, report, "pairs." + std::to_string(clients), rounds, 5, PairsPerSecond);
    }
}

void MeasureModeChange(Entries const& entries, Report& report, unsigned int rounds)
{
    auto tracks = MakeTracks(entries, ALL_RESOURCES);
    CompareToFloor(entries, tracks, report, "mode", rounds, 40, ModeChange);
}

void MeasureStartUp(Entries const& entries, Report& report, unsigned int rounds)
{
    auto tracks = MakeTracks(entries, ALL_RESOURCES);
    CompareToFloor(entries, tracks, report, "start-up", rounds, 5,
                   [](Track& track) { return static_cast<double>(track.Restart()); });
}
