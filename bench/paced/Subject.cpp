// SPDX-License-Identifier: Apache-2.0

// A build of the library as a contender: a module, so that two builds can be measured in one run.

#include "bench/paced/Contender.h"

#include <corvane/ConfigManager.h>

#include <android/log.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

/** @return every id whose kind goes by the number of nodes, with the one that only has to be switched on. */
std::vector<PerfQosId> UsableIds()
{
    std::vector<PerfQosId> ids;
    for (PerfQosId id = 0; id < PERF_QOS_ID_COUNT; ++id) {
        bool const isSpecial = id == PERF_QOS_DDR || id == PERF_QOS_IPA_SUSTAINABLE_POWER ||
                               id == PERF_QOS_IPA_SWITCH_TEMP || id == PERF_QOS_EAS || id == PERF_QOS_EAS_BASE ||
                               (id >= PERF_QOS_MEM_LAT_FIRST && id <= PERF_QOS_MEM_LAT_LAST);
        if (!isSpecial) {
            ids.push_back(id);
        }
    }
    return ids;
}

class Subject : public Contender {
public:
    explicit Subject(Setup const& setup)
    {
        PerfDefaultConfig const config{0, map, ControlInfo()};
        auto const ids = UsableIds();
        for (unsigned int i = 0; i < setup.resources; ++i) {
            char const* const* const nodes = setup.nodes + i * setup.nodesEach;
            std::vector<PerfGroupConfig> groups;
            groups.emplace_back(0u, name, BOTTOM, TOP, BOTTOM, TOP,
                                std::vector<std::string>(nodes, nodes + setup.nodesEach), CHIP_TYPE_ANY);
            configs.push_back(std::make_unique<PerfQosConfig>(name, std::move(groups)));
            map[ids.at(i)] = configs.back().get();
            infos.push_back(Boost(ids.at(i), 1200000));
            infos.push_back(Boost(ids.at(i), 1500000));
        }
        ready = manager.Init(config, {}, {}, {}) == 0;
    }

    bool IsReady() const { return ready; }

    unsigned long long Request(unsigned int resource, Level level, int pid, unsigned int duration) override
    {
        unsigned long long handle = INVALID_HANDLE;
        static_cast<void>(manager.PerfRequest(pid, duration, infos[2 * resource + level], handle));
        return handle;
    }

    void Release(int pid, unsigned long long handle) override { static_cast<void>(manager.PerfRelease(pid, handle)); }

    void ReleaseAll(int pid) override { static_cast<void>(manager.PerfReleaseAll(pid)); }

    unsigned long long RaiseMode(int pid) override
    {
        unsigned long long handle = INVALID_HANDLE;
        static_cast<void>(manager.PerfSetMode(pid, PERF_WORK_MODE_BOOST_FIRST, handle));
        return handle;
    }

private:
    // Seven digits each.
    static constexpr int BOTTOM = 1000000;
    static constexpr int TOP = 3000000;

    static PerfConfigControlInfo ControlInfo()
    {
        PerfConfigControlInfo control;
        control.singleNodeQosEnable = true;
        return control;
    }

    static std::vector<PerfRequestInfo> Boost(PerfQosId id, int value)
    {
        return {{id, {{0, {{PERF_OPERATION_BOOST, value}}}}}};
    }

    std::string const name = "bench";
    std::vector<std::unique_ptr<PerfQosConfig>> configs;
    std::map<PerfQosId, PerfQosConfig*> map;
    std::vector<std::vector<PerfRequestInfo>> infos; ///< two levels a resource
    bool ready = false;
    ConfigManager manager; // last: its workers end before what they refer to
};

} // namespace

extern "C" CORVANE_EXPORT Contender* MakeContender(Contender::Setup const& setup)
{
    __android_log_set_minimum_priority(ANDROID_LOG_WARN); // what workers say at their end would hide the figures
    auto subject = std::make_unique<Subject>(setup);
    return subject->IsReady() ? subject.release() : nullptr;
}
