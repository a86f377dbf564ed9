#include "tests/frontend/PlatformFixture.h"

#include <algorithm>

Strings Pair(std::string const& name, int boost, int limit)
{
    std::string const max = name + "/max <- " + std::to_string(limit);
    return {max, name + "/min <- " + std::to_string(boost), max};
}

Strings Join(std::vector<Strings> const& parts)
{
    Strings all;
    for (Strings const& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Strings At(int ms, Strings const& writes)
{
    Strings timed;
    for (std::string const& write : writes) {
        timed.push_back(std::to_string(ms) + " " + write);
    }
    return timed;
}

namespace {

std::vector<NodeWrite> ByResource(std::vector<NodeWrite> writes)
{
    auto const resource = [](NodeWrite const& write) { return write.node.substr(0, write.node.find('/')); };
    std::stable_sort(writes.begin(), writes.end(),
                     [&](NodeWrite const& a, NodeWrite const& b) { return resource(a) < resource(b); });
    return writes;
}

} // namespace

RealTimePlatformTest::RealTimePlatformTest()
{
    AddFrequency(CPU_M, "cpu_m", 300, 3000, 300, 2500);
    AddFrequency(CPU_B, "cpu_b", 400, 4000, 400, 4000, true);
    AddResource(GPU, "gpu",
                {Group(0, "gpu_floor", {0, 100, 10, 100}, {"gpu/floor"}),
                 Group(1, "gpu_power", {0, 100, 20, 100}, {"gpu/power"})});
    options.threadBinderNode = sandbox.AddNode("binder");
    probe.threadBinderPath = "0F";
}

PerfGroupConfig RealTimePlatformTest::Group(unsigned int id, std::string const& name, std::vector<int> const& range,
                                            Strings const& nodes)
{
    Strings paths;
    for (std::string const& node : nodes) {
        paths.push_back(sandbox.AddNode(node));
    }
    return {id, name, range[0], range[1], range[2], range[3], paths, CHIP_TYPE_ANY};
}

void RealTimePlatformTest::AddResource(PerfQosId qosId, std::string const& name,
                                       std::vector<PerfGroupConfig> const& groups)
{
    names.push_back(name);
    owned.push_back(std::make_unique<PerfQosConfig>(names.back(), groups));
    qosConfigs[qosId] = owned.back().get();
}

void RealTimePlatformTest::AddFrequency(PerfQosId qosId, std::string const& name, int min, int max, int boostBase,
                                        int limitBase, bool clamp)
{
    auto group = Group(0, name, {min, max, boostBase, limitBase}, {name + "/min", name + "/max"});
    group.clampOutOfRange = clamp;
    AddResource(qosId, name, {group});
}

void RealTimePlatformTest::AddEas()
{
    std::vector<PerfGroupConfig> groups;
    for (unsigned int id = 0; id < 8; ++id) {
        std::string const name = "eas" + std::to_string(id);
        groups.emplace_back(id, name, 0, Strings{sandbox.AddNode("eas/" + std::to_string(id))}, LevelToValueMap{},
                            CHIP_TYPE_ANY);
    }
    names.push_back("eas");
    owned.push_back(std::make_unique<PerfQosEasConfig>(names.back(), groups,
                                                       std::map<int, EasValue>{{0, {0, 0}}, {1, {20, 0}}, {2, {40, 1}}},
                                                       0, 100, sandbox.AddNode("eas/global")));
    ASSERT_EQ(owned.back()->ReviseGroupConfigValue(CHIP_TYPE_ANY), 0);
    qosConfigs[PERF_QOS_EAS] = owned.back().get();
}

void RealTimePlatformTest::AddMemoryLatency()
{
    Strings const ratio{sandbox.AddNode("mem_lat/ratio")};
    Strings const monitor{sandbox.AddNode("mem_lat/monitor")};
    AddResource(MEM_LAT, "mem_lat",
                {{0, "ratio", 0, ratio, LevelToValueMap{{0, {"0"}}, {1, {"400"}}}, CHIP_TYPE_ANY},
                 {1, "monitor", 0, monitor, LevelToValueMap{{0, {"off"}}, {1, {"on"}}}, CHIP_TYPE_ANY}});
}

void RealTimePlatformTest::AddEvent(PerfEventId eventId, PerfQosId qosId,
                                    std::vector<std::pair<unsigned int, int>> const& phases)
{
    QosCommand command{qosId, {}};
    for (auto const& [duration, value] : phases) {
        command.phases.push_back({duration, Boost(qosId, value).groupInfos});
    }
    auto known = std::find_if(events.begin(), events.end(),
                              [eventId](ConfigurableEvent const& event) { return event.eventId == eventId; });
    if (known == events.end()) {
        known = events.insert(events.end(), ConfigurableEvent{eventId, {}});
    }
    known->qosCommands.push_back(command);
}

void RealTimePlatformTest::AddScenario(PerfScenarioId scenarioId, std::vector<PerfRequestInfo> const& items)
{
    ConfigurableScenario scenario{scenarioId, {}};
    for (PerfRequestInfo const& item : items) {
        scenario.qosItems.push_back({item.qosId, item.groupInfos});
    }
    scenarios.push_back(scenario);
}

int RealTimePlatformTest::Init()
{
    manager = std::make_unique<ConfigManager>(options);
    return manager->Init(PerfDefaultConfig{0, qosConfigs, control}, events, scenarios, probe);
}

int RealTimePlatformTest::TryRequest(unsigned int ms, std::vector<PerfRequestInfo> const& infos, int pid)
{
    unsigned long long handle = 0;
    return manager->PerfRequest(pid, ms, infos, handle);
}

unsigned long long RealTimePlatformTest::Request(unsigned int ms, std::vector<PerfRequestInfo> const& infos, int pid)
{
    unsigned long long handle = 0;
    EXPECT_EQ(manager->PerfRequest(pid, ms, infos, handle), 0);
    return handle;
}

std::string RealTimePlatformTest::Dump(std::string const& option)
{
    std::ostringstream out;
    EXPECT_EQ(manager->Dump(out, {option}), 0);
    return out.str();
}

Strings RealTimePlatformTest::Wrote()
{
    Settle();
    return Lines(ByResource(sandbox.TakeWrites()));
}

Strings RealTimePlatformTest::WroteSince(PerfTimePoint const& begin)
{
    Strings lines;
    for (NodeWrite const& write : ByResource(sandbox.TakeWrites())) {
        auto const since = std::chrono::duration_cast<std::chrono::milliseconds>(write.time - begin);
        lines.push_back(std::to_string(since.count()) + " " + write.Line());
    }
    return lines;
}
