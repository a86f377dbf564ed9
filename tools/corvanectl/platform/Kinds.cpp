#include "tools/corvanectl/platform/Kinds.h"

#include "resource/DdrResource.h"
#include "resource/EasResource.h"
#include "resource/FrequencyResource.h"
#include "resource/IpaSustainablePowerResource.h"
#include "resource/IpaSwitchTempResource.h"
#include "resource/LevelMapResource.h"
#include "resource/MemLatTargetRatioResource.h"
#include "resource/ResourceManager.h"
#include "resource/SingleNodeValueResource.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>

namespace {

std::shared_ptr<PerfResource> BuildAny(PerfQosId id, PerfQosConfig& config)
{
    static ResourceManager const manager;
    PerfConfigControlInfo control;
    control.singleNodeQosEnable = true; // whether it is switched on is not the question
    ResConstructParam param{id, config.qosName, PERF_WORK_MODE_DEFAULT};
    bool handled = false;
    auto special = manager.BuildSpecialResource(param, config, control, handled);
    return special != nullptr || handled ? special : manager.BuildSharedResource(param, config);
}

} // namespace

KindTraits const& TraitsOf(ResourceKind kind)
{
    static KindTraits const TABLE[] = {
        {ResourceKind::UNKNOWN, "unknown", 0, 0, false, false},
        {ResourceKind::FREQUENCY, "frequency", 2, 0, false, true},
        {ResourceKind::DDR, "DDR", 1, 1, false, true},
        {ResourceKind::SINGLE_VALUE, "single value", 1, 0, false, false},
        {ResourceKind::LEVEL_MAP, "level map", 0, 0, true, false},
        {ResourceKind::IPA_POWER, "IPA power", 3, 1, false, false},
        {ResourceKind::IPA_SWITCH_TEMP, "IPA switch temperature", 1, 0, false, false},
        {ResourceKind::EAS, "EAS", 1, 8, false, false},
        {ResourceKind::MEM_LAT, "memory latency", 0, 2, true, false},
    };
    return *std::find_if(std::begin(TABLE), std::end(TABLE) - 1,
                         [kind](KindTraits const& traits) { return traits.kind == kind; });
}

ResourceKind KindOf(PerfQosId id, std::vector<PerfGroupConfig> const& groups)
{
    static std::unordered_map<std::type_index, ResourceKind> const KINDS = {
        {typeid(FrequencyResource), ResourceKind::FREQUENCY},
        {typeid(DdrResource), ResourceKind::DDR},
        {typeid(SingleNodeValueResource), ResourceKind::SINGLE_VALUE},
        {typeid(LevelMapResource), ResourceKind::LEVEL_MAP},
        {typeid(IpaSustainablePowerResource), ResourceKind::IPA_POWER},
        {typeid(IpaSwitchTempResource), ResourceKind::IPA_SWITCH_TEMP},
        {typeid(EasResource), ResourceKind::EAS},
        {typeid(MemLatTargetRatioResource), ResourceKind::MEM_LAT},
    };
    std::string const name;
    PerfQosConfig config(name, groups);
    auto const resource = BuildAny(id, config);
    if (resource == nullptr) {
        return ResourceKind::UNKNOWN;
    }
    PerfResource const& built = *resource;
    auto const kind = KINDS.find(typeid(built));
    return kind == KINDS.end() ? ResourceKind::UNKNOWN : kind->second;
}
