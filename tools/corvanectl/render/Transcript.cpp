// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/Transcript.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <tuple>
#include <utility>

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
    record.Match(
        [&](Began const& began) { Begin(record.time, began); }, [&](Asked const& command) { Ask(command.line); },
        [&](Answered const& answer) { Answer(answer); }, [&](Output const& output) { Say(output.text); },
        [&](Marked const& marked) {
            asked.clear();
            Say("\n" + paint.Bold("== " + marked.title));
        },
        [&](Wrote const& wrote) {
            if (style.live) {
                ShowWrite(wrote.write);
                out << std::flush;
            } else {
                held.push_back(wrote.write);
            }
        },
        [&](Strayed const& strayed) {
            Say(paint.Yellow("    " + strayed.node + " was written " + ReadableBytes(strayed.written) + " and holds " +
                             ReadableBytes(strayed.held) + (strayed.isByOthers ? ", which somebody else wrote" : "")));
        },
        [&](Settled const& settled) { ShowHeld(binderPosition + (settled.binderToo ? 1 : 0)); });
}

void Transcript::Begin(PerfTimePoint time, Began const& began)
{
    start = time;
    for (Began::Node const& node : began.nodes) {
        positions.emplace(node.name, node.resource);
        taken.emplace(node.name, node.bytes);
        binderPosition = node.resourceName.empty() ? node.resource : node.resource + 1;
    }
}

void Transcript::Ask(std::string const& line)
{
    asked = style.echo ? "> " + line : "";
    if (!style.brief) {
        ShowAsked();
    }
}

/** In brief style the answer shares the command's line. */
void Transcript::Answer(Answered const& answer)
{
    std::string text = answer.result == 0 ? TextOf(answer) : paint.Red(TextOf(answer));
    for (std::string const& reason : answer.reasons) {
        text += "\n        " + reason;
    }
    Say(std::exchange(asked, "") + text);
}

void Transcript::ShowAsked()
{
    if (!asked.empty()) {
        out << std::exchange(asked, "") << "\n" << std::flush;
    }
}

bool Transcript::Repeats(NodeWrite const& write)
{
    auto const [node, isFirst] = taken.try_emplace(write.node);
    bool const repeats = write.error == 0 && !isFirst && Holds(node->second, write.bytes);
    if (write.error == 0) {
        node->second = write.bytes;
    }
    return repeats;
}

void Transcript::Say(std::string const& text)
{
    if (text.empty()) {
        return;
    }
    ShowAsked();
    out << text;
    if (text.back() != '\n') {
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
    if (style.brief && Repeats(write)) {
        return;
    }
    ShowAsked();
    std::ostringstream line;
    line << std::setw(10) << SecondsText(write.time - start) << "  ";
    bool const isWhole = write.result == static_cast<ssize_t>(write.bytes.size());
    out << paint.Dim(line.str()) << (isWhole ? TextOf(write) : paint.Red(TextOf(write))) << "\n";
}
