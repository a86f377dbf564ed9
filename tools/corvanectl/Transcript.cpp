#include "tools/corvanectl/Transcript.h"

#include "tools/corvanectl/BaseState.h"
#include "tools/corvanectl/LogLines.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

Transcript::Transcript(std::ostream& stream, bool showAtOnce) : out(stream), live(showAtOnce) {}

void Transcript::StartClock()
{
    std::lock_guard<std::mutex> const lock(mutex);
    start = std::chrono::steady_clock::now();
}

void Transcript::PlaceNode(std::string const& node, std::size_t position)
{
    std::lock_guard<std::mutex> const lock(mutex);
    positions.emplace(node, position);
}

void Transcript::Hide(std::string const& text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    hidden = text;
}

void Transcript::Say(std::string const& text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    out << Without(text, hidden);
    if (!text.empty() && text.back() != '\n') {
        out << "\n";
    }
    out << std::flush;
}

void Transcript::AddWrite(NodeWrite const& write)
{
    std::lock_guard<std::mutex> const lock(mutex);
    if (live) {
        ShowWriteLocked(write);
        out << std::flush;
    } else {
        held.push_back(write);
    }
}

void Transcript::ShowWrites(std::size_t belowPosition)
{
    std::lock_guard<std::mutex> const lock(mutex);
    auto const kept = std::stable_partition(
        held.begin(), held.end(), [&](NodeWrite const& write) { return PositionLocked(write) < belowPosition; });
    std::sort(held.begin(), kept, [&](NodeWrite const& left, NodeWrite const& right) {
        return std::make_pair(PositionLocked(left), left.sequence) <
               std::make_pair(PositionLocked(right), right.sequence);
    });
    std::for_each(held.begin(), kept, [&](NodeWrite const& write) { ShowWriteLocked(write); });
    held.erase(held.begin(), kept);
    out << std::flush;
}

std::size_t Transcript::PositionLocked(NodeWrite const& write) const
{
    auto const found = positions.find(write.node);
    return found == positions.end() ? positions.size() : found->second;
}

void Transcript::ShowWriteLocked(NodeWrite const& write)
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
