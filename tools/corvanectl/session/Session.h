// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/nodes/Nodes.h"
#include "tools/corvanectl/nodes/ReadBack.h"
#include "tools/corvanectl/platform/NodeValues.h"
#include "tools/corvanectl/platform/Platform.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"
#include "tools/corvanectl/render/BlockChart.h"
#include "tools/corvanectl/session/BoundThreads.h"
#include "tools/corvanectl/session/Ledger.h"
#include "tools/corvanectl/session/SessionTime.h"
#include "tools/corvanectl/session/StopSignal.h"
#include "tools/corvanectl/story/Story.h"

#include <corvane/ConfigManager.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/**
 * A platform with the library running on it, as a service would have it, and the story of what happens there.
 *
 * Used by one thread; writes, log lines and labels reach the story from the library's own.
 */
class Session {
public:
    /** @throws InputError if a node is missing, or the library refuses the platform. */
    Session(Platform platform, Nodes& where, Story& published, SessionTime& clock, StopSignal const& stopping);
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;
    /** Ends it, if that has not happened. */
    ~Session();

    /** Stops the library, and leaves the nodes as they are to be left. @return whether that came about. */
    bool End();

    ConfigManager& Manager() { return *manager; }
    Platform const& GetPlatform() const { return platform; }
    Nodes& GetNodes() { return nodes; }
    SessionTime& Clock() { return time; }
    Ledger const& GetLedger() const { return ledger; }
    BoundThreads const& GetBoundThreads() const { return bound; }
    BlockChart const& GetChart() const { return chart; }

    /** Publishes something that happens now. */
    void Publish(StoryRecord::What what) { PublishAt(SessionTime::Now(), std::move(what)); }
    /** Publishes what has happened at that time. */
    void PublishAt(PerfTimePoint when, StoryRecord::What what) { story.Publish(when, std::move(what)); }

    /** Waits until every worker has done what it was told so far. */
    void WaitForWorkers();
    /** Lets time pass, for the thread binder too, which cannot be asked whether it is idle. */
    void Sleep(std::chrono::milliseconds duration);

    /** @return what the node holds; of one that cannot be read, what it took last, if anything. */
    std::optional<std::string> HeldBy(std::string const& node) const
    {
        return HeldBy(node, {}, [](std::string const& /* content */) { return true; });
    }
    /** The same; until the deadline a real node is read again where that does not fit. */
    std::optional<std::string> HeldBy(std::string const& node, PerfTimePoint deadline,
                                      std::function<bool(std::string const& content)> const& fits) const;
    /** @return how many writes have failed since the last call. */
    std::size_t TakeFailedWrites() { return readBack.TakeFailedWrites(); }
    /** What each node holds while nobody asks for anything, by its name. */
    std::vector<BaseNode> const& Base() const { return base; }

private:
    void Warn();
    Began Beginning() const;
    void Start();
    void ReleaseEverything();
    void ReadBackNodes(bool binderToo);

    Platform const platform;
    Story& story;
    Nodes& nodes;
    SessionTime& time;
    StopSignal const& stop;
    Ledger ledger;
    BoundThreads bound;
    ReadBack readBack;
    BlockChart chart;
    PlatformConfigs configs;
    std::vector<BaseNode> base;
    std::unique_ptr<ConfigManager> manager; ///< last: its threads end before anything that they use
};
