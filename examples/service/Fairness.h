// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>

/** Who asks, as the kernel says of the connection: nothing that a client says itself is believed. */
struct Asker {
    int owner = 0; ///< what is asked for stands under this in the library: the process, or one connection
    uid_t uid = 0;
    bool trusted = false; ///< may do what concerns everybody
};

/** How much there is of one thing. The trusted are bounded by owner only, and take until nothing is left. */
struct Quota {
    size_t all;
    size_t ofUser; ///< what one user gets, whatever its processes are
    size_t kept;   ///< for the trusted
    size_t ofOwner;
};

/** @param taken a map, each of whose records has an asker. @return whether this one may have one more. */
template <typename Taken> bool HasRoom(Quota const& quota, Taken const& taken, Asker const& asker)
{
    size_t ofUser = 0;
    size_t ofOwner = 0;
    for (auto const& [key, entry] : taken) {
        ofUser += entry.asker.uid == asker.uid ? 1 : 0;
        ofOwner += entry.asker.owner == asker.owner ? 1 : 0;
    }
    size_t const kept = asker.trusted ? 0 : quota.kept;
    return taken.size() + kept < quota.all && ofOwner < quota.ofOwner && (asker.trusted || ofUser < quota.ofUser);
}

template <typename Map, typename Condition> void EraseIf(Map& map, Condition const& condition)
{
    for (auto next = map.begin(); next != map.end();) {
        next = condition(*next) ? map.erase(next) : std::next(next);
    }
}

/** How fast each user's lines are carried out: a token bucket, kept as the time until which they are paid for. */
class Pace {
public:
    bool MayGo(uid_t uid) const
    {
        auto const found = paidUntil.find(uid);
        return found == paidUntil.end() || found->second <= Clock::now() + AHEAD;
    }

    void Pay(uid_t uid, size_t lines)
    {
        auto& until = paidUntil[uid];
        until = std::max(until, Clock::now()) + LINE * lines;
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::microseconds LINE{500};  ///< what a line takes of its user's time
    static constexpr std::chrono::milliseconds AHEAD{250}; ///< how much of it may be taken at once

    std::map<uid_t, Clock::time_point> paidUntil; ///< as many as there are users
};
