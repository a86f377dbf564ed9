#include "tools/corvanectl/Workbench.h"

#include "tools/corvanectl/BaseState.h"
#include "tools/corvanectl/Findings.h"
#include "tools/corvanectl/LogLines.h"
#include "tools/corvanectl/Trace.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace {

/** Frequencies that let the range of every variant stand as it is written, with some steps between. */
std::string CoveringList(QosEntry const& entry)
{
    std::set<int> frequencies;
    for (PerfGroupConfig const& group : entry.groups) {
        int const lowest = group.availableMin;
        int const highest = std::max({group.availableMax, group.limitBase, lowest});
        for (int step = 0; step <= 4; ++step) {
            frequencies.insert(static_cast<int>(lowest + (static_cast<long long>(highest) - lowest) * step / 4));
        }
    }
    std::ostringstream list;
    for (int const frequency :
         entry.frequencies.empty() ? std::vector<int>(frequencies.begin(), frequencies.end()) : entry.frequencies) {
        list << frequency << " ";
    }
    return list.str();
}

} // namespace

Workbench::Workbench(Platform described, NodePlace const& where, Transcript& shown)
    : platform(std::move(described)), place(where), transcript(shown)
{
    if (place.kind == NodePlace::Kind::SANDBOX) {
        sandbox.emplace();
        transcript.Hide(sandbox->Root());
        LogLines::Hide(sandbox->Root());
        MakeNodes();
    }
    configs = std::make_unique<PlatformConfigs>(platform, [this](std::string const& node) { return PlaceOf(node); });
    configs->FitToDevice();
    if (sandbox) {
        for (BaseNode const& base : BaseState(platform, configs->Config())) {
            sandbox->AddNode(base.node, base.bytes);
        }
    }

    ConfigManagerOptions options;
    options.threadBinderNode = platform.threadBinderNode.empty() ? "" : PlaceOf(platform.threadBinderNode);
    manager = std::make_unique<ConfigManager>(options);
    if (manager->Init(configs->Config(), platform.events, platform.scenarios, platform.probe) != 0) {
        throw InputError("the library refuses the platform; the log says why");
    }
}

std::string Workbench::PlaceOf(std::string const& node)
{
    switch (place.kind) {
    case NodePlace::Kind::SANDBOX:
        return sandbox->Path(node);
    case NodePlace::Kind::ROOT: {
        std::string placed = place.root + (node.front() == '/' ? "" : "/") + node;
        if (access(placed.c_str(), F_OK) != 0) {
            throw InputError(placed + ": no such node");
        }
        return placed;
    }
    case NodePlace::Kind::REAL:
        break;
    }
    return node;
}

void Workbench::MakeNodes()
{
    std::size_t position = 0;
    auto const make = [&](std::string const& node) {
        sandbox->AddNode(node);
        transcript.PlaceNode(node, position);
    };
    for (; position < platform.qos.size(); ++position) {
        QosEntry const& entry = platform.qos[position];
        for (PerfGroupConfig const& group : entry.groups) {
            std::for_each(group.nodePathVec.begin(), group.nodePathVec.end(), make);
        }
        if (!entry.globalBoostNode.empty()) {
            make(entry.globalBoostNode);
        }
        if (!entry.freqListNode.empty()) {
            sandbox->AddFile(entry.freqListNode, CoveringList(entry));
        }
    }
    if (!platform.threadBinderNode.empty()) {
        make(platform.threadBinderNode);
    }
    sandbox->OnWrite([&shown = transcript](NodeWrite const& write) {
        shown.AddWrite(write);
        if (Trace* const trace = Trace::Current()) {
            trace->AddWrite(write);
        }
    });
}

Sandbox& Workbench::Box()
{
    if (!sandbox) {
        throw InputError("this needs a sandbox: start with --sandbox");
    }
    return *sandbox;
}

void Workbench::RequireNode(std::string const& node)
{
    try {
        Box().Writes(node);
    } catch (std::logic_error const&) {
        throw InputError("no resource of the platform has a node " + node);
    }
}

void Workbench::Settle()
{
    // Each worker answers a dump when it has done everything that was asked of it before.
    std::ostringstream nowhere;
    manager->TaskDump(false, nowhere);
}

void Workbench::ShowWorkerWrites()
{
    Settle();
    transcript.ShowWrites(platform.qos.size());
}

void Workbench::ShowAllWrites()
{
    Settle();
    transcript.ShowWrites(platform.qos.size() + 1);
}

bool Workbench::ReportBase()
{
    Sandbox& box = Box();
    ShowAllWrites();
    std::ostringstream report;
    std::size_t away = 0;
    auto const expected = BaseState(platform, configs->Config());
    for (BaseNode const& base : expected) {
        std::string const actual = box.Read(base.node);
        if (actual != base.bytes) {
            report << "    " << base.node << " is at " << ReadableBytes(actual) << ", its base is "
                   << ReadableBytes(base.bytes) << "\n";
            ++away;
        }
    }
    std::size_t const bound = ReportBoundThreads(report);
    if (away == 0) {
        report << "    each of " << expected.size() << " nodes is at its base\n";
    } else {
        report << "    " << away << " of " << expected.size() << " nodes are not at their base\n";
    }
    transcript.Say(report.str());
    return away == 0 && bound == 0;
}

std::size_t Workbench::ReportBoundThreads(std::ostream& report)
{
    std::set<std::string> bound;
    if (!platform.threadBinderNode.empty()) {
        for (NodeWrite const& write : Box().Writes(platform.threadBinderNode)) {
            std::size_t const bar = write.bytes.rfind('|');
            std::string const thread = bar == std::string::npos ? "" : write.bytes.substr(bar + 1);
            if (write.bytes.compare(0, 3, "FF|") == 0) {
                bound.erase(thread);
            } else {
                bound.insert(thread);
            }
        }
    }
    for (std::string const& thread : bound) {
        report << "    thread " << thread << " is still bound\n";
    }
    return bound.size();
}
