// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Figures.h"
#include "bench/paced/Heap.h"

#include <fstream>
#include <string>

namespace {

constexpr int PID = 100;

double AllocationsPerPair(Track& track, unsigned int duration)
{
    constexpr unsigned int PAIRS = 2000;
    auto const pairs = [&](unsigned int count) {
        unsigned int const expected = track.Count(0) + 2 * count;
        for (unsigned int i = 0; i < count; ++i) {
            track->Release(PID, track->Request(0, Contender::HIGH, PID, duration));
            if (i % 16 == 0) {
                Clock::SleepFor(200 * Clock::MICROSECOND); // the queue stays short, as in use
            }
        }
        track.AwaitCount(0, expected);
        Clock::SleepFor(10 * Clock::MILLISECOND); // what follows the last write
    };
    pairs(100); // what is allocated once and kept
    Heap::StartCounting();
    pairs(PAIRS);
    return static_cast<double>(Heap::StopCounting().allocations) / PAIRS;
}

double BytesPerRequest(Track& track)
{
    constexpr unsigned int REQUESTS = 1000;
    Heap::StartCounting();
    track.Crowd(REQUESTS, 0);
    return static_cast<double>(Heap::StopCounting().bytes) / REQUESTS;
}

long Sleeps(int thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string key; status >> key;) {
        if (key == "voluntary_ctxt_switches:") {
            long count = 0;
            status >> count;
            return count;
        }
    }
    return 0;
}

long Sleeps(std::vector<int> const& threads)
{
    long sum = 0;
    for (int const thread : threads) {
        sum += Sleeps(thread);
    }
    return sum;
}

} // namespace

void MeasureHeap(Entries const& entries, Report& report)
{
    for (std::size_t i = 1; i < entries.size(); ++i) {
        Track track(entries[i], 1);
        report.Add("allocations.long", entries[i].name, {AllocationsPerPair(track, 0)});
        report.Add("allocations.timed", entries[i].name, {AllocationsPerPair(track, 60000)});
        report.Add("bytes.long", entries[i].name, {BytesPerRequest(track)});
    }
}

void MeasureIdle(Entries const& entries, Report& report)
{
    for (std::size_t i = 1; i < entries.size(); ++i) {
        Track track(entries[i], 40);
        track.Settle();
        long const before = Sleeps(track.Threads());
        Clock::SleepFor(Clock::SECOND);
        report.Add("idle", entries[i].name, {static_cast<double>(Sleeps(track.Threads()) - before)});
    }
}
