// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "command/CommandWrapper.h"

#include <corvane/PerfConfig.h>
#include <corvane/PerfTypes.h>

#include <cstddef>
#include <memory>
#include <vector>

class PerfResource;
struct ResConstructParam;

/**
 * Builds one resource per configured QoS id and routes commands to them.
 *
 * Init runs once, before anything else; afterwards the table is only read, from any thread, without a lock. Posting a
 * command takes only the queue of its resource. Operations return 0, or -1 after an error line.
 */
class ResourceManager {
public:
    /**
     * @param slots how many QoS ids there are, 45..64.
     * @param rewriteDelay of every resource, as in ConfigManagerOptions.
     */
    explicit ResourceManager(std::size_t slots = PERF_QOS_ID_COUNT, unsigned int rewriteDelay = 0);
    ResourceManager(ResourceManager const&) = delete;
    ResourceManager& operator=(ResourceManager const&) = delete;
    /** Ends every worker: all are told before the first is waited for. */
    ~ResourceManager();
    /** Lets every worker end after the command in progress, without waiting for it. Nothing may be sent any more. */
    void TellWorkersToExit();

    /**
     * Builds every resource, then starts every worker. An entry that this platform does not have is skipped; a faulty
     * one is a failure: no worker is started then, and what was built stays.
     */
    int Init(PerfDefaultConfig const& config);

    /** @return false if some group has no node path. */
    bool IsSupportQos(std::vector<PerfGroupConfig> const& groups) const;
    /**
     * The kinds that go by the id.
     * @param config not read.
     * @param handled set for the kind that can be switched off: an empty result is final then, no other kind is tried.
     */
    std::shared_ptr<PerfResource> BuildSpecialResource(ResConstructParam& param, PerfQosConfig& config,
                                                       PerfConfigControlInfo const& controlInfo, bool& handled) const;
    /** The kinds that go by the shape of the first group. */
    std::shared_ptr<PerfResource> BuildSharedResource(ResConstructParam& param, PerfQosConfig& config) const;

    /** Queues each item for its resource. Items before a failing one stay queued. */
    int SendCmdToResources(CommandWrapper const& wrapper) const;
    /** @return whether SendCmdToResources would queue every item; logs nothing. */
    bool CanSendCmdToResources(CommandWrapper const& wrapper) const;
    /** Queues the first item for every resource. */
    int SendWorkModeCmd(CommandWrapper const& wrapper) const;

    /** @return the resource, or an empty pointer. Valid as long as the manager. */
    std::shared_ptr<PerfResource> const& GetResourcePtr(PerfQosId qosId) const;
    bool HasResource(PerfQosId qosId) const { return qosId < resources.size() && resources[qosId] != nullptr; }
    /** Appends the ids of the built resources whose bit is set. */
    void GetResourceIds(unsigned long long mask, std::vector<PerfQosId>& out) const;

private:
    /** Builds one entry into its slot, logging as method. @return 0 also for one that is skipped. */
    int InitEntry(char const* method, PerfQosId qosId, PerfQosConfig* config, PerfConfigControlInfo const& controlInfo);

    std::vector<std::shared_ptr<PerfResource>> resources; // constant after Init; index = QoS id
    unsigned int const rewriteDelay;                      // constant after construction
};
