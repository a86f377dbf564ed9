// SPDX-License-Identifier: Apache-2.0

#include "frontend/ConfigManagerMembers.h"
#include "resource/EasResource.h"
#include "resource/SingleNodeValueResource.h"
#include "tests/frontend/PlatformFixture.h"
#include "tests/resource/ResourceTestSupport.h"

#include <set>
#include <type_traits>

namespace {

using namespace std::chrono_literals;

// Programs use the records and steps as plain containers and functions.

using ValueMap = std::map<PerfOperationType, int>;
template <typename One, typename Other> constexpr bool Is = std::is_same_v<One, Other>;

static_assert(Is<PerfGroupTable, std::map<unsigned int, ValueMap>>);
static_assert(Is<decltype(CommandWrapper::commands), std::vector<std::shared_ptr<PerfCommandItem>>>);
static_assert(Is<decltype(PerfCommandItem::groupInfo), PerfGroupTable>);
static_assert(Is<decltype(PerfGroupCommand::operationValueMap), ValueMap>);
static_assert(
    Is<decltype(&CommandWrapper::InsertRequestCommand), void (CommandWrapper::*)(PerfQosId, PerfGroupTable const&)>);
static_assert(Is<decltype(&PerfGroup::GroupValueValidate), int (PerfGroup::*)(PerfCommandType, ValueMap&) const>);
static_assert(
    Is<decltype(&PerfResource::GroupValidate), int (PerfResource::*)(PerfCommandType, PerfGroupTable&) const>);
static_assert(Is<decltype(&PerfResource::RequestValidate), int (PerfResource::*)(PerfCommandType, PerfGroupTable&)>);
static_assert(
    Is<decltype(&EasResource::BuildGlobalBoostCommand), ValueMap (EasResource::*)(PerfGroupTable const&) const>);

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

TEST(DocumentedRecordsOfAResource, EveryCommandBringsTheTime)
{
    Sandbox sandbox;
    PerfQosConfig config(NAME, {PlainGroup(0, "g", {sandbox.AddNode("n")})});
    SingleNodeValueResource resource({5, NAME, PERF_WORK_MODE_DEFAULT});
    ASSERT_EQ(resource.InitResource(config), 0);
    auto const& group = resource.GetPerfGroupPtr(0);
    PerfGroupTable const table{{0, {{BOOST, 60}}}};
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
    EXPECT_EQ(eas.BuildGlobalBoostCommand(table), (ValueMap{{BOOST, 0}}));
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
