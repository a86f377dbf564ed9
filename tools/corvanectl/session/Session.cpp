#include "tools/corvanectl/session/Session.h"

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/session/SessionTime.h"

#include <utility>

Session::Session(Platform described, std::unique_ptr<Nodes> where, Story& told)
    : platform(std::move(described)), story(told), nodes(std::move(where)), bound(platform.threadBinderNode),
      configs(platform, [this](std::string const& node) { return nodes->PlaceOf(node); })
{
    story.Hide(nodes->Root());
    story.Add(ledger);
    story.Add(bound);
    nodes->Prepare(platform);
    configs.FitToDevice();
    nodes->SetBase(Base());
    nodes->Watch([&told](NodeWrite const& write) { told.Tell(write.time, Wrote{write}); });
    Tell(Beginning());
    Start();
}

void Session::Start()
{
    ConfigManagerOptions options;
    options.threadBinderNode = platform.threadBinderNode.empty() ? "" : nodes->PlaceOf(platform.threadBinderNode);
    manager = std::make_unique<ConfigManager>(options);
    if (manager->Init(configs.Config(), platform.events, platform.scenarios, platform.probe) != 0) {
        throw InputError("the library refuses the platform; the log says why");
    }
}

Began Session::Beginning() const
{
    Began began;
    for (PlatformNode const& node : NodesOf(platform)) {
        bool const isBinder = node.resource == platform.qos.size();
        began.nodes.push_back({node.name, node.resource, isBinder ? "" : platform.qos[node.resource].name,
                               nodes->Read(node.name).value_or("")});
    }
    return began;
}

void Session::Tell(StoryRecord::What what)
{
    story.Tell(SessionTime::Now(), std::move(what));
}

void Session::Settle()
{
    SessionTime::Settle(*manager);
    Tell(Settled{false});
}

void Session::Sleep(std::chrono::milliseconds time)
{
    SessionTime::Advance(time);
    SessionTime::Settle(*manager);
    Tell(Settled{true});
}

std::vector<BaseNode> Session::Base() const
{
    std::vector<BaseNode> base = BaseState(platform, configs.Config());
    for (BaseNode& node : base) {
        node.node = configs.NameOf(node.node);
    }
    return base;
}
