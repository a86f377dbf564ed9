// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Track.h"

#include "bench/paced/Writes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr int LEARNING_PID = 1;
constexpr int FIRST_CROWD_PID = 1000;
constexpr unsigned int CROWD_PIDS = 10;

} // namespace

void GiveUp(char const* what)
{
    std::fprintf(stderr, "corvane_paced: gave up waiting for %s\n", what);
    std::_Exit(1);
}

std::vector<int> ThreadIds()
{
    std::vector<int> ids;
    for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.push_back(std::stoi(task.path().filename()));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

Track::Track(Entry const& who, unsigned int resources, unsigned int nodes)
    : nodesEach(nodes), entry(who), setup{nullptr, resources, nodes}
{
    for (unsigned int i = 0; i < resources * nodesEach; ++i) {
        files.push_back(memfd_create("node", MFD_CLOEXEC));
        paths.push_back("/proc/self/fd/" + std::to_string(files.back()));
    }
    for (std::string const& path : paths) {
        pathPointers.push_back(path.c_str());
    }
    setup.nodes = pathPointers.data();

    auto const before = ThreadIds();
    Start();
    auto const after = ThreadIds();
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(threads));
    for (unsigned int i = 0; i < resources; ++i) {
        descriptors.push_back(FindDescriptor(i));
    }
}

Track::~Track()
{
    contender.reset();
    for (int const file : files) {
        close(file);
    }
}

void Track::Start()
{
    contender.reset(entry.make(setup));
    if (contender == nullptr) {
        std::fprintf(stderr, "corvane_paced: %s does not start\n", entry.name.c_str());
        std::exit(1);
    }
}

Clock::Nanoseconds Track::Restart()
{
    contender.reset();
    Clock::Nanoseconds const begin = Clock::Now();
    Start();
    return Clock::Now() - begin;
}

int Track::FindDescriptor(unsigned int resource)
{
    auto const before = Writes::Counts();
    auto const handle = contender->Request(resource, Contender::HIGH, LEARNING_PID, 0);
    int found = -1;
    Await("the first write", [&] {
        for (int fd = 0; fd < Writes::MAX_FD; ++fd) {
            if (Writes::Count(fd) == before[static_cast<std::size_t>(fd)] + nodesEach) {
                found = fd;
            }
        }
        return found >= 0;
    });
    contender->Release(LEARNING_PID, handle);
    Await("the first release",
          [&] { return Writes::Count(found) == before[static_cast<std::size_t>(found)] + 2 * nodesEach; });
    return found;
}

unsigned int Track::Count(unsigned int resource) const
{
    return Writes::Count(descriptors[resource]);
}

Clock::Nanoseconds Track::LastWrite(unsigned int resource) const
{
    return Writes::Last(descriptors[resource]);
}

void Track::AwaitCount(unsigned int resource, unsigned int count) const
{
    Await("a write", [&] { return Count(resource) >= count; });
}

unsigned int Track::Count() const
{
    unsigned int count = 0;
    for (int const fd : descriptors) {
        count += Writes::Count(fd);
    }
    return count;
}

Clock::Nanoseconds Track::LastWrite() const
{
    Clock::Nanoseconds last = 0;
    for (int const fd : descriptors) {
        last = std::max(last, Writes::Last(fd));
    }
    return last;
}

void Track::AwaitCount(unsigned int count) const
{
    Await("all writes", [&] { return Count() >= count; });
}

void Track::Settle() const
{
    Clock::Nanoseconds const pause = 30 * Clock::MILLISECOND;
    for (unsigned int before = Count() + 1, now = Count(); now != before;) {
        Clock::SleepFor(pause);
        before = std::exchange(now, Count());
    }
}

void Track::Crowd(unsigned int size, unsigned int duration)
{
    for (unsigned int i = 0; i < CROWD_PIDS; ++i) {
        contender->ReleaseAll(FIRST_CROWD_PID + static_cast<int>(i));
    }
    for (unsigned int i = 0; i < size; ++i) {
        contender->Request(0, Contender::LOW, FIRST_CROWD_PID + static_cast<int>(i % CROWD_PIDS), duration);
    }
    Settle();
}
