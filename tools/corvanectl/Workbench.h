#pragma once

#include "sandbox/Sandbox.h"
#include "tools/corvanectl/Platform.h"
#include "tools/corvanectl/PlatformConfigs.h"
#include "tools/corvanectl/Transcript.h"

#include <corvane/ConfigManager.h>

#include <memory>
#include <optional>
#include <string>

/** Where the nodes of a platform are. */
struct NodePlace {
    enum class Kind { REAL, ROOT, SANDBOX };
    Kind kind = Kind::REAL;
    std::string root; ///< ROOT: the folder that stands before every path
};

/**
 * A platform with the library running on it: what a service would hold.
 *
 * In a sandbox every node is made, holds its base value at the start, and has its writes shown and traced.
 */
class Workbench {
public:
    /** @throws InputError if a node is missing under the root, or the library refuses the platform. */
    Workbench(Platform platform, NodePlace const& place, Transcript& transcript);
    Workbench(Workbench const&) = delete;
    Workbench& operator=(Workbench const&) = delete;

    ConfigManager& Manager() { return *manager; }
    Platform const& Described() const { return platform; }
    Transcript& Shown() { return transcript; }

    /** @throws InputError without a sandbox. */
    Sandbox& Box();
    /** @throws InputError if the sandbox has no such node. */
    void RequireNode(std::string const& node);

    /** Waits until every worker has done what it was told so far. */
    void Settle();
    /** Settles and shows what the workers have written, where it was not shown live. */
    void ShowWorkerWrites();
    /** As ShowWorkerWrites, and what the thread binder has written, which cannot be asked whether it is idle. */
    void ShowAllWrites();

    /** Says which nodes are away from their base value and which threads are bound. @return whether there are none. */
    bool ReportBase();

private:
    std::string PlaceOf(std::string const& node);
    void MakeNodes();
    /** Says of each bound thread that it is one. @return how many there are. */
    std::size_t ReportBoundThreads(std::ostream& report);

    Platform platform;
    NodePlace const place;
    Transcript& transcript;
    std::optional<Sandbox> sandbox;
    std::unique_ptr<PlatformConfigs> configs;
    std::unique_ptr<ConfigManager> manager; ///< last: its threads end before anything that they use
};
