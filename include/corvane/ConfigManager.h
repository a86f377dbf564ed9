// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfCatalogue.h>
#include <corvane/PerfConfig.h>
#include <corvane/PerfRequest.h>
#include <corvane/PerfTypes.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

class CommandWrapper;

struct ConfigManagerOptions {
    CommandLimits commandLimits;
    /** The process on whose behalf the debug console holds scenarios; no real one has it. */
    int debugClientPid = 2147483647;
    /** The node that takes the binding lines of probes. */
    std::string threadBinderNode;
    /**
     * ms, 0: never. A value that a node refuses is not offered again before something changes, unless this is set: then
     * a resource with a node that has refused its value writes all its nodes anew after this time, as a resume does,
     * and while that fails after twice the time before, at most 60 times this one. A change in between starts over.
     * Suspended resources write nothing. The first success after a failure is a warning line.
     */
    unsigned int rewriteDelay = 0;
};

/**
 * The library's one entry object: arbitrates requests on hardware tunables and writes the outcome to kernel nodes.
 *
 * Init comes first, once, and must have returned before anything else is called; after a failed Init nothing is to be
 * served. Everything else may be called from any thread, at once. No call waits for a node write, except the task dumps
 * (which wait for every worker) and the probe calls (which wait for a pass of the thread binder). Destroying the object
 * waits for a dump in progress and for the command in progress on each worker, and drops the rest; nodes stay as they
 * are, and threads bound. No other call may be in progress then. The shared object stays mapped after dlclose, because
 * workers may still be running in it. After a fork the child has the object without its threads: it may only exec or
 * _exit.
 *
 * Values are in the unit of the node; durations are milliseconds. Operations return 0, or -1 after a log line under
 * "PF_CFG_MGR" or the module concerned (what can happen in normal running, such as an empty request, is a debug line
 * only). Nothing is thrown.
 *
 * A handle that a call sets stays untouched if the call fails before one was allocated, is INVALID_HANDLE if none could
 * be, and is a real one, to be released, if only the sending failed: as when a request names no resource of this
 * platform.
 */
class ConfigManager {
public:
    CORVANE_EXPORT ConfigManager();
    CORVANE_EXPORT explicit ConfigManager(ConfigManagerOptions const& options);
    ConfigManager(ConfigManager const&) = delete;
    ConfigManager& operator=(ConfigManager const&) = delete;
    CORVANE_EXPORT ~ConfigManager();

    /**
     * Builds the resources, loads and cross-checks the catalogues, and starts the threads. An event's item for a
     * resource that the platform lacks is dropped; a scenario's is a failure. Without events the probe is not loaded
     * either. Nothing that was done before a failure is undone.
     * What is handed in is copied: nothing of it is read or changed any more after this has returned.
     */
    [[nodiscard]] CORVANE_EXPORT int Init(PerfDefaultConfig const& config, std::vector<ConfigurableEvent> const& events,
                                          std::vector<ConfigurableScenario> const& scenarios,
                                          ProbeEvent const& probe) noexcept;

    /** Releases everything that anybody holds; configuration and catalogues stay. */
    CORVANE_EXPORT void Reset() noexcept;

    /**
     * Asks for floors and ceilings, and returns when they are queued.
     * @param pid the client, above CommandLimits::eventPid.
     * @param duration ms: 20..60000, after which the request ends by itself; or 0, until it is released.
     * @param infos one resource may be named several times: of equal operations the first info wins. Within one info
     * the last pair wins, and a group that is named again replaces what stood for it. Resources that the platform lacks
     *     are left out.
     * @param handle set to the handle to release, or to NO_HANDLE for EAS base values, which are not released.
     */
    [[nodiscard]] CORVANE_EXPORT int PerfRequest(int pid, unsigned int duration,
                                                 std::vector<PerfRequestInfo> const& infos,
                                                 unsigned long long& handle) noexcept;
    /** A handle that is unknown, has expired or is another process's is no failure: 0 after a debug line. */
    [[nodiscard]] CORVANE_EXPORT int PerfRelease(int pid, unsigned long long handle) noexcept;
    /**
     * Releases all that a process holds. After -1 (some of it could not be sent, as where a request named no resource
     * of this platform) the process holds nothing any more all the same: what could be sent was sent first.
     */
    [[nodiscard]] CORVANE_EXPORT int PerfReleaseAll(int pid) noexcept;

    /** Holds a configured scenario until its handle is released. */
    [[nodiscard]] CORVANE_EXPORT int PerfSetScenario(int pid, unsigned int scenarioId,
                                                     unsigned long long& handle) noexcept;
    /** Asks for a work mode until its handle is released; the highest mode asked for is in force. */
    [[nodiscard]] CORVANE_EXPORT int PerfSetMode(int pid, unsigned int modeId, unsigned long long& handle) noexcept;
    /** @param params 0 resumes, anything else suspends; then the resources' ids. Memory-latency ones are left out. */
    [[nodiscard]] CORVANE_EXPORT int PerfSetSuspend(std::vector<unsigned int> const& params) noexcept;
    /**
     * The numbered door to events ({}: start, {1}: start, {1, ms}: start its first phases for that long, {0}: stop),
     * the probe ({1 or 0, unused, thread id}) and suspend (as PerfSetSuspend).
     * @param message only logged.
     */
    [[nodiscard]] CORVANE_EXPORT int PerfEvent(unsigned int eventId, std::vector<unsigned int> const& params,
                                               std::string const& message) noexcept;
    /** @param duration ms, or 0 for the event's own timing. An unknown event is not an error. */
    [[nodiscard]] CORVANE_EXPORT int StartEvent(PerfEventId eventId, unsigned int duration) noexcept;
    CORVANE_EXPORT void StopEvent(PerfEventId eventId) noexcept;
    /** Boosts for a thread and binds it, for the configured time. A second probe of a thread is ignored. */
    [[nodiscard]] CORVANE_EXPORT int StartProbe(int tid) noexcept;
    CORVANE_EXPORT void StopProbe(int tid) noexcept;

    /**
     * Switches a debug scenario: "--NAME_enable" or "--NAME_disable" with NAME game_mode, benchmark_mode, game_mode_2,
     * onfire_mode, game_start_mode or power_saving_mode.
     * @return 1 if the option was one of the console's, whatever came of it; else 0.
     */
    [[nodiscard]] CORVANE_EXPORT int DebugSet(std::ostringstream& out, std::string const& option) noexcept;
    /**
     * Prints what the first argument names: "--event", "--scenario", "--base_info", "--workMode", "--task" or
     * "--limit_history".
     */
    [[nodiscard]] CORVANE_EXPORT int Dump(std::ostringstream& out, std::vector<std::string> const& args) noexcept;
    CORVANE_EXPORT void DumpCoreVersion(std::ostringstream& out) noexcept;

    // The steps that the calls above are made of, each to be called by itself.
    [[nodiscard]] CORVANE_EXPORT int EventValidate(PerfEventTable& events) noexcept;
    [[nodiscard]] CORVANE_EXPORT int ScenarioValidate(PerfScenarioTable& scenarios) noexcept;
    /** Folds a request into one entry per resource, by ascending id. */
    CORVANE_EXPORT std::vector<QosInfoInt> RequestFilter(std::vector<PerfRequestInfo> const& infos) const noexcept;
    /**
     * Drops entries without a resource (and reports the last such id); corrects values where configured. After -1 the
     * request is as it was.
     */
    [[nodiscard]] CORVANE_EXPORT int RequestValidate(PerfCommandType type, std::vector<QosInfoInt>& request,
                                                     PerfQosId& invalidQosId) noexcept;
    [[nodiscard]] CORVANE_EXPORT int PreHandleEasBaseCommand(unsigned int duration, PerfCommandType& type,
                                                             std::vector<PerfRequestInfo> const& infos) const noexcept;
    CORVANE_EXPORT void AddSysTraceName(std::vector<PerfRequestInfo> const& infos) const noexcept;
    CORVANE_EXPORT PerfGroupTable BuildGroupInfo(std::vector<GroupInfo> const& groupInfos) const noexcept;
    CORVANE_EXPORT PerfGroupTable MergeGroupInfo(PerfGroupTable const& first, PerfGroupTable const& second) noexcept;
    [[nodiscard]] CORVANE_EXPORT int ReleaseCommand(int pid, unsigned long long handle,
                                                    CommandWrapper& wrapper) noexcept;
    CORVANE_EXPORT bool DumpInfo(std::ostringstream& out, std::string const& option) noexcept;
    [[nodiscard]] CORVANE_EXPORT int TaskDump(bool baseInfo, std::ostringstream& out) noexcept;
    CORVANE_EXPORT void DumpFreqLimitHistory(std::ostringstream& out) noexcept;
    CORVANE_EXPORT void BuildGetLogCmd(unsigned long long handle, std::vector<PerfQosId>& ids,
                                       CommandWrapper& wrapper) const noexcept;

private:
    friend class LibraryState; ///< for tools that are made of the library's objects, which read the state in whole
    struct DebugScenarioInfo;
    struct Members;

    alignas(std::max_align_t) unsigned char storage[4096];
    Members& members; ///< built in storage, so that the size of the object does not move with them
};
