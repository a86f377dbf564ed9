// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/Session.h"

#include "tools/corvanectl/nodes/DeviceCheck.h"
#include "tools/corvanectl/platform/Findings.h"

#include <initializer_list>
#include <utility>

namespace {

/** @return what each level writes to a node, if its group has levels. */
std::map<int, std::string> TextsOfLevels(PerfQosConfig const& config, PlatformNode const& node)
{
    std::map<int, std::string> texts;
    for (PerfGroupConfig const& group : config.groupConfigs) {
        for (auto const& [level, values] : group.level2ValueMap) {
            if (group.groupId == node.group && node.index < values.size()) {
                texts[level] = values[node.index];
            }
        }
    }
    return texts;
}

} // namespace

Session::Session(Platform described, Nodes& where, Story& published, SessionTime& clock, StopSignal const& stopping)
    : platform(std::move(described)), story(published), nodes(where), time(clock), stop(stopping),
      bound(platform.threadBinderNode), readBack(platform.threadBinderNode),
      configs(platform, [this](std::string const& node) { return nodes.PathOf(node); })
{
    story.Hide(nodes.Root());
    for (StoryListener* const listener : std::initializer_list<StoryListener*>{&ledger, &bound, &readBack, &chart}) {
        story.Add(*listener);
    }
    nodes.Prepare(platform);
    Warn();
    configs.FitToDevice();
    base = BaseState(platform, [this](std::string const& node) { return nodes.PathOf(node); });
    nodes.SetBase(base);
    nodes.Watch([&published](NodeWrite const& write) { published.Publish(write.time, Wrote{write}); });
    Publish(Beginning());
    Start();
}

Session::~Session()
{
    End();
}

void Session::Warn()
{
    Findings findings;
    if (nodes.AreReal()) {
        CheckDevice(
            platform, [this](std::string const& node) { return nodes.PathOf(node); }, findings);
    }
    for (Finding const& finding : findings.All()) {
        if (!finding.isWarning) { // a device that is in use is not at its base
            Publish(Warned{finding.path + ": " + finding.text});
        }
    }
}

void Session::Start()
{
    ConfigManagerOptions options;
    options.threadBinderNode = platform.threadBinderNode.empty() ? "" : nodes.PathOf(platform.threadBinderNode);
    options.rewriteDelay = 100;
    manager = std::make_unique<ConfigManager>(options);
    if (manager->Init(configs.Config(), platform.events, platform.scenarios, platform.probe) != 0) {
        throw InputError("the library refuses the platform; the log says why");
    }
}

Began Session::Beginning() const
{
    Began began;
    began.platform = platform.name;
    for (PlatformNode const& node : NodesOf(platform)) {
        Began::Node begun{node.name, node.resource, "", nodes.Read(node.name).value_or("")};
        if (!node.isBinder) {
            QosEntry const& entry = platform.qos[node.resource];
            begun.resourceName = entry.name;
            begun.id = entry.id;
            begun.group = node.group;
            begun.showsFloors = node.index == 0;
            begun.showsCeilings = ShowsCeiling(entry, node);
            begun.levels = TextsOfLevels(*configs.Config().qosConfigs.at(entry.id), node);
        }
        began.nodes.push_back(begun);
    }
    return began;
}

bool Session::End()
{
    if (manager == nullptr) {
        return true;
    }
    if (nodes.LeftAsFound()) {
        ReleaseEverything();
    }
    manager.reset();
    Publish(Settled{true});
    Nodes::Leaving const leaving = nodes.Leave();
    for (std::string const& line : leaving.lines) {
        Publish(Output{"    " + line});
    }
    return leaving.asItShould;
}

/** So that no thread stays bound, and a node that cannot be read, and so not put back, is at its base. */
void Session::ReleaseEverything()
{
    manager->Reset();
    time.WaitForWorkers(*manager);
    for (int tries = 0; tries < 100 && !bound.All().empty(); ++tries) {
        time.Advance(std::chrono::milliseconds(10), StopSignal());
    }
}

void Session::WaitForWorkers()
{
    time.WaitForWorkers(*manager);
    ReadBackNodes(false);
}

void Session::Sleep(std::chrono::milliseconds duration)
{
    time.Advance(duration, stop);
    time.WaitForWorkers(*manager);
    ReadBackNodes(true);
}

void Session::ReadBackNodes(bool binderToo)
{
    Publish(Settled{binderToo});
    if (nodes.AreReal()) {
        for (Strayed const& strayed : readBack.Compare(nodes)) {
            nodes.NoteStrayed(strayed.node, strayed.held);
            Publish(strayed);
        }
        for (Strayed const& strayed : readBack.Overwritten(nodes)) {
            Publish(strayed);
        }
    }
}

std::optional<std::string> Session::HeldBy(std::string const& node, PerfTimePoint deadline,
                                           std::function<bool(std::string const& content)> const& fits) const
{
    auto const held = nodes.ReadWhatFits(node, deadline, fits);
    return held ? held : readBack.LastTaken(node);
}
