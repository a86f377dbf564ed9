// SPDX-License-Identifier: Apache-2.0

#include "sandbox/VirtualTime.h"

#include "sys/DeviceTime.h"
#include "sys/PerfCounter.h"
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

/** For a lock that a thread of somebody else's holds, in whom only real time goes on. */
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

/** Somebody who runs or waits: a thread that takes turns, or, with the number 0, one that does not. */
struct Participant : Runner {
    bool TakesTurns() const { return number != 0; }

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
    Turns(std::uint64_t seed, Schedule* decider) : schedule(decider), random(seed) {}

    void AdvanceTo(PerfTimePoint const& time);

    /** Notifies the first who waits for this. @return false if nobody does. */
    bool Notify(void const* awaited);
    /** Gives the guard up until it is notified or the deadline is reached. */
    void Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    void Take(std::mutex& wanted) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    void GiveUp(std::mutex& held) CORVANE_NO_THREAD_SAFETY_ANALYSIS;
    /** Others may go on here, before this is touched, if anything is. */
    void Point(char const* where, void const* object = nullptr, bool reads = false);
    /** What runs touches this, without anybody coming in between before. */
    void Touch(void const* object, bool reads = false);

    std::thread Start(std::string const& name, std::function<void()> body, bool isClient = false);
    void Join(std::thread& thread);
    void Play();

    Clock now{START};

    // Every operation below is called under the mutex, which is given up while somebody else runs.
    bool Step(Lock& lock, PerfTimePoint const& limit);
    bool MoveTime(PerfTimePoint const& limit);
    void WakeDue();
    void NoteFree(std::mutex& lock);
    void MakeReady(Participant& participant);
    void GiveTurn();
    void TurnTo(std::size_t position);
    std::size_t Choose(Participant const* goesOn, char const* where);
    void EndStuck();
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
    Schedule* const schedule; ///< or null

    // guarded by the mutex
    std::mutex mutex;
    std::list<Participant*> waiting; ///< longest first
    std::deque<Participant*> ready;
    std::list<std::pair<Participant*, std::mutex*>> locking;
    Participant* running = nullptr;
    bool handsOn = false;                ///< at the end of a turn to who is ready, not to the owner
    bool ownerLocks = false;             ///< he waits for a lock
    std::condition_variable ownerCalled; ///< at the end of a turn, and when somebody else has changed something
    std::map<std::thread::id, std::shared_ptr<Participant>> threads;
    std::vector<std::thread> clients;
    std::size_t started = 0;
    std::size_t liveClients = 0;
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
    if (self == nullptr) {
        handsOn = true;
        while (Step(lock, std::max(limit, now.load()))) { // a client may have moved it further
        }
        handsOn = false;
    }
    now = std::max(limit, now.load());
    WakeDue();
}

bool VirtualTime::Turns::Step(Lock& lock, PerfTimePoint const& limit)
{
    if (ready.empty() && !MoveTime(limit)) {
        return false;
    }
    if (!ready.empty()) { // otherwise it was the deadline of one who takes no turns
        GiveTurn();
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
    WakeDue();
    return true;
}

void VirtualTime::Turns::WakeDue()
{
    for (auto position = waiting.begin(); position != waiting.end();) {
        position = (*position)->deadline <= now.load() ? Wake(position) : std::next(position);
    }
}

void VirtualTime::Turns::NoteFree(std::mutex& lock)
{
    for (auto position = locking.begin(); position != locking.end();) {
        if (position->second != &lock) {
            ++position;
            continue;
        }
        MakeReady(*position->first);
        position = locking.erase(position);
    }
    if (ownerLocks) {
        ownerCalled.notify_one();
    }
}

/** @param goesOn who runs, if he can go on; else null. @return 0 for him, and those who are ready behind him. */
std::size_t VirtualTime::Turns::Choose(Participant const* goesOn, char const* where)
{
    std::vector<Runner const*> able(ready.begin(), ready.end());
    if (goesOn != nullptr) {
        able.insert(able.begin(), goesOn);
    }
    bool const decides = schedule != nullptr && liveClients > 0 && able.size() > 1;
    return decides ? schedule->Choose(able, goesOn != nullptr, where) : 0;
}

void VirtualTime::Turns::GiveTurn()
{
    std::size_t chosen = Choose(nullptr, "wait");
    if (random != 0 && ready.size() > 1) {
        random = random * 6364136223846793005U + 1442695040888963407U;
        chosen = static_cast<std::size_t>((random >> 33) % ready.size());
    }
    TurnTo(chosen);
}

void VirtualTime::Turns::TurnTo(std::size_t position)
{
    running = ready[position];
    ready.erase(ready.begin() + static_cast<std::ptrdiff_t>(position));
    running->called.notify_one();
}

void VirtualTime::Turns::Point(char const* where, void const* object, bool reads)
{
    if (self == nullptr || schedule == nullptr) {
        return;
    }
    if (Undivided::depth == 0) {
        Lock lock(mutex);
        if (std::size_t const chosen = Choose(self, where)) {
            ready.push_back(self);
            TurnTo(chosen - 1);
            self->called.wait(lock, [this] { return running == self; });
        }
        schedule->Step(*self);
    }
    Touch(object, reads);
}

void VirtualTime::Turns::Touch(void const* object, bool reads)
{
    if (self != nullptr && schedule != nullptr && object != nullptr) {
        schedule->Touch(*self, object, reads); // nobody else runs
    }
}

void VirtualTime::Turns::MakeReady(Participant& participant)
{
    ready.push_back(&participant);
    if (self != nullptr && schedule != nullptr) {
        schedule->Enable(*self, participant);
    }
}

VirtualTime::Turns::Position VirtualTime::Turns::Wake(Position position)
{
    Participant& participant = **position;
    auto const next = waiting.erase(position);
    participant.woken = true;
    if (participant.TakesTurns()) {
        MakeReady(participant);
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
    if (handsOn && !ready.empty()) {
        GiveTurn();
    } else {
        ownerCalled.notify_one();
    }
}

void VirtualTime::Turns::LetOthersRun(Lock& lock, Participant& me)
{
    if (me.TakesTurns()) {
        EndTurn();
        me.called.wait(lock, [this, &me] { return running == &me; });
        if (schedule != nullptr) {
            schedule->Step(me);
        }
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
    Participant other{};
    Participant& me = self != nullptr ? *self : other;
    me.awaited = awaited;
    me.deadline = deadline;
    me.woken = false;
    waiting.push_back(&me);
    LetOthersRun(lock, me);
}

void VirtualTime::Turns::Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline)
{
    Point("wait", awaited);
    Touch(&guard);
    if (deadline != NEVER) {
        Touch(&now, true);
    }
    {
        Lock lock(mutex);
        guard.unlock();
        NoteFree(guard);
        WaitFor(lock, awaited, deadline);
    }
    Take(guard);
}

void VirtualTime::Turns::GiveUp(std::mutex& held)
{
    Touch(&held);
    held.unlock();
    {
        Lock const lock(mutex);
        NoteFree(held);
    }
    Point("unlock");
}

void VirtualTime::Turns::Take(std::mutex& wanted)
{
    if (self == nullptr && !IsOwner()) {
        wanted.lock();
        return;
    }
    Point("lock", &wanted);
    if (wanted.try_lock() || (schedule == nullptr && HadInAMoment(wanted))) {
        return;
    }
    Lock lock(mutex);
    while (!wanted.try_lock()) {
        if (self != nullptr) {
            locking.emplace_back(self, &wanted);
            LetOthersRun(lock, *self);
            Touch(&wanted);
        } else if (!Step(lock, NEVER)) {
            ownerLocks = true;
            ownerCalled.wait(lock);
            ownerLocks = false;
        }
    }
}

std::thread VirtualTime::Turns::Start(std::string const& name, std::function<void()> body, bool isClient)
{
    auto const participant = std::make_shared<Participant>();
    participant->name = name;
    Lock const lock(mutex);
    participant->number = ++started;
    liveClients += isClient ? 1 : 0;
    MakeReady(*participant);
    std::thread thread = DeviceTime::StartThread(name, [this, participant, isClient, run = std::move(body)] {
        self = participant.get();
        {
            Lock turn(mutex);
            self->called.wait(turn, [this] { return running == self; });
        }
        run();
        Lock const turn(mutex);
        Touch(self);
        self->ended = true;
        liveClients -= isClient ? 1 : 0;
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
            Touch(participant.get());
            while (!participant->ended) {
                WaitFor(lock, participant.get(), NEVER);
            }
            threads.erase(found);
        }
    }
    thread.join();
}

void VirtualTime::Turns::Play()
{
    AdvanceTo(now);
    if (liveClients > 0) {
        EndStuck();
    }
    for (std::thread& client : clients) {
        Join(client);
    }
    clients.clear();
}

void VirtualTime::Turns::EndStuck()
{
    std::string who;
    for (auto const& thread : threads) {
        who += thread.second->ended ? "" : " " + thread.second->name;
    }
    std::string const line = schedule != nullptr ? schedule->Line() : "";
    std::fprintf(stderr, "nobody can go on:%s; CORVANE_SCHEDULE='%s'\n", who.c_str(), line.c_str());
    std::abort();
}

VirtualTime::VirtualTime(std::uint64_t seed) : VirtualTime(std::make_unique<Turns>(seed, nullptr)) {}

VirtualTime::VirtualTime(Schedule& schedule) : VirtualTime(std::make_unique<Turns>(0, &schedule)) {}

VirtualTime::VirtualTime(std::unique_ptr<Turns> made) : turns(std::move(made))
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
    turns->Point("time", &turns->now);
    turns->AdvanceTo(time);
}

void VirtualTime::AdvanceBy(PerfTimePoint::duration duration)
{
    turns->Point("time", &turns->now);
    turns->AdvanceTo(Now() + duration);
}

void VirtualTime::Start(std::string const& name, std::function<void()> body)
{
    turns->clients.push_back(turns->Start(name, std::move(body), true));
}

void VirtualTime::Play()
{
    turns->Play();
}

// What sys/ declares: in virtual time while there is one, else the device's way.

PerfTimePoint PerfTime::Now()
{
    auto* const turns = Current();
    if (turns == nullptr) {
        return DeviceTime::Now();
    }
    turns->Point("clock", &turns->now, true);
    return turns->now;
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

void PerfMutexLock::Lock(std::mutex& mutex)
{
    if (auto* const turns = Current()) {
        turns->Take(mutex);
    } else {
        mutex.lock();
    }
}

void PerfMutexLock::Unlock(std::mutex& mutex)
{
    if (auto* const turns = Current()) {
        turns->GiveUp(mutex);
    } else {
        mutex.unlock();
    }
}

unsigned long long PerfCounter::Read() const
{
    if (auto* const turns = Current()) {
        turns->Point("counter", this, true);
    }
    return count.load(std::memory_order_acquire);
}

void PerfCounter::Increment()
{
    if (auto* const turns = Current()) {
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
    auto* const turns = Current();
    if (turns != nullptr) {
        turns->Point("notification", this);
    }
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
