// SPDX-License-Identifier: Apache-2.0

#include "resource/ResourceManager.h"

#include "resource/DdrResource.h"
#include "resource/EasResource.h"
#include "resource/FrequencyResource.h"
#include "resource/IpaSustainablePowerResource.h"
#include "resource/IpaSwitchTempResource.h"
#include "resource/LevelMapResource.h"
#include "resource/MemLatTargetRatioResource.h"
#include "resource/SingleNodeValueResource.h"
#include "tests/resource/ResourceTestSupport.h"

#include <algorithm>
#include <typeindex>

namespace {

using Ids = std::vector<PerfQosId>;
using Groups = std::vector<PerfGroupConfig>;
using Config = std::shared_ptr<PerfQosConfig>;

Config Plain(Groups const& groups)
{
    return std::make_shared<PerfQosConfig>(NAME, groups);
}
Config Ddr(PerfGroupConfig const& group, float coefficient)
{
    return std::make_shared<PerfQosFreqConfig>(NAME, Groups{group}, "list", false, coefficient);
}
Config Ipa(PerfGroupConfig const& group, int socThreshold, int boardThreshold)
{
    return std::make_shared<PerfQosIpaPowerConfig>(NAME, Groups{group}, socThreshold, boardThreshold);
}
Config Eas(PerfGroupConfig const& group, std::string const& globalNode)
{
    return std::make_shared<PerfQosEasConfig>(NAME, Groups{group}, std::map<int, EasValue>{}, 0, 100, globalNode);
}

/** A platform that is put together entry by entry. */
class ResourceManagerTest : public testing::Test {
protected:
    void Add(PerfQosId id, Config const& config)
    {
        owned.push_back(config);
        configs[id] = config.get();
    }
    PerfGroupConfig Node(std::string const& name) { return PlainGroup(0, "g", {sandbox.AddNode(name)}); }

    int Init(bool flags)
    {
        PerfConfigControlInfo controlInfo;
        controlInfo.ipaResourceFlag = controlInfo.singleNodeQosEnable = flags;
        manager = std::make_unique<ResourceManager>();
        return manager->Init({0, configs, controlInfo});
    }

    Ids Built(unsigned long long mask = ~0ULL) const
    {
        Ids ids;
        manager->GetResourceIds(mask, ids);
        return ids;
    }

    /** Waits until its queue has been worked off; a resource without a worker does not make a caller wait. */
    bool HasWorker(PerfQosId id) const
    {
        PerfResource& resource = *manager->GetResourcePtr(id);
        resource.SendCommandToFifoQ({PERF_COMMAND_GET_LOG, Item(0, {})});
        std::ostringstream out;
        return resource.WaitLogFinish(false, out);
    }

    Sandbox sandbox;
    LogCapture const log;
    std::vector<Config> owned;
    std::map<PerfQosId, PerfQosConfig*> configs;
    std::unique_ptr<ResourceManager> manager;

    PerfGroupConfig const one = PlainGroup(0, "one", {"a"});
    PerfGroupConfig const two = PlainGroup(0, "two", {"a", "b"});
    PerfGroupConfig const three = PlainGroup(0, "three", {"a", "b", "c"});
    PerfGroupConfig const level{0, "level", 0, Strings{"a"}, LevelToValueMap{{0, {"off"}}}, CHIP_TYPE_ANY};
    PerfGroupConfig const secondOne = PlainGroup(1, "one", {"a"});
    PerfGroupConfig const secondLevel{1, "level", 0, Strings{"a"}, LevelToValueMap{{0, {"off"}}}, CHIP_TYPE_ANY};
};

} // namespace

TEST_F(ResourceManagerTest, TheKindGoesByTheIdAndElseByTheShapeOfTheFirstGroup)
{
    struct Row {
        PerfQosId id;
        Config config;
        std::type_index kind;
    };
    Row const rows[] = {
        {0, Plain({two}), typeid(FrequencyResource)},
        {1, Plain({level}), typeid(LevelMapResource)},
        {4, Ddr(one, 0.5f), typeid(DdrResource)},
        {5, Plain({one, secondOne}), typeid(SingleNodeValueResource)},
        {6, Ipa(three, 50, 60), typeid(IpaSustainablePowerResource)},
        {7, Plain({one}), typeid(IpaSwitchTempResource)},
        {8, Plain({one}), typeid(SingleNodeValueResource)},
        {9, Eas(level, "global"), typeid(EasResource)},
        {13, Plain({level, secondLevel}), typeid(LevelMapResource)},
        {14, Plain({level, secondLevel}), typeid(MemLatTargetRatioResource)},
        {16, Plain({level, secondLevel}), typeid(MemLatTargetRatioResource)},
        {17, Plain({level, secondLevel}), typeid(LevelMapResource)},
        {47, Plain({one}), typeid(SingleNodeValueResource)},
    };
    Ids ids;
    for (Row const& row : rows) {
        ids.push_back(row.id);
        Add(row.id, row.config);
    }
    for (PerfQosId const id : {2u, 48u}) {                // beyond the table as well
        Add(id, Plain({one, PlainGroup(1, "gone", {})})); // the platform does not have it
    }
    ASSERT_EQ(Init(true), 0);
    for (Row const& row : rows) {
        PerfResource const& resource = *manager->GetResourcePtr(row.id);
        EXPECT_EQ(std::type_index(typeid(resource)), row.kind) << row.id;
        EXPECT_TRUE(HasWorker(row.id));
    }
    EXPECT_EQ(Built(), ids);
    EXPECT_EQ(Built(1ULL << 47 | 1ULL << 2 | 1ULL << 60 | 1), (Ids{0, 47}));
    ASSERT_EQ(Init(false), 0);
    EXPECT_EQ(Built(1ULL << 8 | 1ULL << 47), Ids{47}) << "the single node is switched off";
}

TEST_F(ResourceManagerTest, AFaultyEntryStopsTheStartBeforeAnyWorkerRuns)
{
    std::pair<PerfQosId, Config> const faults[] = {
        {12, nullptr},
        {48, nullptr},
        {12, Plain({})},
        {12, Plain({three})}, // no kind has three nodes
        {12, Plain({one, PlainGroup(2, "gap", {"a"})})},
        {12, Plain({one, PlainGroup(1, "pair", {"a", "b"})})},
        {12, Plain({two, secondOne})},
        {12, Plain({level, secondOne})},
        {4, Plain({one})}, // wants a subclass, as do 6 and 9
        {6, Plain({three})},
        {9, Plain({level})},
        {4, Ddr(two, 1.0f)},
        {6, Ipa(two, 1, 2)},
        {7, Plain({})},
        {7, Plain({two})},
        {9, Eas(level, "")},
        {9, Eas(one, "global")},
        {14, Plain({level})},
        {14, Plain({level, secondOne})},
        {14, Plain({one, secondLevel})},
        {48, Plain({one})}, // beyond the table
    };
    for (auto const& [id, config] : faults) {
        configs.clear();
        Add(3, Plain({one}));
        Add(id, config);
        EXPECT_EQ(Init(true), -1) << id;
        EXPECT_EQ(Built(), Ids{3}) << "what was built stays";
        EXPECT_FALSE(HasWorker(3));
    }
}
