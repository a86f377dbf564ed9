// SPDX-License-Identifier: Apache-2.0

#include "fuzz/FuzzedLibrary.h"

#include "fuzz/FuzzChecks.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <sstream>

namespace {

bool HasNoErrors(Platform const& platform)
{
    Findings findings;
    CheckPlatform(platform, findings);
    return !findings.HasErrors();
}

/** Whether two resources have one id, of which the library gets to see only one. */
bool HasTwins(Platform const& platform)
{
    std::set<PerfQosId> ids;
    return std::any_of(platform.qos.begin(), platform.qos.end(),
                       [&ids](QosEntry const& entry) { return !ids.insert(entry.id).second; });
}

} // namespace

FuzzedLibrary::FuzzedLibrary(Platform const& described, std::uint64_t seed)
    : platform(described), time(seed), isSound(HasNoErrors(described))
{
}

bool FuzzedLibrary::Start(ConfigManagerOptions options)
{
    nodes.Prepare(platform);
    configs = std::make_unique<PlatformConfigs>(platform, [this](auto const& node) { return nodes.PathOf(node); });
    try {
        configs->FitToDevice();
    } catch (InputError const& error) {
        Expect(!isSound, error.what());
        return false;
    }
    if (isSound) {
        base = BaseState(platform, [this](auto const& node) { return nodes.PathOf(node); });
        nodes.SetBase(base);
    }
    options.threadBinderNode = platform.threadBinderNode.empty() ? "" : nodes.PathOf(platform.threadBinderNode);
    manager = std::make_unique<ConfigManager>(options);
    int const result = manager->Init(configs->Config(), platform.events, platform.scenarios, platform.probe);
    Expect((result == 0) == isSound || HasTwins(platform), "the library and its check are not of one mind");
    return result == 0;
}

std::string FuzzedLibrary::Dump(std::string const& option)
{
    std::ostringstream out;
    Expect(manager->Dump(out, {option}) == 0, option + " is known");
    return out.str();
}

void FuzzedLibrary::ExpectAtBase(std::set<std::size_t> const& exceptResources) const
{
    auto const all = NodesOf(platform);
    for (BaseNode const& node : base) {
        auto const found =
            std::find_if(all.begin(), all.end(), [&](PlatformNode const& other) { return other.name == node.node; });
        std::string const held = nodes.Read(node.node).value_or("");
        Expect(exceptResources.count(found->resource) != 0 || held == node.bytes,
               node.node + " holds \"" + held + "\", its base is \"" + node.bytes + "\"");
    }
}

void FuzzedLibrary::End()
{
    manager.reset();
    Expect(nodes.Box().OpenDescriptors() == 0, "a descriptor is left open");
}
