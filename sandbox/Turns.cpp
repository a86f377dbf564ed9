// SPDX-License-Identifier: Apache-2.0

#include "sandbox/Turns.h"

#include "sys/DeviceTime.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>
#include <vector>

Turns::Turns(std::uint64_t seed, Schedule* decider) : schedule(decider), random(seed)
{
    if (self != nullptr) {
        throw std::logic_error("a thread can be in one virtual time only");
    }
    self = &owner;
}

Turns::~Turns()
{
    if (!threads.empty()) {
        std::fputs("a virtual time ended before a thread that runs in it\n", stderr);
        std::abort();
    }
    self = nullptr;
}

PerfTimePoint Turns::ReadClock()
{
    Point("clock", &now, true);
    return now;
}

void Turns::AdvanceTo(PerfTimePoint const& time)
{
    Point("time", &now);
    LetTimeGoOn(time);
}

void Turns::AdvanceBy(PerfTimePoint::duration duration)
{
    Point("time", &now);
    LetTimeGoOn(now + duration);
}

void Turns::LetTimeGoOn(PerfTimePoint const& time)
{
    Lock lock(mutex);
    if (self == &owner) {
        target = time;
        GoOn();
        AwaitTurn(lock);
        target.reset();
    }
    MoveTo(time);
}

/** Gives the turn to whoever comes next. */
void Turns::GoOn()
{
    while (!ownerIsReady && ready.empty() && MoveTime()) {
    }
    if (!ownerIsReady && !ready.empty()) {
        TurnTo(PickReady());
        return;
    }
    if (!ownerIsReady && !target) {
        EndStuck();
    }
    ownerIsReady = false;
    running = &owner;
    owner.called.notify_one();
}

void Turns::TurnTo(std::size_t position)
{
    running = ready[position];
    ready.erase(ready.begin() + static_cast<std::ptrdiff_t>(position));
    running->called.notify_one();
}

std::size_t Turns::PickReady()
{
    if (random == 0 || ready.size() == 1) {
        return Choose(nullptr, "wait");
    }
    random = random * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>((random >> 33) % ready.size());
}

/** @param goesOn who runs, if he can go on; else null. @return 0 for him, and those who are ready behind him. */
std::size_t Turns::Choose(Participant const* goesOn, char const* where)
{
    std::vector<Runner const*> able(ready.begin(), ready.end());
    if (goesOn != nullptr) {
        able.insert(able.begin(), goesOn);
    }
    bool const decides = schedule != nullptr && liveClients > 0 && able.size() > 1;
    return decides ? schedule->Choose(able, goesOn != nullptr, where) : 0;
}

void Turns::AwaitTurn(Lock& lock)
{
    Participant* const me = self;
    me->called.wait(lock, [this, me] { return running == me; });
    if (IsScheduled()) {
        schedule->Step(*me);
    }
}

void Turns::Point(char const* where, void const* object, bool reads)
{
    if (!IsScheduled()) {
        return;
    }
    if (Undivided::depth == 0) {
        Lock lock(mutex);
        if (std::size_t const chosen = Choose(self, where)) {
            ready.push_back(self);
            TurnTo(chosen - 1);
        }
        AwaitTurn(lock);
    }
    Touch(object, reads);
}

void Turns::Touch(void const* object, bool reads)
{
    if (IsScheduled() && object != nullptr) {
        schedule->Touch(*self, object, reads);
    }
}

/** Moves time to the earliest deadline. @return false if there is none, or none before the owner's target. */
bool Turns::MoveTime()
{
    PerfTimePoint next = NEVER;
    for (Participant const* const participant : waiting) {
        next = std::min(next, participant->deadline);
    }
    if (next == NEVER || (target && next > std::max(*target, now))) { // a client may have moved it further
        return false;
    }
    MoveTo(next);
    return true;
}

void Turns::MoveTo(PerfTimePoint const& time)
{
    now = std::max(time, now);
    while (WakeFirst([this](Participant const& other) { return other.deadline <= now; })) {
    }
}

template <typename Wanted> bool Turns::WakeFirst(Wanted const& isWanted)
{
    auto const found =
        std::find_if(waiting.begin(), waiting.end(), [&](Participant const* other) { return isWanted(*other); });
    if (found == waiting.end()) {
        return false;
    }
    Participant& woken = **found;
    waiting.erase(found);
    MakeReady(woken);
    return true;
}

void Turns::WakeAll(void const* awaited)
{
    while (WakeFirst([awaited](Participant const& other) { return other.awaited == awaited; })) {
    }
}

void Turns::MakeReady(Participant& participant)
{
    if (&participant == &owner) {
        ownerIsReady = true;
        return;
    }
    ready.push_back(&participant);
    if (IsScheduled()) {
        schedule->Enable(*self, participant);
    }
}

void Turns::Notify(void const* awaited)
{
    Point("notification", awaited);
    Lock const lock(mutex);
    WakeFirst([awaited](Participant const& other) { return other.awaited == awaited; });
}

void Turns::WaitFor(Lock& lock, void const* awaited, PerfTimePoint const& deadline)
{
    self->awaited = awaited;
    self->deadline = deadline;
    waiting.push_back(self);
    GoOn();
    AwaitTurn(lock);
}

void Turns::Wait(void const* awaited, std::mutex& guard, PerfTimePoint const& deadline)
{
    Point("wait", awaited);
    Touch(&guard);
    if (deadline != NEVER) {
        Touch(&now, true);
    }
    {
        Lock lock(mutex);
        guard.unlock();
        WakeAll(&guard);
        WaitFor(lock, awaited, deadline);
    }
    Take(guard);
}

void Turns::Take(std::mutex& wanted)
{
    Point("lock", &wanted);
    Lock lock(mutex);
    while (!wanted.try_lock()) {
        WaitFor(lock, &wanted, NEVER);
        Touch(&wanted);
    }
}

void Turns::GiveUp(std::mutex& held)
{
    Touch(&held);
    {
        Lock const lock(mutex);
        held.unlock();
        WakeAll(&held);
    }
    Point("unlock");
}

std::thread Turns::Start(std::string const& name, std::function<void()> body, bool isClient)
{
    Lock const lock(mutex);
    std::thread thread = DeviceTime::StartThread(name, [this, run = std::move(body)] { Run(run); });
    Participant& participant = threads.try_emplace(thread.get_id(), this).first->second;
    participant.number = ++started;
    participant.name = name;
    participant.isClient = isClient;
    liveClients += isClient ? 1 : 0;
    MakeReady(participant);
    return thread;
}

void Turns::Run(std::function<void()> const& body)
{
    {
        Lock lock(mutex);
        self = &threads.at(std::this_thread::get_id());
        AwaitTurn(lock);
    }
    body();
    Lock const lock(mutex);
    Touch(self);
    self->hasEnded = true;
    liveClients -= self->isClient ? 1 : 0;
    WakeAll(self);
    GoOn();
}

void Turns::Join(std::thread& thread)
{
    {
        Lock lock(mutex);
        auto const found = threads.find(thread.get_id());
        if (found != threads.end()) {
            Participant const& other = found->second;
            Touch(&other);
            while (!other.hasEnded) {
                WaitFor(lock, &other, NEVER);
            }
            threads.erase(found);
        }
    }
    thread.join();
}

void Turns::ExpectNoClient() const
{
    if (liveClients > 0) {
        EndStuck();
    }
}

void Turns::EndStuck() const
{
    std::string who;
    for (auto const& thread : threads) {
        who += thread.second.hasEnded ? "" : " " + thread.second.name;
    }
    std::string const line = schedule != nullptr ? schedule->Line() : "";
    std::fprintf(stderr, "nobody can go on:%s; CORVANE_SCHEDULE='%s'\n", who.c_str(), line.c_str());
    std::abort();
}
