// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/ConfigManager.h>

#include <chrono>
#include <utility>
#include <vector>

/** A floor for one group of a resource, in the unit of its node; or a ceiling. */
[[nodiscard]] inline PerfRequestInfo Boost(PerfQosId qos, int value, unsigned int group = 0)
{
    return {qos, {{group, {{PERF_OPERATION_BOOST, value}}}}};
}
[[nodiscard]] inline PerfRequestInfo Limit(PerfQosId qos, int value, unsigned int group = 0)
{
    return {qos, {{group, {{PERF_OPERATION_LIMIT, value}}}}};
}

/**
 * What one client has been granted: it is released when this goes.
 *
 *   PerfHold const fast = PerfHold::Request(manager, pid, 500ms, {Boost(PERF_QOS_CPU_M, 1500000)});
 *   if (!fast) { ... fast.Why() ... }
 *
 * It is moved, not copied, and owned by one thread at a time; the ConfigManager must outlive it. Making and releasing
 * queue only, as the calls of ConfigManager do. A handle that a failed call has left behind is released at once.
 *
 * Nothing happens when a timed request ends by itself, when the process is released as a whole, or at a reset: to
 * release what is gone is no failure.
 */
class [[nodiscard]] PerfHold {
public:
    /** Why nothing is held. */
    enum class Reason {
        NONE,     ///< something is
        GIVEN_UP, ///< it never was, or was released, detached or moved elsewhere
        REFUSED,  ///< nothing was asked for, or something out of range; the log says what
        QUOTA,    ///< no handle was left: for this process, or for all of them
        NOT_SENT, ///< nothing that was asked for is a resource of this platform
    };

    /**
     * As ConfigManager::PerfRequest.
     * @param duration 20..60000 ms, or 0 until it is released; anything else is refused, however large.
     */
    static PerfHold Request(ConfigManager& manager, int pid, std::chrono::milliseconds duration,
                            std::vector<PerfRequestInfo> const& infos)
    {
        // 64 bits become 32: what would not fit stays out of range.
        bool const fits = duration.count() >= 0 && duration.count() <= PERF_DURATION_MAX_MS;
        auto const ms = fits ? static_cast<unsigned int>(duration.count()) : PERF_DURATION_MAX_MS + 1;
        return PerfHold(manager, pid, [&](auto& handle) { return manager.PerfRequest(pid, ms, infos, handle); });
    }

    /** As ConfigManager::PerfSetScenario and PerfSetMode. */
    static PerfHold Scenario(ConfigManager& manager, int pid, PerfScenarioId id)
    {
        return PerfHold(manager, pid, [&](auto& handle) { return manager.PerfSetScenario(pid, id, handle); });
    }
    static PerfHold Mode(ConfigManager& manager, int pid, unsigned int id)
    {
        return PerfHold(manager, pid, [&](auto& handle) { return manager.PerfSetMode(pid, id, handle); });
    }

    PerfHold() noexcept = default;
    PerfHold(PerfHold&& other) noexcept : my(std::exchange(other.my, {})) {}
    PerfHold& operator=(PerfHold&& other) noexcept
    {
        Members const next = std::exchange(other.my, {});
        Release();
        my = next;
        return *this;
    }
    ~PerfHold() { Release(); }

    explicit operator bool() const noexcept { return my.why == Reason::NONE; }
    Reason Why() const noexcept { return my.why; }
    /** @return NO_HANDLE for base values of EAS, which nobody releases, and where nothing is held. */
    unsigned long long Handle() const noexcept { return *this ? my.handle : NO_HANDLE; }

    void Release() noexcept
    {
        if (unsigned long long const handle = Detach(); handle != NO_HANDLE) {
            static_cast<void>(my.manager->PerfRelease(my.pid, handle)); // a failure is logged, and leaves no handle
        }
    }

    /** Holds no longer, without a release. @return the handle, which is the caller's to release; or NO_HANDLE. */
    unsigned long long Detach() noexcept
    {
        unsigned long long const handle = Handle();
        my.why = *this ? Reason::GIVEN_UP : my.why;
        return handle;
    }

private:
    template <typename Call>
    PerfHold(ConfigManager& manager, int pid, Call const& call) : my{&manager, pid, Reason::NONE, NO_HANDLE}
    {
        if (call(my.handle) == 0) {
            return;
        }
        bool const none = my.handle == INVALID_HANDLE;
        bool const left = !none && my.handle != NO_HANDLE;
        if (left) {
            Release();
        }
        my.why = none ? Reason::QUOTA : left ? Reason::NOT_SENT : Reason::REFUSED;
    }

    struct Members {
        ConfigManager* manager = nullptr;
        int pid = 0;
        Reason why = Reason::GIVEN_UP;
        unsigned long long handle = NO_HANDLE;
    };
    Members my;
};
