// SPDX-License-Identifier: Apache-2.0

#include "sandbox/VirtualTime.h"

#include "sys/DeviceTime.h"
#include "sys/PerfMutex.h"
#include "sys/PerfTime.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

using namespace std::chrono_literals;

namespace {

using Lock = std::unique_lock<std::mutex>;
using Clock = std::atomic<PerfTimePoint>;

constexpr PerfTimePoint START{1h};
constexpr std::chrono::system_clock::time_point WALL_START{std::chrono::seconds{1704067200}};
constexpr PerfTimePoint NEVER = PerfTimePoint::max();

/** For a lock that a client holds, in whom only real time goes on. */
constexpr auto MOMENT = 1ms;

CORVANE_NO_THREAD_SAFETY_ANALYSIS bool HadInAMoment(std::mutex& wanted)
{
    auto const giveUp = DeviceTime::Now() + MOMENT;
    while (!wanted.try_lock()) {
        if (DeviceTime::Now() >= giveUp) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/** Somebody who runs or waits: a thread of the library's, which takes turns, or a client. */
struct Participant {
    explicit Participant(bool isThread) : takesTurns(isThread) {}

    bool const takesTurns;
    bool ended = false;

    // while it waits
    void const* awaited = nullptr;
    PerfTimePoint deadline = NEVER;
    bool woken = false;
    std::condition_variable called;
};

/** Whose code this is, if it is a thread's that takes turns. */
thread_local Participant* self = nullptr;

// NOLINTBEGIN(concurrency-mt-unsafe): set and restored while there is no thread of the library
/** Sets the local time to UTC while it lives. */
class FixedZone {
public:
    FixedZone()
    {
        if (char const* const zone = std::getenv("TZ")) {
            previous = zone;
        }
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    FixedZone(FixedZone const&) = delete;
    FixedZone& operator=(FixedZone const&) = delete;
    ~FixedZone()
    {
        if (previous) {
            setenv("TZ", previous->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    std::optional<std::string> previous;
};
// NOLINTEND(concurrency-mt-unsafe)

} // namespace

struct VirtualTime::Turns {
    explicit Turns(std::uint64_t seed) : random(seed) {}

    void AdvanceTo(PerfTimePoint const& time);

    /** Notifies the first who waits for this. @return false if nobody does. */
    bool Notify(void const* awaited);
    /** Gives the guard up until it is notified or the deadline is reached. */
    void Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    void LockContended(std::mutex& wanted) CORVANE_NO_THREAD_SAFETY_ANALYSIS;

    std::thread Start(std::string const& name, std::function<void()> body);
    void Join(std::thread& thread);

    Clock now{START};

    // Every operation below is called under the mutex, which is given up while somebody else runs.
    bool Step(Lock& lock, PerfTimePoint const& limit);
    bool MoveTime(PerfTimePoint const& limit);
    void TakeFreedLocks();
    Participant* TakeReady();
    using Position = std::list<Participant*>::iterator;
    Position Wake(Position position);
    void WakeAll(void const* awaited);
    void EndTurn();
    void WaitFor(Lock& lock, void const* awaited, PerfTimePoint const& deadline);
    void LetOthersRun(Lock& lock, Participant& me);
    bool IsOwner() const { return std::this_thread::get_id() == owner; }

    // constant after construction
    std::thread::id const owner = std::this_thread::get_id();
    FixedZone const zone{};

    // guarded by the mutex
    std::mutex mutex;
    std::list<Participant*> waiting; ///< longest first
    std::deque<Participant*> ready;
    std::list<std::pair<Participant*, std::mutex*>> locking;
    Participant* running = nullptr;
    std::condition_variable ownerCalled; ///< at the end of a turn, and when a client has changed something
    std::map<std::thread::id, std::shared_ptr<Participant>> threads;
    std::uint64_t random; ///< 0: in order
};

namespace {

std::atomic<VirtualTime::Turns*> current{nullptr};

VirtualTime::Turns* Current()
{
    return current.load(std::memory_order_acquire);
}

} // namespace

void VirtualTime::Turns::AdvanceTo(PerfTimePoint const& time)
{
    Lock lock(mutex);
    PerfTimePoint const limit = std::max(time, now.load());
    while (Step(lock, limit)) {
    }
    now = limit;
}

bool VirtualTime::Turns::Step(Lock& lock, PerfTimePoint const& limit)
{
    if (ready.empty()) {
        TakeFreedLocks();
    }
    if (ready.empty() && !MoveTime(limit)) {
        return false;
    }
    if (!ready.empty()) { // otherwise it was a client's deadline
        running = TakeReady();
        running->called.notify_one();
        ownerCalled.wait(lock, [this] { return running == nullptr; });
    }
    return true;
}

bool VirtualTime::Turns::MoveTime(PerfTimePoint const& limit)
{
    PerfTimePoint next = NEVER;
    for (Participant const* const participant : waiting) {
        next = std::min(next, participant->deadline);
    }
    if (next == NEVER || next > limit) {
        return false;
    }
    now = std::max(next, now.load());
    for (auto position = waiting.begin(); position != waiting.end();) {
        position = (*position)->deadline <= next ? Wake(position) : std::next(position);
    }
    return true;
}

/** Nobody says when a lock is free, so that locking stays cheap: it is tried when nobody else can run. */
void VirtualTime::Turns::TakeFreedLocks()
{
    for (auto position = locking.begin(); position != locking.end();) {
        auto const [participant, wanted] = *position;
        if (!wanted->try_lock()) {
            ++position;
            continue;
        }
        wanted->unlock();
        ready.push_back(participant);
        position = locking.erase(position);
    }
}

Participant* VirtualTime::Turns::TakeReady()
{
    std::size_t chosen = 0;
    if (random != 0 && ready.size() > 1) {
        random = random * 6364136223846793005U + 1442695040888963407U;
        chosen = static_cast<std::size_t>((random >> 33) % ready.size());
    }
    auto const position = ready.begin() + static_cast<std::ptrdiff_t>(chosen);
    Participant* const participant = *position;
    ready.erase(position);
    return participant;
}

VirtualTime::Turns::Position VirtualTime::Turns::Wake(Position position)
{
    Participant& participant = **position;
    auto const next = waiting.erase(position);
    participant.woken = true;
    if (participant.takesTurns) {
        ready.push_back(&participant);
    }
    participant.called.notify_one();
    ownerCalled.notify_one();
    return next;
}

void VirtualTime::Turns::WakeAll(void const* awaited)
{
    for (auto position = waiting.begin(); position != waiting.end();) {
        position = (*position)->awaited == awaited ? Wake(position) : std::next(position);
    }
}

bool VirtualTime::Turns::Notify(void const* awaited)
{
    Lock const lock(mutex);
    auto const found = std::find_if(waiting.begin(), waiting.end(),
                                    [awaited](Participant const* other) { return other->awaited == awaited; });
    if (found == waiting.end()) {
        return false;
    }
    Wake(found);
    return true;
}

void VirtualTime::Turns::EndTurn()
{
    running = nullptr;
    ownerCalled.notify_one();
}

void VirtualTime::Turns::LetOthersRun(Lock& lock, Participant& me)
{
    if (me.takesTurns) {
        EndTurn();
        me.called.wait(lock, [this, &me] { return running == &me; });
    } else if (!IsOwner()) {
        me.called.wait(lock, [&me] { return me.woken; });
    } else {
        while (!me.woken) {
            if (!Step(lock, NEVER)) {
                ownerCalled.wait(lock); // only another client can help now
            }
        }
    }
}

void VirtualTime::Turns::WaitFor(Lock& lock, void const* awaited, PerfTimePoint const& deadline)
{
    Participant client(false);
    Participant& me = self != nullptr ? *self : client;
    me.awaited = awaited;
    me.deadline = deadline;
    me.woken = false;
    waiting.push_back(&me);
    LetOthersRun(lock, me);
}

void VirtualTime::Turns::Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline)
{
    {
        Lock lock(mutex);
        guard.unlock();
        WaitFor(lock, awaited, deadline);
    }
    if (!guard.try_lock()) {
        LockContended(guard);
    }
}

void VirtualTime::Turns::LockContended(std::mutex& wanted)
{
    if (self == nullptr && !IsOwner()) {
        wanted.lock();
        return;
    }
    if (HadInAMoment(wanted)) {
        return;
    }
    Lock lock(mutex);
    while (!wanted.try_lock()) {
        if (self != nullptr) {
            locking.emplace_back(self, &wanted);
            LetOthersRun(lock, *self);
        } else if (!Step(lock, NEVER)) {
            ownerCalled.wait_for(lock, MOMENT);
        }
    }
}

std::thread VirtualTime::Turns::Start(std::string const& name, std::function<void()> body)
{
    auto const participant = std::make_shared<Participant>(true);
    Lock const lock(mutex);
    ready.push_back(participant.get());
    std::thread thread = DeviceTime::StartThread(name, [this, participant, run = std::move(body)] {
        self = participant.get();
        {
            Lock turn(mutex);
            self->called.wait(turn, [this] { return running == self; });
        }
        run();
        Lock const turn(mutex);
        self->ended = true;
        WakeAll(self);
        EndTurn();
    });
    threads.emplace(thread.get_id(), participant);
    ownerCalled.notify_one();
    return thread;
}

void VirtualTime::Turns::Join(std::thread& thread)
{
    {
        Lock lock(mutex);
        auto const found = threads.find(thread.get_id());
        if (found != threads.end()) {
            auto const participant = found->second;
            while (!participant->ended) {
                WaitFor(lock, participant.get(), NEVER);
            }
            threads.erase(found);
        }
    }
    thread.join();
}

VirtualTime::VirtualTime(std::uint64_t seed) : turns(std::make_unique<Turns>(seed))
{
    Turns* none = nullptr;
    if (!current.compare_exchange_strong(none, turns.get())) {
        throw std::logic_error("there can be one virtual time only");
    }
}

VirtualTime::~VirtualTime()
{
    if (!turns->threads.empty()) {
        std::fputs("a virtual time ended before a thread that runs in it\n", stderr);
        std::abort();
    }
    current = nullptr;
}

PerfTimePoint VirtualTime::Now() const
{
    return turns->now;
}

void VirtualTime::Settle()
{
    turns->AdvanceTo(Now());
}

void VirtualTime::AdvanceTo(PerfTimePoint const& time)
{
    turns->AdvanceTo(time);
}

void VirtualTime::AdvanceBy(PerfTimePoint::duration duration)
{
    turns->AdvanceTo(Now() + duration);
}

// What sys/ declares: in virtual time while there is one, else the device's way.

PerfTimePoint PerfTime::Now()
{
    auto const* const turns = Current();
    return turns != nullptr ? turns->now.load() : DeviceTime::Now();
}

std::chrono::system_clock::time_point PerfTime::WallNow()
{
    auto const* const turns = Current();
    if (turns == nullptr) {
        return DeviceTime::WallNow();
    }
    // The wall clock may be the coarser one.
    return WALL_START + std::chrono::duration_cast<std::chrono::system_clock::duration>(turns->now.load() - START);
}

void PerfThread::Start(std::string const& name, std::function<void()> body)
{
    auto* const turns = Current();
    native = turns != nullptr ? turns->Start(name, std::move(body)) : DeviceTime::StartThread(name, std::move(body));
}

void PerfThread::Join()
{
    if (!native.joinable()) {
        return;
    }
    if (auto* const turns = Current()) {
        turns->Join(native);
    } else {
        native.join();
    }
}

void PerfMutexLock::LockContended(std::mutex& mutex)
{
    if (auto* const turns = Current()) {
        turns->LockContended(mutex);
    } else {
        mutex.lock();
    }
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
    auto* const turns = Current();
    if (turns == nullptr || !turns->Notify(this)) {
        pthread_cond_signal(&native); // also for one who began to wait before there was a virtual time
    }
}

void PerfCondition::Wait(PerfMutexLock& lock)
{
    if (auto* const turns = Current()) {
        turns->Wait(this, lock.native, NEVER);
    } else {
        DeviceTime::Wait(native, lock.native);
    }
}

void PerfCondition::WaitUntil(PerfMutexLock& lock, PerfTimePoint const& time)
{
    if (auto* const turns = Current()) {
        turns->Wait(this, lock.native, time);
    } else {
        DeviceTime::WaitUntil(native, lock.native, time);
    }
}
