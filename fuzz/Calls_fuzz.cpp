// SPDX-License-Identifier: Apache-2.0

#include "fuzz/DrawnPlatform.h"
#include "fuzz/FuzzBytes.h"
#include "fuzz/FuzzChecks.h"
#include "fuzz/FuzzedLibrary.h"

#include <corvane/ConfigManager.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr int PIDS[] = {1, 100, 101, 500, -1, 0};
constexpr int THREADS[] = {500, 501, 502, 0, -1};
constexpr unsigned int SOME_MS[] = {0, 20, 25, 1000, PERF_DURATION_MAX_MS, 1, 19, 60001};
constexpr char const* CONSOLE[] = {"--game_mode",   "--benchmark_mode",  "--game_mode_2",
                                   "--onfire_mode", "--game_start_mode", "--power_saving_mode"};
/** Longer than anything that ends by itself: three phases of a minute. */
constexpr milliseconds LONG_AFTER{200'000};

/** A drawn platform with the library on it, and clients that call whatever the bytes say. */
class Clients {
public:
    explicit Clients(FuzzBytes& source) : bytes(source), platform(DrawPlatform(bytes))
    {
        CommandLimits& limits = options.commandLimits;
        limits.maxProcessNum = 1 + bytes.Below(5);
        limits.maxHandleNumPerProcess = 1 + bytes.Below(8);
        limits.maxTotalHandleNum = 1 + bytes.Below(24);
        if (bytes.Chance(32)) {
            limits.firstHandle = INVALID_HANDLE - 16;
        }
    }

    /** @return whether the library took the platform. */
    bool Start()
    {
        if (!library.Start(options)) {
            return false;
        }
        idle = library.Dump("--task");
        return true;
    }

    void CallWhateverTheBytesSay()
    {
        while (!bytes.Empty()) {
            Call();
        }
    }

    /** Gives back all that anybody holds, one way or the other, and expects the beginning again. */
    void EndAtTheBeginning()
    {
        for (std::string const& node : faulty) {
            library.nodes.Box().ClearFaults(node);
        }
        if (bytes.Chance(2)) {
            library.Manager().Reset();
        } else {
            ReleaseOneByOne();
        }
        RestoreEasBases();
        Resume();
        library.time.AdvanceBy(LONG_AFTER);
        std::string const left = library.Dump("--task");
        Expect(left == idle, "something is left behind:\n" + left + "instead of:\n" + idle);
        library.ExpectAtBase(shaken); // a value that a node did not take is not offered again before something changes
        ExpectEveryHandleFree();
        library.End();
    }

private:
    void Call()
    {
        switch (bytes.Below(24)) {
        case 0:
        case 1:
        case 2:
        case 3:
            Request();
            break;
        case 4:
        case 5:
            Release();
            break;
        case 6:
            static_cast<void>(library.Manager().PerfReleaseAll(bytes.Pick(PIDS)));
            break;
        case 7:
            Hold([this](int pid, auto& handle) {
                return library.Manager().PerfSetScenario(pid, bytes.Below(8), handle);
            });
            break;
        case 8:
            Hold([this](int pid, auto& handle) { return library.Manager().PerfSetMode(pid, bytes.Below(4), handle); });
            break;
        case 9:
            static_cast<void>(library.Manager().PerfSetSuspend(SuspendParams()));
            break;
        case 10:
            PerfEvent();
            break;
        case 11:
            static_cast<void>(library.Manager().StartEvent(bytes.Below(4), bytes.Pick(SOME_MS)));
            break;
        case 12:
            library.Manager().StopEvent(bytes.Below(4));
            break;
        case 13:
            static_cast<void>(library.Manager().StartProbe(bytes.Pick(THREADS)));
            break;
        case 14:
            library.Manager().StopProbe(bytes.Pick(THREADS));
            break;
        case 15:
            Console(bytes.Pick(CONSOLE), bytes.Chance(2));
            break;
        case 16:
            DumpAny();
            break;
        case 17:
            Fail();
            break;
        case 18:
            library.time.Settle();
            break;
        case 19:
            if (bytes.Chance(8)) {
                library.Manager().Reset();
            }
            break;
        default:
            library.time.AdvanceBy(milliseconds(bytes.Pick(SOME_MS)));
            break;
        }
    }

    void Request()
    {
        std::vector<PerfRequestInfo> infos;
        for (unsigned int i = bytes.Below(4); i > 0; --i) {
            QosEntry const& entry = bytes.Pick(platform.qos);
            unsigned int const id = bytes.Chance(16) ? bytes.Below(64) : entry.id;
            if (id == PERF_QOS_EAS_BASE && Eas() == nullptr) {
                continue; // sets bases that nobody could put back
            }
            infos.push_back({id, DrawValues(bytes, entry, true)});
            if (bytes.Chance(64)) {
                infos.back().groupInfos.push_back({0, {{static_cast<PerfOperationType>(bytes.Below(4)), 1}}});
            }
        }
        if (bytes.Chance(16) && Eas() != nullptr) {
            SetEasBases();
        }
        unsigned int const duration = bytes.Pick(SOME_MS);
        Hold([&](int pid, auto& handle) { return library.Manager().PerfRequest(pid, duration, infos, handle); });
    }

    /** The resource whose bases can be set, or nullptr. */
    QosEntry const* Eas() const
    {
        QosEntry const* const eas = FindQos(platform, PERF_QOS_EAS);
        return library.IsSound() && eas != nullptr && IsBuilt(*eas, platform.control) ? eas : nullptr;
    }

    void SetEasBases()
    {
        unsigned int const group = bytes.Below(8);
        int const level = bytes.Around(0, static_cast<int>(Eas()->easLevels.size()) - 1);
        SetEasBases({{group, {{PERF_OPERATION_BOOST, level}}}});
    }

    int SetEasBases(std::vector<GroupInfo> const& groups)
    {
        unsigned long long handle = 0;
        return library.Manager().PerfRequest(PIDS[0], 0, {{PERF_QOS_EAS_BASE, groups}}, handle);
    }

    template <typename Start> void Hold(Start const& start)
    {
        int const pid = bytes.Pick(PIDS);
        unsigned long long handle = INVALID_HANDLE;
        start(pid, handle);
        if (handle < INVALID_HANDLE) { // also where only the sending failed
            held.emplace_back(pid, handle);
        }
    }

    void Release()
    {
        if (held.empty()) {
            static_cast<void>(library.Manager().PerfRelease(bytes.Pick(PIDS), bytes.Below(64)));
            return;
        }
        auto const [pid, handle] =
            held[bytes.Below(static_cast<unsigned int>(std::min<std::size_t>(held.size(), 256)))];
        static_cast<void>(
            library.Manager().PerfRelease(bytes.Chance(16) ? bytes.Pick(PIDS) : pid, handle)); // perhaps again
    }

    std::vector<unsigned int> SuspendParams()
    {
        std::vector<unsigned int> params{bytes.Below(2)};
        for (unsigned int i = bytes.Below(4); i > 0; --i) {
            params.push_back(bytes.Chance(16) ? bytes.Below(64) : bytes.Pick(platform.qos).id);
        }
        return params;
    }

    void PerfEvent()
    {
        switch (bytes.Below(3)) {
        case 0:
            static_cast<void>(library.Manager().PerfEvent(
                PROBE_EVENT_ID, {bytes.Below(3), 0, static_cast<unsigned int>(bytes.Pick(THREADS))}, ""));
            break;
        case 1:
            static_cast<void>(library.Manager().PerfEvent(SUSPEND_EVENT_ID, SuspendParams(), "by event"));
            break;
        default: {
            std::vector<unsigned int> params;
            for (unsigned int i = bytes.Below(4); i > 0; --i) {
                params.push_back(i == 1 ? bytes.Pick(SOME_MS) : bytes.Below(3));
            }
            static_cast<void>(library.Manager().PerfEvent(bytes.Below(18), params, "event"));
        }
        }
    }

    void Console(std::string const& mode, bool enable)
    {
        std::ostringstream out;
        Expect(library.Manager().DebugSet(out, mode + (enable ? "_enable" : "_disable")) == 1,
               "the console knows its options");
    }

    void DumpAny()
    {
        static constexpr char const* OPTIONS[] = {"--event",    "--scenario", "--base_info",
                                                  "--workMode", "--task",     "--limit_history"};
        library.Dump(bytes.Pick(OPTIONS));
    }

    void Fail()
    {
        auto const all = NodesOf(platform);
        if (all.empty()) {
            return;
        }
        std::size_t const chosen = bytes.Below(static_cast<unsigned int>(all.size()));
        PlatformNode const& node = all[chosen];
        if (node.name.empty()) {
            return;
        }
        unsigned int const times = bytes.Chance(4) ? Fault::UNTIL_CLEARED : 1 + bytes.Below(4);
        library.nodes.Box().FailNode(node.name, DrawFault(times));
        faulty.insert(node.name);
        shaken.insert(node.resource);
    }

    Fault DrawFault(unsigned int times)
    {
        static constexpr int ERRORS[] = {EINVAL, ENODEV, EBUSY, EINTR, ENOSPC};
        switch (bytes.Below(5)) {
        case 0:
            return Fault::Error(bytes.Pick(ERRORS), times);
        case 1:
            return Fault::Stale();
        case 2:
            return Fault::ShortCount(bytes.Below(3), times);
        case 3:
            return Fault::OpenError(EACCES, times);
        default:
            return Fault::Delay(milliseconds(bytes.Below(100)), times);
        }
    }

    void ReleaseOneByOne()
    {
        for (auto const& [pid, handle] : held) {
            static_cast<void>(library.Manager().PerfRelease(pid, handle));
        }
        for (char const* const mode : CONSOLE) {
            Console(mode, false);
        }
        for (PerfEventId event = 0; event <= REQUEST_EVENT_ID; ++event) {
            library.Manager().StopEvent(event);
        }
        for (int const thread : THREADS) {
            library.Manager().StopProbe(thread);
        }
    }

    /** All in one, because each also says anew what the global boost is without anybody asking. */
    void RestoreEasBases()
    {
        QosEntry const* const eas = Eas();
        std::vector<GroupInfo> groups;
        for (std::size_t i = 0; eas != nullptr && i < eas->groups.size(); ++i) {
            groups.push_back({static_cast<unsigned int>(i), {{PERF_OPERATION_BOOST, eas->groups[i].boostBase}}});
        }
        Expect(groups.empty() || SetEasBases(groups) == 0, "the bases can be set");
    }

    void Resume()
    {
        std::vector<unsigned int> params{0};
        for (QosEntry const& entry : platform.qos) {
            params.push_back(entry.id);
        }
        static_cast<void>(library.Manager().PerfSetSuspend(params));
    }

    void ExpectEveryHandleFree()
    {
        CommandLimits const& limits = options.commandLimits;
        if (limits.firstHandle != 1) {
            return;
        }
        unsigned int const wanted =
            std::min(limits.maxTotalHandleNum, limits.maxProcessNum * limits.maxHandleNumPerProcess);
        unsigned long long handle = 0;
        for (unsigned int i = 0; i <= wanted; ++i) {
            int const pid = 1 + static_cast<int>(i / limits.maxHandleNumPerProcess);
            int const result = library.Manager().PerfSetMode(pid, PERF_WORK_MODE_DEFAULT, handle);
            Expect(result == (i < wanted ? 0 : -1), "of " + std::to_string(wanted) + " handles, number " +
                                                        std::to_string(i) + " gives " + std::to_string(result));
        }
    }

    FuzzBytes& bytes;
    Platform const platform;
    FuzzedLibrary library{platform, bytes.Below(8)};
    ConfigManagerOptions options;
    std::string idle; ///< what the tasks look like while nobody asks for anything
    std::vector<std::pair<int, unsigned long long>> held;
    std::set<std::string> faulty; ///< nodes
    std::set<std::size_t> shaken; ///< resources that such a node belongs to
};

} // namespace

/** The bytes are a platform, its catalogues, and what clients call while time goes on. */
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    DivertLog();
    FuzzBytes bytes(data, size);
    Clients clients(bytes);
    if (clients.Start()) {
        clients.CallWhateverTheBytesSay();
        clients.EndAtTheBeginning();
    }
    return 0;
}
