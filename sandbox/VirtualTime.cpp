// SPDX-License-Identifier: Apache-2.0

#include "sandbox/VirtualTime.h"

#include "sys/DeviceTime.h"
#include "sys/PerfCounter.h"
#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <cstdlib>
#include <ctime>
#include <utility>

namespace {

constexpr std::chrono::system_clock::time_point WALL_START{std::chrono::seconds{1704067200}};

} // namespace

// NOLINTBEGIN(concurrency-mt-unsafe): set and restored while there is no thread of the library
FixedZone::FixedZone()
{
    if (char const* const zone = std::getenv("TZ")) {
        previous = zone;
    }
    setenv("TZ", "UTC0", 1);
    tzset();
}

FixedZone::~FixedZone()
{
    if (previous) {
        setenv("TZ", previous->c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}
// NOLINTEND(concurrency-mt-unsafe)

void VirtualTime::Start(std::string const& name, std::function<void()> body)
{
    clients.push_back(turns.Start(name, std::move(body), true));
}

void VirtualTime::Play()
{
    Settle();
    turns.ExpectNoClient();
    for (std::thread& client : clients) {
        turns.Join(client);
    }
    clients.clear();
}

// What sys/ declares: in virtual time for the threads that are in one, else the device's way.

PerfTimePoint PerfTime::Now()
{
    auto* const turns = Turns::OfThisThread();
    return turns != nullptr ? turns->ReadClock() : DeviceTime::Now();
}

std::chrono::system_clock::time_point PerfTime::WallNow()
{
    auto const* const turns = Turns::OfThisThread();
    if (turns == nullptr) {
        return DeviceTime::WallNow();
    }
    // The wall clock may be the coarser one.
    return WALL_START + std::chrono::duration_cast<std::chrono::system_clock::duration>(turns->Now() - Turns::START);
}

void PerfThread::Start(std::string const& name, std::function<void()> body)
{
    auto* const turns = Turns::OfThisThread();
    native = turns != nullptr ? turns->Start(name, std::move(body)) : DeviceTime::StartThread(name, std::move(body));
}

void PerfThread::Join()
{
    if (!native.joinable()) {
        return;
    }
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Join(native);
    } else {
        native.join();
    }
}

void PerfMutexLock::Lock(std::mutex& mutex)
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Take(mutex);
    } else {
        mutex.lock();
    }
}

void PerfMutexLock::Unlock(std::mutex& mutex)
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->GiveUp(mutex);
    } else {
        mutex.unlock();
    }
}

unsigned long long PerfCounter::Read() const
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Point("counter", this, true);
    }
    return count.load(std::memory_order_acquire);
}

void PerfCounter::Increment()
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Touch(this);
    }
    count.fetch_add(1, std::memory_order_release);
}

PerfCondition::PerfCondition()
{
    DeviceTime::Make(native);
}

PerfCondition::~PerfCondition()
{
    pthread_cond_destroy(&native);
}

void PerfCondition::NotifyOne()
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Notify(this);
    } else {
        pthread_cond_signal(&native);
    }
}

void PerfCondition::Wait(PerfMutexLock& lock)
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Wait(this, lock.native, Turns::NEVER);
    } else {
        DeviceTime::Wait(native, lock.native);
    }
}

void PerfCondition::WaitUntil(PerfMutexLock& lock, PerfTimePoint const& time)
{
    if (auto* const turns = Turns::OfThisThread()) {
        turns->Wait(this, lock.native, time);
    } else {
        DeviceTime::WaitUntil(native, lock.native, time);
    }
}
