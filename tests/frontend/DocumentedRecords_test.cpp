// SPDX-License-Identifier: Apache-2.0

#include "frontend/ConfigManagerMembers.h"
#include "resource/EasResource.h"
#include "resource/SingleNodeValueResource.h"
#include "tests/frontend/PlatformFixture.h"
#include "tests/resource/ResourceTestSupport.h"

#include <algorithm>
#include <set>

// Programs use the records and steps as plain containers and functions: these compile, and do what they say.

namespace {

using namespace std::chrono_literals;

using ValueMap = std::map<PerfOperationType, int>;
using Items = std::vector<std::shared_ptr<PerfCommandItem>>;

/** Notes what it is asked to check, and refuses the value 13. */
class AskedResource : public SingleNodeValueResource {
public:
    using SingleNodeValueResource::SingleNodeValueResource;

    int RequestValidate(PerfCommandType type, PerfGroupTable& groupMap) override
    {
        asked.insert(type);
        int& value = groupMap[0][PERF_OPERATION_BOOST];
        return value++ == 13 ? -1 : 0;
    }

    std::set<PerfCommandType> asked;
};

/** The way past the facade's front door, for a resource that no platform has. */
ResourceManager& ResourcesOf(ConfigManager& manager);
template <typename Members, auto Storage> struct Opened {
    friend ResourceManager& ResourcesOf(ConfigManager& manager)
    {
        return reinterpret_cast<Members&>(manager.*Storage).resourceManager;
    }
};
template struct Opened<ConfigManager::Members, &ConfigManager::storage>;

using DocumentedRecords = PlatformTest;

} // namespace

TEST(DocumentedRecordsOfACommand, AreVectorsAndMaps)
{
    PerfTimePoint const start{1h};
    void (CommandWrapper::*insert)(PerfQosId, PerfGroupTable const&) = &CommandWrapper::InsertRequestCommand;
    auto const insertEvent = &CommandWrapper::InsertEventCommand;
    CommandWrapper wrapper(PERF_COMMAND_LONG_START, start, start, 0);
    PerfGroupTable const groups{{1, {{PERF_OPERATION_LIMIT, 7}}}};
    (wrapper.*insert)(4, groups);
    (wrapper.*insertEvent)(5, start, start, groups);
    auto const plainInsert = &CommandWrapper::InsertRequestCommand;
    (wrapper.*plainInsert)(6, {});

    Items& items = wrapper.commands;
    items.insert(items.begin(), std::make_shared<PerfCommandItem>());
    items.erase(items.begin() + 3);
    items.emplace_back(items.back())->handle = 9;
    items.resize(5);
    EXPECT_EQ(items.at(4), nullptr);
    EXPECT_EQ(items.capacity() >= 5 && items.front()->groupInfo.empty(), true);
    std::sort(items.rbegin(), items.rend());
    EXPECT_TRUE(std::is_sorted(items.crbegin(), items.crend()));

    PerfCommandItem item{4, 1, PERF_WORK_MODE_DEFAULT, start, start, groups};
    PerfGroupTable& table = item.groupInfo;
    table.try_emplace(0).first->second.emplace(PERF_OPERATION_BOOST, 1);
    table.at(1).erase(PERF_OPERATION_LIMIT);
    table.merge(PerfGroupTable{{2, {{PERF_OPERATION_BOOST, 3}}}});
    auto node = table.extract(1);
    node.key() = 8;
    table.insert(std::move(node));
    EXPECT_EQ(table.lower_bound(3)->first, 8u);
    EXPECT_EQ(table, (PerfGroupTable{{0, {{PERF_OPERATION_BOOST, 1}}}, {2, {{PERF_OPERATION_BOOST, 3}}}, {8, {}}}));

    PerfGroupCommand command{1, start, start, table.at(0)};
    command.operationValueMap.insert_or_assign(PERF_OPERATION_LIMIT, 5);
    ValueMap const copy = command.operationValueMap;
    EXPECT_EQ(copy.rbegin()->second - copy.at(PERF_OPERATION_BOOST), 4);
}

TEST(DocumentedRecordsOfAResource, AreMapsAndEveryCommandBringsTheTime)
{
    Sandbox sandbox;
    PerfQosConfig config(NAME, {PlainGroup(0, "g", {sandbox.AddNode("n")})});
    SingleNodeValueResource resource({5, NAME, PERF_WORK_MODE_DEFAULT});
    ASSERT_EQ(resource.InitResource(config), 0);
    auto const& group = resource.GetPerfGroupPtr(0);
    int (PerfGroup::*check)(PerfCommandType, ValueMap&) const = &PerfGroup::GroupValueValidate;
    int (PerfResource::*checkAll)(PerfCommandType, PerfGroupTable&) const = &PerfResource::GroupValidate;
    int (PerfResource::*checkRequest)(PerfCommandType, PerfGroupTable&) = &PerfResource::RequestValidate;
    PerfGroupTable table{{0, {{BOOST, 60}}}};
    EXPECT_EQ((*group.*check)(PERF_COMMAND_LONG_START, table[0]) +
                  (resource.*checkAll)(PERF_COMMAND_LONG_START, table) +
                  (resource.*checkRequest)(PERF_COMMAND_LONG_START, table),
              0);

    // What begins before the latest command's time does not wait, if that command was a long-term one, too.
    PerfTimePoint const before = PerfTime::Now();
    EXPECT_EQ(resource.NormalCommandProcess({5, 1, PERF_WORK_MODE_DEFAULT, {}, {}, table},
                                            resource.GetCommandHandle(PERF_COMMAND_LONG_START)),
              0);
    EXPECT_EQ(group->ShortTermStart({2, before, before + 1h, {{BOOST, 70}}}), 0);
    EXPECT_EQ(group->GetFinalBoostValue(), 70);

    EasResource const eas({PERF_QOS_EAS, "eas", PERF_WORK_MODE_DEFAULT});
    std::vector<int> boosts;
    std::vector<int> limits;
    EXPECT_EQ(eas.GetEasCommandLevel(table, boosts, limits), 0);
    ValueMap const levels = eas.BuildGlobalBoostCommand(table);
    EXPECT_EQ(levels, (ValueMap{{BOOST, 0}}));
}

TEST_F(DocumentedRecords, TheFacadeAsksWhatASubclassOverrides)
{
    Start();
    auto const& slot = ResourcesOf(*manager).GetResourcePtr(GPU);
    auto const original = slot;
    auto const resource = std::make_shared<AskedResource>(ResConstructParam{GPU, "gpu", PERF_WORK_MODE_DEFAULT});
    const_cast<std::shared_ptr<PerfResource>&>(slot) = resource;

    PerfQosId invalid = 0;
    std::vector<QosInfoInt> request{{5, {{1, {}}}}, {GPU, {{0, {{BOOST, 30}}}, {7, {}}}}, {GPU, {{0, {{BOOST, 12}}}}}};
    EXPECT_EQ(manager->RequestValidate(PERF_COMMAND_LONG_START, request, invalid), 0);
    EXPECT_EQ(invalid, 5u);
    ASSERT_EQ(request.size(), 2u) << "what the platform lacks is dropped";
    EXPECT_EQ(request[0].groupInfo, (PerfGroupTable{{0, {{BOOST, 31}}}, {7, {}}}));
    EXPECT_EQ(request[1].groupInfo, (PerfGroupTable{{0, {{BOOST, 13}}}}));

    // The first is corrected before the second is refused, and more is put back than is kept on the stack.
    request.insert(request.begin(), {5, {{3, {}}}});
    for (unsigned int group = 1; group < 20; ++group) {
        request[1].groupInfo[group] = {{BOOST, 1}, {PERF_OPERATION_LIMIT, 2}};
    }
    auto const before = request;
    EXPECT_EQ(manager->RequestValidate(PERF_COMMAND_SHORT_START, request, invalid), -1);
    ASSERT_EQ(request.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(request[i].qosId, before[i].qosId);
        EXPECT_EQ(request[i].groupInfo, before[i].groupInfo) << i;
    }
    EXPECT_EQ(TryRequest(LONG, {Boost(GPU, 13)}), -1) << "a request asks the same step";

    PerfEventTable loaded{{1, {{GPU, {0, 100, {}}}}}};
    PerfScenarioTable held{{1, {{GPU, {}}}}};
    resource->asked.clear();
    EXPECT_EQ(manager->EventValidate(loaded) + manager->ScenarioValidate(held), 0);
    EXPECT_EQ(resource->asked, (std::set<PerfCommandType>{PERF_COMMAND_SHORT_START, PERF_COMMAND_LONG_START}));
    EXPECT_EQ(loaded[1].begin()->second.groupInfo, (PerfGroupTable{{0, {{BOOST, 1}}}}));
    const_cast<std::shared_ptr<PerfResource>&>(slot) = original;
}
