// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <map>

/** Who asks, as the kernel says of the connection: nothing that a client says itself is believed. */
struct Asker {
    int owner = 0; ///< what is asked for stands under this in the library: the process, or one connection
    uid_t uid = 0;
    bool trusted = false; ///< may do what concerns everybody
};

/** How much there is of one thing. The trusted take until nothing is left. */
struct Quota {
    size_t all;
    size_t ofUser; ///< what one user gets, whatever its processes are
    size_t kept;   ///< for the trusted
};

/** @param taken a map, each of whose records has an asker. @return whether this one may have one more. */
template <typename Taken> bool HasRoom(Quota const& quota, Taken const& taken, Asker const& asker)
{
    auto const isOwn = [&](auto const& entry) { return entry.second.asker.uid == asker.uid; };
    auto const own = static_cast<size_t>(std::count_if(taken.begin(), taken.end(), isOwn));
    return asker.trusted ? taken.size() < quota.all : taken.size() + quota.kept < quota.all && own < quota.ofUser;
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
