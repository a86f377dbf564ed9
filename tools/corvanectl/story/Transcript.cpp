#include "tools/corvanectl/story/Transcript.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <sstream>
#include <tuple>

namespace {

std::string TextOf(Answered const& answer)
{
    if (answer.result != 0) {
        return "    refused (" + std::to_string(answer.result) + ")";
    }
    if (!answer.handle) {
        return "    ok";
    }
    return *answer.handle == NO_HANDLE ? "    ok, no handle" : "    ok, handle " + std::to_string(*answer.handle);
}

} // namespace

void Transcript::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& began) { Begin(record.time, began); },
                 [&](Asked const& asked) {
                     if (style.echo) {
                         Say("> " + asked.line);
                     }
                 },
                 [&](Answered const& answer) { Say(TextOf(answer)); }, [&](Told const& told) { Say(told.text); },
                 [&](Marked const& marked) { Say("\n== " + marked.title); },
                 [&](Wrote const& wrote) {
                     if (style.live) {
                         ShowWrite(wrote.write);
                         out << std::flush;
                     } else {
                         held.push_back(wrote.write);
                     }
                 },
                 [&](Strayed const& strayed) {
                     Say("    " + strayed.node + " was written " + ReadableBytes(strayed.written) + " and holds " +
                         ReadableBytes(strayed.held));
                 },
                 [&](Settled const& settled) { ShowHeld(binderPosition + (settled.binderToo ? 1 : 0)); });
}

void Transcript::Begin(PerfTimePoint time, Began const& began)
{
    start = time;
    for (Began::Node const& node : began.nodes) {
        positions.emplace(node.name, node.resource);
        binderPosition = node.resourceName.empty() ? node.resource : node.resource + 1;
    }
}

void Transcript::Say(std::string const& text)
{
    out << text;
    if (!text.empty() && text.back() != '\n') {
        out << "\n";
    }
    out << std::flush;
}

void Transcript::ShowHeld(std::size_t belowPosition)
{
    auto const kept = std::stable_partition(held.begin(), held.end(),
                                            [&](NodeWrite const& write) { return PositionOf(write) < belowPosition; });
    std::sort(held.begin(), kept, [&](NodeWrite const& left, NodeWrite const& right) {
        return std::make_pair(PositionOf(left), left.sequence) < std::make_pair(PositionOf(right), right.sequence);
    });
    std::for_each(held.begin(), kept, [&](NodeWrite const& write) { ShowWrite(write); });
    held.erase(held.begin(), kept);
    out << std::flush;
}

std::size_t Transcript::PositionOf(NodeWrite const& write) const
{
    auto const found = positions.find(write.node);
    return found == positions.end() ? binderPosition : found->second;
}

void Transcript::ShowWrite(NodeWrite const& write)
{
    std::ostringstream line;
    std::chrono::duration<double> const time = write.time - start;
    line << std::fixed << std::setprecision(3) << std::setw(9) << time.count() << "s  " << write.node << " <- "
         << ReadableBytes(write.bytes);
    if (write.result < 0) {
        line << ": " << ErrorName(write.error);
    } else if (static_cast<std::size_t>(write.result) < write.bytes.size()) {
        line << ": only " << write.result << " of " << write.bytes.size() << " bytes taken";
    }
    out << line.str() << "\n";
}
